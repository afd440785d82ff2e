#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/ControlClient.h>
#include <support/LateFile.h>
#include <support/Programs.h>
#include <sys/stat.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing_support::contentOf;
using testing_support::policyOf;
using testing_support::Programs;

constexpr auto emptyPolicy = R"({"openconfig-acl:acl":{}})";

// What all tables hold, without versions.
json contentOfTables(Programs& programs) {
    json all;
    auto const tables = json::parse(programs.ctl({"tables", "--json"}).out);
    for (auto const& table : tables["tables"]) {
        auto const name = table["name"].get<std::string>();
        auto shown = json::parse(programs.ctl({"show", name, "--json"}).out);
        for (auto& entry : shown["entries"]) {
            entry.erase("version");
            entry.erase("hardware");
            if (entry["state"] == "live") {
                all[name].push_back(entry);
            }
        }
    }
    return all;
}

class Record : public testing::Test {
  protected:
    std::unique_ptr<testing_support::ChildProcess> agentWith(Programs& programs,
                                                             std::string const& policy) {
        programs.policyIs(policy);
        auto agent = programs.startAgent();
        EXPECT_TRUE(agent->says("written: ")) << agent->err();
        return agent;
    }

    // Starts to record, when all that the tables held is recorded.
    void record(Programs& programs, std::vector<std::string> const& more = {}) {
        std::vector<std::string> command{"record", "start", file()};
        command.insert(command.end(), more.begin(), more.end());
        ASSERT_EQ(programs.ctl(command).status, 0);
        ASSERT_TRUE(testing_support::eventually([&] {
            return json::parse(
                       programs.ctl({"record", "status", "--json"}).out)["beginning-complete"] ==
                   true;
        }));
    }

    std::string file() const { return recorded.scratch("record"); }

    Programs recorded;
    Programs replayed;
};

TEST_F(Record, ReplayedIntoAnEmptyAgentGivesTheSameTables) {
    auto const hw = recorded.startHw();
    auto const agent = agentWith(recorded, policyOf(20));
    record(recorded);
    recorded.generatedPolicyIs(50);
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("700 entries differed, 0 were as the policy has them, 40 removed"))
        << agent->out();
    ASSERT_EQ(recorded.ctl({"flush"}).status, 0);
    ASSERT_TRUE(agent->says("flushed: 700 entries"));
    recorded.policyIs(policyOf(30, 22));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("60 entries differed")) << agent->out();
    recorded.policyIs(policyOf(25, 22));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("10 removed")) << agent->out();
    auto const stopped = recorded.ctl({"record", "stop"});
    ASSERT_EQ(stopped.status, 0) << stopped.err;
    EXPECT_THAT(stopped.out, HasSubstr("closed"));

    auto const hwOfOther = replayed.startHw();
    auto const other = agentWith(replayed, emptyPolicy);
    auto const ran = replayed.ctl({"replay", file()});
    ASSERT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(ran.out, testing::MatchesRegex("the agent replays [0-9]+ operations\n"));
    ASSERT_TRUE(other->says("replayed: ")) << other->out() << other->err();
    ASSERT_TRUE(testing_support::eventually(
        [&] { return testing_support::countOf(other->out(), "everything is applied") == 2; }));
    auto const content = contentOfTables(replayed);
    ASSERT_TRUE(content.contains("Ipv4SystemPolicyTcamEntry")) << other->out();
    EXPECT_EQ(content["Ipv4SystemPolicyTcamEntry"].size(), 25U);
    EXPECT_EQ(content, contentOfTables(recorded));
    EXPECT_EQ(replayed.endHwAndCompare(*hwOfOther).out, "50 entries in 14 tables agree\n");
}

