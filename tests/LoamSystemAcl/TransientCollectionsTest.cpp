#include "ChangeListener.h"

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;

// ---- versions

TEST(TransientVersionForKey, OfAnAbsentKeyIsTheInvalidVersionAndAnEmptyOptional) {
    EntryPath t;
    EXPECT_FALSE(t.table->transientVersionForKey(Key{1}).valid());
    EXPECT_EQ(t.table->transientVersionForKey(Key{1}), EntryVersion(~std::uint64_t{0}, 0xffff));
    EXPECT_EQ(t.table->transientVersionForKeyGet(Key{1}), std::nullopt);
    EXPECT_FALSE(t.table->transientVersionForKeyHas(Key{1}));
}

TEST(TransientVersionForKey, AnnouncesEachChangeWithTheFormerVersion) {
    EntryPath t;
    Listener const listener{t};
    constexpr Ombra::FieldId field{0x305};
    t.table->transientVersionForKeyIs(Key{1}, EntryVersion{5, 0});
    t.table->transientVersionForKeyIs(Key{1}, EntryVersion{5, 0}); // no change
    t.table->transientVersionForKeyIs(Key{1}, EntryVersion{6, 0});
    t.table->transientVersionForKeyIs(Key{1}, EntryVersion{6, 1}); // the minor counts too
    t.table->transientVersionForKeyDel(Key{1});
    t.table->transientVersionForKeyDel(Key{1}); // absent
    EXPECT_EQ(listener.heard,
              (Changes{{field, 1, {}, 1}, {field, 1, 5, 1}, {field, 1, 6, 1}, {field, 1, 6, 0}}));
}

TEST(TransientVersionForKey, EmptyingTellsASubscriberOfEachKeyAndIsSilentWithoutOne) {
    for (bool const listened : {true, false}) {
        EntryPath t;
        t.table->transientVersionForKeyIs(Key{1}, EntryVersion{5, 0});
        t.table->transientVersionForKeyIs(Key{2}, EntryVersion{6, 0});
        std::optional<Listener> listener;
        if (listened) {
            listener.emplace(t);
        }
        t.table->transientVersionForKeyDelAll();
        EXPECT_EQ(t.table->transientVersionForKeyColl().size(), 0U);
        EXPECT_EQ(listened ? listener->heard.size() : 2U, 2U);
    }
}

TEST(TransientRemoveAllVersion, AnnouncesAChangeOfAnyOfItsBitsAndNothingElse) {
    EntryPath t;
    std::vector<std::uint64_t> formers;
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        ASSERT_EQ(change.fieldId, Ombra::FieldId{0x306});
        formers.push_back(static_cast<MajorVersion const*>(change.former)->number());
    });
    t.table->transientRemoveAllVersionIs(MajorVersion{});
    t.table->transientRemoveAllVersionIs(MajorVersion{1});
    t.table->transientRemoveAllVersionIs(MajorVersion{1});
    t.table->transientRemoveAllVersionIs(MajorVersion{1 | std::uint64_t{1} << 63});
    EXPECT_EQ(formers, (std::vector<std::uint64_t>{~std::uint64_t{0}, 1}));
}

TEST(MarkingFields, AnnounceTheirChangesAndOnlyThose) {
    EntryPath t;
    std::vector<unsigned> fields;
    auto const subscription = t.table->publisher()->subscribe(
        [&](Ombra::Change const& change) { fields.push_back(unsigned(change.fieldId)); });
    t.table->inMarkingStateIs(false);
    t.table->inMarkingStateIs(true);
    t.table->inMarkingStateIs(true);
    t.table->markedKeyIs(Key{1});
    t.table->markedKeyIs(Key{1});
    EXPECT_TRUE(t.table->markedKeyDel(Key{1}));
    EXPECT_FALSE(t.table->markedKeyDel(Key{1}));
    EXPECT_EQ(fields, (std::vector<unsigned>{0x320, 0x31f, 0x31f}));
}

// ---- what each event does to them

