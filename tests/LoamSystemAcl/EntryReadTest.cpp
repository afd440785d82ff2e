#include "WritePath.h"

#include <Slate/SlateMapBase.h>

#include <algorithm>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using Entry = EntryPath::Entry;

Lines keyNotFound(std::uint32_t key) {
    return {
        EntryPath::algorithm(1, "entryReadGeneric", "Failed to find entry for key: " + shown(key))};
}

// Flips a bit of a record, as failing memory would.
void damage(EntryPath const& t, std::uint32_t key) {
    auto const& stored =
        t.table->entryLog()->tableConfigSlate(0)->swTableEntries().lookup(Key{key}, nullptr);
    auto* const bytes =
        reinterpret_cast<std::byte*>(const_cast<EntryPath::ConfigSlateEntry*>(&stored));
    bytes[sizeof(Key) + 5] ^= std::byte{0x20};
}

// The life of a single key as readers see it: each row goes on where the one above it ended.
TEST(EntryRead, AtEachMomentOfAKeysLifeReadersSeeWhatIsStated) {
    Entry const none{};
    auto const older = EntryPath::entryOf(1, 7);
    auto const newer = EntryPath::entryOf(1, 8);
    struct Moment {
        char const* name;
        std::function<void(EntryPath&)> happens;
        Entry read;
        bool missing; // the trace of level 1
        bool has;
        Entry committed;
        std::uint32_t count;
    };
    Moment const moments[] = {
        {"never written", [](auto&) {}, none, true, false, none, 0},
        {"written, not committed", [](auto& t) { t.write(1, 7); }, older, false, true, none, 1},
        {"committed", [](auto& t) { t.commitAll(); }, older, false, true, older, 1},
        {"applied", [](auto& t) { t.acknowledge(); }, older, false, true, older, 1},
        {"written again", [](auto& t) { t.write(1, 8); }, newer, false, true, older, 1},
        {"and committed", [](auto& t) { t.commitAll(); }, newer, false, true, newer, 1},
        {"removed, not committed", [](auto& t) { t.remove(1); }, none, false, false, newer, 0},
        {"remove committed, not cleaned up", [](auto& t) { t.commitAll(); }, none, true, false,
         none, 0},
        {"cleaned up", [](auto& t) { t.acknowledge(); }, none, true, false, none, 0},
        {"committed once more", [](auto& t) { t.applied(1, 7); }, older, false, true, older, 1},
        {"remove-all, key untouched since", [](auto& t) { t.removeAll(); }, older, false, false,
         older, 0},
        {"remove-all committed", [](auto& t) { t.commitAll(); }, none, true, false, none, 0},
    };
    EntryPath t;
    for (auto const& moment : moments) {
        SCOPED_TRACE(moment.name);
        moment.happens(t);
        TraceCapture const traces{t.tableName() + "*", 1U << 1};
        EXPECT_EQ(t.table->entryRead(Key{1}), moment.read);
        EXPECT_EQ(traces.lines, moment.missing ? keyNotFound(1) : Lines{});
        EXPECT_EQ(t.table->entryHas(Key{1}), moment.has);
        EXPECT_EQ(t.table->entryFromConfig(Key{1}), moment.committed);
        EXPECT_EQ(t.table->entrys(), moment.count);
    }
}

TEST(EntryRead, OfAKeyWrittenAndThenRemovedGivesTheDefaultEntry) {
    EntryPath t;
    t.write(1, 7);
    t.remove(1);
    EXPECT_EQ(t.table->entryRead(Key{1}), Entry{});
    EXPECT_FALSE(t.table->entryHas(Key{1}));
}

TEST(EntryRead, OfAKeyRemovedAndThenWrittenGivesTheNewEntry) {
    EntryPath t;
    t.applied(1, 7);
    t.remove(1);
    t.write(1, 8);
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 8));
    EXPECT_TRUE(t.table->entryHas(Key{1}));
}

TEST(EntryRead, TheDefaultEntryCarriesTheZeroKeyWhateverKeyWasAskedFor) {
    EntryPath t;
    EXPECT_EQ(t.table->entryRead(Key{42}).key(), Key{0});
    EXPECT_EQ(t.table->entryFromConfig(Key{42}).key(), Key{0});
    t.remove(42);
    EXPECT_EQ(t.table->entryRead(Key{42}).key(), Key{0});
}

