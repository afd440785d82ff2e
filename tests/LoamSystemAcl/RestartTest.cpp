#include "TableInUse.h"

#include <gmock/gmock.h>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;

// An agent that dies and comes up again.
class Restart : public TableInUse {
  protected:
    // The table as the restarted agent finds it; it marks.
    void restart(bool reset = false) {
        table = nullptr;
        agent.restart();
        table = agent.makeSwTable<Family>(0, reset);
    }
    Numbers visible() const {
        auto result = rest(table->entryIteratorConst());
        std::ranges::sort(result);
        return result;
    }
    bool isSweepable() const {
        auto const& sweepable = agent.group()->sweepableSwTables();
        return std::ranges::find(sweepable, table) != sweepable.end();
    }
};

TEST_F(Restart, FindsTheEntriesAndMarks) {
    committed({1, 2, 3}, 7);
    restart();
    EXPECT_TRUE(table->inMarkingState());
    EXPECT_EQ(table->markedKeyColl().size(), 0U);
    EXPECT_EQ(table->entrys(), 3U);
    EXPECT_EQ(table->entryRead(Key{2}), entryOf(2, 7));
    EXPECT_EQ(tableVersion(), 3U);
    EXPECT_FALSE(table->hasPendingHwWrites());
}

TEST_F(Restart, WhatWasOnlyPendingIsGone) {
    committed({1});
    write(2);
    remove(1);
    restart();
    EXPECT_THAT(visible(), ElementsAre(1));
}

TEST_F(Restart, ReplaySuppressesWhatIsTheSameAndLogsWhatIsNot) {
    committed({1, 2, 3});
    restart();
    auto const same = write(1);
    auto const changed = write(2, 9);
    auto const added = write(4);
    commitAll();
    table->sweep();
    commitAll();
    EXPECT_EQ(same->logVersion(), 1U);
    EXPECT_EQ(same->entryState(), State::entryApplied);
    EXPECT_EQ(changed->logVersion(), 4U);
    EXPECT_EQ(added->logVersion(), 5U);
    EXPECT_EQ(table->stats()->suppressedWriteCnt(), 1U);
    EXPECT_EQ(tableVersion(), 6U); // and the delete of 3
    EXPECT_TRUE(record(3).inDeletion());
    EXPECT_THAT(visible(), ElementsAre(1, 2, 4));
}

TEST_F(Restart, WithResetBeginsEmptyAndDoesNotMark) {
    committed({1, 2});
    restart(true);
    EXPECT_FALSE(table->inMarkingState());
    EXPECT_EQ(table->entrys(), 0U);
    EXPECT_EQ(tableVersion(), 3U);
    EXPECT_TRUE(isSweepable());
}

TEST_F(Restart, WithResetDoesNotMarkHoweverRestoredTablesAreMarked) {
    for (bool const skipMark : {false, true}) {
        table = nullptr;
        agent.restart();
        agent.intf()->restoredTablesSkipMarkIs(skipMark);
        table = agent.makeSwTable<Family>(0, true);
        EXPECT_FALSE(table->inMarkingState());
        EXPECT_TRUE(isSweepable());
    }
}

TEST_F(Restart, ThatSkipsMarkingKeepsTheEntriesAndSweepsNothing) {
    committed({1, 2});
    table = nullptr;
    agent.restart();
    agent.intf()->restoredTablesSkipMarkIs(true);
    table = agent.makeSwTable<Family>(0, false);
    EXPECT_FALSE(table->inMarkingState());
    EXPECT_TRUE(isSweepable());
    table->sweep();
    EXPECT_THAT(visible(), ElementsAre(1, 2));
}

TEST_F(Restart, AFirstStartWithoutResetMarksToo) {
    auto const other = agent.makeSwTable<Family>(7, false);
    EXPECT_TRUE(other->inMarkingState());
    EXPECT_EQ(other->entrys(), 0U);
}

TEST_F(Restart, ALaterCallForTheUnitChangesNoMarkingState) {
    committed({1});
    restart();
    EXPECT_EQ(agent.makeSwTable<Family>(0, false), table);
    EXPECT_TRUE(table->inMarkingState());
    EXPECT_EQ(agent.makeSwTable<Family>(0, true), table);
    EXPECT_TRUE(table->inMarkingState());
    EXPECT_EQ(table->entrys(), 0U);
    table->sweep();
    agent.makeSwTable<Family>(0, false);
    EXPECT_FALSE(table->inMarkingState());
}

