#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/Programs.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

constexpr auto entryTable = "Ipv4SystemPolicyTcamEntry";

// The commands that ask a live agent, which has ten rules in its logs.
class Live : public testing::Test {
  protected:
    void SetUp() override {
        programs.policyIs(policyOf(10));
        agent = programs.startAgent();
        ASSERT_TRUE(agent->says("hardware operations: 20")) << agent->err();
    }

    json ask(std::vector<std::string> command) {
        command.push_back("--json");
        auto const ran = programs.ctl(command);
        EXPECT_EQ(ran.status, 0) << ran.err;
        return json::parse(ran.out, nullptr, false);
    }

    std::string keyOfRule(unsigned rule) {
        return ask({"show", entryTable})["entries"][rule - 1]["key"];
    }

    Programs programs;
    std::unique_ptr<testing_support::ChildProcess> agent;
};

TEST_F(Live, CommandsSayThatThereIsNoAgent) {
    agent->signal(SIGKILL);
    agent->wait();
    for (auto const* command : {"watch", "top", "trace", "objects", "flush", "reload"}) {
        auto const ran = programs.ctl({command});
        EXPECT_EQ(ran.status, 2) << command;
        EXPECT_THAT(ran.err, HasSubstr("no agent listens here; this needs a live one")) << command;
    }
}

TEST_F(Live, UnitsTellWhoUsesThem) {
    EXPECT_EQ(ask({"units"})["units"], json::parse(R"([{"unit": 0, "tables": 14, "entries": 20,
        "in-deletion": 0, "used": true}])"));
    agent->signal(SIGKILL);
    agent->wait();
    EXPECT_EQ(ask({"units"})["units"][0]["used"], false);
}

TEST_F(Live, ExplainTellsWhereAKeyStandsWithoutAHardwareSide) {
    auto const key = keyOfRule(3);
    auto const told = ask({"explain", entryTable, key});
    EXPECT_EQ(told["records"][0]["hardware"], "waiting");
    ASSERT_EQ(told["in-log"].size(), 1U);
    auto const change = told["in-log"][0];
    EXPECT_EQ(change["version"], 3);
    EXPECT_EQ(change["change"], "written");
    EXPECT_TRUE(change["since-ms"].is_number());
    EXPECT_EQ(change["needs"][0],
              json::parse(R"({"table":"Ipv4SystemPolicyTcamAction","version":3,"applied":false})"));
    EXPECT_EQ(change["waits"][0], "the hardware side does not run");
    EXPECT_TRUE(told["operations"].empty());
    EXPECT_THAT(programs.ctl({"explain", entryTable, key}).out,
                HasSubstr("needs Ipv4SystemPolicyTcamAction at version 3, which is not applied"));
}

TEST_F(Live, ExplainFollowsTheChainToWhatIsReallyStuck) {
    auto const key = keyOfRule(3);
    auto const hw = programs.startHw(
        {"--refuse", "Ipv4SystemPolicyTcamAction:" + key, "--stat-interval-ms", "10"});
    std::string told;
    EXPECT_TRUE(testing_support::eventually([&] {
        told = programs.ctl({"explain", entryTable, keyOfRule(9)}).out;
        return told.find("is stuck") != std::string::npos;
    })) << told;
    EXPECT_THAT(told, HasSubstr("Ipv4SystemPolicyTcamEntry waits at version 3 until "
                                "Ipv4SystemPolicyTcamAction has applied version 3"));
    EXPECT_THAT(told, HasSubstr("Ipv4SystemPolicyTcamAction is stuck at version 3: unit 0, key " +
                                key + ": the hardware can't take this entry (injected)"));
}

TEST_F(Live, ExplainSaysThatNothingIsOnItsWay) {
    auto const hw = programs.startHw();
    ASSERT_TRUE(agent->says("everything is applied"));
    auto const told = programs.ctl({"explain", entryTable, keyOfRule(3)}).out;
    EXPECT_THAT(told, HasSubstr("last change is version 3, which the hardware has applied"));
    EXPECT_THAT(told, HasSubstr("nothing is on its way"));
    EXPECT_THAT(programs.ctl({"explain", entryTable, "0x7"}).out,
                HasSubstr("the table holds nothing of it"));
}

TEST_F(Live, ExplainOfADeadAgentTellsWhatIsInTheLog) {
    agent->signal(SIGKILL);
    agent->wait();
    auto const told = programs.ctl({"explain", entryTable, keyOfRule(3)}).out;
    EXPECT_THAT(told, HasSubstr("written at version 3 of the log"));
    EXPECT_THAT(told, HasSubstr("no agent lives"));
}

