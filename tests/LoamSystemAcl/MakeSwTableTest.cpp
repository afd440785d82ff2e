#include "EntryLogFixture.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <RingScribe/TraceHandle.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

using Entry = Family::Entry;
using Helper = Family::SwTableHelperBase;
using SwTablePtr = Ombra::Ptr<Family::SwTable>;

class MakeSwTable : public EntryLogTest {
  public:
    // Stores entries of unit 0 in one run of the agent, of which the hardware side has applied
    // `applied`, and starts another.
    void storeInAFormerRun(unsigned entries, LogVersion applied = 0) {
        log->mountSlateConfig(0, 0);
        for (unsigned number = 1; number <= entries; ++number) {
            write(Key{number}, number);
        }
        if (applied != 0) {
            agent.appliedIs(Constants::tableId, applied);
        }
        restart();
    }

    SwTablePtr make(bool reset, UnitId unitId = 0, Ombra::Ptr<Helper> const& helper = nullptr) {
        return intf->makeSwTable(unitId, helper, reset);
    }

    bool isSweepable(SwTablePtr const& table) const {
        auto const& all = agent.group()->sweepableSwTables();
        return std::ranges::find(all, Ombra::Ptr<Asic::OrderedSwTableWithMarkSweep>{table}) !=
               all.end();
    }
};
using MakeSwTableDeathTest = MakeSwTable;

// --- the three situations

struct Situation {
    char const* name;
    bool exists;
    bool reset;
    bool skipMark;
    std::uint32_t entrys;
    bool marking;
};

class MakeSwTableIn : public MakeSwTable, public testing::WithParamInterface<Situation> {};

TEST_P(MakeSwTableIn, LeavesEntriesAndMarkingAsTheSituationSays) {
    Situation const& row = GetParam();
    storeInAFormerRun(3);
    agent.intf()->restoredTablesSkipMarkIs(row.skipMark);
    if (row.exists) {
        ASSERT_EQ(make(false)->entrys(), 3U);
    }
    auto const table = make(row.reset);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->entrys(), row.entrys);
    EXPECT_EQ(table->inMarkingState(), row.marking);
    EXPECT_TRUE(isSweepable(table));
    EXPECT_EQ(intf->swTableSet()->swTable(0), table);
}

INSTANTIATE_TEST_SUITE_P(
    TheSituation, MakeSwTableIn,
    testing::Values(Situation{"ExistingKept", true, false, true, 3, false},
                    Situation{"ExistingKeptWhileMarking", true, false, false, 3, true},
                    Situation{"ExistingReset", true, true, true, 0, false},
                    Situation{"ExistingResetWhileMarking", true, true, false, 0, true},
                    Situation{"NewReset", false, true, false, 0, false},
                    Situation{"NewResetWithoutMarks", false, true, true, 0, false},
                    Situation{"NewKept", false, false, false, 3, true},
                    Situation{"NewKeptWithoutMarks", false, false, true, 3, false}),
    [](auto const& param) { return std::string{param.param.name}; });

TEST_F(MakeSwTable, ASecondCallGivesTheSameTableAndNeitherMountsNorMarksNorTouchesTheStatus) {
    auto const table = make(false);
    table->sweep(); // ends the marking
    auto const status = table->status();
    auto const slate = log->tableConfigSlate(0);
    TraceCapture const trace{"Ipv4SystemPolicyTcamEntry*"};
    EXPECT_EQ(make(false), table);
    EXPECT_FALSE(table->inMarkingState());
    EXPECT_EQ(table->status(), status);
    EXPECT_EQ(log->tableConfigSlate(0), slate);
    EXPECT_EQ(trace.lines, (std::vector<TraceCapture::Line>{
                               {interfaceHandle, 8, interfaceHandle, "makeSwTable", "unitId: 0"},
                               {interfaceHandle, 3, interfaceHandle, "makeSwTable",
                                "swTable with unitId: 0 exists"}}));
}

TEST_F(MakeSwTable, ATableIsMadeOfWhatTheInterfaceHas) {
    auto const table = make(true, 9);
    EXPECT_EQ(table->unitId(), 9);
    EXPECT_EQ(table->tableId(), Constants::tableId);
    EXPECT_EQ(table->swTableSet(), intf->swTableSet().get());
    EXPECT_EQ(table->entryLog(), log);
    EXPECT_EQ(table->groupResolver(), agent.group()->groupResolver());
    EXPECT_EQ(table->tableName()->orderedTableType(), Asic::OrderedTableType::orderedSwTable);
    EXPECT_EQ(table->tableName()->groupName(), "LoamSystemAcl");
    EXPECT_EQ(table->tableName()->tableNamespace(), "LoamSystemAcl");
    EXPECT_EQ(table->tableName()->tableName(), "Ipv4SystemPolicyTcamEntry");
}

