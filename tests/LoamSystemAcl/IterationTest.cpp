#include "TableInUse.h"

#include <OrderedTable/OrderedSwTableIteration.h>

#include <gmock/gmock.h>

#include <string>
#include <tuple>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Iteration : public TableInUse {
  protected:
    using IteratorState = Family::IteratorState;
    using Accessor = Asic::IterStateAccessor<IteratorState, Table>;
    using Iterator = Table::EntryIteratorConst;

    // The order in which a collection gives these keys when they are pending.
    Numbers pendingOrderOf(Numbers const& numbers) {
        auto const other = agent.makeSwTable<Family>(1);
        for (unsigned const number : numbers) {
            other->entryWrite(Key{number}, entryOf(number), nullptr);
        }
        auto const order = pendingOrder(*other);
        commitAll();
        return order;
    }

    // A table with 4 pending writes, of which the one given by `place` is the first to commit, and
    // 6 committed entries, one of them below the pending one that commits first.
    Numbers fourPendingAndSixCommitted(std::size_t firstToCommit) {
        Numbers const pending = pendingOrderOf({101, 102, 103, 104});
        committed({1, 2, 3, 4, 5, pending[firstToCommit]});
        write(pending[firstToCommit], 2);
        for (unsigned const number : pending) {
            if (number != pending[firstToCommit]) {
                write(number);
            }
        }
        EXPECT_EQ(pendingOrder(), pending);
        return pending;
    }
};

// --- where it starts and what it gives

TEST_F(Iteration, OfAnEmptyTableEndsAtOnceAndEqualsTheEnd) {
    auto const iterator = table->entryIteratorConst();
    EXPECT_FALSE(iterator);
    EXPECT_TRUE(iterator == Iterator{});
}

TEST_F(Iteration, OfNoTableIsTheEnd) {
    Iterator const iterator{nullptr};
    EXPECT_FALSE(iterator);
    EXPECT_TRUE(iterator == Iterator{});
    EXPECT_EQ(Accessor::initIterState(nullptr, Key{1}), nullptr);
}

TEST_F(Iteration, GivesThePendingWritesInTheirOrderAndThenTheRecordsInTheirs) {
    committed({11, 12, 13, 14, 15});
    for (unsigned const number : {21U, 22U, 23U, 24U}) {
        write(number);
    }
    EXPECT_EQ(rest(table->entryIteratorConst()), joined(pendingOrder(), recordOrder()));
}

TEST_F(Iteration, GivesAKeyOfBothLayersOnceWithThePendingValue) {
    committed({1});
    write(1, 9);
    auto iterator = table->entryIteratorConst();
    ASSERT_TRUE(iterator);
    EXPECT_EQ(*iterator, entryOf(1, 9));
    ++iterator;
    EXPECT_FALSE(iterator);
}

TEST_F(Iteration, LeavesOutWhatIsPendingRemovalAndWhatIsInDeletion) {
    committed({1, 2, 3});
    remove(1);
    commitAll(); // not acknowledged: the record of 1 stays
    remove(2);
    ASSERT_TRUE(recordHas(1));
    EXPECT_THAT(rest(table->entryIteratorConst()), ElementsAre(3));
}

TEST_F(Iteration, DuringARemoveAllWalksThePendingWritesAlone) {
    committed({1, 2, 3});
    table->entryRemoveAll(nullptr);
    EXPECT_THAT(rest(table->entryIteratorConst()), IsEmpty());
    write(4);
    write(5);
    EXPECT_EQ(rest(table->entryIteratorConst()), pendingOrder());
}

TEST_F(Iteration, OfARunningIterationIsNotReachedByALaterRemoveAll) {
    committed({1, 2, 3});
    auto iterator = table->entryIteratorConst();
    table->entryRemoveAll(nullptr);
    EXPECT_EQ(rest(iterator), recordOrder());
}

TEST_F(Iteration, ThatBeganDuringARemoveAllStaysOutOfTheRecordsAfterItsCommit) {
    committed({1});
    table->entryRemoveAll(nullptr);
    write(2);
    write(3);
    auto iterator = table->entryIteratorConst();
    auto const pending = pendingOrder();
    commit(1);
    ASSERT_FALSE(table->transientRemoveAllVersion().valid());
    committed({4});
    // The writes of 2 and 3 commit too, so that the additions are over.
    EXPECT_EQ(rest(iterator), Numbers{pending[0]});
}