TEST_F(Live, WatchTellsEachStepAndEndsOnAnInterrupt) {
    auto const hw = programs.startHw();
    ASSERT_TRUE(agent->says("everything is applied"));
    auto const watch = programs.start(
        {Programs::program("loamctl"), "--root", programs.root(), "watch", "ipv4entry"});
    ASSERT_TRUE(testing_support::eventually(
        [&] { return watch->err().find("watching") != std::string::npos; }));
    programs.policyIs(policyOf(11));
    agent->signal(SIGHUP);
    EXPECT_TRUE(watch->says("applied    Ipv4SystemPolicyTcamEntry  unit 0")) << watch->out();
    EXPECT_THAT(watch->out(), HasSubstr("written"));
    EXPECT_THAT(watch->out(), HasSubstr("committed  Ipv4SystemPolicyTcamEntry"));
    EXPECT_THAT(watch->out(), testing::Not(HasSubstr("Action")));
    watch->signal(SIGINT);
    EXPECT_EQ(watch->wait(), 0);
}

TEST_F(Live, WatchTakesFiltersAndALimit) {
    auto const hw = programs.startHw();
    ASSERT_TRUE(agent->says("everything is applied"));
    auto const watch = programs.start({Programs::program("loamctl"), "--root", programs.root(),
                                       "--json", "watch", "--event", "removed", "--most", "2"});
    ASSERT_TRUE(testing_support::eventually([&] {
        programs.policyIs(policyOf(10));
        agent->signal(SIGHUP);
        std::this_thread::sleep_for(std::chrono::milliseconds{50});
        programs.policyIs(policyOf(9));
        agent->signal(SIGHUP);
        return !watch->running();
    }));
    EXPECT_EQ(testing_support::countOf(watch->out(), "\"event\":\"removed\""), 2U) << watch->out();
    EXPECT_EQ(testing_support::countOf(watch->out(), "\n"), 2U);
}

