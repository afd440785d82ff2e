#include "TableInUse.h"

#include <OrderedTable/OrderedSwTableSweep.h>

#include <gmock/gmock.h>

#include <string>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// What the table publishes while it lives: the field, and the key or the former value.
struct Published {
    Ombra::FieldId field;
    unsigned what;

    friend bool operator==(Published const&, Published const&) = default;
};

class MarkSweep : public TableInUse {
  protected:
    using Accessor = Asic::OrderedSwTableAccessor<Table>;

    static constexpr Ombra::FieldId inMarkingState{0x320};
    static constexpr Ombra::FieldId markedKey{0x31f};

    // Follows the two attributes of marking from now on.
    Ombra::Subscription follow() {
        return table->publisher()->subscribe([this](Ombra::Change const& change) {
            if (change.fieldId == inMarkingState) {
                published.push_back({change.fieldId, *static_cast<bool const*>(change.former)});
            } else if (change.fieldId == markedKey) {
                auto const& key = *static_cast<Key const*>(change.key);
                EXPECT_TRUE(change.keyIsEq(&key, change.key));
                published.push_back({change.fieldId, key.number()});
            }
        });
    }

    Numbers marked() const {
        Numbers result;
        for (Table::MarkedKey::IteratorConst i{table->markedKeyColl()}; i; ++i) {
            result.push_back(i->fwkKey().number());
        }
        std::ranges::sort(result);
        return result;
    }
    Numbers visible() const {
        auto result = rest(table->entryIteratorConst());
        std::ranges::sort(result);
        return result;
    }
    std::uint32_t sweepCount() { return Accessor{table.get()}.sweep(); }

    Asic::EntryFlags flagsOfTheNextCommit() const {
        return agent.group()->groupResolver()->headOf(typeid(Family::ResolverEntry))->flags();
    }

    std::vector<Published> published;
};

// --- the table of states

// The subscriber is told of the write before it is queued.
TEST_F(MarkSweep, AWriteWhoseSubscriberSweepsIsNoneOfTheMarkingPhase) {
    table->mark();
    auto const subscription = table->publisher()->subscribe([this](Ombra::Change const& change) {
        if (change.fieldId == Table::Field::transientAddEntry) {
            table->sweep();
        }
    });
    write(1);
    EXPECT_EQ(flagsOfTheNextCommit(), Asic::EntryFlags::none);
}

TEST_F(MarkSweep, MarkOpensThePhaseAndPublishesIt) {
    auto const subscription = follow();
    table->mark();
    EXPECT_TRUE(table->inMarkingState());
    EXPECT_THAT(published, ElementsAre(Published{inMarkingState, false}));
}

TEST_F(MarkSweep, ASecondMarkChangesNothing) {
    table->mark();
    write(1);
    auto const subscription = follow();
    table->mark();
    EXPECT_TRUE(table->inMarkingState());
    EXPECT_THAT(marked(), ElementsAre(1));
    EXPECT_THAT(published, IsEmpty());
}

TEST_F(MarkSweep, MarkDoesNotTouchTheMarkedKeys) {
    table->markedKeyIs(Key{77});
    table->mark();
    EXPECT_THAT(marked(), ElementsAre(77));
}

TEST_F(MarkSweep, AWriteInThePhaseMarksItsKeyAndMaySuppress) {
    table->mark();
    auto const subscription = follow();
    write(1);
    write(1, 2);
    EXPECT_THAT(marked(), ElementsAre(1));
    EXPECT_THAT(published, ElementsAre(Published{markedKey, 1}));
    EXPECT_EQ(flagsOfTheNextCommit(), Asic::EntryFlags::flagSuppressIdenticalWrites);
}

TEST_F(MarkSweep, AWriteOutsideThePhaseNeitherMarksNorSuppresses) {
    write(1);
    EXPECT_THAT(marked(), IsEmpty());
    EXPECT_EQ(flagsOfTheNextCommit(), Asic::EntryFlags::none);
}

