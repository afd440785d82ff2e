#include "FakeEntryLog.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <OrderedTable/SlateRead.h>
#include <Slate/SlateMapBase.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

// Damaged shared memory turns a read into an empty one, and never stops the agent.
namespace LoamSystemAcl::entry_log_test {
namespace {

// Turns one bit of a record in shared memory over. The writer's lookup gives the record in the
// mapping itself.
template <typename Map, typename K>
void damage(Map& map, K const& key) {
    bool found = false;
    auto const& record = map.lookup(key, &found, nullptr);
    ASSERT_TRUE(found);
    auto* const bytes = reinterpret_cast<unsigned char*>(
        const_cast<std::remove_cvref_t<decltype(record)>*>(&record));
    bytes[sizeof record / 2] ^= 0x10;
}

// --- over real shared memory

class Corruption : public MountedEntryLogTest {
  public:
    Corruption() {
        Slate::corruptionSinkIs([this](Ombra::String const& line) { lines.push_back(line.str()); });
        for (unsigned number = 1; number <= 5; ++number) {
            write(Key{number}, number);
        }
    }
    ~Corruption() override { Slate::corruptionSinkIs({}); }

    std::vector<Key> keysInWalkOrder() {
        std::vector<Key> keys;
        for (Family::ConfigSlate::Map::IteratorConst i{&config()}; i; ++i) {
            keys.push_back(i->key());
        }
        return keys;
    }

