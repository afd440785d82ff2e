#include "WritePath.h"

#include <Ombra/Exception.h>

#include <algorithm>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using SwTable = EntryPath::SwTable;
using Field = SwTable::Field;
using WrapperPtr = Ombra::Ptr<EntryPath::Wrapper>;

// One change as a subscriber of the table hears it. Values are those of wrappers or versions.
struct Heard {
    Ombra::FieldId field;
    std::uint32_t key;
    std::optional<std::uint64_t> former;
    std::uint32_t sizeThen; // of the collection, at the moment of the call

    friend bool operator==(Heard const&, Heard const&) = default;
};

// Hears the changes of the collections, and checks what each of them is told with.
class Listener {
  public:
    explicit Listener(EntryPath& t)
        : t_{t}, subscription_{t.table->publisher()->subscribe(
                     [this](Ombra::Change const& change) { hear(change); })} {}

    std::vector<Heard> heard;

  private:
    void hear(Ombra::Change const& change) {
        if (change.fieldId == Field::transientAddEntry) {
            note(change, formerOf(change), t_.table->transientAddEntrys());
        } else if (change.fieldId == Field::transientRemoveEntry) {
            note(change, formerOf(change), t_.table->transientRemoveEntrys());
        } else if (change.fieldId == Field::transientVersionForKey) {
            auto const* former = static_cast<EntryVersion const*>(change.former);
            note(change, former == nullptr ? std::nullopt : std::optional{former->major()},
                 t_.table->transientVersionForKeyColl().size());
        } else if (change.fieldId == Field::markedKey) {
            note(change, std::nullopt, t_.table->markedKeyColl().size());
        }
    }

    void note(Ombra::Change const& change, std::optional<std::uint64_t> former,
              std::uint32_t size) {
        auto const& key = *static_cast<Key const*>(change.key);
        Key const same{key};
        Key const other{key.number() + 1};
        EXPECT_TRUE(change.keyIsEq(&key, &same));
        EXPECT_FALSE(change.keyIsEq(&key, &other));
        heard.push_back(Heard{change.fieldId, key.number(), former, size});
    }

    // The former wrapper is alive during the call.
    static std::optional<std::uint64_t> formerOf(Ombra::Change const& change) {
        auto const& former = *static_cast<WrapperPtr const*>(change.former);
        return former ? std::optional<std::uint64_t>{EntryPath::valueOf(former->swTableEntry())}
                      : std::nullopt;
    }

    EntryPath& t_;
    Ombra::Subscription subscription_;
};

using Changes = std::vector<Heard>;

WrapperPtr wrapperOf(EntryPath& t, std::uint32_t key, unsigned value) {
    return Ombra::ptrIs<EntryPath::Wrapper>(
        t.entryOf(key, value),
        SwTable::entryHandleFactory(EntryVersion::first(), Key{key}, t.table.get()));
}

// The accessors of a collection of wrappers, of which the table has two.
struct Collection {
    char const* name;
    Ombra::FieldId field;
    WrapperPtr (SwTable::*get)(Key const&) const;
    void (SwTable::*is)(WrapperPtr const&);
    WrapperPtr (SwTable::*del)(Key const&);
    void (SwTable::*delAll)();
    std::uint32_t (SwTable::*count)() const noexcept;
};

class WrapperCollection : public testing::TestWithParam<Collection> {
  protected:
    SwTable& table() { return *t.table; }
    WrapperPtr get(std::uint32_t key) { return (table().*GetParam().get)(Key{key}); }
    void is(WrapperPtr const& wrapper) { (table().*GetParam().is)(wrapper); }
    WrapperPtr del(std::uint32_t key) { return (table().*GetParam().del)(Key{key}); }
    void delAll() { (table().*GetParam().delAll)(); }
    std::uint32_t count() { return (table().*GetParam().count)(); }
    Ombra::FieldId field() { return GetParam().field; }

    EntryPath t;
};

INSTANTIATE_TEST_SUITE_P(
    Of, WrapperCollection,
    testing::Values(Collection{"Adds", Ombra::FieldId{0x303}, &SwTable::transientAddEntry,
                               &SwTable::transientAddEntryIs, &SwTable::transientAddEntryDel,
                               &SwTable::transientAddEntryDelAll, &SwTable::transientAddEntrys},
                    Collection{"Removes", Ombra::FieldId{0x304}, &SwTable::transientRemoveEntry,
                               &SwTable::transientRemoveEntryIs, &SwTable::transientRemoveEntryDel,
                               &SwTable::transientRemoveEntryDelAll,
                               &SwTable::transientRemoveEntrys}),
    [](auto const& instance) { return std::string{instance.param.name}; });