TEST_F(Restart, AnIterationAndASweepSeeNoRecordInDeletion) {
    committed({1, 2, 3});
    remove(2);
    commitAll(); // not acknowledged
    restart();
    ASSERT_TRUE(recordHas(2));
    EXPECT_THAT(visible(), ElementsAre(1, 3));
    testing_support::TraceCapture traces{"*", 1U << 6};
    table->sweep();
    EXPECT_TRUE(traces.has(6, "Swept 2 entries"));
}

TEST_F(Restart, AReplayedKeyInDeletionIsWrittenAnew) {
    committed({1});
    remove(1);
    commitAll();
    restart();
    write(1);
    commitAll();
    EXPECT_EQ(tableVersion(), 3U);
    EXPECT_EQ(table->stats()->suppressedWriteCnt(), 0U);
    EXPECT_TRUE(table->entryHas(Key{1}));
}

// Counted by the traces of all its steps.
TEST_F(Restart, ASweepTakesStepsInProportionToTheVisibleEntries) {
    auto const steps = [this](unsigned first, unsigned count) {
        for (unsigned number = first; number < first + count; ++number) {
            write(number);
        }
        commitAll();
        acknowledge();
        restart();
        testing_support::TraceCapture traces;
        table->sweep();
        commitAll();
        acknowledge();
        return traces.lines.size();
    };
    auto const ofHundred = steps(1, 100);
    auto const ofNone = steps(1, 0);
    auto const ofThousand = steps(1000, 1000);
    EXPECT_EQ((ofThousand - ofNone) / 1000, (ofHundred - ofNone) / 100);
}

// --- at full size

class RestartOf65000 : public Restart {
  protected:
    static constexpr unsigned entries = 65000;

    RestartOf65000() {
        for (unsigned number = 1; number <= entries; ++number) {
            write(number, number);
        }
        commitAll();
        acknowledge();
    }
    void replay(unsigned upTo) {
        for (unsigned number = 1; number <= upTo; ++number) {
            write(number, number);
        }
        commitAll();
    }
};

TEST_F(RestartOf65000, ThatChangesNothingWritesNothing) {
    ASSERT_EQ(tableVersion(), entries);
    restart();
    ASSERT_EQ(table->entrys(), entries);
    testing_support::TraceCapture traces{"*", 1U << 6};
    replay(entries);
    table->sweep();
    EXPECT_EQ(agent.group()->groupResolver()->queued(), 0U);
    EXPECT_TRUE(traces.has(6, "Swept 0 entries"));
    EXPECT_EQ(logRecords(), 0U);
    EXPECT_EQ(tableVersion(), entries);
    EXPECT_EQ(agent.group()->announcements().announcedVersion(table->tableId()), entries);
    EXPECT_FALSE(agent.group()->announcements().takeAnnounced());
    EXPECT_EQ(table->stats()->suppressedWriteCnt(), entries);
    EXPECT_EQ(table->stats()->suppressCheckDiffCnt(), 0U);
    EXPECT_EQ(table->stats()->entryRemoveCnt(), 0U);
    EXPECT_EQ(table->entrys(), entries);
    EXPECT_FALSE(table->hasPendingHwWrites());
    EXPECT_EQ(table->markedKeyColl().size(), 0U);
    EXPECT_EQ(table->entryHandleInLogFront(), nullptr);
}

TEST_F(RestartOf65000, SweepsWhatWasNotReplayed) {
    restart();
    constexpr unsigned kept = 64000;
    replay(kept);
    testing_support::TraceCapture traces{"*", 1U << 6};
    table->sweep();
    EXPECT_TRUE(traces.has(6, "Swept 1000 entries"));
    EXPECT_EQ(tableVersion(), entries); // the removes are still to commit
    commitAll();
    EXPECT_EQ(logRecords(), entries - kept);
    EXPECT_EQ(tableVersion(), entries + (entries - kept));
    acknowledge();
    EXPECT_EQ(records().memberCount(), kept);
    EXPECT_TRUE(table->entryHas(Key{kept}));
    EXPECT_FALSE(table->entryHas(Key{kept + 1}));
}

} // namespace
} // namespace LoamSystemAcl
