#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdlib>
#include <random>
#include <support/Figures.h>
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
    // LOAM_KILL_ROUNDS asks for more rounds, which are smaller.
    static unsigned rounds() {
        char const* const wanted = std::getenv("LOAM_KILL_ROUNDS");
        return wanted == nullptr ? 4 : static_cast<unsigned>(std::atoi(wanted));
    }
    unsigned const perType = rounds() > 4 ? 150 : 1500;
    unsigned const latestUs = rounds() > 4 ? 150000 : 400000;

    // An onlooker in a third process, which nobody who is dead may hold up: for each table, what is
    // applied is announced, what is announced is logged, and none of them ever goes back.
    void look(Programs& programs) {
        auto const tables = programs.ctl({"tables", "--json"});
        ASSERT_EQ(tables.status, 0) << tables.err;
        auto const now = nlohmann::json::parse(tables.out)["tables"];
        ASSERT_EQ(now.size(), 14U);
        for (std::size_t table = 0; table < now.size(); ++table) {
            auto const version = [&](nlohmann::json const& of, char const* which) {
                auto const& value = of[table][which];
                return value.is_null() ? 0 : value.get<std::uint64_t>();
            };
            auto const& name = now[table]["name"];
            EXPECT_LE(version(now, "applied-version"), version(now, "announced-version")) << name;
            EXPECT_LE(version(now, "announced-version"), version(now, "logged-version")) << name;
            for (auto const* const which :
                 {"applied-version", "announced-version", "logged-version"}) {
                if (!last_.is_null()) {
                    EXPECT_GE(version(now, which), version(last_, which)) << name << " " << which;
                }
            }
        }
        last_ = now;
    }

  private:
    nlohmann::json last_;
};

// The moment is anywhere from the agent's first steps to its last; where exactly does not repeat,
// so that a failure tells its number.
TEST_P(Kill, AtRandomMomentsEndsWithHardwareAndTablesEqual) {
    Programs programs;
    auto const seed = std::random_device{}();
    std::mt19937 random{seed};
    auto hw = programs.startHw();
    testing_support::Figures kills{"kills at random moments"};
    for (unsigned round = 1; round <= rounds(); ++round) {
        SCOPED_TRACE(testing::Message() << "seed " << seed << ", round " << round);
        programs.generatedPolicyIs(perType, round);
        auto const agent = programs.startAgent({"--once"});
        std::this_thread::sleep_for(std::chrono::microseconds{
            std::uniform_int_distribution<unsigned>{0, latestUs}(random)});
        if (GetParam().agent) {
            agent->signal(SIGKILL);
            agent->wait();
            ++kills.count;
            ASSERT_NO_FATAL_FAILURE(look(programs));
        }
        if (GetParam().hw) {
            hw->signal(SIGKILL);
            hw->wait();
            ++kills.count;
            ASSERT_NO_FATAL_FAILURE(look(programs));
            hw = programs.startHw();
        }
        auto const status = GetParam().agent ? programs.runAgent().status : agent->wait();
        ASSERT_EQ(status, 0);
        ASSERT_EQ(programs.ctl({"verify"}).status, 0);
        ASSERT_EQ(programs.endHwAndCompare(*hw).out,
                  std::to_string(14 * perType) + " entries in 14 tables agree\n");
        ASSERT_NO_FATAL_FAILURE(look(programs));
        if (HasFailure()) {
            return;
        }
        hw = programs.startHw();
    }
}

INSTANTIATE_TEST_SUITE_P(Of, Kill,
                         testing::Values(Killed{"TheAgent", true, false},
                                         Killed{"TheHardwareSide", false, true},
                                         Killed{"Both", true, true}),
                         [](auto const& killed) { return std::string{killed.param.name}; });

} // namespace
