#include "EntryLogFixture.h"

#include <string>
#include <vector>

// The three changes of a table: entry written, entry deleted, all entries of a unit deleted.
namespace LoamSystemAcl::entry_log_test {
namespace {

class EntryLogWrite : public MountedEntryLogTest {};
using EntryLogWriteDeathTest = EntryLogWrite;

// --- entryIs

TEST_F(EntryLogWriteDeathTest, AWriteToAUnitThatWasNeverMountedAborts) {
    EXPECT_DEATH(
        write(Key{1}, 1, false, 5),
        "tableConfigSlateHas\\( unitId \\): Config slate for unitId:5 is not created yet!");
    EXPECT_DEATH(write(Key{1}, 1, false, 65535),
                 "Config slate for unitId:65535 is not created yet!");
}

TEST_F(EntryLogWriteDeathTest, AWriteToAUnitThatWasNeverMountedAbortsWithSuppressionToo) {
    EXPECT_DEATH(write(Key{1}, 1, true, 5), "Config slate for unitId:5 is not created yet!");
    EXPECT_DEATH(write(Key{1}, 1, true, 5), "\"tableConfigSlateHas\\( unitId \\)\" == nullptr");
}

TEST_F(EntryLogWriteDeathTest, ADeleteOnAUnitThatWasNeverMountedEndsTheProcess) {
    EXPECT_DEATH(remove(Key{1}, 5), "");
    EXPECT_DEATH(removeAll(5), "");
}

TEST_F(EntryLogWrite, AWriteReachesAllStoresAndTheGroup) {
    EXPECT_EQ(write(Key{9}, 5), 1U);

    ASSERT_TRUE(stored(Key{9}));
    EXPECT_EQ(stored(Key{9})->logEntry(), logEntryOf(Key{9}, 5));
    EXPECT_EQ(stored(Key{9})->logVersion(), 1U);
    EXPECT_FALSE(stored(Key{9})->inDeletion());
    ASSERT_TRUE(logged(1));
    EXPECT_EQ(LogVersion{logged(1)->version}, 1U);
    EXPECT_EQ(logged(1)->logFlags, Asic::EntryFlags::none);
    EXPECT_EQ(logged(1)->unitId, 0);
    EXPECT_EQ(logged(1)->logEntry, logEntryOf(Key{9}, 5));
    EXPECT_EQ(scratchpad(), 1U);
    EXPECT_EQ(announced(), 1U);
}

TEST_F(EntryLogWrite, TheUnitsOfATableShareItsVersionsAndItsLog) {
    log->mountSlateConfig(7, 0);
    EXPECT_EQ(write(Key{1}, 1, false, 0), 1U);
    EXPECT_EQ(write(Key{1}, 2, false, 7), 2U);
    EXPECT_EQ(logged(2)->unitId, 7);
    EXPECT_EQ(valueOf(stored(Key{1}, 0)->logEntry()), 1U);
    EXPECT_EQ(valueOf(stored(Key{1}, 7)->logEntry()), 2U);
}

TEST_F(EntryLogWrite, TheNeededPlacesOfAChangeTravelToTheGroup) {
    auto const needed = Ombra::ptrIs<Asic::NeededEntry>();
    Asic::SwTableId const other{0x08080403};
    needed->add(Asic::TableVersion{other, 12});
    log->entryIs(logEntryOf(Key{1}, 1), ResourceKeys{}, needed, 0, stats, false);
    log->entryDel(Key{1}, needed, 0);
    log->tableDel(needed, 0);

    auto const slate = Asic::mountSlate<Asic::AnnouncementSlate>(
        *agent.sharedMem(),
        Asic::Constants::announcementSlatePath(agent.canonicalGroup(), Constants::tableId),
        ZetSlate::ZetSlateType::writer);
    for (LogVersion version = 1; version <= 3; ++version) {
        bool found = false;
        Asic::NeededRecord const record = slate->map().lookup(version, &found, nullptr);
        ASSERT_TRUE(found) << version;
        ASSERT_EQ(record.count, 1U);
        EXPECT_EQ(record.places[0], (Asic::TableVersion{other, 12}));
    }
}

TEST_F(EntryLogWrite, AnIdenticalWriteWithSuppressionGivesTheStoredVersionAndChangesNothing) {
    ASSERT_EQ(write(Key{1}, 5), 1U);
    ASSERT_EQ(write(Key{2}, 5), 2U);
    TraceCapture const trace{logHandle};
    EXPECT_EQ(write(Key{1}, 5, true), 1U);

    EXPECT_EQ(log->tableVersion(), 2U);
    EXPECT_EQ(changes().memberCount(), 2U);
    EXPECT_EQ(scratchpad(), 2U);
    EXPECT_EQ(announced(), 2U);
    EXPECT_EQ(stats->suppressedWriteCnt(), 1U);
    EXPECT_EQ(stats->suppressCheckDiffCnt(), 0U);
    ASSERT_EQ(trace.lines.size(), 1U);
    EXPECT_EQ(trace.lines[0],
              (TraceCapture::Line{logHandle, 3, logHandle, "entryIs",
                                  "Suppressing identical write for key: 0x00000001"}));
}

TEST_F(EntryLogWrite, AnIdenticalWriteWithoutSuppressionTakesAVersionAndWritesBothStores) {
    ASSERT_EQ(write(Key{1}, 5), 1U);
    EXPECT_EQ(write(Key{1}, 5), 2U);
    EXPECT_EQ(stored(Key{1})->logVersion(), 2U);
    EXPECT_TRUE(logged(2));
    EXPECT_EQ(scratchpad(), 2U);
    EXPECT_EQ(stats->suppressedWriteCnt(), 0U);
}

TEST_F(EntryLogWrite, ADifferingWriteWithSuppressionIsCountedAndTold) {
    write(Key{1}, 5);
    TraceCapture const trace{logHandle};
    EXPECT_EQ(write(Key{1}, 6, true), 2U);
    EXPECT_EQ(stats->suppressCheckDiffCnt(), 1U);
    EXPECT_EQ(stats->suppressedWriteCnt(), 0U);
    EXPECT_EQ(trace.count(3, "Not Suppressing write because entry or resource key is different  "
                             "for key: 0x00000001"),
              1U);
    EXPECT_EQ(trace.texts(3).size(), 1U);
}

TEST_F(EntryLogWrite, AWriteOfAKeyInDeletionIsNeverSuppressed) {
    write(Key{1}, 5);
    remove(Key{1});
    TraceCapture const trace{logHandle};
    EXPECT_EQ(write(Key{1}, 5, true), 3U);
    EXPECT_FALSE(stored(Key{1})->inDeletion());
    EXPECT_EQ(stats->suppressedWriteCnt(), 0U);
    EXPECT_EQ(stats->suppressCheckDiffCnt(), 0U);
    EXPECT_TRUE(trace.texts(3).empty());
}

TEST_F(EntryLogWrite, AWriteOfAKeyNeverSeenIsNeitherSuppressedNorCounted) {
    TraceCapture const trace{logHandle};
    EXPECT_EQ(write(Key{1}, 5, true), 1U);
    EXPECT_EQ(stats->suppressedWriteCnt(), 0U);
    EXPECT_EQ(stats->suppressCheckDiffCnt(), 0U);
    EXPECT_TRUE(trace.texts(3).empty());
}

TEST_F(EntryLogWrite, OnlyAComparisonLooksAtTheCounters) {
    auto const entry = logEntryOf(Key{1}, 5);
    EXPECT_EQ(log->entryIs(entry, ResourceKeys{}, nullptr, 0, nullptr, true), 1U); // never seen
    remove(Key{1});
    EXPECT_EQ(log->entryIs(entry, ResourceKeys{}, nullptr, 0, nullptr, true), 3U); // in deletion
    EXPECT_EQ(log->entryIs(entry, ResourceKeys{}, nullptr, 0, nullptr, false), 4U);
}

TEST_F(EntryLogWrite, AnIdenticalRecordOfVersionZeroIsWrittenThoughItWasCounted) {
    storedIs(ConfigSlateEntry{logEntryOf(Key{1}, 5), ResourceKeys{}, 0, false});
    EXPECT_EQ(write(Key{1}, 5, true), 1U);
    EXPECT_EQ(stats->suppressedWriteCnt(), 1U);
    EXPECT_EQ(stored(Key{1})->logVersion(), 1U);
}

TEST_F(EntryLogWrite, PaddingTakesNoPartInTheComparison) {
    auto entry = logEntryOf(Key{1}, 5);
    log->entryIs(entry, ResourceKeys{}, nullptr, 0, stats, false);
    auto* const bytes = reinterpret_cast<unsigned char*>(&entry);
    bytes[LogEntry::declaredBytes] = 0xaa; // the first byte of the padding
    EXPECT_EQ(log->entryIs(entry, ResourceKeys{}, nullptr, 0, stats, true), 1U);
}

TEST_F(EntryLogWrite, TracesAWriteWithItsArguments) {
    TraceCapture const trace{logHandle};
    write(Key{1}, 5);
    ASSERT_EQ(trace.lines.size(), 1U);
    EXPECT_EQ(
        trace.lines[0],
        (TraceCapture::Line{logHandle, 8, logHandle, "entryIs",
                            fmt::format(" logEntry: {} neededEntry: none version: 1 unitId: 0 "
                                        "suppressIdenticalWrites: false",
                                        logEntryOf(Key{1}, 5))}));
}

// --- entryDel

TEST_F(EntryLogWrite, ADeleteOfAnUnknownKeyGivesZeroAndTakesNoVersion) {
    write(Key{1}, 5);
    TraceCapture const trace{logHandle};
    EXPECT_EQ(remove(Key{2}), 0U);
    EXPECT_EQ(log->tableVersion(), 1U);
    EXPECT_EQ(changes().memberCount(), 1U);
    EXPECT_EQ(announced(), 1U);
    EXPECT_EQ(trace.texts(8),
              std::vector<std::string>{" key:0x00000002 neededEntry: none unitId: 0"});
    EXPECT_EQ(trace.texts(3), std::vector<std::string>{
                                  " key: 0x00000002 entry does not exist. So ignoring delete"});
}

TEST_F(EntryLogWrite, ADeleteKeepsTheEntryInTheRecordAndInTheLog) {
    write(Key{1}, 5);
    EXPECT_EQ(remove(Key{1}), 2U);
    ASSERT_TRUE(stored(Key{1}));
    EXPECT_TRUE(stored(Key{1})->inDeletion());
    EXPECT_EQ(stored(Key{1})->logVersion(), 2U);
    EXPECT_EQ(stored(Key{1})->logEntry(), logEntryOf(Key{1}, 5));
    ASSERT_TRUE(logged(2));
    EXPECT_EQ(logged(2)->logFlags, Asic::EntryFlags::flagEntryDeleted);
    EXPECT_EQ(logged(2)->logEntry, logEntryOf(Key{1}, 5));
    EXPECT_EQ(scratchpad(), 2U);
    EXPECT_EQ(announced(), 2U);
}

TEST_F(EntryLogWrite, ASecondDeleteTakesAVersionAndLogsAgain) {
    write(Key{1}, 5);
    EXPECT_EQ(remove(Key{1}), 2U);
    EXPECT_EQ(remove(Key{1}), 3U);
    EXPECT_EQ(stored(Key{1})->logVersion(), 3U);
    EXPECT_EQ(logged(2)->logFlags, Asic::EntryFlags::flagEntryDeleted);
    EXPECT_EQ(logged(3)->logFlags, Asic::EntryFlags::flagEntryDeleted);
    EXPECT_EQ(logged(3)->logEntry, logEntryOf(Key{1}, 5));
}

// --- tableDel

TEST_F(EntryLogWrite, ATableDeleteOfAnEmptyTableTakesAVersionAndLogsOneRecord) {
    TraceCapture const trace{logHandle};
    EXPECT_EQ(removeAll(), 1U);
    ASSERT_TRUE(logged(1));
    EXPECT_EQ(static_cast<unsigned>(logged(1)->logFlags), 2U);
    EXPECT_EQ(changes().memberCount(), 1U);
    EXPECT_EQ(scratchpad(), 1U);
    EXPECT_EQ(announced(), 1U);
    EXPECT_EQ(trace.texts(8), std::vector<std::string>{" neededEntry:none, unitId: 0"});
}

TEST_F(EntryLogWrite, ATableDeleteMarksEveryLiveEntryWithItsOneVersion) {
    for (unsigned number = 1; number <= 50; ++number) {
        write(Key{number}, number);
    }
    EXPECT_EQ(removeAll(), 51U);
    for (unsigned number = 1; number <= 50; ++number) {
        auto const record = stored(Key{number});
        EXPECT_TRUE(record->inDeletion());
        EXPECT_EQ(record->logVersion(), 51U);
        EXPECT_EQ(valueOf(record->logEntry()), number);
    }
    EXPECT_EQ(changes().memberCount(), 51U);
}

TEST_F(EntryLogWrite, ATableDeleteLeavesOlderDeletionsTheirVersions) {
    write(Key{1}, 1);
    write(Key{2}, 2);
    ASSERT_EQ(remove(Key{1}), 3U);
    EXPECT_EQ(removeAll(), 4U);
    EXPECT_EQ(stored(Key{1})->logVersion(), 3U);
    EXPECT_EQ(stored(Key{2})->logVersion(), 4U);
}

TEST_F(EntryLogWrite, ATableDeleteRecordHoldsTheEmptyEntryAndTheUnit) {
    log->mountSlateConfig(7, 0);
    write(Key{1}, 1);
    write(Key{1}, 1, false, 7);
    EXPECT_EQ(removeAll(7), 3U);
    EXPECT_EQ(logged(3)->unitId, 7);
    EXPECT_EQ(logged(3)->logEntry, LogEntry{Key{0}});
    EXPECT_FALSE(stored(Key{1}, 0)->inDeletion());
    EXPECT_TRUE(stored(Key{1}, 7)->inDeletion());
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