TEST_F(MakeSwTable, TheUnitsOfATableShareItsStatus) {
    auto const first = make(true, 0);
    auto const second = make(true, 1);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->status(), intf->swTableStatus());
    EXPECT_EQ(second->status(), intf->swTableStatus());
    EXPECT_EQ(intf->swTableSet()->swTable(1), second);
}

// --- the helper

TEST_F(MakeSwTable, ANewTableHasADefaultHelperOrTheClients) {
    EXPECT_NE(make(true, 0)->swTableHelper(), nullptr);
    auto const helper = Ombra::ptrIs<Helper>();
    EXPECT_EQ(make(true, 1, helper)->swTableHelper(), helper);
    EXPECT_EQ(make(false, 2, helper)->swTableHelper(), helper);
}

TEST_F(MakeSwTable, ANullHelperKeepsTheOneOfAnExistingTable) {
    auto const helper = Ombra::ptrIs<Helper>();
    auto const table = make(true, 0, helper);
    make(false);
    EXPECT_EQ(table->swTableHelper(), helper);
}

TEST_F(MakeSwTable, AHelperForAnExistingTableReplacesItsFormerOne) {
    auto const table = make(true);
    auto const helper = Ombra::ptrIs<Helper>();
    TraceCapture const trace{interfaceHandle};
    make(false, 0, helper);
    EXPECT_EQ(table->swTableHelper(), helper);
    EXPECT_EQ(trace.texts(2), std::vector<std::string>{"Update software table helper"});
}

// --- an existing table

TEST_F(MakeSwTable, AResetOfAnExistingTableEmptiesItThroughTheLog) {
    auto const table = make(true);
    table->entryWrite(Key{1}, Entry{Key{1}}, nullptr);
    agent.resolve();
    TraceCapture const trace{interfaceHandle};
    make(true);
    EXPECT_EQ(table->entrys(), 0U);
    EXPECT_EQ(logged(2)->logFlags, Asic::EntryFlags::flagTableDeleted);
    EXPECT_EQ(table->stats()->tableClearCnt(), 1U);
    EXPECT_EQ(trace.texts(2),
              std::vector<std::string>{" Clearing entries for table id: 08:08:0404"});
}

TEST_F(MakeSwTable, AResetReleasesNoResources) {
    storeInAFormerRun(1);
    TraceCapture const trace{"Ipv4SystemPolicyTcamEntrySwTable"};
    make(true); // new
    make(true); // exists
    EXPECT_EQ(trace.count(8, " releaseResources: false, neededEntry:none "), 2U);
}

TEST_F(MakeSwTable, AnExistingTableIsNotToldAVersionAgain) {
    auto const table = make(true);
    agent.acknowledge(Constants::tableId, 7);
    TraceCapture const trace{"Ipv4SystemPolicyTcamEntrySwTable"};
    make(false);
    EXPECT_TRUE(trace.lines.empty());
}

// --- a new table

TEST_F(MakeSwTable, WithoutARecordOfWhatIsAppliedTheVersionIsZero) {
    TraceCapture const trace{"Ipv4SystemPolicyTcamEntry*"};
    make(true);
    EXPECT_TRUE(trace.has(8, " unitId:0, logVersion: 0"));
    EXPECT_TRUE(trace.has(8, "tableVersion: 0"));
}

TEST_F(MakeSwTable, WhatIsAppliedGoesToTheMountAndToTheTable) {
    storeInAFormerRun(3, 2);
    TraceCapture const trace{"Ipv4SystemPolicyTcamEntry*"};
    make(false);
    EXPECT_TRUE(trace.has(8, " unitId:0, logVersion: 2"));
    EXPECT_TRUE(trace.has(8, "tableVersion: 2"));
    EXPECT_EQ(log->logCleanedVersion(), 2U);
}

