#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/Programs.h>
#include <sys/stat.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

json ipv4Entries(Programs& programs) {
    auto const tables = json::parse(programs.ctl({"tables", "--json"}).out);
    return tables["tables"][3];
}

// Ten rules in the logs, and no hardware side.
std::unique_ptr<testing_support::ChildProcess> agentAlone(Programs& programs) {
    programs.policyIs(policyOf(10));
    auto agent = programs.startAgent();
    EXPECT_TRUE(agent->says("hardware operations: 20")) << agent->err();
    return agent;
}

TEST(Tables, TellsEntriesVersionsAndLagOfALiveAgent) {
    Programs programs;
    auto const agent = agentAlone(programs);
    EXPECT_EQ(ipv4Entries(programs), json::parse(R"({
        "table-id": "08:08:0404", "name": "Ipv4SystemPolicyTcamEntry", "policy": "IPv4 system",
        "holds": "entries", "units": [0], "entries": 10, "in-deletion": 0, "log-records": 10,
        "logged-version": 10, "announced-version": 10, "applied-version": null,
        "lag-changes": 10})"));
}

TEST(Tables, TellsTheSameOfADeadAgent) {
    Programs programs;
    auto const agent = agentAlone(programs);
    auto const alive = programs.ctl({"tables"});
    agent->signal(SIGKILL);
    agent->wait();
    auto const dead = programs.ctl({"tables"});
    EXPECT_EQ(dead.status, 0);
    EXPECT_EQ(dead.out, alive.out);
    EXPECT_EQ(std::ranges::count(dead.out, '\n'), 16);
    EXPECT_THAT(dead.out, testing::EndsWith(
                              "\nthe hardware side does not run, and 20 changes wait for it\n"));
}

TEST(Tables, HasNoLagWhenAllIsApplied) {
    Programs programs;
    programs.policyIs(policyOf(10));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    auto const table = ipv4Entries(programs);
    EXPECT_EQ(table["applied-version"], 10);
    EXPECT_EQ(table["lag-changes"], 0);
    EXPECT_EQ(table["log-records"], 0);
}

TEST(Show, DecodesARuleAndTellsWhereItStands) {
    Programs programs;
    auto const agent = agentAlone(programs);
    auto const shown = programs.ctl({"show", "ipv4entry"});
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(std::ranges::count(shown.out, '\n'), 11);
    EXPECT_THAT(shown.out, HasSubstr("live   waiting  set"));
    EXPECT_THAT(shown.out, HasSubstr("permit tcp any -> any dport 179"));
}

TEST(Show, TellsAppliedBehindAHardwareSide) {
    Programs programs;
    programs.policyIs(policyOf(10));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    auto const shown = json::parse(programs.ctl({"show", "ipv4action", "--json"}).out);
    ASSERT_EQ(shown["entries"].size(), 10U);
    EXPECT_EQ(shown["entries"][0]["hardware"], "applied");
    EXPECT_EQ(shown["entries"][0]["state"], "live");
    EXPECT_EQ(shown["entries"][0]["rule"]["holds"], "actions");
}

TEST(Show, GivesOneEntryByItsKey) {
    Programs programs;
    auto const agent = agentAlone(programs);
    auto const all = json::parse(programs.ctl({"show", "ipv4entry", "--json"}).out)["entries"];
    auto const key = all[4]["key"].get<std::string>();
    auto const one = json::parse(programs.ctl({"--json", "show", "ipv4entry", key}).out);
    ASSERT_EQ(one["entries"].size(), 1U);
    EXPECT_EQ(one["entries"][0], all[4]);
}

TEST(Show, OfAKeyThatIsNotThereSaysSo) {
    Programs programs;
    auto const agent = agentAlone(programs);
    auto const shown = programs.ctl({"show", "ipv4entry", "0x7"});
    EXPECT_EQ(shown.status, 2);
    EXPECT_EQ(shown.err,
              "loamctl: Ipv4SystemPolicyTcamEntry has no entry with the key 0x00000007\n");
}

