#include "EntryLogFixture.h"

// What a crash between two stores leaves: the half-done change is made by the stores themselves.
// TwoProcessTest and KilledTest do the same to a process that is killed.
namespace LoamSystemAcl::entry_log_test {
namespace {

class EntryLogCrash : public MountedEntryLogTest {
  public:
    // The agent dies and comes up again; unit 0 is mounted as it was.
    void dieAndComeUp() {
        restart();
        log->mountSlateConfig(0, 0);
    }
};

TEST_F(EntryLogCrash, AfterTheVersionWasTakenTheCounterResumesAtThePublishedValue) {
    write(Key{1}, 1);
    EXPECT_EQ(log->tableVersionInc(1), 2U);
    dieAndComeUp();
    EXPECT_EQ(log->tableVersion(), 1U);
    EXPECT_EQ(write(Key{2}, 2), 2U);
}

TEST_F(EntryLogCrash, AfterTheConfigurationTableARecordStandsAboveTheScratchpadWithoutALogRecord) {
    write(Key{1}, 1);
    storedIs(ConfigSlateEntry{logEntryOf(Key{1}, 9), ResourceKeys{}, 2, false});
    dieAndComeUp();
    EXPECT_EQ(log->tableVersion(), 1U);
    EXPECT_EQ(scratchpad(), 1U);
    EXPECT_EQ(log->entryLogVersion(Key{1}, 0), 2U);
    EXPECT_EQ(valueOf(log->entry(Key{1}, 0)), 9U);
    EXPECT_FALSE(logged(2));
    EXPECT_EQ(announced(), 1U);
    EXPECT_EQ(write(Key{3}, 3), 2U); // nothing is repaired: the version is taken by the next change
    EXPECT_EQ(logged(2)->logEntry, logEntryOf(Key{3}, 3));
}

TEST_F(EntryLogCrash, AfterTheChangeLogTheNextChangeTakesTheVersionAgainAndReplacesTheRecord) {
    write(Key{1}, 1);
    storedIs(ConfigSlateEntry{logEntryOf(Key{2}, 9), ResourceKeys{}, 2, false});
    loggedIs(LogSlateEntry{2, Asic::EntryFlags::none, 0, logEntryOf(Key{2}, 9)});
    dieAndComeUp();
    EXPECT_EQ(log->tableVersion(), 1U);
    EXPECT_TRUE(logged(2));
    EXPECT_EQ(valueOf(log->entry(Key{2}, 0)), 9U);

    EXPECT_EQ(remove(Key{1}), 2U);
    EXPECT_EQ(changes().memberCount(), 2U);
    EXPECT_EQ(logged(2)->logFlags, Asic::EntryFlags::flagEntryDeleted);
    EXPECT_EQ(logged(2)->logEntry, logEntryOf(Key{1}, 1));
    EXPECT_EQ(scratchpad(), 2U);
}

TEST_F(EntryLogCrash, AfterTheScratchpadAllStoresAgree) {
    write(Key{1}, 1);
    storedIs(ConfigSlateEntry{logEntryOf(Key{2}, 9), ResourceKeys{}, 2, false});
    loggedIs(LogSlateEntry{2, Asic::EntryFlags::none, 0, logEntryOf(Key{2}, 9)});
    log->tableEntryLog()->control()->scratchpadIs(2);
    EXPECT_EQ(announced(), 1U);
    dieAndComeUp();
    EXPECT_EQ(log->tableVersion(), 2U);
    EXPECT_EQ(log->entryLogVersion(Key{2}, 0), 2U);
    EXPECT_TRUE(logged(2));
    EXPECT_EQ(announced(), 2U) << "the group hears of it at the next start";
    EXPECT_EQ(write(Key{3}, 3), 3U);
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