TEST(TransientCollections, EachEventChangesWhatIsStatedAndNothingElse) {
    constexpr Ombra::FieldId add{0x303};
    constexpr Ombra::FieldId remove{0x304};
    constexpr Ombra::FieldId version{0x305};
    struct Row {
        char const* event;
        std::function<void(EntryPath&)> before;
        std::function<void(EntryPath&)> happens;
        Changes changes;
    };
    auto const failed = [](EntryPath& t) { return t.handleIn(State::entryFailed); };
    auto const commit = [](EntryPath& t) { t.commitOne(); };
    Row const rows[] = {
        {"write of a new key",
         [](auto&) {},
         [](auto& t) { t.write(1, 7); },
         {{version, 1, {}, 1}, {add, 1, {}, 1}}},
        {"write over a pending write",
         [](auto& t) { t.write(1, 7); },
         [](auto& t) { t.write(1, 8); },
         {{version, 1, 0, 1}, {add, 1, 7, 1}}},
        {"write over a pending remove",
         [](auto& t) { t.remove(1); },
         [](auto& t) { t.write(1, 8); },
         {{version, 1, 0, 1}, {remove, 1, 0, 0}, {add, 1, {}, 1}}},
        {"remove of a new key",
         [](auto&) {},
         [](auto& t) { t.remove(1); },
         {{version, 1, {}, 1}, {remove, 1, {}, 1}}},
        {"remove over a pending remove",
         [](auto& t) { t.remove(1); },
         [](auto& t) { t.remove(1); },
         {{version, 1, 0, 1}, {remove, 1, 0, 1}}},
        {"remove over a pending write",
         [](auto& t) { t.write(1, 7); },
         [](auto& t) { t.remove(1); },
         {{version, 1, 0, 1}, {add, 1, 7, 0}, {remove, 1, {}, 1}}},
        {"remove-all",
         [](auto& t) {
             t.write(1, 7);
             t.remove(2);
         },
         [](auto& t) { t.removeAll(); },
         {{add, 1, 7, 0}, {remove, 2, 0, 0}}},
        {"commit of the newest write",
         [](auto& t) { t.write(1, 7); },
         commit,
         {{add, 1, 7, 0}, {version, 1, 0, 0}}},
        {"commit of an overtaken write",
         [](auto& t) {
             t.write(1, 7);
             t.write(1, 8);
         },
         commit,
         {}},
        {"commit of a write overtaken by a remove",
         [](auto& t) {
             t.write(1, 7);
             t.remove(1);
         },
         commit,
         {}},
        {"commit of a write dropped by a remove-all",
         [](auto& t) {
             t.write(1, 7);
             t.removeAll();
         },
         commit,
         {}},
        {"commit of the newest remove",
         [](auto& t) { t.remove(1); },
         commit,
         {{remove, 1, 0, 0}, {version, 1, 0, 0}}},
        {"commit of an overtaken remove",
         [](auto& t) {
             t.remove(1);
             t.write(1, 8);
         },
         commit,
         {}},
        {"commit of a remove-all", [](auto& t) { t.removeAll(); }, commit, {}},
        {"failed commit of a write", [&](auto& t) { t.write(1, 7, failed(t)); }, commit, {}},
        {"failed commit of a remove", [&](auto& t) { t.remove(1, failed(t)); }, commit, {}},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.event);
        EntryPath t;
        row.before(t);
        Listener const listener{t};
        row.happens(t);
        EXPECT_EQ(listener.heard, row.changes);
    }
}

TEST(TransientCollections, AKeyIsNeverInBothEvenWhileItsChangeIsTold) {
    EntryPath t;
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const&) {
        EXPECT_FALSE(t.table->transientAddEntryHas(Key{1}) &&
                     t.table->transientRemoveEntryHas(Key{1}));
    });
    t.write(1, 7);
    t.remove(1);
    t.write(1, 8);
    t.commitAll();
}

TEST(TransientCollections, OfTwoWritesTheSecondsWrapperAndVersionStayUntilItsOwnCommit) {
    EntryPath t;
    t.write(1, 7);
    t.write(1, 8);
    EXPECT_EQ(t.table->transientAddEntrys(), 1U);
    auto const second = t.table->transientAddEntry(Key{1});
    t.commitOne();
    EXPECT_EQ(t.table->transientAddEntry(Key{1}), second);
    EXPECT_EQ(t.table->transientVersionForKey(Key{1}), EntryVersion(1, 0));
    t.commitOne();
    EXPECT_EQ(t.table->transientAddEntrys(), 0U);
    EXPECT_FALSE(t.table->transientVersionForKeyHas(Key{1}));
}

TEST(TransientCollections, HoldManyKeysAtOnce) {
    EntryPath t;
    for (std::uint32_t key = 0; key < 5000; ++key) {
        t.write(key, key % 251);
    }
    EXPECT_EQ(t.table->entrys(), 5000U);
    for (std::uint32_t key = 0; key < 5000; ++key) {
        ASSERT_EQ(t.table->entryRead(Key{key}), t.entryOf(key, key % 251));
    }
    EXPECT_EQ(t.commitAll(), 5000U);
    EXPECT_EQ(t.table->transientAddEntrys(), 0U);
    EXPECT_EQ(t.table->transientVersionForKeyColl().size(), 0U);
}

} // namespace
} // namespace LoamSystemAcl
