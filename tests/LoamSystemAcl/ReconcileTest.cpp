#include "EntryLogFixture.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <support/Environment.h>
#include <support/TemporaryRoot.h>
#include <typeinfo>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

using Texts = std::vector<std::string>;

class Reconcile : public EntryLogTest {
  public:
    // One entry on each of the units, stored by a former run of the agent.
    void storeInAFormerRun(std::vector<UnitId> const& units) {
        for (UnitId const unitId : units) {
            log->mountSlateConfig(unitId, 0);
            write(Key{1}, 1, false, unitId);
        }
        restart();
    }

    std::string const countText =
        " No. of config entities found: {}, in slate path: "
        "LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/Ipv4SystemPolicyTcamEntry/config";
    std::string found(unsigned count) const { return fmt::format(fmt::runtime(countText), count); }
};

TEST_F(Reconcile, AFirstStartFindsNothingAndMakesNothing) {
    TraceCapture const trace{interfaceHandle};
    intf->reconcile();
    EXPECT_EQ(trace.lines, (std::vector<TraceCapture::Line>{
                               {interfaceHandle, 8, interfaceHandle, "reconcile", ""},
                               {interfaceHandle, 3, interfaceHandle, "reconcile", found(0)}}));
    EXPECT_FALSE(intf->swTableSet()->swTableHas(0));
}

TEST_F(Reconcile, AnInactiveUnitGetsATableThatIsEmptiedAndStays) {
    storeInAFormerRun({7});
    TraceCapture const trace{interfaceHandle};
    intf->reconcile();
    EXPECT_EQ(trace.texts(3), (Texts{found(1), " Found inactive unit id: 7 "}));
    EXPECT_TRUE(trace.has(2, " Clearing entries for table: Ipv4SystemPolicyTcamEntry, unitId: 7"));
    auto const table = intf->makeSwTable(7, nullptr, false);
    EXPECT_EQ(table->entrys(), 0U) << "a late client finds it empty";
    auto const& helper = *table->swTableHelper();
    EXPECT_EQ(typeid(helper), typeid(Family::SwTableHelperBase));
    EXPECT_EQ(table->status(), intf->swTableStatus());
    EXPECT_EQ(agent.group()->sweepableSwTables().size(), 1U);
    EXPECT_FALSE(table->inMarkingState());
}

TEST_F(Reconcile, AClaimedUnitIsUntouchedThoughItIsStillMarking) {
    storeInAFormerRun({0, 7});
    auto const table = intf->makeSwTable(0, nullptr, false);
    LogVersion const before = log->tableVersion();
    TraceCapture const trace{interfaceHandle};
    intf->reconcile();
    EXPECT_EQ(trace.texts(3), (Texts{found(2), " Found inactive unit id: 7 "}));
    EXPECT_EQ(table->entrys(), 1U);
    EXPECT_TRUE(table->inMarkingState());
    EXPECT_EQ(intf->swTableSet()->swTable(0), table);
    EXPECT_EQ(log->tableVersion(), before + 1) << "the table delete of unit 7 alone";
}

TEST_F(Reconcile, ASecondTimeMakesNoTableAgain) {
    storeInAFormerRun({3, 4, 65534});
    intf->reconcile();
    auto const table = intf->swTableSet()->swTable(4);
    LogVersion const before = log->tableVersion();
    TraceCapture const trace{interfaceHandle};
    intf->reconcile();
    EXPECT_EQ(trace.texts(3), Texts{found(3)});
    EXPECT_EQ(intf->swTableSet()->swTable(4), table);
    EXPECT_EQ(log->tableVersion(), before);
}

TEST_F(Reconcile, GoesByThePathOfTheTableWhoseNameItIs) {
    storeInAFormerRun({5});
    intf->tableNameIs("AnotherTable");
    TraceCapture const trace{interfaceHandle};
    intf->reconcile();
    EXPECT_EQ(trace.texts(3),
              Texts{" No. of config entities found: 0, in slate path: "
                    "LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/AnotherTable/config"});
    EXPECT_FALSE(intf->swTableSet()->swTableHas(5));
}

TEST_F(Reconcile, IsReachedThroughThePlatformForEveryTable) {
    storeInAFormerRun({5});
    agent.intf()->reconcileSwTables();
    EXPECT_TRUE(intf->swTableSet()->swTableHas(5));
}

TEST_F(Reconcile, TheStaleEntriesGoThroughTheLogToTheHardwareSide) {
    storeInAFormerRun({7});
    intf->reconcile();
    ASSERT_TRUE(logged(2));
    EXPECT_EQ(logged(2)->logFlags, Asic::EntryFlags::flagTableDeleted);
    EXPECT_EQ(logged(2)->unitId, 7);
    agent.acknowledge(Constants::tableId, 2);
    EXPECT_EQ(config(7).memberCount(), 0U);
}

// Tables of an agent whose state store is local lie in files when the environment says so, and that
// is where they are looked for.
TEST(ReconcileFiles, LooksWhereTheTablesWereMounted) {
    testing_support::Environment const notLocal{"NOT_LOCAL_EM", "1"};
    {
        LogInUse former{"reconcile-not-local", true};
        former.log->mountSlateConfig(11, 0);
        former.write(Key{1}, 1, false, 11);
    }
    LogInUse again{"reconcile-not-local", true};
    again.intf->reconcile();
    ASSERT_TRUE(again.intf->swTableSet()->swTableHas(11));
    EXPECT_EQ(again.log->entrys(11), 0U);
}

TEST(ReconcileFiles, WhatAFailureLeftUndoneIsDoneByAnotherCall) {
    constexpr UnitId units[] = {1, 5, 9};
    {
        LogInUse former{"reconcile-twice", false};
        for (UnitId const unitId : units) {
            former.log->mountSlateConfig(unitId, 0);
            former.write(Key{1}, 1, false, unitId);
        }
    }
    auto const folder =
        testing_support::fileOf("reconcile-twice", Constants::configSlatePath(5)).parent_path();
    std::ofstream{folder / "five.slate"};
    LogInUse again{"reconcile-twice", false};
    try {
        again.intf->reconcile();
        FAIL() << "a path that names no unit is not passed over";
    } catch (Ombra::Exception const& refusal) {
        EXPECT_NE(refusal.msg().str().find("'five' is no unit number"), std::string::npos);
    }
    std::filesystem::remove(folder / "five.slate");
    again.intf->reconcile();
    for (UnitId const unitId : units) {
        ASSERT_TRUE(again.intf->swTableSet()->swTableHas(unitId));
        EXPECT_EQ(again.log->entrys(unitId), 0U);
    }
    EXPECT_EQ(again.log->tableVersion(), 6U) << "each unit was emptied once";
}

TEST(ReconcileFiles, FindsTheUnitsOfADeadAgentByTheirFiles) {
    {
        LogInUse former{"reconcile", false};
        former.log->mountSlateConfig(11, 0);
        former.write(Key{1}, 1, false, 11);
    }
    LogInUse again{"reconcile", false};
    again.intf->reconcile();
    ASSERT_TRUE(again.intf->swTableSet()->swTableHas(11));
    EXPECT_EQ(again.log->entrys(11), 0U);
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
