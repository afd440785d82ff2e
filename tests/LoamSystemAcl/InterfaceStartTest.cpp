#include "FakeEntryLog.h"

#include <OrderedTable/TableInterfaceAccessor.h>

#include <string>
#include <vector>

// What a table's interface does when it is made, on a first start and on a restart.
namespace LoamSystemAcl::entry_log_test {
namespace {

class InterfaceStart : public MountedEntryLogTest {
  public:
    // A restart with the log at `logged` and the hardware side at `applied`.
    void restartWith(LogVersion logged, LogVersion applied) {
        log->tableEntryLog()->control()->scratchpadIs(logged);
        agent.appliedIs(Constants::tableId, applied);
        restart();
    }
    bool pendingHwWrites() const { return intf->swTableStatus()->pendingHwWrites(); }
};
using InterfaceStartDeathTest = InterfaceStart;

using Texts = std::vector<std::string>;

TEST_F(InterfaceStart, AFirstStartCleansNothingAndLeavesPendingHwWritesAlone) {
    write(Key{1}, 1);
    TraceCapture const trace{"Ipv4SystemPolicyTcamEntry*"};
    restart(); // the group has no record of the table
    EXPECT_EQ(trace.texts(3), Texts{" Creating entry log for 08:08:0404"});
    EXPECT_TRUE(trace.has(2, " Entry log created for table id: 08:08:0404 at version: 1"));
    EXPECT_FALSE(trace.has(8, " version 0"));
    EXPECT_FALSE(pendingHwWrites());
    EXPECT_EQ(log->logCleanedVersion(), 0U);
    EXPECT_TRUE(logged(1));
}

TEST_F(InterfaceStart, ARestartAtTheLogsVersionCleansAndLeavesPendingHwWritesAlone) {
    write(Key{1}, 1);
    write(Key{2}, 1);
    TraceCapture const trace{"Ipv4SystemPolicyTcamEntry*"};
    restartWith(2, 2);
    EXPECT_TRUE(trace.has(8, " version 2"));
    EXPECT_TRUE(trace.has(3, " Cleaned entry log until table version: 2"));
    EXPECT_FALSE(trace.has(2, " Turning ON pendingHwWrites"));
    EXPECT_FALSE(pendingHwWrites());
    EXPECT_EQ(changes().memberCount(), 0U);
    EXPECT_EQ(log->logCleanedVersion(), 2U);
}

TEST_F(InterfaceStart, ARestartOneBelowTheLogsVersionTurnsPendingHwWritesOn) {
    write(Key{1}, 1);
    write(Key{2}, 1);
    TraceCapture const trace{interfaceHandle};
    restartWith(2, 1);
    EXPECT_TRUE(pendingHwWrites());
    EXPECT_EQ(changes().memberCount(), 1U);
    EXPECT_EQ(trace.lines, (std::vector<TraceCapture::Line>{
                               {interfaceHandle, 2, interfaceHandle, "onDelete", " onDelete "},
                               {interfaceHandle, 3, interfaceHandle, "handleInitialized",
                                " Creating entry log for 08:08:0404"},
                               {interfaceHandle, 3, interfaceHandle, "handleInitialized",
                                " Cleaned entry log until table version: 1"},
                               {interfaceHandle, 2, interfaceHandle, "handleInitialized",
                                " Turning ON pendingHwWrites"},
                               {interfaceHandle, 2, interfaceHandle, "handleInitialized",
                                " Entry log created for table id: 08:08:0404 at version: 2"}}));
}

TEST_F(InterfaceStart, ARecordAboveTheLogsVersionNeitherTurnsItOnNorFails) {
    restartWith(2, 3);
    EXPECT_FALSE(pendingHwWrites());
    EXPECT_EQ(log->tableVersion(), 2U);
}

TEST_F(InterfaceStart, ARecordOfVersionZeroIsARestartAllTheSame) {
    TraceCapture const trace{interfaceHandle};
    restartWith(1, 0);
    EXPECT_TRUE(trace.has(3, " Cleaned entry log until table version: 0"));
    EXPECT_TRUE(pendingHwWrites());
}

TEST_F(InterfaceStart, VersionsAreComparedOverAllTheir64Bits) {
    restartWith(0xFFFFFFFF, 0x100000000);
    EXPECT_FALSE(pendingHwWrites());
    restartWith(0x100000000, 0xFFFFFFFF);
    EXPECT_TRUE(pendingHwWrites());
    restartWith(~LogVersion{0}, 1);
    EXPECT_TRUE(pendingHwWrites());
}

TEST_F(InterfaceStart, TheSetIsMadeEmptyAndEnteredInTheGroup) {
    write(Key{1}, 1);
    restartWith(1, 1);
    EXPECT_FALSE(intf->swTableSet()->swTableHas(0)) << "tables come when a client asks";
    EXPECT_EQ(agent.group()->swTableSet(Constants::tableId), intf->swTableSet());
}

TEST_F(InterfaceStart, TheTrimOfTheStartComesBeforeAnyUnitIsMounted) {
    write(Key{1}, 1);
    remove(Key{1});
    TraceCapture const trace{logHandle};
    restartWith(2, 2);
    EXPECT_TRUE(trace.has(3, " configSlate not found for unitId: 0"));
    auto const table = intf->makeSwTable(0, nullptr, false);
    EXPECT_EQ(config().memberCount(), 0U) << "the purge of the mount has done it";
}

TEST_F(InterfaceStart, AnInterfaceEntersTheRegistriesWhenAllElseIsDone) {
    log = nullptr;
    intf = nullptr;
    agent.restart();
    std::vector<std::string> told;
    auto former = Ombra::traceSinkIs([&](Ombra::TraceRecord const& record) {
        told.emplace_back(record.text);
        EXPECT_FALSE(agent.group()->swTableSetHas(Constants::tableId)) << record.text;
        EXPECT_TRUE(agent.intf()->swTableIntfs().empty()) << record.text;
        EXPECT_FALSE(
            Asic::SwTableInterfacesSingleton::get()->swTableIntfHas(Family::Interface::registryKey))
            << record.text;
    });
    Zet::TraceHandle::levelsIs(interfaceHandle, 0xffff);
    up();
    Zet::TraceHandle::levelsIs(interfaceHandle, 0);
    Ombra::traceSinkIs(std::move(former));
    EXPECT_EQ(told, (Texts{" Creating entry log for 08:08:0404",
                           " Entry log created for table id: 08:08:0404 at version: 0"}));
    EXPECT_TRUE(agent.group()->swTableSetHas(Constants::tableId));
}

TEST_F(InterfaceStartDeathTest, ASecondInterfaceInAProcessStopsIt) {
    EXPECT_DEATH(Family::Interface{agent.intf()},
                 "!singleton->swTableIntfHas\\( "
                 "\"LoamSystemAcl::Ipv4SystemPolicyTcamEntryInterface\" \\): "
                 "Interface already created");
    EXPECT_DEATH(intf->handleInitialized(), "Interface already created");
}

TEST_F(InterfaceStartDeathTest, ASecondInterfaceIsStoppedBeforeItsGroupIsMade) {
    auto const another = Ombra::ptrIs<Asic::OrderedTableInterface>(agent.entityManager());
    EXPECT_DEATH(Family::Interface{another}, "Interface already created");
    // A group that is made begins a run of the agent, in memory that the child had in common with
    // us.
    ZetSharedMem::EntityManager readers{"test", true};
    auto const seen = Asic::mountSlate<Asic::AgentSlate>(
        readers, Asic::Constants::agentSlatePath(agent.canonicalGroup()),
        ZetSlate::ZetSlateType::reader);
    EXPECT_EQ(seen->control()->scratchpad(), 1U);
}

TEST_F(InterfaceStart, AnInterfaceThatCannotBeMadeIsInNoRegistry) {
    log = nullptr;
    intf = nullptr;
    agent.restart();
    // The group can't be made while another manager writes its files.
    ::setenv("NOT_LOCAL_EM", "1", 1);
    ZetSharedMem::EntityManager writer{"test", false};
    auto const held = Asic::mountSlate<Asic::AgentSlate>(
        writer, Asic::Constants::agentSlatePath(agent.canonicalGroup()),
        ZetSlate::ZetSlateType::writer);
    EXPECT_THROW(agent.tableIntf<Family>(), Ombra::Exception);
    ::unsetenv("NOT_LOCAL_EM");
    EXPECT_TRUE(agent.intf()->swTableIntfs().empty());
    EXPECT_FALSE(
        Asic::SwTableInterfacesSingleton::get()->swTableIntfHas(Family::Interface::registryKey));
    held->close();
    up(); // and the next attempt succeeds
    EXPECT_NE(intf, nullptr);
}

// --- what the hardware side has applied, read from memory that may be damaged

static Asic::SwTableId tableIdOf(Asic::TableVersion const& record) {
    return record.tableId;
}

class AppliedVersion : public testing::Test {
  public:
    void damageAt(std::size_t which) {
        calls.probe = [this, which](std::string const& name) {
            if (name == "map.lookup" && calls.count(name) == which) {
                throw Ombra::CorruptionDetectedException{"a damaged slot"};
            }
        };
    }
    auto read() { return Asic::appliedVersionIn(map, Constants::tableId); }

