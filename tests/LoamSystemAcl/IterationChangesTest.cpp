#include "IterationFixture.h"

#include <gmock/gmock.h>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;

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
    EXPECT_EQ(state->state().bits(), 16); // bookmarkValid and nothing else
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

} // namespace
} // namespace LoamSystemAcl