TEST_P(WrapperCollection, AddsAnnouncingTheKeyAndANullFormerWrapper) {
    Listener const listener{t};
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    EXPECT_EQ(get(1), wrapper);
    EXPECT_EQ(wrapper->refCount(), 2U);
    EXPECT_EQ(listener.heard, (Changes{{field(), 1, {}, 1}}));
}

TEST_P(WrapperCollection, ReplacesUnderTheSameKeyWithTheFormerWrapperStillAlive) {
    is(wrapperOf(t, 1, 7)); // held by the collection alone
    Listener const listener{t};
    auto const second = wrapperOf(t, 1, 8);
    is(second);
    EXPECT_EQ(get(1), second);
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(listener.heard, (Changes{{field(), 1, 7, 1}}));
}

TEST_P(WrapperCollection, TheWrapperAlreadyThereAnnouncesNothing) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    Listener const listener{t};
    is(wrapper);
    EXPECT_TRUE(listener.heard.empty());
    EXPECT_EQ(wrapper->refCount(), 2U);
}

TEST_P(WrapperCollection, AnEqualWrapperIsNotTheOneThere) {
    is(wrapperOf(t, 1, 7));
    Listener const listener{t};
    is(wrapperOf(t, 1, 7));
    EXPECT_EQ(listener.heard.size(), 1U);
}

TEST_P(WrapperCollection, DeletingGivesTheWrapperAndAnnouncesIt) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    Listener const listener{t};
    EXPECT_EQ(del(1), wrapper);
    EXPECT_EQ(get(1), nullptr);
    EXPECT_EQ(listener.heard, (Changes{{field(), 1, 7, 0}}));
}

TEST_P(WrapperCollection, DeletingAnAbsentKeyGivesNullAndAnnouncesNothing) {
    Listener const listener{t};
    EXPECT_EQ(del(1), nullptr);
    EXPECT_TRUE(listener.heard.empty());
}

TEST_P(WrapperCollection, EmptyingTellsASubscriberOfEachKey) {
    for (std::uint32_t key = 1; key <= 20; ++key) {
        is(wrapperOf(t, key, key));
    }
    Listener const listener{t};
    delAll();
    EXPECT_EQ(count(), 0U);
    ASSERT_EQ(listener.heard.size(), 20U);
    std::vector<std::uint32_t> keys;
    for (std::uint32_t i = 0; i < 20; ++i) {
        EXPECT_EQ(listener.heard[i].former, listener.heard[i].key);
        EXPECT_EQ(listener.heard[i].sizeThen, 19 - i); // one at a time
        keys.push_back(listener.heard[i].key);
    }
    std::ranges::sort(keys);
    EXPECT_EQ(std::ranges::adjacent_find(keys), keys.end());
}

TEST_P(WrapperCollection, EmptyingUnheardLetsAllGo) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    is(wrapperOf(t, 2, 7));
    delAll();
    EXPECT_EQ(count(), 0U);
    EXPECT_EQ(wrapper->refCount(), 1U);
}

TEST_P(WrapperCollection, ANullWrapperIsRefused) {
    EXPECT_THROW(is(nullptr), Ombra::NullPointerException);
    EXPECT_EQ(count(), 0U);
}

TEST_P(WrapperCollection, AtTheTablesEndWrappersAreReleasedAndNothingIsAnnounced) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    unsigned changes = 0;
    auto const subscription =
        t.table->publisher()->subscribe([&](Ombra::Change const&) { ++changes; });
    t.table = nullptr;
    t.agent.restart(); // the former table is gone
    EXPECT_EQ(changes, 0U);
    EXPECT_EQ(wrapper->refCount(), 1U);
}

TEST(WrapperNodeDeathTest, AWrapperOfAnotherKeyDoesNotReplaceTheOneThere) {
    EntryPath t;
    SwTable::HN_TransientAddEntry add{wrapperOf(t, 1, 7)};
    SwTable::HN_TransientRemoveEntry remove{wrapperOf(t, 1, 7)};
    auto const other = wrapperOf(t, 2, 7);
    EXPECT_DEATH(add.valueIs(other), failsWith("fwkKey() == KeyFunktor()( _value )"));
    EXPECT_DEATH(remove.valueIs(other), failsWith("fwkKey() == KeyFunktor()( _value )"));
}

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
