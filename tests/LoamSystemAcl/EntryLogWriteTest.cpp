#include "EntryLogFixture.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

class EntryLogWrite : public MountedEntryLogTest {};
using EntryLogWriteDeathTest = EntryLogWrite;
class EntryLogConstruction : public EntryLogTest {};
class EntryLogCrash : public MountedEntryLogTest {
  public:
    // The agent dies and comes up again; unit 0 is mounted as it was.
    void dieAndComeUp() {
        restart();
        log->mountSlateConfig(0, 0);
    }
};

// --- construction and attributes

TEST_F(EntryLogConstruction, MountsTheChangeLogAndNoConfigurationTable) {
    EXPECT_NE(log->tableEntryLog(), nullptr);
    EXPECT_EQ(log->tableConfigSlate(0), nullptr);
    EXPECT_EQ(log->tableId(), Constants::tableId);
    EXPECT_EQ(log->entityManager(), agent.entityManager());
    EXPECT_EQ(log->groupInterface(), agent.group());
    EXPECT_EQ(log->agentName(), "LoamSystemAcl");
    EXPECT_EQ(log->tableVersion(), 0U);
    EXPECT_EQ(log->logCleanedVersion(), 0U);
}

TEST_F(EntryLogConstruction, TracesItsInitialisationAndItsMountWithoutArguments) {
    TraceCapture const trace{logHandle};
    auto const another = Family::EntryLog::Ipv4SystemPolicyTcamEntryEntryLogIs(
        Constants::tableId, agent.entityManager(), agent.group(), "LoamSystemAcl");
    ASSERT_GE(trace.lines.size(), 2U);
    EXPECT_EQ(trace.lines[0],
              (TraceCapture::Line{logHandle, 8, logHandle, "handleInitialized", ""}));
    EXPECT_EQ(trace.lines[1],
              (TraceCapture::Line{logHandle, 8, logHandle, "mountSlateChangeLog", ""}));
}

TEST_F(EntryLogConstruction, TheFactoryMakesALog) {
    Ombra::Ptr<Family::EntryLog> const made = ipv4SystemPolicyTcamEntryEntryLogFactory(
        Constants::tableId, agent.entityManager(), agent.group(), "someone");
    EXPECT_EQ(made->agentName(), "someone");
    EXPECT_EQ(made->tableEntryLog(), log->tableEntryLog());
}

TEST_F(EntryLogConstruction, AConfigurationTableIsAddedReplacedAndRemovedByItsSetter) {
    log->mountSlateConfig(1, 0);
    log->mountSlateConfig(2, 0);
    auto const first = log->tableConfigSlateDel(1);
    auto const second = log->tableConfigSlateDel(2);

    log->tableConfigSlateIs(1, nullptr); // null on an unknown unit
    EXPECT_EQ(log->tableConfigSlate(1), nullptr);
    log->tableConfigSlateIs(1, first); // an object on an unknown unit
    EXPECT_EQ(log->tableConfigSlate(1), first);
    log->tableConfigSlateIs(1, second); // an object on a known unit
    EXPECT_EQ(log->tableConfigSlate(1), second);
    log->tableConfigSlateIs(1, nullptr); // null on a known unit
    EXPECT_EQ(log->tableConfigSlate(1), nullptr);
    EXPECT_EQ(log->tableConfigSlateDel(1), nullptr);
}

TEST_F(EntryLogConstruction, AllConfigurationTablesGoAtOnce) {
    log->mountSlateConfig(1, 0);
    log->mountSlateConfig(0xffff, 0);
    log->tableConfigSlateDelAll();
    EXPECT_EQ(log->tableConfigSlate(1), nullptr);
    EXPECT_EQ(log->tableConfigSlate(0xffff), nullptr);
}

TEST_F(EntryLogConstruction, ALogThatGoesReleasesItsSlates) {
    auto another = ipv4SystemPolicyTcamEntryEntryLogFactory(
        Constants::tableId, agent.entityManager(), agent.group(), "LoamSystemAcl");
    another->mountSlateConfig(3, 0);
    auto const changeLog = another->tableEntryLog();
    auto const configuration = another->tableConfigSlate(3);
    auto const changeLogCount = changeLog->refCount();
    auto const configurationCount = configuration->refCount();
    another = nullptr;
    EXPECT_EQ(changeLog->refCount(), changeLogCount - 1);
    EXPECT_EQ(configuration->refCount(), configurationCount - 1);
}

// --- what moves a key

enum class KeyState { absent, live, inDeletion };
enum class Event {
    writeSame,
    writeOther,
    writeSameSuppressed,
    writeOtherSuppressed,
    remove,
    removeAll,
    trim,
    mountAgain,
};
enum class Version { taken, storedOne, zero, none };

struct Transition {
    char const* name;
    KeyState from;
    Event event;
    KeyState to;
    Version answer;      // what the operation gives
    bool recordMoved;    // the key's record carries the new version
    unsigned suppressed; // by how much each counter moves
    unsigned differing;
};