TEST_F(Iteration, FromAPendingKeyWalksOnFromItAndThenAllRecords) {
    committed({1, 2, 3});
    for (unsigned number = 21; number < 29; ++number) {
        write(number);
    }
    unsigned const start = pendingOrder()[3];
    EXPECT_EQ(rest(table->entryIteratorConst(Key{start})),
              joined(from(pendingOrder(), start), recordOrder()));
}

TEST_F(Iteration, FromACommittedKeyWalksOnFromItsRecordAndGivesNoPendingWrite) {
    committed({1, 2, 3, 4, 5});
    write(21);
    write(22);
    unsigned const start = recordOrder()[2];
    EXPECT_EQ(rest(table->entryIteratorConst(Key{start})), from(recordOrder(), start));
}

TEST_F(Iteration, FromAnAbsentKeyIsTheEndAtOnce) {
    committed({1, 2, 3});
    write(21);
    auto const iterator = table->entryIteratorConst(Key{99});
    EXPECT_FALSE(iterator);
    EXPECT_TRUE(iterator == Iterator{});
}

TEST_F(Iteration, FromAKeyThatIsPendingRemovalAndHasNoRecordIsTheEndAtOnce) {
    committed({1, 2, 3});
    remove(99);
    EXPECT_FALSE(table->entryIteratorConst(Key{99}));
}

TEST_F(Iteration, FromAKeyThatIsPendingRemovalAndHasARecordGivesTheRecordsBehindIt) {
    committed({1, 2, 3, 4, 5});
    unsigned const start = recordOrder()[1];
    remove(start);
    EXPECT_EQ(rest(table->entryIteratorConst(Key{start})), behind(recordOrder(), start));
}

TEST_F(Iteration, FromAKeyThatIsInDeletionIsTheEndAtOnce) {
    committed({1, 2, 3});
    remove(2);
    commitAll();
    ASSERT_TRUE(recordHas(2));
    EXPECT_FALSE(table->entryIteratorConst(Key{2}));
}

TEST_F(Iteration, FromACommittedKeyDuringARemoveAllIsTheEndAtOnce) {
    committed({1, 2, 3});
    table->entryRemoveAll(nullptr);
    EXPECT_FALSE(table->entryIteratorConst(Key{2}));
}

TEST_F(Iteration, OfAnEntryEqualToTheDefaultEntryHoldsItAndEqualsTheEnd) {
    table->entryWrite(Key{}, Entry{}, nullptr);
    write(5);
    commitAll();
    auto const iterator = table->entryIteratorConst(Key{});
    EXPECT_TRUE(iterator);
    EXPECT_TRUE(iterator == Iterator{});
}

TEST_F(Iteration, IteratorsAreEqualWhenTheirEntriesAreWhateverTheirPlaces) {
    committed({1, 2, 3});
    auto const order = recordOrder();
    auto walked = table->entryIteratorConst();
    ++walked;
    EXPECT_TRUE(walked == table->entryIteratorConst(Key{order[1]}));
    EXPECT_FALSE(walked == table->entryIteratorConst());
}

TEST_F(Iteration, AStateIsMadeWithoutAStep) {
    committed({1});
    write(2);
    auto const atStart = table->initIterState();
    EXPECT_EQ(atStart->state().bits(), 2);
    EXPECT_EQ(atStart->swTable(), table.get());
    EXPECT_EQ(atStart->bookmarkKey(), Key{});
    EXPECT_EQ(table->initIterStateFromKey(Key{2})->state().bits(), 2 | 16);
    EXPECT_EQ(table->initIterStateFromKey(Key{1})->state().bits(), 4 | 16);
    EXPECT_EQ(table->initIterStateFromKey(Key{1})->bookmarkKey(), Key{1});
    EXPECT_EQ(table->initIterStateFromKey(Key{3})->state().bits(), 16);
    table->entryRemoveAll(nullptr);
    EXPECT_EQ(table->initIterState()->state().bits(), 2 | 8);
    EXPECT_EQ(table->initIterStateFromKey(Key{1})->state().bits(), 8 | 16);
}

