#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <support/Programs.h>

namespace {

using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

TEST(FirstStart, ProgramsEveryTableAndHardwareHoldsTheSame) {
    Programs programs;
    programs.generatedPolicyIs(100);
    auto const hw = programs.startHw();
    auto const agent = programs.runAgent();
    EXPECT_EQ(agent.status, 0) << agent.err;
    EXPECT_THAT(agent.out, HasSubstr("start: run 1 of the agent, its tables are empty"));
    EXPECT_THAT(agent.out, HasSubstr("everything is applied"));
    auto const compared = programs.endHwAndCompare(*hw);
    EXPECT_EQ(compared.status, 0) << compared.out;
    EXPECT_EQ(compared.out, "1400 entries in 14 tables agree\n");
}

TEST(FirstStart, ProgramsEveryUnitThatIsAskedFor) {
    Programs programs;
    programs.policyIs(policyOf(20));
    auto const hw = programs.startHw();
    auto const agent = programs.runAgent({"--once", "--unit", "1", "--unit", "7", "--unit", "1"});
    EXPECT_EQ(agent.status, 0) << agent.err;
    auto const compared = programs.endHwAndCompare(*hw);
    EXPECT_EQ(compared.out, "80 entries in 14 tables agree\n");
}

TEST(FirstStart, FillsTheLogsBeforeThereIsAHardwareSide) {
    Programs programs;
    programs.policyIs(policyOf(6000)); // more than may wait in the resolver
    auto const agent = programs.startAgent({"--once"});
    EXPECT_TRUE(agent->says("hardware operations: 12000")) << agent->out() << agent->err();
    EXPECT_TRUE(agent->running());
    auto const hw = programs.startHw();
    EXPECT_EQ(agent->wait(), 0) << agent->err();
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "12000 entries in 14 tables agree\n");
}

TEST(FirstStart, TellsProgressInLinesWhenThereIsNoTerminal) {
    Programs programs;
    programs.policyIs(policyOf(2000));
    auto const hw = programs.startHw();
    auto const agent = programs.runAgent();
    EXPECT_THAT(agent.out, HasSubstr("100 %  4000/4000 entries applied"));
    EXPECT_THAT(agent.out, testing::Not(HasSubstr("\r")));
}

TEST(FirstStart, EndsCleanlyOnSigtermAndSaysWhatIsPending) {
    Programs programs;
    programs.policyIs(policyOf(50));
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("hardware operations: 100")) << agent->err();
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0) << agent->err();
    EXPECT_THAT(agent->out(), HasSubstr("stopping: 0 entries of the policy were not written"));
    EXPECT_THAT(agent->out(), HasSubstr("100 changes in the logs are not applied"));
}

TEST(FirstStart, LeavesARingTraceInTheManagersFolder) {
    Programs programs;
    programs.policyIs(policyOf(1));
    auto const hw = programs.startHw();
    EXPECT_EQ(programs.runAgent().status, 0);
    EXPECT_THAT(testing_support::contentOf(programs.managerFolder() + "/agent.ring"),
                HasSubstr("Restored {} entries for table: Ipv4SystemPolicyTcamEntry"));
}

TEST(FirstStart, WaitsForAHardwareSideThatStopsAndStillEndsOnSigint) {
    Programs programs;
    programs.policyIs(policyOf(30));
    auto const hw = programs.startHw({"--stop-after", "10"});
    auto const agent = programs.startAgent({"--once"});
    ASSERT_TRUE(agent->says("hardware operations: 60"));
    EXPECT_TRUE(agent->running());
    agent->signal(SIGINT);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_THAT(agent->out(), HasSubstr("are not applied by the hardware side and stay there"));
}

} // namespace
