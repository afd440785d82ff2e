#include "EntryLogFixture.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionLogSlate.h>
#include <OrderedTable/CheckAndwriteMountSlate.h>

#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <support/Environment.h>
#include <support/TemporaryRoot.h>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

testing::Environment* const temporaryRoot =
    testing::AddGlobalTestEnvironment(new testing_support::TemporaryRoot);

bool onDisk(Ombra::String const& manager, Ombra::String const& path) {
    return std::filesystem::exists(testing_support::fileOf(manager, path));
}

using testing_support::Environment;

class EntryLogMount : public EntryLogTest {};
using EntryLogMountDeathTest = EntryLogMount;

// --- the change log

TEST_F(EntryLogMount, AFirstStartFindsAnEmptyLogAndTheFirstChangeGetsVersionOne) {
    EXPECT_EQ(log->tableVersion(), 0U);
    EXPECT_EQ(changes().memberCount(), 0U);
    EXPECT_FALSE(log->tableEntryLog()->control()->wiped());
    log->mountSlateConfig(0, 0);
    EXPECT_EQ(write(Key{1}, 1), 1U);
}

TEST_F(EntryLogMount, TheLogHoldsAMillionRecordsAndAConfigurationTable65536) {
    log->mountSlateConfig(0, 0);
    EXPECT_EQ(changes().capacity(), 1000000U);
    EXPECT_EQ(config().capacity(), 65536U);
}

TEST_F(EntryLogMount, TheVersionComesBackFromTheScratchpad) {
    log->tableEntryLog()->control()->scratchpadIs(0x1'0000'0001);
    TraceCapture const trace{logHandle};
    restart();
    EXPECT_EQ(log->tableVersion(), 0x1'0000'0001U);
    EXPECT_TRUE(trace.has(2, " Mounted entryLog: LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/"
                             "Ipv4SystemPolicyTcamEntry/entryLog, tableVersion: 4294967297"));
}

// --- the configuration tables

TEST_F(EntryLogMount, TracesTheUnitTheVersionAndThePath) {
    TraceCapture const trace{logHandle};
    log->mountSlateConfig(3, 12);
    EXPECT_EQ(trace.lines,
              (std::vector<TraceCapture::Line>{
                  {logHandle, 8, logHandle, "mountSlateConfig", " unitId:3, logVersion: 12"},
                  {logHandle, 2, logHandle, "mountSlateConfig",
                   " Mounted config for unitId: 3 at LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/"
                   "Ipv4SystemPolicyTcamEntry/config/3"}}));
}

TEST_F(EntryLogMount, EachUnitHasATableOfItsOwn) {
    log->mountSlateConfig(0, 0);
    log->mountSlateConfig(1, 0);
    log->mountSlateConfig(0xfffe, 0);
    write(Key{1}, 1, false, 1);
    EXPECT_EQ(config(0).memberCount(), 0U);
    EXPECT_EQ(config(1).memberCount(), 1U);
    EXPECT_EQ(config(0xfffe).memberCount(), 0U);
}

TEST_F(EntryLogMount, VersionZeroPurgesNothing) {
    log->mountSlateConfig(0, 0);
    write(Key{1}, 1);
    remove(Key{1});
    storedIs(ConfigSlateEntry{logEntryOf(Key{2}, 1), ResourceKeys{}, 0, true});
    restart();
    log->mountSlateConfig(0, 0);
    EXPECT_EQ(config().memberCount(), 2U);
}

struct Purge {
    char const* name;
    LogVersion recordVersion;
    bool inDeletion;
    LogVersion acknowledged;
    bool stays;

    friend std::ostream& operator<<(std::ostream& out, Purge const& purge) {
        return out << purge.name;
    }
};

class EntryLogPurge : public EntryLogTest, public testing::WithParamInterface<Purge> {};

TEST_P(EntryLogPurge, TakesTheDeletedRecordsThatAreNotAboveTheVersion) {
    Purge const& row = GetParam();
    log->mountSlateConfig(0, 0);
    storedIs(
        ConfigSlateEntry{logEntryOf(Key{1}, 1), ResourceKeys{}, row.recordVersion, row.inDeletion});
    restart();
    log->mountSlateConfig(0, row.acknowledged);
    EXPECT_EQ(stored(Key{1}).has_value(), row.stays);
}

INSTANTIATE_TEST_SUITE_P(Of, EntryLogPurge,
                         testing::Values(Purge{"ADeletionAtTheVersion", 5, true, 5, false},
                                         Purge{"ADeletionBelowTheVersion", 4, true, 5, false},
                                         Purge{"ADeletionAboveTheVersion", 6, true, 5, true},
                                         Purge{"ALiveRecordAtTheVersion", 5, false, 5, true},
                                         Purge{"ALiveRecordBelowTheVersion", 1, false, 5, true},
                                         Purge{"ADeletionFarBelowAVersionOfMoreThan32Bits", 5, true,
                                               0x1'0000'0000, false},
                                         Purge{"ADeletionOfMoreThan32BitsAboveTheVersion",
                                               0x1'0000'0005, true, 5, true}),
                         [](auto const& param) { return std::string{param.param.name}; });

TEST_F(EntryLogMount, ThePurgeFindsEveryDeletionAmongLiveRecords) {
    log->mountSlateConfig(0, 0);
    for (unsigned number = 0; number < 1000; ++number) {
        write(Key{number}, 1);
    }
    for (unsigned number = 0; number < 1000; number += 3) {
        remove(Key{number});
    }
    restart();
    log->mountSlateConfig(0, ~LogVersion{0});
    EXPECT_EQ(config().memberCount(), 666U);
    EXPECT_EQ(log->entrysInDeletion(0), 0U);
}