TEST_F(Iteration, ANewStateHasAllFlagsClear) {
    auto const state = ipv4SystemPolicyTcamEntrySwTableIteratorStateFactory();
    EXPECT_EQ(state->state().bits(), 0);
    EXPECT_EQ(state->swTable(), nullptr);
}

TEST_F(Iteration, TheLastCommittedEntryComesValidWithBothPhasesOver) {
    committed({1});
    auto const state = table->initIterState();
    EXPECT_EQ(state->maybeUpdateCurrentEntry(), entryOf(1));
    EXPECT_EQ(state->state().bits(), 1);
    EXPECT_EQ(state->maybeUpdateCurrentEntry(), Entry{});
    EXPECT_EQ(state->state().bits(), 0);
}

TEST_F(Iteration, AllocatesOneStateInAll) {
    for (unsigned number = 1; number <= 40; ++number) {
        write(number);
        if (number == 30) {
            commitAll();
        }
    }
    auto const states = [] {
        return Zet::AllocTrackTypeInfo::allocated(IteratorState::memAllocationTracker_);
    };
    auto const before = states();
    EXPECT_EQ(rest(table->entryIteratorConst()).size(), 40U);
    EXPECT_EQ(states(), before + 1);
}

TEST_F(Iteration, HoldsNeitherANodeNorTheConfigurationTableBetweenTwoSteps) {
    committed({1, 2, 3});
    auto const handle = write(4);
    auto iterator = table->entryIteratorConst();
    ASSERT_EQ(iterator->key(), Key{4});
    auto const configSlate = table->entryLog()->tableConfigSlate(0);
    auto const references = configSlate->refCount();
    ++iterator;
    ++iterator;
    EXPECT_EQ(configSlate->refCount(), references);
    auto const wrappers =
        Zet::AllocTrackTypeInfo::live(Family::EntryWrapper::memAllocationTracker_);
    commitAll();
    EXPECT_EQ(Zet::AllocTrackTypeInfo::live(Family::EntryWrapper::memAllocationTracker_),
              wrappers - 1);
}

// --- the flags, step by step

struct FlagRow {
    char const* name;
    unsigned committed; // entries, from key 1 on
    bool removeAll;     // pending when the iteration begins
    unsigned pending;   // writes, of other keys
    unsigned steps;     // that are made before the one that the row is about
    bool removed;       // all entries, between these and that one
    unsigned before;
    bool delivers;
    unsigned after;
};

class IterationFlags : public Iteration, public testing::WithParamInterface<FlagRow> {
  public:
    static std::string nameOf(testing::TestParamInfo<FlagRow> const& row) { return row.param.name; }
};

constexpr unsigned valid = 1;
constexpr unsigned inAdd = 2;
constexpr unsigned inCfg = 4;
constexpr unsigned skip = 8;
constexpr unsigned bookmark = 16;

constexpr FlagRow flagRows[] = {
    {"APendingWriteWithAnotherBehind", 0, false, 2, 0, false, inAdd, true,
     inAdd | valid | bookmark},
    {"TheLastPendingWrite", 0, false, 1, 0, false, inAdd, true, inCfg | valid},
    {"TheLastPendingWriteAtABookmark", 0, false, 2, 1, false, inAdd | valid | bookmark, true,
     inCfg | valid},
    {"TheLastPendingWriteOfASkippedTable", 1, true, 1, 0, false, inAdd | skip, true, valid | skip},
    {"TheStepBehindTheLastPendingWriteOfASkippedTable", 1, true, 1, 1, false, valid | skip, false,
     skip},
    {"NoPendingWriteAndTwoRecords", 2, false, 0, 0, false, inAdd, true, inCfg | valid | bookmark},
    {"NoPendingWriteAndOneRecord", 1, false, 0, 0, false, inAdd, true, valid},
    {"NoPendingWriteAndNoRecord", 0, false, 0, 0, false, inAdd, false, 0},
    {"NoPendingWriteOfASkippedTable", 1, true, 0, 0, false, inAdd | skip, false, skip},
    {"ARecordWithAnotherBehind", 3, false, 0, 1, false, inCfg | valid | bookmark, true,
     inCfg | valid | bookmark},
    {"ARecordWithNoneBehind", 2, false, 0, 1, false, inCfg | valid | bookmark, true, valid},
    {"ARecordBehindTheAdditions", 1, false, 1, 1, false, inCfg | valid, true, valid},
    {"NoRecordThatPasses", 2, false, 0, 1, true, inCfg | valid | bookmark, false, bookmark},
    {"NoRecordBehindTheAdditions", 0, false, 1, 1, false, inCfg | valid, false, 0},
    {"NeitherAfterTheLastEntry", 1, false, 0, 1, false, valid, false, 0},
    {"NeitherAfterTheEnd", 0, false, 0, 1, false, 0, false, 0},
};