constexpr Transition transitions[] = {
    {"AbsentWritten", KeyState::absent, Event::writeSame, KeyState::live, Version::taken, true, 0,
     0},
    {"AbsentWrittenWithSuppression", KeyState::absent, Event::writeSameSuppressed, KeyState::live,
     Version::taken, true, 0, 0},
    {"LiveWrittenTheSame", KeyState::live, Event::writeSame, KeyState::live, Version::taken, true,
     0, 0},
    {"LiveWrittenAnother", KeyState::live, Event::writeOther, KeyState::live, Version::taken, true,
     0, 0},
    {"LiveWrittenTheSameWithSuppression", KeyState::live, Event::writeSameSuppressed,
     KeyState::live, Version::storedOne, false, 1, 0},
    {"LiveWrittenAnotherWithSuppression", KeyState::live, Event::writeOtherSuppressed,
     KeyState::live, Version::taken, true, 0, 1},
    {"LiveRemoved", KeyState::live, Event::remove, KeyState::inDeletion, Version::taken, true, 0,
     0},
    {"LiveRemovedWithItsTable", KeyState::live, Event::removeAll, KeyState::inDeletion,
     Version::taken, true, 0, 0},
    {"LiveTrimmed", KeyState::live, Event::trim, KeyState::live, Version::none, false, 0, 0},
    {"LiveMountedAgain", KeyState::live, Event::mountAgain, KeyState::live, Version::none, false, 0,
     0},
    {"DeletedWrittenTheSame", KeyState::inDeletion, Event::writeSame, KeyState::live,
     Version::taken, true, 0, 0},
    {"DeletedWrittenTheSameWithSuppression", KeyState::inDeletion, Event::writeSameSuppressed,
     KeyState::live, Version::taken, true, 0, 0},
    {"DeletedWrittenAnotherWithSuppression", KeyState::inDeletion, Event::writeOtherSuppressed,
     KeyState::live, Version::taken, true, 0, 0},
    {"DeletedRemoved", KeyState::inDeletion, Event::remove, KeyState::inDeletion, Version::taken,
     true, 0, 0},
    {"DeletedRemovedWithItsTable", KeyState::inDeletion, Event::removeAll, KeyState::inDeletion,
     Version::taken, false, 0, 0},
    {"DeletedTrimmed", KeyState::inDeletion, Event::trim, KeyState::absent, Version::none, false, 0,
     0},
    {"DeletedMountedAgain", KeyState::inDeletion, Event::mountAgain, KeyState::absent,
     Version::none, false, 0, 0},
    {"AbsentRemoved", KeyState::absent, Event::remove, KeyState::absent, Version::zero, false, 0,
     0},
    {"AbsentRemovedWithItsTable", KeyState::absent, Event::removeAll, KeyState::absent,
     Version::taken, false, 0, 0},
};

class EntryLogKey : public MountedEntryLogTest, public testing::WithParamInterface<Transition> {
  public:
    LogVersion apply(Event event) {
        switch (event) {
        case Event::writeSame:
            return write(key, 1);
        case Event::writeOther:
            return write(key, 2);
        case Event::writeSameSuppressed:
            return write(key, 1, true);
        case Event::writeOtherSuppressed:
            return write(key, 2, true);
        case Event::remove:
            return remove(key);
        case Event::removeAll:
            return removeAll();
        case Event::trim:
            log->cleanupEntryLog(log->tableVersion());
            return 0;
        case Event::mountAgain:
            log->mountSlateConfig(0, log->tableVersion());
            return 0;
        }
        return 0;
    }

    KeyState state() {
        auto const record = stored(key);
        if (!record) {
            return KeyState::absent;
        }
        return record->inDeletion() ? KeyState::inDeletion : KeyState::live;
    }

    Key const key{77};
};

TEST_P(EntryLogKey, MovesAsItsStateAndTheOperationSay) {
    Transition const& row = GetParam();
    write(Key{1}, 1); // a neighbour, so that versions are not 0
    if (row.from != KeyState::absent) {
        write(key, 1);
    }
    if (row.from == KeyState::inDeletion) {
        remove(key);
    }
    LogVersion const before = log->tableVersion();
    LogVersion const storedVersion = log->entryLogVersion(key, 0);
    ASSERT_EQ(state(), row.from);

    LogVersion const answer = apply(row.event);

    EXPECT_EQ(state(), row.to);
    EXPECT_EQ(answer, row.answer == Version::taken       ? before + 1
                      : row.answer == Version::storedOne ? storedVersion
                                                         : 0);
    bool const taken = row.answer == Version::taken;
    EXPECT_EQ(log->tableVersion(), before + (taken ? 1 : 0));
    EXPECT_EQ(scratchpad(), log->tableVersion());
    EXPECT_EQ(announced(), log->tableVersion());
    if (row.event != Event::trim) {
        EXPECT_EQ(changes().memberCount(), log->tableVersion());
    }
    if (row.to != KeyState::absent) {
        EXPECT_EQ(stored(key)->logVersion(), row.recordMoved ? before + 1 : storedVersion);
    }
    EXPECT_EQ(stats->suppressedWriteCnt(), row.suppressed);
    EXPECT_EQ(stats->suppressCheckDiffCnt(), row.differing);
}

INSTANTIATE_TEST_SUITE_P(InEveryState, EntryLogKey, testing::ValuesIn(transitions),
                         [](auto const& param) { return std::string{param.param.name}; });

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

// --- what a crash leaves: the half-done change is made by the stores themselves

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