TEST(Show, TellsWhatIsInDeletion) {
    Programs programs;
    programs.policyIs(policyOf(10));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    hw->signal(SIGTERM);
    hw->wait();
    programs.policyIs(policyOf(9));
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("hardware operations: 2"));
    auto const shown = json::parse(programs.ctl({"show", "ipv4entry", "--json"}).out)["entries"];
    ASSERT_EQ(shown.size(), 10U);
    EXPECT_EQ(shown[9]["state"], "in-deletion");
    EXPECT_EQ(shown[9]["hardware"], "waiting");
}

TEST(Log, GivesTheChangesInOrderWithTheirNeeds) {
    Programs programs;
    auto const agent = agentAlone(programs);
    auto const changes = json::parse(programs.ctl({"log", "ipv4entry", "--json"}).out)["changes"];
    ASSERT_EQ(changes.size(), 10U);
    for (unsigned index = 0; index < 10; ++index) {
        EXPECT_EQ(changes[index]["version"], index + 1);
        EXPECT_EQ(changes[index]["change"], "written");
        EXPECT_EQ(changes[index]["hardware"], "waiting");
        EXPECT_EQ(changes[index]["needs"],
                  json::array({"Ipv4SystemPolicyTcamAction@" + std::to_string(index + 1)}));
    }
}

TEST(Stat, TellsTheAgentAliveAndThenDead) {
    Programs programs;
    auto const agent = agentAlone(programs);
    auto const pid = std::to_string(agent->pid());
    EXPECT_THAT(programs.ctl({"stat"}).out, HasSubstr("agent: run 1, pid " + pid + ", alive\n"));
    agent->signal(SIGKILL);
    agent->wait();
    EXPECT_THAT(programs.ctl({"stat"}).out, HasSubstr("agent: run 1, pid " + pid + ", dead\n"));
}

TEST(Stat, AddsUpMemoryRecordsAndDamages) {
    Programs programs;
    programs.policyIs(policyOf(10));
    auto const hw = programs.startHw({"--stat-interval-ms", "10"});
    ASSERT_EQ(programs.runAgent().status, 0);
    auto const stat = json::parse(programs.ctl({"stat", "--json"}).out);
    std::uint64_t memory = 0;
    std::uint64_t records = 0;
    for (auto const& file : stat["files"]) {
        memory += file["memory-bytes"].get<std::uint64_t>();
        records += file.value("records", std::uint64_t{0});
        EXPECT_LE(file.value("records", 0U), file.value("capacity-records", 0U));
    }
    EXPECT_LE(memory, stat["total"]["memory-bytes"]);
    EXPECT_EQ(records, stat["total"]["records"]);
    EXPECT_GE(records, 20U);
    EXPECT_EQ(stat["total"]["damages"], 0);
    EXPECT_TRUE(stat["hardware-side"].is_object());
}

TEST(LoamCtl, ReadsBesideABusyAgentWithoutComplaint) {
    Programs programs;
    programs.policyIs(policyOf(20000));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent({"--once"});
    ASSERT_TRUE(agent->says("entries applied")) << agent->err();
    unsigned rounds = 0;
    while (agent->running()) {
        for (auto const& command : {std::vector<std::string>{"tables"},
                                    {"show", "ipv4entry"},
                                    {"log", "ipv4entry"},
                                    {"verify"},
                                    {"stat"}}) {
            auto const ran = programs.ctl(command);
            EXPECT_EQ(ran.status, 0) << command.front() << ": " << ran.out << ran.err;
        }
        ++rounds;
    }
    EXPECT_GT(rounds, 0U);
    EXPECT_EQ(agent->wait(), 0);
}

TEST(LoamCtl, OfAMissingFolderSaysSo) {
    Programs programs;
    auto const ran = programs.ctl({"tables"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "loamctl: " + programs.root() +
                           ": there is no such folder; an agent makes it when it starts (look at "
                           "--root and --manager)\n");
}

TEST(LoamCtl, OfAFolderThatIsOpenToOthersSaysSo) {
    Programs programs;
    ASSERT_EQ(::mkdir(programs.root().c_str(), 0700), 0);
    ASSERT_EQ(::chmod(programs.root().c_str(), 0750), 0);
    auto const ran = programs.ctl({"verify"});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr("its mode is 0750, expected 0700"));
}