TEST(EntryRead, DuringARemoveAllAnUntouchedKeyReadsAsCommittedAndIsNotThere) {
    EntryPath t;
    t.applied(1, 7);
    t.removeAll();
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 7));
    EXPECT_FALSE(t.table->entryHas(Key{1}));
}

TEST(EntryRead, AWriteWhoseCommitFailedStaysReadable) {
    EntryPath t;
    t.applied(1, 7);
    t.write(1, 8, t.handleIn(State::entryFailed));
    t.commitAll();
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 8));
    EXPECT_EQ(t.table->entryFromConfig(Key{1}), t.entryOf(1, 7));
}

TEST(EntryRead, EntryIsEntryReadAlsoInItsTrace) {
    EntryPath t;
    t.write(0x2a, 7);
    auto const expected = Lines{t.own(8, "entryRead", " key: 0x0000002a"),
                                t.algorithm(8, "entryReadGeneric", "key: 0x0000002a")};
    for (auto const operation : {&EntryPath::SwTable::entryRead, &EntryPath::SwTable::entry}) {
        TraceCapture const traces{t.tableName() + "*"};
        EXPECT_EQ(((*t.table).*operation)(Key{0x2a}), t.entryOf(0x2a, 7));
        EXPECT_EQ(traces.lines, expected);
    }
}

TEST(EntryRead, EachUnitHasItsOwnEntries) {
    EntryPath t;
    auto const other = t.agent.makeSwTable<EntryPath::Family>(1);
    t.applied(1, 7);
    EXPECT_FALSE(other->entryHas(Key{1}));
    other->entryWrite(Key{1}, t.entryOf(1, 8), nullptr);
    t.commitAll();
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 7));
    EXPECT_EQ(other->entryRead(Key{1}), t.entryOf(1, 8));
}

TEST(EntryRead, ChangesNothing) {
    EntryPath t;
    t.applied(1, 7);
    t.write(2, 8);
    auto const before = t.places(2);
    unsigned changes = 0;
    auto const subscription =
        t.table->publisher()->subscribe([&](Ombra::Change const&) { ++changes; });
    for (std::uint32_t key = 1; key <= 3; ++key) {
        t.table->entryRead(Key{key});
        t.table->entryHas(Key{key});
        t.table->entryFromConfig(Key{key});
    }
    t.table->entrys();
    t.table->hasPendingHwWrites();
    EXPECT_EQ(t.places(2), before);
    EXPECT_EQ(changes, 0U);
}

// What a trace runs may let go of both.
TEST(EntryRead, HoldsTheEntryLogAndTheUnitsTableWhileItLasts) {
    EntryPath t;
    t.applied(1, 7);
    auto const entryLog = t.table->entryLog();
    auto const configSlate = entryLog->tableConfigSlate(0);
    std::uint32_t const atRest = entryLog->refCount();
    std::uint32_t held = 0;
    Zet::TraceHandle::levelsIs(t.tableName() + "EntryLog", 1U << 8);
    auto former = Ombra::traceSinkIs(
        [&](Ombra::TraceRecord const&) { held = std::max(held, entryLog->refCount()); });
    auto const heldBy = [&](auto const& read) {
        held = 0;
        read();
        return held - atRest;
    };
    EXPECT_EQ(heldBy([&] { t.table->entryRead(Key{1}); }), 1U);
    EXPECT_EQ(heldBy([&] { t.table->entryHas(Key{1}); }), 1U);
    EXPECT_EQ(heldBy([&] { t.table->entrys(); }), 1U);
    EXPECT_EQ(entryLog->refCount(), atRest);

    std::uint32_t slateHeld = 0;
    std::uint32_t const slateAtRest = configSlate->refCount();
    Slate::corruptionSinkIs([&](auto const&) {
        held = entryLog->refCount();
        slateHeld = configSlate->refCount();
    });
    damage(t, 1);
    EXPECT_EQ(heldBy([&] { t.table->entryFromConfig(Key{1}); }), 1U);
    EXPECT_EQ(slateHeld - slateAtRest, 1U);
    Slate::corruptionSinkIs({});
    Ombra::traceSinkIs(std::move(former));
    Zet::TraceHandle::levelsIs(t.tableName() + "EntryLog", 0);
}