TEST_F(MakeSwTable, TracesTheStepsOfARestore) {
    storeInAFormerRun(2, 1);
    std::vector<std::string> lines;
    {
        TraceCapture const trace{"Ipv4SystemPolicyTcamEntry*",
                                 static_cast<std::uint16_t>(1U << 2 | 1U << 8)};
        make(false);
        for (auto const& line : trace.lines) {
            lines.push_back(fmt::format("{} {}: {}", line.level, line.function, line.text));
        }
    }
    auto const at = [&](std::string const& line) {
        auto const found = std::ranges::find(lines, line);
        EXPECT_NE(found, lines.end()) << line;
        return found - lines.begin();
    };
    std::vector const order{
        at("8 makeSwTable: unitId: 0"),
        at("8 mountSlateConfig:  unitId:0, logVersion: 1"),
        at("8 handleInitialized: doesMarkSweep: True hwErrorHandling: False"),
        at("2 makeSwTable:  Restored 2 entries for table: Ipv4SystemPolicyTcamEntry, unitId: 0"),
        at("8 tableStatusVersion: tableVersion: 1"),
        at("8 mark: ")};
    EXPECT_TRUE(std::ranges::is_sorted(order));
}

TEST_F(MakeSwTable, AFirstStartRestoresNothing) {
    TraceCapture const trace{interfaceHandle};
    make(false);
    EXPECT_EQ(trace.texts(2),
              std::vector<std::string>{
                  " Restored 0 entries for table: Ipv4SystemPolicyTcamEntry, unitId: 0"});
}

TEST_F(MakeSwTable, AResetOfANewTableIsTold) {
    TraceCapture const trace{interfaceHandle};
    make(true, 65535);
    EXPECT_EQ(trace.texts(2),
              std::vector<std::string>{
                  " Clearing entries for table: Ipv4SystemPolicyTcamEntry, unitId: 65535"});
}

TEST_F(MakeSwTable, ANewTableIsClearedBeforeItIsInItsSetAndTheSetComesBeforeTheVersion) {
    storeInAFormerRun(2);
    std::vector<std::pair<std::string, bool>> inSet; // function, and whether the set held the table
    auto const former = Ombra::traceSinkIs([&](Ombra::TraceRecord const& record) {
        inSet.emplace_back(std::string{record.function}, intf->swTableSet()->swTableHas(0));
    });
    Zet::TraceHandle::levelsIs("Ipv4SystemPolicyTcamEntry*", 1U << 8);
    make(true);
    Zet::TraceHandle::levelsIs("Ipv4SystemPolicyTcamEntry*", 0);
    Ombra::traceSinkIs(former);
    EXPECT_THAT(inSet, testing::Contains(std::pair{std::string{"clearTable"}, false}));
    EXPECT_THAT(inSet, testing::Contains(std::pair{std::string{"tableDel"}, false}));
    EXPECT_THAT(inSet, testing::Contains(std::pair{std::string{"tableStatusVersion"}, true}));
    EXPECT_THAT(inSet, testing::Not(testing::Contains(std::pair{std::string{"clearTable"}, true})));
}

TEST_F(MakeSwTable, AResetOfANewTableMarksItsEntriesForDeletionUntilTheyAreAcknowledged) {
    storeInAFormerRun(3);
    auto const table = make(true);
    EXPECT_EQ(log->entrysInDeletion(0), 3U);
    agent.acknowledge(Constants::tableId, 4);
    EXPECT_EQ(config().memberCount(), 0U);
}

TEST_F(MakeSwTable, ATableThatStaysAcrossARestartIsSweptUnlessWrittenAgain) {
    storeInAFormerRun(3);
    auto const table = make(false);
    table->entryWrite(Key{2}, Entry{logEntryOf(Key{2}, 2)}, nullptr);
    agent.resolve();
    agent.group()->sweepSwTables();
    agent.resolve();
    EXPECT_EQ(table->entrys(), 1U);
    EXPECT_TRUE(table->entryHas(Key{2}));
    EXPECT_FALSE(table->inMarkingState());
}

// --- the invariants

TEST_F(MakeSwTableDeathTest, WithoutItsGroupItStopsTheProcess) {
    intf->groupNameIs("Another");
    EXPECT_DEATH(make(true), "groupIntf");
}

TEST_F(MakeSwTableDeathTest, WithoutItsSetInTheGroupItStopsTheProcess) {
    agent.group()->swTableSetDelAll();
    EXPECT_DEATH(make(true), "groupIntf->swTableSetHas\\( tableId\\(\\) \\)");
}

TEST_F(MakeSwTableDeathTest, ATableOfAnotherClassInItsSetStopsTheProcess) {
    intf->swTableSet()->swTableIs(agent.makeSwTable<Ipv4SystemPolicyTcamActionFamily>(0));
    EXPECT_DEATH(make(true), "existingTbl");
}

// --- without a ring trace

TEST_F(MakeSwTable, WithoutARingItBehavesTheSame) {
    ASSERT_EQ(RingScribe::currentTraceFile(), nullptr);
    EXPECT_NE(make(true), nullptr);
    EXPECT_NE(make(false, 1), nullptr);
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
