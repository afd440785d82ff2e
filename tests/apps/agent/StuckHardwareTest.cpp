#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/Programs.h>

namespace {

using nlohmann::json;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing_support::eventually;
using testing_support::policyOf;
using testing_support::Programs;

// What each failure that can be injected into the hardware side leaves of the agent: it goes on,
// loses nothing, and an operator is told what is stuck and why.
class StuckHardware : public testing::Test {
  protected:
    // 50 rules, or as many as said; the agent stays.
    void start(std::vector<std::string> faults, unsigned rules = 50) {
        programs.policyIs(policyOf(rules));
        faults.insert(faults.end(), {"--stat-interval-ms", "10"});
        hw = programs.startHw(faults);
        agent = programs.startAgent();
        ASSERT_TRUE(agent->says("hardware operations: " + std::to_string(2 * rules)))
            << agent->out() << agent->err();
    }

    // The control file takes the place of the options.
    void faultsAre(json const& faults) {
        testing_support::contentIs(programs.managerFolder() + "/hw-control.json.new",
                                   faults.dump());
        std::filesystem::rename(programs.managerFolder() + "/hw-control.json.new",
                                programs.managerFolder() + "/hw-control.json");
    }

    std::string troubles() {
        auto const tables = json::parse(programs.ctl({"tables", "--json"}).out);
        return tables["hardware-side"]["troubles"].dump();
    }

    bool tellsTrouble(std::string const& text) {
        return eventually([&] { return troubles().find(text) != std::string::npos; });
    }

    // It takes a policy, and writes what differs, within a moment.
    void expectTheAgentResponds(unsigned rules) {
        programs.policyIs(policyOf(rules));
        agent->signal(SIGHUP);
        EXPECT_TRUE(agent->says("2 entries differed, ", 5s)) << agent->out();
    }

    void expectAllApplied(unsigned rules) {
        EXPECT_TRUE(agent->says("everything is applied")) << agent->out() << troubles();
        EXPECT_TRUE(eventually([&] { return troubles() == "[]"; })) << troubles();
        agent->signal(SIGTERM);
        EXPECT_EQ(agent->wait(), 0);
        EXPECT_EQ(programs.endHwAndCompare(*hw).out,
                  std::to_string(2 * rules) + " entries in 14 tables agree\n");
    }

    std::string keyOfRule(unsigned rule) {
        auto const all = json::parse(programs.ctl({"show", "ipv4entry", "--json"}).out)["entries"];
        return all[rule - 1]["key"];
    }

    Programs programs;
    std::unique_ptr<testing_support::ChildProcess> hw;
    std::unique_ptr<testing_support::ChildProcess> agent;
};

TEST_F(StuckHardware, ThatStopsAcknowledging) {
    start({"--stop-after", "30"});
    EXPECT_TRUE(tellsTrouble("the hardware answers no more after 30 operations (injected)"));
    EXPECT_TRUE(tellsTrouble("is stuck at version "));
    expectTheAgentResponds(51);
    faultsAre(json::object());
    expectAllApplied(51);
}

TEST_F(StuckHardware, ThatRefusesAKey) {
    start({"--stop-after", "0"});
    auto const key = keyOfRule(7);
    faultsAre({{"refuse", {"Ipv4SystemPolicyTcamAction:" + key}}});
    EXPECT_TRUE(tellsTrouble("Ipv4SystemPolicyTcamAction is stuck at version 7: unit 0, key " +
                             key + ": the hardware can't take this entry (injected)"));
    EXPECT_TRUE(tellsTrouble("Ipv4SystemPolicyTcamEntry waits at version 7 until "
                             "Ipv4SystemPolicyTcamAction has applied version 7"));
    expectTheAgentResponds(51);
    EXPECT_THAT(programs.ctl({"tables"}).out, HasSubstr("is stuck at version 7: unit 0"));
    faultsAre(json::object());
    expectAllApplied(51);
}

TEST_F(StuckHardware, WhoseTcamIsFull) {
    start({"--capacity", "20"});
    EXPECT_TRUE(
        tellsTrouble("the TCAM of unit 0 is full: it holds 20 entries and has room for 20"));
    expectTheAgentResponds(51);
    faultsAre({{"capacity", 100}});
    expectAllApplied(51);
}

TEST_F(StuckHardware, WhoseTcamIsFullGoesOnWhenThePolicyShrinks) {
    start({"--capacity", "20"});
    EXPECT_TRUE(tellsTrouble("is full"));
    programs.policyIs(policyOf(20));
    agent->signal(SIGHUP);
    expectAllApplied(20);
}

TEST_F(StuckHardware, ThatIsSlow) {
    start({"--slow-us", "20000"});
    EXPECT_TRUE(eventually([&] {
        return programs.ctl({"stat"}).out.find("made slow: 20000 us per operation") !=
               std::string::npos;
    }));
    EXPECT_THAT(agent->out(), testing::Not(HasSubstr("everything is applied")));
    expectTheAgentResponds(51);
    faultsAre(json::object());
    expectAllApplied(51);
}

TEST_F(StuckHardware, ThatIsKilledAndComesAgain) {
    start({"--stop-after", "30"});
    hw->signal(SIGKILL);
    hw->wait();
    EXPECT_TRUE(tellsTrouble("the hardware side does not run, and "));
    expectTheAgentResponds(51);
    hw = programs.startHw({"--stat-interval-ms", "10"});
    expectAllApplied(51);
}

} // namespace
