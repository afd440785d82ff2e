#include "IterationFixture.h"

#include <gmock/gmock.h>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    auto const objects = [] {
        std::uint64_t made = 0;
        for (auto const& each : Zet::AllocTrackTypeInfo::dump()) {
            made += each.allocated;
        }
        return made;
    };
    auto const statesBefore = states();
    auto const objectsBefore = objects();
    EXPECT_EQ(rest(table->entryIteratorConst()).size(), 40U);
    EXPECT_EQ(states(), statesBefore + 1);
    EXPECT_EQ(objects(), objectsBefore + 1); // of whatever class, buckets of collections included
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

} // namespace
} // namespace LoamSystemAcl