TEST_F(EntryLogMount, ASecondMountOfAUnitKeepsItsTableAndPurgesAgain) {
    log->mountSlateConfig(0, 0);
    write(Key{1}, 1);
    write(Key{2}, 1);
    remove(Key{1});
    log->mountSlateConfig(0, 3);
    EXPECT_FALSE(stored(Key{1}));
    EXPECT_TRUE(stored(Key{2}));
}

TEST_F(EntryLogMount, ARecordLeftByATrimThatWasCutShortGoesAtTheNextMount) {
    log->mountSlateConfig(0, 0);
    write(Key{1}, 1);
    remove(Key{1});
    log->tableEntryLog()->entryLogConfigDel(1);
    log->tableEntryLog()->entryLogConfigDel(2); // the trim dies here
    agent.appliedIs(Constants::tableId, 2);
    restart();
    auto const table = intf->makeSwTable(0, nullptr, false);
    EXPECT_EQ(config().memberCount(), 0U);
}

TEST_F(EntryLogMountDeathTest, AnEntityOfAnotherClassAtTheConfigurationPathStopsTheProcess) {
    ZetSlate::MountInfo info{ZetSlate::ZetSlateType::writer};
    info.collectionInfoIs(ZetSlate::CollectionInfo{"swTableEntries", 65536, false});
    auto const group = agent.sharedMem()->getMountGroup();
    group->mount(Constants::configSlatePath(0), Ipv4SystemPolicyTcamActionConfigSlate::typeName,
                 info);
    group->doClose();
    EXPECT_DEATH(log->mountSlateConfig(0, 0), "cfgSlate");
}

// --- the mount itself

class CheckAndwriteMount : public EntryLogTest {
  public:
    using Slate = Family::ConfigSlate;

    Slate::Ptr mount(
        Ombra::String const& typeName, std::function<void()> const& onWiped = [] {}) {
        return Asic::checkAndwriteMountSlate<Slate>(
            agent.entityManager(), typeName, path, "LoamSystemAcl",
            [](ZetSlate::MountInfo& info) {
                info.collectionInfoIs(ZetSlate::CollectionInfo{"swTableEntries", 65536, false});
            },
            [this](Slate::Ptr& slate) {
                return slate ? slate->control() : log->tableEntryLog()->control();
            },
            onWiped);
    }

    Ombra::String const path = Constants::configSlatePath(8);
};

TEST_F(CheckAndwriteMount, GivesTheEntityThatItMounted) {
    auto const slate = mount(Slate::typeName);
    ASSERT_NE(slate, nullptr);
    EXPECT_EQ(slate, agent.sharedMem()->getEntity(path));
    EXPECT_EQ(mount(Slate::typeName), slate);
}

TEST_F(CheckAndwriteMount, GivesNullForAnEntityOfAnotherClassWhenTheControlIsHadElsewhere) {
    EXPECT_EQ(mount(Ipv4SystemPolicyTcamActionConfigSlate::typeName), nullptr);
}

TEST_F(CheckAndwriteMount, IsCalledWithTheNumberOfTheWriter) {
    unsigned calls = 0;
    Asic::checkAndwriteMountSlate<Slate>(
        agent.entityManager(), Slate::typeName, path, "LoamSystemAcl",
        [&](ZetSlate::MountInfo& info) {
            ++calls;
            EXPECT_EQ(static_cast<int>(info.type()), 0);
            EXPECT_TRUE(info.collections().empty());
            info.collectionInfoIs(ZetSlate::CollectionInfo{"swTableEntries", 65536, false});
        },
        [](Slate::Ptr& slate) { return slate->control(); }, [] {});
    EXPECT_EQ(calls, 1U);
}

TEST_F(CheckAndwriteMount, AMissingCallableIsABadFunctionCall) {
    EXPECT_THROW(Asic::checkAndwriteMountSlate<Slate>(agent.entityManager(), Slate::typeName, path,
                                                      "LoamSystemAcl", {}, {}, {}),
                 std::bad_function_call);
}

TEST_F(CheckAndwriteMount, AnUnwipedCollectionCallsNobody) {
    mount(Slate::typeName, [] { ADD_FAILURE() << "nothing was lost"; });
}

// --- which manager

TEST(EntryLogManager, TheLocalFlagGoesThroughAsItIs) {
    {
        LogInUse const local{"mount-local", true};
        EXPECT_TRUE(local.agent.sharedMem()->local());
        EXPECT_FALSE(onDisk("mount-local", Constants::tableEntryLogSlatePath()));
    }
    LogInUse const files{"mount-files", false};
    EXPECT_FALSE(files.agent.sharedMem()->local());
    EXPECT_TRUE(onDisk("mount-files", Constants::tableEntryLogSlatePath()));
}

TEST(EntryLogManager, NotLocalEmOverridesTheLocalFlagWhateverItsValue) {
    for (char const* const value : {"", "0", "1"}) {
        Ombra::String const name = fmt::format("mount-not-local-{}", value);
        Environment const notLocal{"NOT_LOCAL_EM", value};
        LogInUse local{name, true};
        local.log->mountSlateConfig(0, 0);
        EXPECT_FALSE(local.agent.sharedMem()->local());
        EXPECT_TRUE(onDisk(name, Constants::tableEntryLogSlatePath()));
        EXPECT_TRUE(onDisk(name, Constants::configSlatePath(0)));
    }
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