TEST(LoamCtl, WithoutACommandTellsItsCommands) {
    Programs programs;
    EXPECT_EQ(programs.ctl({}).status, 2);
    auto const help = programs.ctl({"--help"});
    EXPECT_EQ(help.status, 0);
    for (auto const* command :
         {"tables", "show",    "log",    "stat",    "units",  "explain", "watch",
          "top",    "trace",   "ring",   "compare", "verify", "get",     "set",
          "call",   "iterate", "record", "replay",  "flush",  "commands"}) {
        EXPECT_THAT(help.out, HasSubstr(command));
    }
}

TEST(LoamCtl, WithJsonWhatGoesWrongIsAnObjectToo) {
    Programs programs;
    std::vector<std::vector<std::string>> const lines{{"--json", "show", "nosuchtable"},
                                                      {"call", "object", "operation", "--json"}};
    for (auto const& line : lines) {
        auto const ran = programs.ctl(line);
        EXPECT_EQ(ran.status, 2);
        EXPECT_EQ(ran.out, "");
        auto const failure = json::parse(ran.err);
        EXPECT_EQ(failure["status"], 2);
        EXPECT_FALSE(failure["error"].get<std::string>().empty());
    }
}

TEST(LoamCtl, EveryProgramTellsTheVersion) {
    Programs programs;
    auto const version = programs.ctl({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.out, testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\n"));
    for (auto const* program : {"loam-agent", "loam-hw", "loam-policy-gen"}) {
        auto const ran = programs.run({Programs::program(program), "--version"});
        EXPECT_EQ(ran.status, 0) << program;
        EXPECT_EQ(ran.out, version.out) << program;
    }
}

struct BadLine {
    char const* name;
    std::vector<std::string> words;
    char const* error;
};

class CommandLine : public testing::TestWithParam<BadLine> {};

TEST_P(CommandLine, IsRefusedWithWhatIsWrongAndWhatThereIs) {
    Programs programs;
    auto const ran = programs.ctl(GetParam().words);
    EXPECT_EQ(ran.status, 2) << ran.out;
    EXPECT_EQ(ran.out, "");
    EXPECT_THAT(ran.err, HasSubstr(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(
    A, CommandLine,
    testing::Values(
        BadLine{"WithoutACommand", {}, "a command is missing\nthere is: tables, show, log"},
        BadLine{"CommandThatIsNone",
                {"tabels", "--json"},
                "there is no command 'tabels'\nthere is: tables, show, log"},
        BadLine{"WithoutAnArgument",
                {"explain", "ipv4entry"},
                "explain: KEY is required\nusage: loamctl [OPTIONS] explain TABLE KEY;"},
        BadLine{"KeyThatIsNoNumber",
                {"show", "ipv4entry", "ten"},
                "KEY: 'ten' is no number from 0 to 4294967295, decimal or behind 0x"},
        BadLine{"KeyOutOfRange",
                {"show", "ipv4entry", "0x100000000"},
                "'0x100000000' is no number from 0 to 4294967295"},
        BadLine{"UnitOutOfRange", {"watch", "--unit", "65536"}, "--unit: '65536' is no number"},
        BadLine{"OptionThatIsNone",
                {"watch", "--evnet", "applied"},
                "[--key VALUE] [--unit VALUE] [--event VALUE] [--most VALUE]"}),
    [](auto const& bad) { return std::string{bad.param.name}; });

TEST(LoamCtl, ReadsAKeyOfDigitsAsDecimal) {
    Programs programs;
    auto const agent = agentAlone(programs);
    EXPECT_THAT(programs.ctl({"explain", "ipv4entry", "010"}).out, HasSubstr("key 0x0000000a"));
}

TEST(LoamCtl, ChangesNothingInTheFolder) {
    Programs programs;
    auto const agent = agentAlone(programs);
    agent->signal(SIGKILL);
    agent->wait();
    auto const listing = [&] {
        return programs.run({"/usr/bin/find", programs.root(), "-printf", "%p %s %T@ %m\\n"}).out;
    };
    auto const before = listing();
    for (auto const* command : {"tables", "stat", "verify"}) {
        EXPECT_EQ(programs.ctl({command}).status, 0);
    }
    EXPECT_EQ(programs.ctl({"show", "ipv4entry"}).status, 0);
    EXPECT_EQ(programs.ctl({"log", "ipv4entry"}).status, 0);
    EXPECT_EQ(listing(), before);
}

} // namespace