    Calls calls;
    FakeMap<Asic::TableVersion, Asic::SwTableId, &tableIdOf> map{calls, "map", {}, {}};
};

TEST_F(AppliedVersion, IsNothingWithoutARecordAndItsVersionWithOne) {
    EXPECT_FALSE(read());
    map.records[Constants::tableId] = Asic::TableVersion{Constants::tableId, 7};
    EXPECT_EQ(read(), LogVersion{7});
    EXPECT_EQ(calls.names, (std::vector<std::string>{"map.lookup", "map.lookup", "map.lookup"}));
}

TEST_F(AppliedVersion, DamageInTheFirstReadIsReportedAndCountsAsNoRecord) {
    map.records[Constants::tableId] = Asic::TableVersion{Constants::tableId, 7};
    damageAt(1);
    EXPECT_FALSE(read());
    EXPECT_EQ(map.reported, std::vector<std::string>{"a damaged slot"});
}

TEST_F(AppliedVersion, DamageInTheSecondReadGivesTheDefaultRecordsVersion) {
    map.records[Constants::tableId] = Asic::TableVersion{Constants::tableId, 7};
    damageAt(2);
    EXPECT_EQ(read(), LogVersion{0});
    EXPECT_EQ(map.reported, std::vector<std::string>{"a damaged slot"});
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
