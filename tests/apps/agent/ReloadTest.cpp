#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <support/Programs.h>

namespace {

using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

TEST(Reload, WritesOnlyWhatDiffers) {
    Programs programs;
    programs.policyIs(policyOf(50));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    programs.policyIs(policyOf(53));
    agent->signal(SIGHUP);
    EXPECT_TRUE(agent->says("6 entries differed, 100 were as the policy has them, 0 removed"))
        << agent->out();
    EXPECT_THAT(agent->out(), HasSubstr("hardware operations: 6\n"));
}

TEST(Reload, RewritesAnEntryWhoseMatchChangedAndKeepsItsAction) {
    Programs programs;
    programs.policyIs(policyOf(20, 179));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    programs.policyIs(policyOf(20, 22));
    agent->signal(SIGHUP);
    EXPECT_TRUE(agent->says("20 entries differed, 20 were as the policy has them")) << agent->out();
}

TEST(Reload, RemovesWhatIsGone) {
    Programs programs;
    programs.policyIs(policyOf(50));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    programs.policyIs(policyOf(20));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("60 removed because the policy has them no more")) << agent->out();
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "40 entries in 14 tables agree\n");
}

TEST(Reload, RemovesAnEntryBeforeItsAction) {
    Programs programs;
    programs.policyIs(policyOf(2));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    hw->signal(SIGTERM);
    ASSERT_EQ(hw->wait(), 0);
    programs.policyIs(policyOf(1));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("2 removed because the policy has them no more")) << agent->out();
    auto const log =
        nlohmann::json::parse(programs.ctl({"log", "Ipv4SystemPolicyTcamAction", "--json"}).out);
    auto const change = log["changes"].back();
    EXPECT_EQ(change["change"], "deleted");
    EXPECT_EQ(change["needs"], nlohmann::json::parse(R"(["Ipv4SystemPolicyTcamEntry@3"])"));
}

TEST(Reload, ByItselfWhenTheFileIsWritten) {
    Programs programs;
    programs.policyIs(policyOf(50));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    programs.policyIs(policyOf(53));
    EXPECT_TRUE(agent->says("the policy file has changed")) << agent->out();
    EXPECT_TRUE(agent->says("6 entries differed, 100 were as the policy has them, 0 removed"))
        << agent->out();
}

TEST(Reload, ByItselfWhenTheFileIsReplaced) {
    Programs programs;
    programs.policyIs(policyOf(50));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    testing_support::contentIs(programs.scratch("next"), policyOf(51));
    std::filesystem::rename(programs.scratch("next"), programs.policyFile());
    EXPECT_TRUE(agent->says("2 entries differed, 100 were as the policy has them")) << agent->out();
}

TEST(Reload, ByItselfOfAnImpossibleFileChangesNothing) {
    Programs programs;
    programs.policyIs(policyOf(50));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    programs.policyIs("{");
    ASSERT_TRUE(agent->says("has changed and is refused; what is programmed stays"));
    EXPECT_THAT(agent->err(), HasSubstr(programs.policyFile()));
    std::filesystem::remove(programs.policyFile());
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("was read again and is refused; what is programmed stays"));
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "100 entries in 14 tables agree\n");
}

TEST(Reload, ThatIsRefusedChangesNothingAndTheAgentGoesOn) {
    Programs programs;
    programs.policyIs(policyOf(50));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    programs.policyIs(policyOf(20, 99999));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("is refused; what is programmed stays"));
    EXPECT_THAT(agent->err(), HasSubstr("/openconfig-acl:acl/acl-sets/acl-set/0"));
    EXPECT_TRUE(agent->running());
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "100 entries in 14 tables agree\n");
}

TEST(Reload, InTheMiddleOfAReplayEndsAtTheNewPolicy) {
    Programs programs;
    programs.policyIs(policyOf(300));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    programs.policyIs(policyOf(20000));
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("entries applied")) << agent->err();
    programs.policyIs(policyOf(200));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("everything is applied")) << agent->out();
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "400 entries in 14 tables agree\n");
}

} // namespace