    std::vector<std::string> lines;
};
using CorruptionDeathTest = Corruption;

TEST_F(Corruption, TheQueriesOfADamagedKeyAnswerAsIfItWereAbsent) {
    damage(config(), Key{3});
    EXPECT_EQ(log->entry(Key{3}, 0), LogEntry{});
    EXPECT_FALSE(log->entryHas(Key{3}, 0));
    EXPECT_EQ(log->entryLogVersion(Key{3}, 0), 0U);
    log->entryRsrcKeys(Key{3}, 0);
    EXPECT_EQ(config().corruptionCount(), 4U) << "each read reports";
    EXPECT_EQ(valueOf(log->entry(Key{4}, 0)), 4U) << "the others are whole";
}

TEST_F(Corruption, IsReportedWithTheFilesNameAndTheKey) {
    damage(config(), Key{3});
    log->entry(Key{3}, 0);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find(Constants::configSlatePath(0).str()), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("key 3"), std::string::npos) << lines[0];
}

TEST_F(Corruption, AtTheFirstRecordMakesAWalkEmpty) {
    auto const keys = keysInWalkOrder();
    damage(config(), keys[0]);
    remove(keys[1]);
    EXPECT_EQ(log->entrysInDeletion(0), 0U);
    EXPECT_EQ(log->entrys(0), 5U) << "the count of records less a walk that saw none";
}

TEST_F(Corruption, InTheMiddleEndsAWalkWithTheCountSoFar) {
    auto const keys = keysInWalkOrder();
    remove(keys[0]);
    remove(keys[1]);
    remove(keys[3]);
    damage(config(), keys[2]);
    EXPECT_EQ(log->entrysInDeletion(0), 2U);
}

TEST_F(Corruption, OfAStoredRecordMakesASuppressedWriteGoOn) {
    damage(config(), Key{3});
    EXPECT_EQ(write(Key{3}, 3, true), 6U);
    EXPECT_EQ(stats->suppressedWriteCnt(), 0U);
    EXPECT_EQ(stats->suppressCheckDiffCnt(), 0U);
    EXPECT_EQ(valueOf(log->entry(Key{3}, 0)), 3U) << "the write heals the record";
}

TEST_F(Corruption, OfAKeyMakesItsDeleteOneOfAnUnknownKey) {
    damage(config(), Key{3});
    EXPECT_EQ(remove(Key{3}), 0U);
    EXPECT_EQ(log->tableVersion(), 5U);
}

TEST_F(Corruption, EndsTheWalkOfATableDeleteWhichIsLoggedAllTheSame) {
    auto const keys = keysInWalkOrder();
    damage(config(), keys[2]);
    EXPECT_EQ(removeAll(), 6U);
    EXPECT_TRUE(stored(keys[0])->inDeletion());
    EXPECT_TRUE(stored(keys[1])->inDeletion());
    EXPECT_FALSE(stored(keys[3])->inDeletion());
    EXPECT_EQ(logged(6)->logFlags, Asic::EntryFlags::flagTableDeleted);
    EXPECT_EQ(scratchpad(), 6U);
    EXPECT_EQ(announced(), 6U);
}

TEST_F(Corruption, AtTheFirstStepOfATableDeleteCountsAsAnEmptyTable) {
    auto const keys = keysInWalkOrder();
    damage(config(), keys[0]);
    EXPECT_EQ(removeAll(), 6U);
    EXPECT_FALSE(stored(keys[1])->inDeletion());
    EXPECT_TRUE(logged(6));
}

TEST_F(Corruption, OfALogRecordIsPassedOverByASteppingTrim) {
    log->cleanupEntryLog(1);
    remove(Key{1}); // version 6
    remove(Key{2}); // version 7
    damage(changes(), LogVersion{6});
    log->cleanupEntryLog(7);
    EXPECT_EQ(log->logCleanedVersion(), 7U);
    EXPECT_TRUE(stored(Key{1})) << "its delete could not be read";
    EXPECT_FALSE(stored(Key{2}));
    EXPECT_GT(changes().corruptionCount(), 0U);
}

TEST_F(Corruption, OfALogRecordEndsTheWalkOfTheFirstTrim) {
    damage(changes(), LogVersion{3});
    log->cleanupEntryLog(5);
    EXPECT_EQ(log->logCleanedVersion(), 5U);
    EXPECT_TRUE(logged(4)) << "behind the damage";
    EXPECT_FALSE(logged(1));
}

TEST_F(Corruption, OfAConfigurationRecordLeavesItInPlaceWhenItsDeleteIsTrimmed) {
    log->cleanupEntryLog(1);
    remove(Key{1});
    damage(config(), Key{1});
    log->cleanupEntryLog(6);
    EXPECT_EQ(changes().memberCount(), 0U);
    EXPECT_EQ(config().memberCount(), 5U);
}

TEST_F(Corruption, EndsThePurgeOfAMountWhichIsCompleteAllTheSame) {
    auto const keys = keysInWalkOrder();
    remove(keys[0]); // 6
    remove(keys[4]); // 7
    damage(config(), keys[2]);
    log->tableConfigSlateDel(0);
    log->mountSlateConfig(0, 7);
    ASSERT_NE(log->tableConfigSlate(0), nullptr);
    EXPECT_FALSE(stored(keys[0]));
    EXPECT_TRUE(stored(keys[4]));
}

TEST_F(Corruption, OfWhatTheHardwareSideHasAppliedCountsAsNoRecord) {
    agent.acknowledge(Constants::tableId, 2);
    damage(agent.tableVersionMap()->map(), Constants::tableId);
    EXPECT_EQ(agent.group()->pollTableVersions(), 0U);
    TraceCapture const trace{interfaceHandle};
    restart();
    EXPECT_EQ(log->logCleanedVersion(), 0U);
    EXPECT_FALSE(intf->swTableStatus()->pendingHwWrites());
    for (auto const& text : trace.texts(3)) {
        EXPECT_EQ(text.find("Cleaned entry log"), std::string::npos);
    }
    EXPECT_TRUE(trace.has(2, " Entry log created for table id: 08:08:0404 at version: 5"));
    auto const table = intf->makeSwTable(0, nullptr, false);
    EXPECT_EQ(table->entrys(), 5U);
}

TEST_F(Corruption, IsAnEmptyReadForTheTablesClients) {
    auto const table = intf->makeSwTable(0, nullptr, false);
    auto const keys = keysInWalkOrder();
    damage(config(), keys[2]);
    EXPECT_EQ(table->entryRead(keys[2]), Family::Entry{});
    EXPECT_FALSE(table->entryHas(keys[2]));
    EXPECT_EQ(table->entryFromConfig(keys[2]), Family::Entry{});
    EXPECT_EQ(table->entryRead(keys[3]).key(), keys[3]);
    unsigned seen = 0;
    for (auto i = table->entryIteratorConst(); i; ++i) {
        ++seen;
    }
    EXPECT_EQ(seen, 2U) << "the walk ends at the damage";
    EXPECT_EQ(table->updateEntry(keys[2]), nullptr);
}

TEST_F(Corruption, OfOneTableLeavesTheOthersAlone) {
    auto const actions = agent.makeSwTable<Ipv4SystemPolicyTcamActionFamily>(0);
    Ipv4SystemPolicyTcamActionEntryKey const key{1};
    actions->entryWrite(key, Ipv4SystemPolicyTcamActionEntry{key}, nullptr);
    agent.resolve();
    damage(config(), Key{3});
    log->entry(Key{3}, 0);
    EXPECT_TRUE(actions->entryHas(key));
}

// --- each kind of read, with damage that comes and goes

class DamagedRead : public testing::Test {
  public:
    // Lets the `which`th call of that name find damage, or raise something else.
    void damageAt(std::string const& call, std::size_t which) {
        raiseAt(call, which, [] { throw Ombra::CorruptionDetectedException{"a damaged slot"}; });
    }
    void failAt(std::string const& call, std::size_t which) {
        raiseAt(call, which, [] { throw std::runtime_error{"not a damage"}; });
    }
    void raiseAt(std::string const& call, std::size_t which, std::function<void()> const& raise) {
        log.calls.names.clear();
        log.calls.probe = [this, call, which, raise](std::string const& name) {
            if (name == call && log.calls.count(call) == which) {
                raise();
            }
        };
    }

