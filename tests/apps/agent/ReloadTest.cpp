#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