TEST_P(IterationFlags, AStepLeavesThoseOfItsRow) {
    auto const& row = GetParam();
    for (unsigned number = 1; number <= row.committed; ++number) {
        committed({number});
    }
    if (row.removeAll) {
        table->entryRemoveAll(nullptr);
    }
    for (unsigned number = 101; number <= 100 + row.pending; ++number) {
        write(number);
    }
    auto const state = table->initIterState();
    for (unsigned each = 0; each < row.steps; ++each) {
        state->maybeUpdateCurrentEntry();
    }
    for (unsigned number = 1; row.removed && number <= row.committed; ++number) {
        remove(number);
    }
    ASSERT_EQ(state->state().bits(), row.before);
    auto const entry = state->maybeUpdateCurrentEntry();
    EXPECT_EQ(state->state().bits(), row.after);
    EXPECT_EQ(entry != Entry{}, row.delivers);
}

INSTANTIATE_TEST_SUITE_P(Rows, IterationFlags, testing::ValuesIn(flagRows), IterationFlags::nameOf);

// --- what a running iteration sees of changes

TEST_F(Iteration, AKeyAddedDuringTheAdditionsComesIfItsPlaceIsBehindTheBookmarkOnly) {
    for (unsigned number = 1; number <= 16; ++number) {
        write(number);
    }
    auto const before = pendingOrder();
    auto iterator = table->entryIteratorConst();
    for (int step = 0; step < 7; ++step) {
        ++iterator;
    }
    for (unsigned number = 101; number <= 200; ++number) {
        write(number);
    }
    auto const after = pendingOrder();
    auto const expected = from(after, before[8]);
    EXPECT_EQ(rest(iterator), joined({before[7]}, expected));
    auto const isNew = [](unsigned number) { return number > 100; };
    auto const seen = std::ranges::count_if(expected, isNew);
    EXPECT_GT(seen, 0);
    EXPECT_LT(seen, 100);
}

TEST_F(Iteration, AKeyAddedAfterTheAdditionsIsMissedEvenWhenItHasARecord) {
    committed({1, 2, 3, 4});
    auto iterator = table->entryIteratorConst();
    auto const order = recordOrder();
    write(order[2], 9); // its record is hidden from now on
    write(50);          // it has none
    EXPECT_EQ(rest(iterator), (Numbers{order[0], order[1], order[3]}));
}

TEST_F(Iteration, WhenTheBookmarkedWriteCommitsTheRecordsStartAtItAndNotAtTheirStart) {
    auto const pending = fourPendingAndSixCommitted(1);
    auto const state = table->initIterState();
    EXPECT_EQ(state->maybeUpdateCurrentEntry().key(), Key{pending[0]});
    ASSERT_EQ(state->bookmarkKey(), Key{pending[1]});
    commit(1);
    ASSERT_FALSE(table->transientAddEntryHas(Key{pending[1]}));

    Numbers got;
    for (auto entry = state->maybeUpdateCurrentEntry(); state->state().entryValid();
         entry = state->maybeUpdateCurrentEntry()) {
        got.push_back(entry.key().number());
    }
    EXPECT_EQ(got, from(recordOrder(), pending[1]));
}

