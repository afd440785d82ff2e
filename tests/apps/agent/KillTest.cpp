#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <support/Programs.h>
#include <thread>

namespace {

using testing_support::Programs;

// Which of the two programs a round kills.
struct Killed {
    char const* name;
    bool agent;
    bool hw;
};

class Kill : public testing::TestWithParam<Killed> {
  protected:
    static constexpr unsigned rounds = 4;
    static constexpr unsigned perType = 1500;
};

// The moment is anywhere from the agent's first steps to its last; where exactly does not repeat,
// so that a failure tells its number.
TEST_P(Kill, AtRandomMomentsEndsWithHardwareAndTablesEqual) {
    Programs programs;
    auto const seed = std::random_device{}();
    std::mt19937 random{seed};
    auto hw = programs.startHw();
    for (unsigned round = 1; round <= rounds; ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round);
        programs.generatedPolicyIs(perType, round);
        auto const agent = programs.startAgent({"--once"});
        std::this_thread::sleep_for(
            std::chrono::microseconds{std::uniform_int_distribution<unsigned>{0, 400000}(random)});
        if (GetParam().agent) {
            agent->signal(SIGKILL);
            agent->wait();
        }
        if (GetParam().hw) {
            hw->signal(SIGKILL);
            hw->wait();
            hw = programs.startHw();
        }
        auto const status = GetParam().agent ? programs.runAgent().status : agent->wait();
        ASSERT_EQ(status, 0);
        ASSERT_EQ(programs.ctl({"verify"}).status, 0);
        ASSERT_EQ(programs.endHwAndCompare(*hw).out,
                  std::to_string(14 * perType) + " entries in 14 tables agree\n");
        hw = programs.startHw();
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Kill,
                         testing::Values(Killed{"TheAgent", true, false},
                                         Killed{"TheHardwareSide", false, true},
                                         Killed{"Both", true, true}),
                         [](auto const& killed) { return std::string{killed.param.name}; });

} // namespace