TEST_F(Live, WatchOfATableThatIsNoneListsThem) {
    auto const ran = programs.ctl({"watch", "ipv5"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr("MacSystemPolicyTcamEntry"));
}

TEST_F(Live, TopTellsRatesAndQueues) {
    auto const told = ask({"top", "--interval-ms", "100", "--most", "1"});
    ASSERT_EQ(told["tables"].size(), 14U);
    auto const table = told["tables"][3];
    EXPECT_EQ(table["name"], entryTable);
    EXPECT_EQ(table["entries"], 10);
    EXPECT_EQ(table["lag-changes"], 10);
    EXPECT_EQ(table["writes-per-second"], 0.0);
    EXPECT_THAT(programs.ctl({"top", "--interval-ms", "100", "--most", "2"}).out,
                HasSubstr("WRITES/S"));
}

TEST_F(Live, TraceSetsLevelsByPattern) {
    auto const levels = [&](json const& told) {
        for (auto const& handle : told["handles"]) {
            if (handle["name"] == "MacSystemPolicyTcamEntrySwTable") {
                return handle["levels"];
            }
        }
        return json{};
    };
    EXPECT_EQ(ask({"trace"})["handles"].size(), 3U * 14 + 3); // whether they have traced or not
    EXPECT_EQ(levels(ask({"trace", "Mac*=2,8"})), json::parse("[2,8]"));
    ask({"call", "MacSystemPolicyTcamEntry.entryRead", "1"});
    EXPECT_THAT(agent->err(), HasSubstr("entryReadGeneric"));
    auto const malformed = programs.ctl({"trace", "Mac*=77"});
    EXPECT_EQ(malformed.status, 2);
    EXPECT_THAT(malformed.err, HasSubstr("77"));
    auto const unknown = programs.ctl({"trace", "Mac*=off;Ipv5*=3"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.err, HasSubstr("no trace handle matches 'Ipv5*'; there is: "));
    EXPECT_THAT(unknown.err, HasSubstr("MacSystemPolicyTcamEntrySwTable"));
    EXPECT_EQ(levels(ask({"trace"})), json::parse("[2,8]"));
    EXPECT_EQ(levels(ask({"trace", "Mac*=off"})), json::parse("[]"));
}

TEST_F(Live, ShowTellsAnOperationThatIsNotLogged) {
    // Nobody commits what waits for itself: an operation that depends on a pending one is queued.
    auto const key = keyOfRule(1);
    ASSERT_EQ(programs.ctl({"call", std::string{entryTable} + ".entryRemove", key, "null"}).status,
              0);
    EXPECT_TRUE(testing_support::eventually([&] {
        return ask({"show", entryTable, key})["entries"][0]["state"] == "in-deletion";
    }));
}

TEST_F(Live, ObjectsAreDescribedByTheirClasses) {
    auto const objects = ask({"objects"})["objects"];
    EXPECT_NE(std::ranges::find(objects, json(std::string{entryTable} + "/0")), objects.end());
    auto const described = ask({"describe", entryTable});
    EXPECT_EQ(described["class"], "Ipv4SystemPolicyTcamEntrySwTable");
    EXPECT_THAT(described.dump(), HasSubstr("entryWrite(key, entry, depEntryHandle"));
}

TEST_F(Live, GetSetCallAndIterateReachEveryAttribute) {
    std::string const table = entryTable;
    EXPECT_EQ(ask({"call", table + ".entrys"})["value"], 10);
    EXPECT_EQ(programs.ctl({"get", table + ".inMarkingState"}).out, "false\n");
    EXPECT_EQ(programs.ctl({"set", table + ".inMarkingState", "true"}).out, "true\n");
    EXPECT_EQ(programs.ctl({"get", table + "/0.inMarkingState"}).out, "true\n");
    EXPECT_EQ(programs.ctl({"set", table + ".inMarkingState", "false"}).out, "false\n");
    auto const handles = ask({"iterate", table + ".entryHandleInLog"})["elements"];
    EXPECT_EQ(handles.size(), 10U);
    EXPECT_EQ(ask({"iterate", table + ".entryHandleInLog", "--most", "3"})["elements"].size(), 3U);
    EXPECT_EQ(ask({"get", "group.agentRun"})["value"], 1);
    auto const entries = ask({"iterate", table + ".getTableEntries_py().tableEntries"})["elements"];
    EXPECT_EQ(entries.size(), 10U);
}

TEST_F(Live, IterateGivesAllOfALongQueueAndOfACollection) {
    std::string const table = entryTable;
    programs.policyIs(policyOf(2500));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("4980 entries differed")) << agent->out();
    auto const handles = ask({"iterate", table + ".entryHandleInLog"})["elements"];
    EXPECT_EQ(handles.size(), 2500U);
    EXPECT_EQ(ask({"iterate", table + ".entryHandleInLog", "--most", "1500"})["elements"].size(),
              1500U);
    ASSERT_EQ(programs.ctl({"call", table + ".mark"}).status, 0);
    for (auto const* key : {"1", "2", "3"}) {
        ASSERT_EQ(programs.ctl({"set", table + ".markedKey[" + key + "]", "true"}).status, 0);
    }
    EXPECT_EQ(ask({"iterate", table + ".markedKey"})["elements"].size(), 3U);
    EXPECT_EQ(
        ask({"iterate", table + ".markedKey", "--from", "2", "--most", "1"})["elements"][0]["key"],
        "0x00000002");
    auto const absent = programs.ctl({"iterate", table + ".markedKey", "--from", "4"});
    EXPECT_EQ(absent.status, 2);
    EXPECT_THAT(absent.err, HasSubstr("markedKey has no key 4 to begin with"));
}

struct BadPath {
    char const* name;
    std::vector<std::string> command;
    char const* error;
};

class LiveRefuses : public Live, public testing::WithParamInterface<BadPath> {};

TEST_P(LiveRefuses, NamingWhatThereIsInstead) {
    auto const ran = programs.ctl(GetParam().command);
    EXPECT_EQ(ran.status, 2) << ran.out;
    EXPECT_THAT(ran.err, HasSubstr(GetParam().error));
    EXPECT_EQ(ask({"call", std::string{entryTable} + ".entrys"})["value"], 10);
}

INSTANTIATE_TEST_SUITE_P(
    A, LiveRefuses,
    testing::Values(
        BadPath{"ObjectThatIsNone", {"get", "Ipv5.x"}, "no object is called \"Ipv5\"; there is: "},
        BadPath{"UnitThatIsNone",
                {"get", "MacSystemPolicyTcamEntry/7.unitId"},
                "the agent has no unit 7"},
        BadPath{"AttributeThatIsNone", {"get", "MacSystemPolicyTcamEntry.entrees"}, "entrees"},
        BadPath{"ReadOnlyAttribute", {"set", "MacSystemPolicyTcamEntry.unitId", "3"}, "unitId"},
        BadPath{"ValueOutOfRange", {"set", "MacSystemPolicyTcamEntry.inMarkingState", "7"}, "7"},
        BadPath{
            "WrongNumberOfArguments", {"call", "MacSystemPolicyTcamEntry.entryHas"}, "entryHas"},
        BadPath{"KeyOutOfRange",
                {"call", "MacSystemPolicyTcamEntry.entryHas", "0x123456789"},
                "0x123456789"},
        BadPath{"OperationThatChangesItsObjectInAPath",
                {"get", "MacSystemPolicyTcamEntry.sweep().x"},
                "sweep changes its object"},
        BadPath{"OpenBracket", {"get", "MacSystemPolicyTcamEntry.markedKey[0"}, "a [ without ]"},
        BadPath{"ObjectWithoutAttribute",
                {"set", "MacSystemPolicyTcamEntry", "1"},
                "name one of its attributes"},
        BadPath{"HazardousCall",
                {"call", "MacSystemPolicyTcamEntry.handleInitialized"},
                "only with \"force\""}),
    [](auto const& bad) { return std::string{bad.param.name}; });

} // namespace
