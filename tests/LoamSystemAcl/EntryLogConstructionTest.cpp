#include "EntryLogFixture.h"

#include <vector>

// An entry log when it is made, its attributes, and its end.
namespace LoamSystemAcl::entry_log_test {
namespace {

class EntryLogConstruction : public EntryLogTest {};

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

} // namespace
} // namespace LoamSystemAcl::entry_log_test
