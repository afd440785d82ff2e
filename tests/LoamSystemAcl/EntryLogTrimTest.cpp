#include "EntryLogFixture.h"

#include <algorithm>
#include <string>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

class EntryLogTrim : public MountedEntryLogTest {
  public:
    // Brings the counter to `version`, by writes of a key that no test looks at.
    void fillTo(LogVersion version) {
        while (log->tableVersion() < version) {
            write(Key{0xffff}, 1);
        }
    }

    std::vector<LogVersion> versionsInLog() {
        std::vector<LogVersion> versions;
        for (Family::EntryLogSlate::Map::IteratorConst i{&changes()}; i; ++i) {
            versions.push_back(i->version);
        }
        std::ranges::sort(versions);
        return versions;
    }
};

// Each of these holds in a process that has trimmed before, which steps from version to version,
// and in one that has not, which walks the log.
class EntryLogTrimByEitherWay : public EntryLogTrim, public testing::WithParamInterface<bool> {
  public:
    EntryLogTrimByEitherWay() {
        if (GetParam()) {
            log->logCleanedVersionIs(1);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Trim, EntryLogTrimByEitherWay, testing::Bool(),
                         [](auto const& param) { return param.param ? "Stepping" : "Walking"; });

TEST_P(EntryLogTrimByEitherWay, RemovesTheLogRecordsUpToTheVersionAndNoOther) {
    fillTo(10);
    log->cleanupEntryLog(6);
    EXPECT_EQ(versionsInLog(), (std::vector<LogVersion>{7, 8, 9, 10}));
    EXPECT_EQ(log->logCleanedVersion(), 6U);
    EXPECT_EQ(log->tableVersion(), 10U);
    EXPECT_EQ(scratchpad(), 10U);
}

TEST_P(EntryLogTrimByEitherWay, AKeyDeletedAndWrittenAgainStaysLive) {
    fillTo(3);
    write(Key{1}, 1);
    ASSERT_EQ(remove(Key{1}), 5U);
    fillTo(6);
    ASSERT_EQ(write(Key{1}, 2), 7U);
    log->cleanupEntryLog(6);
    EXPECT_EQ(versionsInLog(), std::vector<LogVersion>{7});
    ASSERT_TRUE(stored(Key{1}));
    EXPECT_FALSE(stored(Key{1})->inDeletion());
    EXPECT_EQ(valueOf(log->entry(Key{1}, 0)), 2U);
}

TEST_P(EntryLogTrimByEitherWay, AKeyDeletedTwiceGoesWithItsSecondDelete) {
    fillTo(3);
    write(Key{1}, 1);
    ASSERT_EQ(remove(Key{1}), 5U);
    fillTo(6);
    ASSERT_EQ(remove(Key{1}), 7U);
    log->cleanupEntryLog(6);
    ASSERT_TRUE(stored(Key{1}));
    EXPECT_TRUE(stored(Key{1})->inDeletion());
    log->cleanupEntryLog(7);
    EXPECT_FALSE(stored(Key{1}));
}

TEST_P(EntryLogTrimByEitherWay, ATableDeleteTakesWhatItMarkedAndOlderDeletesTakeTheirOwn) {
    write(Key{1}, 1);
    write(Key{2}, 2);
    write(Key{3}, 3);
    fillTo(7);
    ASSERT_EQ(remove(Key{1}), 8U);
    ASSERT_EQ(removeAll(), 9U);
    log->cleanupEntryLog(8);
    EXPECT_FALSE(stored(Key{1}));
    EXPECT_TRUE(stored(Key{2}));
    TraceCapture const trace{logHandle};
    log->cleanupEntryLog(9);
    EXPECT_EQ(config().memberCount(), 0U);
    EXPECT_EQ(trace.texts(3), std::vector<std::string>{" deleteing all entries for unitId: 0"});
}

TEST_P(EntryLogTrimByEitherWay, ATableDeletesTrimLeavesWhatWasWrittenSinceAndOtherUnits) {
    log->mountSlateConfig(1, 0);
    write(Key{1}, 1);
    write(Key{1}, 1, false, 1);
    write(Key{2}, 2);
    removeAll();
    write(Key{2}, 3);
    log->cleanupEntryLog(log->tableVersion());
    EXPECT_FALSE(stored(Key{1}));
    EXPECT_TRUE(log->entryHas(Key{2}, 0));
    EXPECT_TRUE(log->entryHas(Key{1}, 1));
}

TEST_P(EntryLogTrimByEitherWay, ATableDeletesTrimLeavesWhatWasDeletedSince) {
    write(Key{1}, 1);
    write(Key{2}, 2);
    ASSERT_EQ(removeAll(), 3U);
    ASSERT_EQ(remove(Key{1}), 4U);
    log->cleanupEntryLog(3);
    ASSERT_TRUE(stored(Key{1}));
    EXPECT_EQ(stored(Key{1})->logVersion(), 4U);
    EXPECT_FALSE(stored(Key{2}));
    log->cleanupEntryLog(4);
    EXPECT_FALSE(stored(Key{1}));
}

TEST_P(EntryLogTrimByEitherWay, AWriteRecordsTrimChangesNothingInTheConfigurationTable) {
    write(Key{1}, 1);
    write(Key{2}, 2);
    auto const first = *stored(Key{1});
    log->cleanupEntryLog(2);
    EXPECT_EQ(config().memberCount(), 2U);
    auto const now = *stored(Key{1});
    EXPECT_TRUE(ConfigSlateEntry::isEq(&first, &now));
}

TEST_P(EntryLogTrimByEitherWay, ADeleteOfAUnitWithoutAConfigurationTableIsToldAndDropped) {
    write(Key{1}, 1);
    remove(Key{1});
    auto const slate = log->tableConfigSlateDel(0);
    TraceCapture const trace{logHandle};
    log->cleanupEntryLog(2);
    EXPECT_EQ(changes().memberCount(), 0U);
    EXPECT_TRUE(trace.has(3, " configSlate not found for unitId: 0"));
    log->tableConfigSlateIs(0, slate);
    EXPECT_TRUE(stored(Key{1}));
}

TEST_P(EntryLogTrimByEitherWay, AWriteToAUnitWithoutAConfigurationTableIsToldToo) {
    write(Key{1}, 1);
    log->tableConfigSlateDel(0);
    TraceCapture const trace{logHandle};
    log->cleanupEntryLog(log->tableVersion());
    EXPECT_EQ(trace.count(3, " configSlate not found for unitId: 0"), trace.texts(3).size());
    EXPECT_FALSE(trace.texts(3).empty());
    EXPECT_EQ(changes().memberCount(), 0U);
}

TEST_P(EntryLogTrimByEitherWay, TheVersionsOfTheLogNeedNotBeWithoutGaps) {
    fillTo(10);
    log->tableEntryLog()->entryLogConfigDel(4);
    log->tableEntryLog()->entryLogConfigDel(6);
    log->cleanupEntryLog(9);
    EXPECT_EQ(versionsInLog(), std::vector<LogVersion>{10});
}

TEST_P(EntryLogTrimByEitherWay, TracesTheVersion) {
    TraceCapture const trace{logHandle};
    log->cleanupEntryLog(1);
    ASSERT_FALSE(trace.lines.empty());
    EXPECT_EQ(trace.lines[0],
              (TraceCapture::Line{logHandle, 8, logHandle, "cleanupEntryLog", " version 1"}));
}

TEST_F(EntryLogTrim, AFreshProcessThatTrimsToZeroRemovesNothingAndWalksAgainTheNextTime) {
    fillTo(5);
    log->cleanupEntryLog(0);
    EXPECT_EQ(versionsInLog().size(), 5U);
    EXPECT_EQ(log->logCleanedVersion(), 0U);
    log->cleanupEntryLog(3); // a walk: stepping would begin at 0 and find the same, but see below
    EXPECT_EQ(versionsInLog(), (std::vector<LogVersion>{4, 5}));
}

TEST_F(EntryLogTrim, TheFirstTrimOfAProcessFindsRecordsWhereverTheyStart) {
    for (LogVersion const version : {500000U, 3U, 1000000U}) {
        loggedIs(LogSlateEntry{version, Asic::EntryFlags::none, 0, logEntryOf(Key{1}, 1)});
    }
    log->cleanupEntryLog(500000);
    EXPECT_EQ(versionsInLog(), std::vector<LogVersion>{1000000});
}

TEST_F(EntryLogTrim, TheSameVersionAgainChangesNothing) {
    fillTo(5);
    log->cleanupEntryLog(3);
    loggedIs(LogSlateEntry{2, Asic::EntryFlags::none, 0, logEntryOf(Key{1}, 1)});
    log->cleanupEntryLog(3);
    EXPECT_EQ(versionsInLog(), (std::vector<LogVersion>{2, 4, 5})) << "only 3 was visited";
    EXPECT_EQ(log->logCleanedVersion(), 3U);
}

TEST_F(EntryLogTrim, ALowerVersionRemovesNothingAndLowersWhereTheNextTrimStarts) {
    fillTo(8);
    log->cleanupEntryLog(6);
    loggedIs(LogSlateEntry{3, Asic::EntryFlags::none, 0, logEntryOf(Key{1}, 1)});
    loggedIs(LogSlateEntry{4, Asic::EntryFlags::none, 0, logEntryOf(Key{1}, 1)});
    log->cleanupEntryLog(4);
    EXPECT_EQ(versionsInLog(), (std::vector<LogVersion>{3, 4, 7, 8}));
    EXPECT_EQ(log->logCleanedVersion(), 4U);
    log->cleanupEntryLog(7);
    EXPECT_EQ(versionsInLog(), (std::vector<LogVersion>{3, 8})) << "it starts at 4";
}

TEST_F(EntryLogTrim, AnAcknowledgementFarAboveTheLogIsTakenAtItsWordAndCostsNothing) {
    fillTo(3);
    log->cleanupEntryLog(1);
    log->cleanupEntryLog(~LogVersion{0});
    EXPECT_EQ(changes().memberCount(), 0U);
    EXPECT_EQ(log->logCleanedVersion(), ~LogVersion{0});
    EXPECT_EQ(log->tableVersion(), 3U);
}

TEST_F(EntryLogTrim, ARecordThatACrashLeftAboveTheCounterIsTrimmedWithItsVersion) {
    fillTo(3);
    log->cleanupEntryLog(1);
    loggedIs(LogSlateEntry{4, Asic::EntryFlags::none, 0, logEntryOf(Key{1}, 1)});
    log->cleanupEntryLog(4);
    EXPECT_EQ(changes().memberCount(), 0U);
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