TEST_F(MarkSweep, SweepClosesThePhaseThenForgetsTheMarks) {
    table->mark();
    write(1);
    write(2);
    auto const subscription = follow();
    table->sweep();
    EXPECT_FALSE(table->inMarkingState());
    EXPECT_THAT(marked(), IsEmpty());
    ASSERT_EQ(published.size(), 3U);
    EXPECT_EQ(published[0], (Published{inMarkingState, true}));
    EXPECT_THAT((Numbers{published[1].what, published[2].what}),
                testing::UnorderedElementsAre(1, 2));
}

TEST_F(MarkSweep, SweepWithoutMarkDoesNothingButTell) {
    committed({1, 2});
    table->markedKeyIs(Key{77});
    auto const subscription = follow();
    testing_support::TraceCapture traces;
    table->sweep();
    EXPECT_EQ(traces.count(6, "Swept 0 entries"), 1U);
    EXPECT_THAT(marked(), ElementsAre(77));
    EXPECT_THAT(published, IsEmpty());
    EXPECT_THAT(visible(), ElementsAre(1, 2));
    EXPECT_EQ(table->transientRemoveEntrys(), 0U);
}

// --- what a sweep removes

TEST_F(MarkSweep, WithoutAWriteInThePhaseEveryVisibleEntryGoes) {
    committed({1, 2, 3});
    write(4);
    table->mark();
    EXPECT_EQ(sweepCount(), 4U);
    EXPECT_THAT(visible(), IsEmpty());
    commitAll();
    acknowledge();
    EXPECT_EQ(records().memberCount(), 0U);
}

TEST_F(MarkSweep, WithAllEntriesWrittenAgainNothingGoes) {
    committed({1, 2, 3});
    table->mark();
    for (unsigned const number : {1U, 2U, 3U}) {
        write(number);
    }
    commitAll();
    EXPECT_EQ(sweepCount(), 0U);
    EXPECT_THAT(visible(), ElementsAre(1, 2, 3));
    EXPECT_THAT(marked(), IsEmpty());
    EXPECT_EQ(table->stats()->suppressedWriteCnt(), 3U);
}

TEST_F(MarkSweep, OnlyWhatWasNotWrittenAgainGoes) {
    committed({1, 2, 3, 4, 5});
    table->mark();
    write(2);
    write(4, 9);
    commitAll();
    EXPECT_EQ(sweepCount(), 3U);
    EXPECT_THAT(visible(), ElementsAre(2, 4));
}

TEST_F(MarkSweep, AKeyFirstWrittenInThePhaseIsPendingAndMarkedAndStays) {
    committed({1});
    table->mark();
    write(50);
    EXPECT_TRUE(table->transientAddEntryHas(Key{50}));
    EXPECT_TRUE(table->markedKeyHas(Key{50}));
    EXPECT_EQ(sweepCount(), 1U);
    EXPECT_THAT(visible(), ElementsAre(50));
}

TEST_F(MarkSweep, PendingWritesFromBeforeThePhaseAreAllRemovedDuringTheWalkOverThem) {
    for (unsigned number = 1; number <= 200; ++number) {
        write(number);
    }
    table->mark();
    EXPECT_EQ(sweepCount(), 200U);
    EXPECT_EQ(table->transientAddEntrys(), 0U);
    EXPECT_EQ(table->transientRemoveEntrys(), 200U);
}

TEST_F(MarkSweep, TheRemovesAreAsynchronous) {
    committed({1, 2});
    auto const logged = tableVersion();
    table->mark();
    EXPECT_EQ(sweepCount(), 2U);
    EXPECT_EQ(tableVersion(), logged);
    EXPECT_TRUE(table->transientRemoveEntryHas(Key{1}));
    EXPECT_TRUE(recordHas(1));
    EXPECT_EQ(table->stats()->entryRemoveCnt(), 2U);
    EXPECT_EQ(commitAll(), 2U);
    EXPECT_EQ(tableVersion(), logged + 2);
}

