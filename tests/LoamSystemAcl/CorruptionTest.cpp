#include "EntryLogFixture.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <Slate/SlateMapBase.h>

#include <algorithm>
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

} // namespace
} // namespace LoamSystemAcl::entry_log_test