    FakeEntryLog log;
    Asic::EntryLogAccessor<FakeEntryLog> accessor{&log};
    Asic::EntryLogAccessor<FakeEntryLog const> query{&log};
    Ombra::Ptr<Asic::SwTableStats> stats = Ombra::ptrIs<Asic::SwTableStats>();
    std::vector<std::string> const oneReport{"a damaged slot"};
};
using DamagedReadDeathTest = DamagedRead;

TEST_F(DamagedRead, ALookupForTheRecordFallsBackToTheDefaultRecord) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 1);
    EXPECT_EQ(OrderedTable::recordOf(log.config.map, Key{1}).logVersion(), 0U);
    EXPECT_EQ(log.config.map.reported, oneReport);
}

TEST_F(DamagedRead, ALookupForTheFoundFlagAloneKeepsWhatTheLookupLeft) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 1);
    EXPECT_FALSE(OrderedTable::recordHas(log.config.map, Key{1}));
    EXPECT_EQ(log.config.map.reported, oneReport);
    EXPECT_TRUE(OrderedTable::recordHas(log.config.map, Key{1}));
}

TEST_F(DamagedRead, AFirstStepGivesAnEmptyWalk) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.iterFirst", 1);
    EXPECT_FALSE(OrderedTable::SlateWalk{log.config.map}.valid());
    EXPECT_EQ(log.config.map.reported, oneReport);
}