TEST_F(Iteration, WhenTheBookmarkedWriteIsRemovedTheRecordsStartBehindIt) {
    auto const pending = fourPendingAndSixCommitted(1);
    auto iterator = table->entryIteratorConst();
    remove(pending[1]);
    EXPECT_EQ(rest(iterator), joined({pending[0]}, behind(recordOrder(), pending[1])));
}

TEST_F(Iteration, WhenTheBookmarkedWriteLeavesWithoutARecordTheRecordsStartAtItsSuccessor) {
    Numbers const pending = pendingOrderOf({101, 102, 103, 104});
    committed({1, 2, 3, 4, 5, 6, 7, 8});
    for (unsigned const number : pending) {
        write(number);
    }
    auto iterator = table->entryIteratorConst();
    ASSERT_EQ(iterator->key(), Key{pending[0]});
    remove(pending[1]);
    Family::ConfigSlateEntry successor;
    Numbers expected{pending[0]};
    if (records().iterNext(Key{pending[1]}, &successor, nullptr)) {
        expected = joined(expected, from(recordOrder(), successor.key().number()));
    }
    EXPECT_EQ(rest(iterator), expected);
}

TEST_F(Iteration, TheBookmarkStaysValidWhenTheAdditionsEndAtIt) {
    write(1);
    write(2);
    auto const state = table->initIterState();
    state->maybeUpdateCurrentEntry();
    auto const marked = state->bookmarkKey();
    remove(marked.number());
    state->maybeUpdateCurrentEntry();
    EXPECT_EQ(state->state().bits(), bookmark);
    EXPECT_EQ(state->bookmarkKey(), marked);
}

TEST_F(Iteration, AKeyThatCommitsAfterItWasGivenComesAgainFromItsRecord) {
    write(1);
    auto iterator = table->entryIteratorConst();
    commitAll();
    EXPECT_THAT(rest(iterator), ElementsAre(1, 1));
}

TEST_F(Iteration, ARemovedKeyIsDroppedAtTheNextStepAndWhatWasGivenStays) {
    committed({1, 2, 3, 4});
    auto const order = recordOrder();
    auto iterator = table->entryIteratorConst();
    remove(order[0]);
    remove(order[1]);
    EXPECT_EQ(*iterator, entryOf(order[0]));
    ++iterator;
    EXPECT_EQ(iterator->key(), Key{order[2]});
}

TEST_F(Iteration, WhenTheBookmarkedRecordHasGoneTheWalkResumesBehindIt) {
    committed({1, 2, 3, 4, 5});
    auto const order = recordOrder();
    auto iterator = table->entryIteratorConst();
    ++iterator;
    remove(order[2]);
    commitAll();
    acknowledge();
    ASSERT_FALSE(recordHas(order[2]));
    EXPECT_EQ(rest(iterator), (Numbers{order[1], order[3], order[4]}));
}

TEST_F(Iteration, OfATableThatLosesAllRecordsEnds) {
    committed({1, 2, 3});
    auto iterator = table->entryIteratorConst();
    table->clearTable(false);
    acknowledge();
    ASSERT_EQ(records().memberCount(), 0U);
    EXPECT_EQ(rest(iterator).size(), 1U);
}

// --- damage

TEST_F(Iteration, EndsAtADamagedRecordAndReportsIt) {
    committed({1, 2, 3, 4});
    auto const order = recordOrder();
    auto iterator = table->entryIteratorConst(); // the bookmark is order[1]
    damage(order[1]);
    auto const reported = records().corruptionCount();
    ++iterator;
    EXPECT_FALSE(iterator);
    EXPECT_TRUE(iterator == Iterator{});
    EXPECT_EQ(records().corruptionCount(), reported + 1);
}

TEST_F(Iteration, StillGivesAnEntryWhenTheRecordBehindItIsDamaged) {
    committed({1, 2, 3, 4});
    auto const order = recordOrder();
    damage(order[1]);
    auto const reported = records().corruptionCount();
    testing_support::TraceCapture traces{"SwTableIter"};
    auto iterator = table->entryIteratorConst();
    ASSERT_TRUE(iterator);
    EXPECT_EQ(iterator->key(), Key{order[0]});
    EXPECT_EQ(records().corruptionCount(), reported + 1);
    EXPECT_TRUE(traces.has(9, "  done with cfgSlate"));
    ++iterator;
    EXPECT_FALSE(iterator);
}

