#include <Asic/Constants.h>
#include <Asic/GenId.h>
#include <Orbis/EntityManager.h>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <apps/agent/ExitStatus.h>
#include <filesystem>
#include <support/Programs.h>

namespace {

using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

// What becomes of an agent when a collection's file was deleted while it was stopped.
class Relaunch : public testing::Test {
  protected:
    void SetUp() override {
        programs.policyIs(policyOf(10));
        hw = programs.startHw();
        ASSERT_EQ(programs.runAgent().status, 0);
        before = generation();
        ASSERT_TRUE(std::filesystem::remove(lostFile()));
    }

    std::string lostFile() const {
        return programs.managerFolder() + "/LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/"
                                          "Ipv4SystemPolicyTcamEntry/config/0.slate";
    }

    // A process of its own for each look, as the store's users are.
    std::uint64_t generation() {
        Orbis::setRoot(programs.root());
        auto const manager =
            Ombra::ptrIs<Orbis::EntityManager>(Ombra::String{"LoamSystemAcl"}, false);
        return Asic::GenId::create(manager, Asic::Constants::relaunchPath("LoamSystemAcl"))
            ->majorId();
    }

    Programs programs;
    std::unique_ptr<testing_support::ChildProcess> hw;
    std::uint64_t before = 0;
};

TEST_F(Relaunch, SaysWhatWasLostRaisesTheGenerationByOneAndEndsWithItsOwnStatus) {
    auto const agent = programs.runAgent();
    EXPECT_EQ(agent.status, LoamAgent::exitRelaunchOrdered) << agent.out;
    EXPECT_THAT(agent.err, HasSubstr("Hardware abstraction error: unable to load item: "
                                     "entryCfg::Ipv4SystemPolicyTcamEntry"));
    EXPECT_THAT(agent.out, HasSubstr("a new start was ordered"));
    EXPECT_EQ(generation(), before + 1);
}

TEST_F(Relaunch, TheNextAgentFindsTheMarkClearedAndProgramsAllAgain) {
    ASSERT_EQ(programs.runAgent().status, 75);
    auto const again = programs.runAgent();
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_THAT(again.err, testing::Not(HasSubstr("unable to load item")));
    EXPECT_EQ(generation(), before + 1);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "20 entries in 14 tables agree\n");
}

// As systemd does with apps/systemd/loam-agent.service: starts it again after status 75 alone.
TEST_F(Relaunch, ASupervisorStartsItAgain) {
    std::string line = "while :; do";
    for (auto const& word : programs.agentCommand({"--once"})) {
        line += " '" + word + "'";
    }
    line += "; status=$?; echo ended with $status; [ $status = 75 ] || exit $status; done";
    auto const supervised = programs.run({"/bin/sh", "-c", line});
    EXPECT_EQ(supervised.status, 0) << supervised.err;
    EXPECT_THAT(supervised.out, testing::ContainsRegex("ended with 75\n(.|\n)*ended with 0\n$"));
    EXPECT_THAT(programs.ctl({"stat"}).out, HasSubstr("agent: run 3,"));
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "20 entries in 14 tables agree\n");
}

TEST(Unit, StartsTheAgentAgainAfterItsOwnStatusAndNotAfterARefusal) {
    auto const unit = testing_support::contentOf(LOAM_SOURCES "/apps/systemd/loam-agent.service");
    EXPECT_THAT(unit, HasSubstr(fmt::format("\nRestartForceExitStatus={}\n",
                                            static_cast<int>(LoamAgent::exitRelaunchOrdered))));
    EXPECT_THAT(unit, HasSubstr(fmt::format("\nRestartPreventExitStatus={} {}\n",
                                            static_cast<int>(LoamAgent::exitPolicyRefused),
                                            static_cast<int>(LoamAgent::exitUsage))));
}

} // namespace
