#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <support/Programs.h>

namespace {

using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

std::uint64_t logRecords(Programs& programs) {
    std::uint64_t records = 0;
    for (auto const& table :
         nlohmann::json::parse(programs.ctl({"tables", "--json"}).out)["tables"]) {
        records += table["log-records"].get<std::uint64_t>();
    }
    return records;
}

// The version of each table's log, which every record that is written raises.
std::vector<std::uint64_t> loggedVersions(Programs& programs) {
    std::vector<std::uint64_t> versions;
    for (auto const& table :
         nlohmann::json::parse(programs.ctl({"tables", "--json"}).out)["tables"]) {
        versions.push_back(table["logged-version"].get<std::uint64_t>());
    }
    return versions;
}

TEST(Restart, ThatChangesNothingWritesNoLogRecord) {
    Programs programs;
    programs.generatedPolicyIs(300);
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    hw->signal(SIGTERM); // so that nothing would take a record out of the logs
    ASSERT_EQ(hw->wait(), 0);
    auto const recordsBefore = logRecords(programs);
    auto const versionsBefore = loggedVersions(programs);
    auto const agent = programs.runAgent();
    EXPECT_EQ(agent.status, 0) << agent.err;
    EXPECT_THAT(agent.out, HasSubstr("run 2 of the agent, found 4200 entries in 14 tables"));
    EXPECT_THAT(agent.out, HasSubstr("4200 entries asked for, 4200 suppressed"));
    EXPECT_THAT(agent.out,
                HasSubstr("0 swept because the policy has them no more; hardware operations: 0\n"));
    EXPECT_EQ(logRecords(programs), recordsBefore);
    EXPECT_EQ(loggedVersions(programs), versionsBefore);
}

// What the hardware side has done, by its own count.
std::uint64_t hardwareOperations(Programs& programs) {
    auto const operations =
        nlohmann::json::parse(programs.ctl({"stat", "--json"}).out)["hardware-side"]["operations"];
    return operations["writes"].get<std::uint64_t>() + operations["removes"].get<std::uint64_t>();
}

TEST(Restart, OfAFullTableThatChangesNothingCostsNoHardwareOperation) {
    Programs programs;
    programs.generatedPolicyIs(65000, 1, "ipv4");
    auto const hw = programs.startHw({"--stat-interval-ms", "10"});
    ASSERT_EQ(programs.runAgent().status, 0);
    ASSERT_TRUE(
        testing_support::eventually([&] { return hardwareOperations(programs) == 130000; }));
    auto const versionsBefore = loggedVersions(programs);
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->out() << agent->err();
    EXPECT_THAT(agent->out(), HasSubstr("130000 entries asked for, 130000 suppressed"));
    EXPECT_THAT(agent->out(),
                HasSubstr("0 swept because the policy has them no more; hardware operations: 0\n"));
    EXPECT_EQ(logRecords(programs), 0U);
    EXPECT_EQ(loggedVersions(programs), versionsBefore);
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "130000 entries in 14 tables agree\n");
    EXPECT_EQ(hardwareOperations(programs), 130000U); // by its last words
}

TEST(Restart, AfterAKillInMidPolicyGoesOnAndEndsEqual) {
    Programs programs;
    programs.generatedPolicyIs(50, 1);
    auto const hw = programs.startHw({"--slow-us", "20"});
    ASSERT_EQ(programs.runAgent().status, 0);
    programs.generatedPolicyIs(3000, 2);
    auto const killed = programs.startAgent();
    ASSERT_TRUE(killed->says("entries applied")) << killed->err();
    killed->signal(SIGKILL);
    EXPECT_EQ(killed->wait(), 128 + SIGKILL);
    EXPECT_THAT(killed->out(), testing::Not(HasSubstr("everything is applied")));
    auto const agent = programs.runAgent();
    EXPECT_EQ(agent.status, 0) << agent.err;
    EXPECT_THAT(agent.out, HasSubstr("restart: run 3 of the agent, found "));
    auto const compared = programs.endHwAndCompare(*hw);
    EXPECT_EQ(compared.out, "42000 entries in 14 tables agree\n");
    EXPECT_EQ(programs.ctl({"verify"}).status, 0);
}

TEST(Restart, RemovesWhatThePolicyHasNoMore) {
    Programs programs;
    programs.policyIs(policyOf(100));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    programs.policyIs(policyOf(30));
    auto const agent = programs.runAgent();
    EXPECT_EQ(agent.status, 0) << agent.err;
    EXPECT_THAT(agent.out, HasSubstr("140 swept because the policy has them no more"));
    EXPECT_THAT(agent.out, HasSubstr("hardware operations: 140\n"));
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "60 entries in 14 tables agree\n");
}

TEST(Restart, SweepsAnEntryBeforeItsAction) {
    Programs programs;
    programs.policyIs(policyOf(3));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    hw->signal(SIGTERM);
    ASSERT_EQ(hw->wait(), 0);
    programs.policyIs(policyOf(1));
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("4 swept because the policy has them no more; hardware operations: 4"))
        << agent->out();
    auto const log =
        nlohmann::json::parse(programs.ctl({"log", "Ipv4SystemPolicyTcamAction", "--json"}).out);
    for (std::size_t back = 1; back <= 2; ++back) {
        auto const change = log["changes"][log["changes"].size() - back];
        EXPECT_EQ(change["change"], "deleted");
        EXPECT_EQ(change["needs"], nlohmann::json::parse(R"(["Ipv4SystemPolicyTcamEntry@5"])"));
    }
}

TEST(Restart, EmptiesTheUnitsThatNobodyClaims) {
    Programs programs;
    programs.policyIs(policyOf(10));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent({"--once", "--unit", "0", "--unit", "3"}).status, 0);
    ASSERT_EQ(programs.runAgent({"--once", "--unit", "0"}).status, 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "20 entries in 14 tables agree\n");
}

TEST(Restart, WithResetStartsEmpty) {
    Programs programs;
    programs.policyIs(policyOf(40));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    programs.policyIs(policyOf(10));
    auto const agent = programs.runAgent({"--once", "--reset"});
    EXPECT_EQ(agent.status, 0) << agent.err;
    EXPECT_THAT(agent.out, HasSubstr("its tables are empty"));
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "20 entries in 14 tables agree\n");
}

} // namespace