TEST_F(Iteration, EndsWhenTheFirstRecordIsDamaged) {
    committed({1, 2});
    damage(recordOrder()[0]);
    EXPECT_FALSE(table->entryIteratorConst());
}

TEST_F(Iteration, EndsWhenARecordIsDamagedBehindOneThatIsFilteredOut) {
    committed({1, 2, 3});
    auto const order = recordOrder();
    remove(order[0]);
    damage(order[1]);
    EXPECT_FALSE(table->entryIteratorConst());
}

// --- traces

using Traced = std::tuple<unsigned, std::string, std::string>;

std::vector<Traced> tracedBy(testing_support::TraceCapture& traces) {
    std::vector<Traced> result;
    for (auto const& line : traces.lines) {
        EXPECT_EQ(line.handle, "SwTableIter");
        result.emplace_back(line.level, line.text, line.function);
    }
    traces.lines.clear();
    return result;
}

constexpr char const* step = "maybeUpdateCurrentEntry";

TEST_F(Iteration, TracesEachStep) {
    committed({2});
    write(1);
    auto const state = table->initIterState();
    testing_support::TraceCapture traces{"SwTableIter"};

    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in transientAdd collection", step},
                            Traced{9, "  found entry: 0x00000001", step},
                            Traced{9, "  done with transAdd", "operator()"}));
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in cfgSlate collection", step},
                            Traced{9, "  found entry: 0x00000002", step},
                            Traced{9, "  done with cfgSlate", step}));
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  no more entries", step}));
}

TEST_F(Iteration, TracesBothPhasesOfAnEmptyTableInOneStep) {
    auto const state = table->initIterState();
    testing_support::TraceCapture traces{"SwTableIter"};
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in transientAdd collection", step},
                            Traced{9, "  done with transAdd", "operator()"},
                            Traced{9, "  in cfgSlate collection", step},
                            Traced{9, "  no more entries", step}));
}

TEST_F(Iteration, TracesNoSecondPhaseDuringARemoveAll) {
    committed({1});
    table->entryRemoveAll(nullptr);
    auto const state = table->initIterState();
    testing_support::TraceCapture traces{"SwTableIter"};
    state->maybeUpdateCurrentEntry();
    EXPECT_THAT(tracedBy(traces),
                ElementsAre(Traced{8, "", step}, Traced{9, "  in transientAdd collection", step},
                            Traced{9, "  done with transAdd", "operator()"},
                            Traced{9, "  no more entries", step}));
}

TEST_F(Iteration, TracesTheKeyThatItStartsFromButNotAPlainStart) {
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable"};
    static_cast<void>(table->initIterState());
    EXPECT_THAT(traces.lines, IsEmpty());
    static_cast<void>(table->initIterStateFromKey(Key{0x2a}));
    ASSERT_EQ(traces.lines.size(), 1U);
    EXPECT_EQ(traces.lines[0].level, 8U);
    EXPECT_EQ(traces.lines[0].text, " key: 0x0000002a");
    EXPECT_EQ(traces.lines[0].function, "initIterStateFromKey");
}

// --- invariants

using IterationDeathTest = Iteration;

TEST_F(IterationDeathTest, TheEndCannotBeRead) {
    EXPECT_DEATH(static_cast<void>(*table->entryIteratorConst()), "Assertion `iter_' failed");
}

TEST_F(IterationDeathTest, TheEndCannotBeStepped) {
    auto iterator = table->entryIteratorConst();
    EXPECT_DEATH(++iterator, "Assertion `iter_' failed");
    Iterator none;
    EXPECT_DEATH(++none, "Assertion `iter_' failed");
}

TEST_F(IterationDeathTest, AStateIsNeverInBothPhases) {
    auto const state = table->initIterState();
    state->state().inTblCfgIs(true);
    EXPECT_DEATH(state->maybeUpdateCurrentEntry(),
                 "Assertion `!iterState_->state\\(\\)\\.inTblCfg\\(\\)' failed");
}

} // namespace
} // namespace LoamSystemAcl