TEST_F(DamagedRead, ALaterStepEndsTheWalk) {
    log.storedIs(Key{1}, 7, 3);
    log.storedIs(Key{2}, 7, 4);
    log.storedIs(Key{3}, 7, 5);
    damageAt("config.iterNext", 2);
    std::vector<std::uint32_t> seen;
    for (OrderedTable::SlateWalk walk{log.config.map}; walk.valid(); walk.next()) {
        seen.push_back(walk.record().key().number());
    }
    EXPECT_EQ(seen, (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(log.config.map.reported, oneReport);
}

TEST_F(DamagedReadDeathTest, AWalkThatHasEndedIsNeitherReadNorStepped) {
    OrderedTable::SlateWalk walk{log.config.map};
    ASSERT_FALSE(walk.valid());
    EXPECT_DEATH(walk.record(), "iter_");
    EXPECT_DEATH(walk.next(), "iter_");
}

TEST_F(DamagedRead, AnotherExceptionOutOfALookupOrAFirstStepPasses) {
    log.storedIs(Key{1}, 7, 3);
    failAt("config.lookup", 1);
    EXPECT_THROW(query.entry(Key{1}, 0), std::runtime_error);
    failAt("config.lookup", 1);
    EXPECT_THROW(query.entryHas(Key{1}, 0), std::runtime_error);
    failAt("config.iterFirst", 1);
    EXPECT_THROW(query.entrysInDeletion(0), std::runtime_error);
    failAt("config.lookup", 1);
    EXPECT_THROW(accessor.entryDel(Key{1}, nullptr, 0), std::runtime_error);
    EXPECT_TRUE(log.config.map.reported.empty());
}

TEST_F(DamagedReadDeathTest, AnotherExceptionOutOfALaterStepEndsTheProcess) {
    log.storedIs(Key{1}, 7, 3);
    failAt("config.iterNext", 1);
    EXPECT_DEATH(query.entrysInDeletion(0), "");
    EXPECT_DEATH(accessor.tableDel(nullptr, 0), "");
    log.loggedIs(4, Asic::EntryFlags::none, Key{1});
    failAt("log.iterNext", 1);
    EXPECT_DEATH(accessor.cleanupEntryLog(1), "");
}

TEST_F(DamagedRead, WhatTheReportRaisesPasses) {
    log.storedIs(Key{1}, 7, 3);
    log.storedIs(Key{2}, 7, 4);
    auto const raiseAtTheReport = [this](std::string const& read) {
        log.calls.names.clear();
        log.calls.probe = [read](std::string const& name) {
            if (name == read) {
                throw Ombra::CorruptionDetectedException{"damage"};
            }
            if (name == "config.doCorruptionDetected") {
                throw std::runtime_error{"the report failed"};
            }
        };
    };
    raiseAtTheReport("config.lookup");
    EXPECT_THROW(query.entry(Key{1}, 0), std::runtime_error);
    raiseAtTheReport("config.iterFirst");
    EXPECT_THROW(query.entrysInDeletion(0), std::runtime_error);
    raiseAtTheReport("config.iterNext");
    EXPECT_THROW(query.entrysInDeletion(0), std::runtime_error);
}

TEST_F(DamagedRead, AKeyWhoseSecondReadFindsDamageCountsAsThere) {
    log.storedIs(Key{1}, 7, 3, true);
    EXPECT_FALSE(query.entryHas(Key{1}, 0));
    damageAt("config.lookup", 2);
    EXPECT_TRUE(query.entryHas(Key{1}, 0));
}

TEST_F(DamagedRead, ADeleteWhoseSecondReadFindsDamageMarksTheDefaultRecord) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 2);
    EXPECT_EQ(accessor.entryDel(Key{1}, nullptr, 0), 4U);
    EXPECT_FALSE(log.config.map.records.at(Key{1}).inDeletion());
    EXPECT_TRUE(log.config.map.records.at(Key{0}).inDeletion());
    EXPECT_EQ(log.log.map.records.at(4).logEntry, LogEntry{});
    EXPECT_EQ(log.log.controlOf.word, 4U);
}

TEST_F(DamagedRead, ATableDeleteWhoseReadOfARecordFindsDamageMarksTheDefaultRecord) {
    log.storedIs(Key{1}, 7, 3);
    log.storedIs(Key{2}, 7, 4);
    damageAt("config.lookup", 1);
    EXPECT_EQ(accessor.tableDel(nullptr, 0), 5U);
    EXPECT_FALSE(log.config.map.records.at(Key{1}).inDeletion());
    EXPECT_TRUE(log.config.map.records.at(Key{2}).inDeletion());
    EXPECT_TRUE(log.config.map.records.at(Key{0}).inDeletion());
}

TEST_F(DamagedRead, ASuppressedWriteTakesADamagedRecordForNone) {
    log.storedIs(Key{1}, 7, 3);
    damageAt("config.lookup", 1);
    EXPECT_EQ(accessor.entryIs(logEntryOf(Key{1}, 7), ResourceKeys{}, nullptr, 0, stats, true), 4U);
    EXPECT_EQ(stats->suppressedWriteCnt() + stats->suppressCheckDiffCnt(), 0U);
}

TEST_F(DamagedRead, ALogRecordWhoseSecondReadFindsDamageIsRemovedAndNotApplied) {
    log.storedIs(Key{1}, 7, 3, true);
    log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
    log.cleaned = 3;
    damageAt("log.lookup", 2);
    accessor.cleanupEntryLog(3);
    EXPECT_TRUE(log.log.map.records.empty());
    EXPECT_EQ(log.config.map.records.size(), 1U);
    EXPECT_EQ(log.cleaned, 3U);
}

TEST_F(DamagedRead, ADamagedEntryStaysWhenItsDeleteIsTrimmed) {
    log.storedIs(Key{1}, 7, 3, true);
    log.loggedIs(3, Asic::EntryFlags::flagEntryDeleted, Key{1});
    log.cleaned = 3;
    damageAt("config.lookup", 1);
    accessor.cleanupEntryLog(3);
    EXPECT_TRUE(log.log.map.records.empty());
    EXPECT_EQ(log.config.map.records.size(), 1U);
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