TEST(EntryHas, AnswersFromEveryLayerInItsOrder) {
    struct Row {
        char const* where;
        std::function<void(EntryPath&)> happens;
        bool has;
    };
    Row const rows[] = {
        {"nowhere", [](EntryPath&) {}, false},
        {"pending write", [](EntryPath& t) { t.write(1, 7); }, true},
        {"pending write behind a remove-all",
         [](EntryPath& t) {
             t.removeAll();
             t.write(1, 7);
         },
         true},
        {"pending remove",
         [](EntryPath& t) {
             t.applied(1, 7);
             t.remove(1);
         },
         false},
        {"committed", [](EntryPath& t) { t.applied(1, 7); }, true},
        {"committed, a remove-all pending",
         [](EntryPath& t) {
             t.applied(1, 7);
             t.removeAll();
         },
         false},
        {"in deletion",
         [](EntryPath& t) {
             t.applied(1, 7);
             t.remove(1);
             t.commitAll();
         },
         false},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.where);
        EntryPath t;
        row.happens(t);
        EXPECT_EQ(t.table->entryHas(Key{1}), row.has);
    }
}

TEST(EntryHas, TracesTheKeyInTheTablesName) {
    EntryPath t;
    TraceCapture const traces{t.swTableName()};
    t.table->entryHas(Key{0x2a});
    EXPECT_EQ(traces.lines, (Lines{t.own(8, "entryHas", "key: 0x0000002a")}));
}

TEST(EntryFromConfig, TracesTheKeyAndConsultsNothingPending) {
    EntryPath t;
    t.write(0x2a, 7);
    TraceCapture const traces{t.tableName() + "*"};
    EXPECT_EQ(t.table->entryFromConfig(Key{0x2a}), Entry{});
    EXPECT_EQ(traces.lines, (Lines{t.algorithm(8, "entryFromConfig", "key: 0x0000002a")}));
}

TEST(Entrys, CountsWhatIsVisible) {
    struct Row {
        char const* what;
        std::function<void(EntryPath&)> happens; // to the committed keys 1, 2 and 3
        std::uint32_t count;
    };
    Row const rows[] = {
        {"committed ones", [](EntryPath&) {}, 3},
        {"an overwritten key once", [](EntryPath& t) { t.write(1, 8); }, 3},
        {"a new key", [](EntryPath& t) { t.write(4, 8); }, 4},
        {"no removed key", [](EntryPath& t) { t.remove(1); }, 2},
        {"nothing less for a key removed and never committed", [](EntryPath& t) { t.remove(4); },
         3},
        {"nothing for a key written and removed",
         [](EntryPath& t) {
             t.write(4, 8);
             t.remove(4);
         },
         3},
        {"a removed and rewritten key once",
         [](EntryPath& t) {
             t.remove(1);
             t.write(1, 8);
         },
         3},
        {"no key in deletion",
         [](EntryPath& t) {
             t.remove(1);
             t.commitAll();
         },
         2},
        {"all removed",
         [](EntryPath& t) {
             t.remove(1);
             t.remove(2);
             t.remove(3);
         },
         0},
        {"during a remove-all the writes behind it",
         [](EntryPath& t) {
             t.write(1, 8);
             t.removeAll();
             t.write(2, 8);
             t.write(9, 8);
             t.remove(3);
         },
         2},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.what);
        EntryPath t;
        t.applied(1, 7);
        t.applied(2, 7);
        t.applied(3, 7);
        row.happens(t);
        EXPECT_EQ(t.table->entrys(), row.count);
    }
}

TEST(Entrys, DoesNotConsultTheCommittedLayerDuringARemoveAll) {
    EntryPath t;
    t.applied(1, 7);
    t.removeAll();
    TraceCapture const traces{t.tableName() + "EntryLog"};
    EXPECT_EQ(t.table->entrys(), 0U);
    EXPECT_TRUE(traces.lines.empty());
}

} // namespace
} // namespace LoamSystemAcl