TEST_F(MarkSweep, TheCountIsOfRemovesAskedForAndNotOfRemovesThatFindAnEntry) {
    auto const failed =
        Ombra::ptrIs<Table::EntryHandle>(Asic::EntryVersion::first(), Key{9}, table.get());
    failed->entryStateIs(State::entryFailed);
    auto const refused = table->entryWrite(Key{1}, entryOf(1), failed);
    commitAll();
    ASSERT_EQ(refused->entryState(), State::entryFailed);
    ASSERT_TRUE(table->entryHas(Key{1})); // visible, and never in the log
    table->mark();
    EXPECT_EQ(sweepCount(), 1U);
    commitAll();
    EXPECT_EQ(tableVersion(), 0U);
    EXPECT_FALSE(table->entryHas(Key{1}));
}

TEST_F(MarkSweep, ARemoveInThePhaseDoesNotUnmarkItsKey) {
    table->mark();
    write(1);
    remove(1);
    EXPECT_THAT(marked(), ElementsAre(1));
    EXPECT_EQ(agent.group()->groupResolver()->queued(), 2U);
}

TEST_F(MarkSweep, ARemoveInThePhaseNeitherMarksNorSuppresses) {
    committed({1});
    table->mark();
    remove(1);
    EXPECT_THAT(marked(), IsEmpty());
    EXPECT_EQ(flagsOfTheNextCommit(), Asic::EntryFlags::flagEntryDeleted);
}

TEST_F(MarkSweep, AKeyWrittenAndThenRemovedInThePhaseIsNotRemovedTwice) {
    committed({1});
    table->mark();
    write(1);
    remove(1);
    EXPECT_EQ(sweepCount(), 0U);
    EXPECT_EQ(table->stats()->entryRemoveCnt(), 1U);
}

TEST_F(MarkSweep, ARemoveAllInThePhaseLeavesTheMarks) {
    table->mark();
    write(1);
    table->entryRemoveAll(nullptr);
    EXPECT_THAT(marked(), ElementsAre(1));
    EXPECT_TRUE(table->inMarkingState());
}

TEST_F(MarkSweep, DuringARemoveAllTheWalkCoversThePendingWritesAlone) {
    committed({1, 2});
    table->entryRemoveAll(nullptr);
    write(3);
    table->mark();
    write(4);
    EXPECT_EQ(sweepCount(), 1U);
    EXPECT_TRUE(table->transientRemoveEntryHas(Key{3}));
    EXPECT_EQ(table->transientRemoveEntrys(), 1U);
}

TEST_F(MarkSweep, AnEntryEqualToTheDefaultEntryEndsTheWalk) {
    committed({1, 2, 3});
    table->mark();
    table->entryWrite(Key{}, Entry{}, nullptr); // pending, and so the first of the walk
    EXPECT_EQ(sweepCount(), 0U);
    EXPECT_THAT(visible(), ElementsAre(0, 1, 2, 3));
    EXPECT_FALSE(table->inMarkingState());
    EXPECT_THAT(marked(), IsEmpty());
}

TEST_F(MarkSweep, ACommittedEntryEqualToTheDefaultEntryEndsTheWalkWhereItStands) {
    table->entryWrite(Key{}, Entry{}, nullptr);
    committed({1, 2, 3, 4, 5, 6, 7, 8});
    auto const order = recordOrder();
    auto const at = std::ranges::find(order, 0U) - order.begin();
    table->mark();
    EXPECT_EQ(sweepCount(), static_cast<std::uint32_t>(at));
    auto left = from(order, 0);
    std::ranges::sort(left);
    EXPECT_EQ(visible(), left);
}

TEST_F(MarkSweep, AnEntryOfTheZeroKeyWithAnotherValueDoesNotEndTheWalk) {
    committed({0, 1, 2, 3});
    table->mark();
    EXPECT_EQ(sweepCount(), 4U);
}

// --- what the phase means for the commits

TEST_F(MarkSweep, AWriteOfThePhaseThatCommitsAfterTheSweepIsStillSuppressed) {
    committed({1});
    auto const logged = tableVersion();
    table->mark();
    write(1);
    table->sweep();
    commitAll();
    EXPECT_EQ(tableVersion(), logged);
    EXPECT_EQ(table->stats()->suppressedWriteCnt(), 1U);
}

