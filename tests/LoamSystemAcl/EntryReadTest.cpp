#include "WritePath.h"

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using Entry = EntryPath::Entry;

Lines keyNotFound(std::uint32_t key) {
    return {
        EntryPath::algorithm(1, "entryReadGeneric", "Failed to find entry for key: " + shown(key))};
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

TEST(HasPendingHwWrites, IsTrueWhileTheTableHoldsWhatTheHardwareHasNotConfirmed) {
    EntryPath t;
    auto const becomes = [&](bool pending) {
        EXPECT_EQ(t.table->hasPendingHwWrites(), pending);
        EXPECT_EQ(t.table->status()->pendingHwWrites(), pending);
    };
    becomes(false);
    t.write(1, 7);
    becomes(true); // a pending write
    t.commitAll();
    becomes(true); // committed and not acknowledged
    t.acknowledge();
    becomes(false);
    t.remove(1);
    becomes(true); // a pending remove
    t.commitAll();
    becomes(true);
    t.acknowledge();
    becomes(false);
    t.removeAll();
    becomes(true); // a pending remove-all
    t.commitAll();
    becomes(false); // the table was empty
}

TEST(HasPendingHwWrites, StaysTrueUntilTheStatusHasReportedTheTablesVersion) {
    EntryPath t;
    t.write(1, 7);
    t.write(2, 7);
    t.commitAll();
    t.table->tableStatusVersion(1);
    EXPECT_TRUE(t.table->hasPendingHwWrites());
    t.table->tableStatusVersion(2);
    EXPECT_FALSE(t.table->hasPendingHwWrites());
}

TEST(HasPendingHwWrites, TracesTableUnitAndAnswer) {
    EntryPath t;
    for (bool const pending : {false, true}) {
        TraceCapture const traces{t.tableName() + "*"};
        EXPECT_EQ(t.table->hasPendingHwWrites(), pending);
        EXPECT_EQ(traces.lines, t.looksAtPending(pending));
        t.write(1, 7);
    }
    auto const other = t.agent.makeSwTable<EntryPath::Family>(3);
    TraceCapture const traces{t.tableName() + "*"};
    other->hasPendingHwWrites();
    EXPECT_TRUE(
        traces.has(3, " pendingHwWrites for swTable: tableId: 08:08:0404, unitId3 is false"));
}

// ---- the hardware's acknowledgement

TEST(TableStatusVersion, TakesTheCoveredHandlesInTheOrderOfTheLog) {
    EntryPath t;
    std::vector<std::uint32_t> answered;
    std::vector<EntryPath::HandlePtr> handles;
    for (std::uint32_t key = 1; key <= 4; ++key) {
        handles.push_back(t.write(key, 7, nullptr, [&, key](AnyHandle const& done) {
            EXPECT_EQ(done->entryState(), State::entryApplied);
            answered.push_back(key);
        }));
    }
    t.commitAll();
    TraceCapture const traces{t.tableName() + "SwTable", 1U << 3 | 1U << 8};
    t.table->tableStatusVersion(3); // a handle at the reported version is taken
    EXPECT_EQ(answered, (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_EQ(handles[2]->entryState(), State::entryApplied);
    EXPECT_EQ(handles[3]->entryState(), State::entryInLog);
    EXPECT_EQ(
        traces.lines,
        (Lines{t.algorithm(8, "tableStatusVersion", "tableVersion: 3"),
               t.algorithm(3, "tableStatusVersion", "Processing version: 1, key: 0x00000001"),
               t.algorithm(3, "tableStatusVersion", "Processing version: 2, key: 0x00000002"),
               t.algorithm(3, "tableStatusVersion", "Processing version: 3, key: 0x00000003")} +
         t.looksAtPending(true)));
}

TEST(TableStatusVersion, BelowTheFrontHandleTakesNoneAndStillDoesAllElse) {
    EntryPath t;
    t.write(1, 7);
    t.commitAll();
    t.applied(2, 7); // version 2, all taken
    auto const handle = t.write(3, 7);
    t.commitAll(); // version 3
    auto const genId = t.resolver().genId();
    t.table->status()->pendingHwWritesIs(false);
    t.table->tableStatusVersion(2);
    EXPECT_EQ(handle->entryState(), State::entryInLog);
    EXPECT_EQ(t.table->entryHandleInLogQueue().size(), 1U);
    EXPECT_EQ(t.table->entryLog()->logCleanedVersion(), 2U);
    EXPECT_EQ(t.resolver().genId(), genId + 1);
    EXPECT_TRUE(t.table->status()->pendingHwWrites());
}

TEST(TableStatusVersion, OnATableWhoseQueueNeverExistedCleansRefreshesAndUpdates) {
    EntryPath t;
    ASSERT_FALSE(t.table->entryHandleInLogQueue().hasBlocks());
    auto const genId = t.resolver().genId();
    t.table->status()->pendingHwWritesIs(true);
    t.table->tableStatusVersion(0);
    EXPECT_FALSE(t.table->entryHandleInLogQueue().hasBlocks());
    EXPECT_EQ(t.resolver().genId(), genId + 1);
    EXPECT_FALSE(t.table->status()->pendingHwWrites());
}

TEST(TableStatusVersion, CleansTheLogBeforeHandlesAreTold) {
    EntryPath t;
    t.write(1, 7, nullptr, [&](auto const&) {
        EXPECT_EQ(t.logged(), 0U);
        EXPECT_EQ(t.table->entryLog()->logCleanedVersion(), 1U);
        EXPECT_EQ(t.table->entryHandleInLogQueue().size(), 0U); // taken before it is told
        EXPECT_TRUE(t.table->status()->pendingHwWrites());      // which is brought up to date last
    });
    t.commitAll();
    t.acknowledge();
    EXPECT_FALSE(t.table->status()->pendingHwWrites());
}

TEST(TableStatusVersion, TheHandlerStaysOnTheHandle) {
    EntryPath t;
    auto const handle = t.write(1, 7, nullptr, [](auto const&) {});
    t.commitAll();
    t.acknowledge();
    EXPECT_TRUE(handle->responseHandler());
}

TEST(TableStatusVersion, AHandlerMayWriteRemoveAndReportTheStatusAgain) {
    EntryPath t;
    std::vector<unsigned> answered;
    t.write(1, 7, nullptr, [&](auto const&) {
        answered.push_back(1);
        t.write(1, 8);
        t.remove(2);
        t.acknowledge();
    });
    t.write(2, 7, nullptr, [&](auto const&) { answered.push_back(2); });
    t.commitAll();
    t.table->tableStatusVersion(1);
    EXPECT_EQ(answered, (std::vector<unsigned>{1, 2}));
    t.commitAll();
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 8));
    EXPECT_FALSE(t.table->entryHas(Key{2}));
}

TEST(TableStatusVersion, TellsEveryUnitsTableOfTheSet) {
    EntryPath t;
    auto const other = t.agent.makeSwTable<EntryPath::Family>(1);
    auto const first = t.write(1, 7);
    auto const second = other->entryWrite(Key{1}, t.entryOf(1, 8), nullptr);
    t.commitAll();
    t.agent.acknowledge(t.table->tableId(), 2);
    EXPECT_EQ(first->entryState(), State::entryApplied);
    EXPECT_EQ(second->entryState(), State::entryApplied);
}

} // namespace
} // namespace LoamSystemAcl