TEST_F(Record, HoldsWhatDependedOnWhat) {
    auto const agent = agentWith(recorded, emptyPolicy);
    record(recorded);
    recorded.policyIs(policyOf(1));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("2 entries differed"));
    ASSERT_EQ(recorded.ctl({"record", "stop"}).status, 0);
    auto const text = contentOf(file());
    EXPECT_THAT(text, testing::StartsWith("loam-record 1\nwrite Ipv4SystemPolicyTcamAction 0 0x"));
    EXPECT_THAT(text,
                testing::ContainsRegex(
                    "\nwrite Ipv4SystemPolicyTcamEntry 0 0x[0-9a-f]+ #1 [0-9a-f]+\nend 2\n$"));
}

TEST_F(Record, HoldsWhatAPersonCalls) {
    auto const agent = agentWith(recorded, policyOf(2));
    auto const call = [&](std::vector<std::string> words) {
        words.insert(words.begin(), "call");
        return recorded.ctl(words);
    };
    record(recorded);
    std::string const table = "MacSystemPolicyTcamEntry";
    for (auto const* key : {"7", "8"}) {
        auto const entry = std::string{"{key: "} + key + ", fields: 01}";
        EXPECT_EQ(call({table + ".entryWrite", key, entry, "null"}).status, 0);
    }
    EXPECT_EQ(call({table + ".entryRemove", "8", "null"}).status, 0);
    EXPECT_EQ(call({"Ipv4SystemPolicyTcamEntry.entryRemoveAll", "null"}).status, 0);
    EXPECT_EQ(call({"Ipv4SystemPolicyTcamAction.entryRemoveAll", "null"}).status, 0);
    auto const other = call({table + ".entryWrite", "7", "{key: 9, fields: 01}", "null"});
    EXPECT_EQ(other.status, 2);
    EXPECT_THAT(other.err, HasSubstr("does not bear the key 0x00000007"));
    auto const behind = call({table + ".entryLog.entryDel", "7", "null", "0"});
    EXPECT_EQ(behind.status, 2);
    EXPECT_THAT(behind.err, HasSubstr("entryDel is not recorded; stop the record first"));
    ASSERT_EQ(recorded.ctl({"record", "stop"}).status, 0);

    auto const empty = agentWith(replayed, emptyPolicy);
    ASSERT_EQ(replayed.ctl({"replay", file()}).status, 0);
    auto const content = contentOfTables(recorded);
    ASSERT_EQ(content.size(), 1U) << content;
    EXPECT_EQ(content[table].size(), 1U);
    EXPECT_EQ(content[table][0]["key"], "0x00000007");
    EXPECT_TRUE(testing_support::eventually([&] { return contentOfTables(replayed) == content; }))
        << contentOfTables(replayed);
}

constexpr char const* incomplete = "; what came behind them was not recorded: the record was full, "
                                   "or its agent was killed";

TEST_F(Record, IsFullAtItsBoundAndSaysSo) {
    auto const agent = agentWith(recorded, emptyPolicy);
    record(recorded, {"--bytes", "4096"});
    recorded.policyIs(policyOf(100));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("200 entries differed"));
    EXPECT_THAT(recorded.ctl({"record", "stop"}).out, HasSubstr(", full, closed"));
    auto const text = contentOf(file());
    EXPECT_LE(text.size(), 4096U);
    EXPECT_THAT(text, testing::ContainsRegex("\nfull [0-9]+\n$"));

    auto const other = agentWith(replayed, emptyPolicy);
    EXPECT_THAT(replayed.ctl({"replay", file()}).out, HasSubstr(incomplete));
}

TEST_F(Record, OfAnAgentThatWasKilledIsGoodAsFarAsItGoes) {
    testing_support::contentIs(
        file(), "loam-record 1\nremove MacSystemPolicyTcamEntry 0 0x00000001 -\nwrite MacSys");
    auto const agent = agentWith(replayed, emptyPolicy);
    EXPECT_EQ(replayed.ctl({"replay", file()}).out,
              std::string{"the agent replays 1 operations"} + incomplete + "\n");
    EXPECT_TRUE(agent->says("replayed: 1 operations"));
}