TEST_F(MarkSweep, AWriteAfterTheSweepIsLoggedThoughIdentical) {
    committed({1});
    auto const logged = tableVersion();
    table->mark();
    write(1);
    table->sweep();
    write(1);
    commitAll();
    EXPECT_EQ(tableVersion(), logged + 1);
}

TEST_F(MarkSweep, AWriteOfAnotherValueInThePhaseIsLogged) {
    committed({1});
    auto const logged = tableVersion();
    table->mark();
    write(1, 9);
    commitAll();
    EXPECT_EQ(tableVersion(), logged + 1);
    EXPECT_EQ(table->stats()->suppressCheckDiffCnt(), 1U);
}

// --- traces, registration, attributes

TEST_F(MarkSweep, TracesMarkAndSweep) {
    committed({1, 2});
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable"};
    table->mark();
    ASSERT_EQ(traces.lines.size(), 1U);
    EXPECT_EQ(traces.lines[0].level, 8U);
    EXPECT_EQ(traces.lines[0].text, "");
    EXPECT_EQ(traces.lines[0].function, "mark");
    traces.lines.clear();
    table->sweep();
    ASSERT_FALSE(traces.lines.empty());
    EXPECT_EQ(traces.lines.front().text, "");
    EXPECT_EQ(traces.lines.front().level, 8U);
    EXPECT_EQ(traces.lines.front().function, "sweep");
    EXPECT_EQ(traces.lines.front().className, "OrderedSwTableAccessor");
    EXPECT_EQ(traces.lines.back().text, "Swept 2 entries");
    EXPECT_EQ(traces.lines.back().level, 6U);
    EXPECT_EQ(traces.lines.back().function, "sweep");
}

TEST_F(MarkSweep, ATableStatesTheOptionsItWasMadeWith) {
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntrySwTable"};
    agent.makeSwTable<Family>(5);
    ASSERT_FALSE(traces.lines.empty());
    EXPECT_EQ(traces.lines.front().level, 8U);
    EXPECT_EQ(traces.lines.front().text, "doesMarkSweep: True hwErrorHandling: False");
    EXPECT_EQ(traces.lines.front().function, "handleInitialized");
}

TEST_F(MarkSweep, TheGroupSweepsEveryTableThatWasMade) {
    auto const other = agent.makeSwTable<Family>(1);
    table->mark();
    other->mark();
    agent.group()->sweepSwTables();
    EXPECT_FALSE(table->inMarkingState());
    EXPECT_FALSE(other->inMarkingState());
}

TEST_F(MarkSweep, AMarkedKeyIsPublishedWhenNewAndWhenItGoes) {
    auto const subscription = follow();
    table->markedKeyIs(Key{1});
    table->markedKeyIs(Key{1});
    EXPECT_TRUE(table->markedKeyHas(Key{1}));
    EXPECT_TRUE(table->markedKeyDel(Key{1}));
    EXPECT_FALSE(table->markedKeyDel(Key{1}));
    EXPECT_FALSE(table->markedKeyHas(Key{1}));
    EXPECT_THAT(published, ElementsAre(Published{markedKey, 1}, Published{markedKey, 1}));
}

TEST_F(MarkSweep, AllMarkedKeysGoWithOrWithoutAListener) {
    table->markedKeyIs(Key{1});
    table->markedKeyIs(Key{2});
    table->markedKeyDelAll();
    EXPECT_THAT(marked(), IsEmpty());
    table->markedKeyIs(Key{1});
    table->markedKeyIs(Key{2});
    auto const subscription = follow();
    table->markedKeyDelAll();
    EXPECT_THAT(marked(), IsEmpty());
    EXPECT_EQ(published.size(), 2U);
}

TEST_F(MarkSweep, TheStateIsPublishedOnlyOnAChange) {
    auto const subscription = follow();
    table->inMarkingStateIs(false);
    table->inMarkingStateIs(true);
    table->inMarkingStateIs(true);
    table->inMarkingStateIs(false);
    EXPECT_THAT(published,
                ElementsAre(Published{inMarkingState, false}, Published{inMarkingState, true}));
}

} // namespace
} // namespace LoamSystemAcl