TEST_F(Record, OfTheYear2040IsReplayed) {
    testing_support::contentIs(
        file(), "loam-record 1\nremove MacSystemPolicyTcamEntry 0 0x00000001 -\nend 1\n");
    ASSERT_TRUE(testing_support::madeLate(file()));
    auto const agent = agentWith(replayed, emptyPolicy);
    EXPECT_EQ(replayed.ctl({"replay", file()}).out, "the agent replays 1 operations\n");
    EXPECT_TRUE(agent->says("replayed: 1 operations"));
}

TEST_F(Record, IsNotMadeOverAFileThatIsThere) {
    auto const agent = agentWith(recorded, emptyPolicy);
    testing_support::contentIs(file(), "mine");
    auto const ran = recorded.ctl({"record", "start", file()});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr(file()));
    EXPECT_EQ(contentOf(file()), "mine");
}

TEST_F(Record, IsNotReplayedIntoTablesThatHoldSomething) {
    auto const agent = agentWith(recorded, policyOf(2));
    testing_support::contentIs(file(), "loam-record 1\nend 0\n");
    auto const ran = recorded.ctl({"replay", file()});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr("the agent's tables hold 4 entries"));
}

TEST_F(Record, IsNoPipe) {
    auto const agent = agentWith(recorded, emptyPolicy);
    ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
    auto const ran = recorded.ctl({"replay", file()});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr("this is no regular file"));
    EXPECT_EQ(recorded.ctl({"objects"}).status, 0); // nobody waits for a writer
}

struct BadRecord {
    char const* name;
    char const* text;
    char const* error;
};

class RecordRefused : public Record, public testing::WithParamInterface<BadRecord> {};

TEST_P(RecordRefused, WholeWithFileLineAndReason) {
    auto const agent = agentWith(replayed, emptyPolicy);
    testing_support::contentIs(file(), GetParam().text);
    auto const ran = replayed.ctl({"replay", file()});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr(file()));
    EXPECT_THAT(ran.err, HasSubstr(GetParam().error));
    EXPECT_TRUE(contentOfTables(replayed).is_null());
}

INSTANTIATE_TEST_SUITE_P(
    A, RecordRefused,
    testing::Values(
        BadRecord{"FileThatIsNone", "hello\n", "line 1: this is no record"},
        BadRecord{"OtherVersion", "loam-record 2\nend 0\n",
                  "the record has version 2, and only version 1 can be replayed"},
        BadRecord{"UnknownOperation",
                  "loam-record 1\nremove MacSystemPolicyTcamEntry 0 0x1 -\nmove X 0 0x1 -\n",
                  "line 3: 'move' is no operation"},
        BadRecord{"KeyThatIsNone", "loam-record 1\nremove MacSystemPolicyTcamEntry 0 0xg -\n",
                  "line 2: '0xg' is no key"},
        BadRecord{"DependencyOnTheFuture",
                  "loam-record 1\nremove MacSystemPolicyTcamEntry 0 0x1 #1\n",
                  "line 2: '#1' is nothing to depend on"},
        BadRecord{"TableThatIsNone", "loam-record 1\nremove Ipv5 0 0x1 -\n",
                  "operation 1: there is no table Ipv5; there is: EgressOlpPolicyTcamAction, "},
        BadRecord{"UnitThatIsNone", "loam-record 1\nremove MacSystemPolicyTcamEntry 3 0x1 -\n",
                  "operation 1: the agent has no unit 3"},
        BadRecord{"BytesOfAnotherSize",
                  "loam-record 1\nwrite MacSystemPolicyTcamEntry 0 0x1 - 00ff\n",
                  "operation 1: an entry of MacSystemPolicyTcamEntry has "},
        BadRecord{"OperationsThatAreMissing",
                  "loam-record 1\nremove MacSystemPolicyTcamEntry 0 0x1 -\nend 2\n",
                  "line 3: 'end 2' stands behind 1 operations"},
        BadRecord{"BytesThatAreNone",
                  "loam-record 1\nwrite MacSystemPolicyTcamEntry 0 0x1 - 00zz\n",
                  "line 2: the bytes of the entry are not hexadecimal"}),
    [](auto const& bad) { return std::string{bad.param.name}; });

} // namespace
