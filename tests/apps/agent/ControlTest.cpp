#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <support/ControlClient.h>
#include <support/Programs.h>
#include <sys/stat.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing_support::ControlClient;
using testing_support::policyOf;
using testing_support::Programs;

long openFilesOf(pid_t pid) {
    std::filesystem::directory_iterator const files{"/proc/" + std::to_string(pid) + "/fd"};
    return std::distance(begin(files), end(files));
}

// An agent with ten rules in the logs and no hardware side.
class Control : public testing::Test {
  protected:
    void SetUp() override {
        programs.policyIs(policyOf(10));
        agent = programs.startAgent();
        ASSERT_TRUE(agent->says("hardware operations: 20")) << agent->err();
    }

    std::string path() const { return programs.managerFolder() + "/control"; }

    Programs programs;
    std::unique_ptr<testing_support::ChildProcess> agent;
};

TEST_F(Control, IsASocketForThisUserAlone) {
    struct stat status {};
    ASSERT_EQ(::stat(path().c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(Control, GoesWithTheAgentAndComesAgainBehindOneThatWasKilled) {
    agent->signal(SIGKILL);
    agent->wait();
    agent = programs.startAgent();
    ASSERT_TRUE(agent->says("hardware operations: 0")) << agent->err();
    EXPECT_EQ(ControlClient{path()}.ask({{"request", "status"}})["result"]["run"], 2);
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(Control, ExplainsItself) {
    auto const answer = ControlClient{path()}.ask({{"request", "requests"}, {"id", "a"}});
    EXPECT_EQ(answer["ok"], true);
    EXPECT_EQ(answer["id"], "a");
    ASSERT_GT(answer["result"].size(), 8U);
    for (auto const& request : answer["result"]) {
        EXPECT_FALSE(request["name"].get<std::string>().empty());
        EXPECT_FALSE(request["description"].get<std::string>().empty()) << request["name"];
        for (auto const& argument : request["arguments"]) {
            EXPECT_FALSE(argument["description"].get<std::string>().empty()) << argument;
        }
    }
}

TEST_F(Control, AnswersSeveralRequestsOfOneClientInTheirOrder) {
    ControlClient client{path()};
    client.send("{\"request\":\"status\",\"id\":1}\n{\"request\":\"tables\",\"id\":2}\n"
                "{\"request\":\"no\",\"id\":3}\n");
    for (int id = 1; id <= 3; ++id) {
        auto const answer = json::parse(client.line().value_or("null"));
        EXPECT_EQ(answer["id"], id);
        EXPECT_EQ(answer["ok"], id != 3);
    }
}

struct BadRequest {
    char const* name;
    char const* text;
    char const* error;
};

std::string const nested =
    R"({"request":)" + std::string(20000, '[') + std::string(20000, ']') + "}";

class ControlRefuses : public Control, public testing::WithParamInterface<BadRequest> {};

TEST_P(ControlRefuses, WithASentenceAndStaysUsable) {
    ControlClient client{path()};
    auto const answer = client.askText(GetParam().text);
    EXPECT_EQ(answer["ok"], false);
    EXPECT_THAT(answer.value("error", ""), HasSubstr(GetParam().error)) << answer;
    EXPECT_EQ(client.ask({{"request", "status"}})["ok"], true);
}

INSTANTIATE_TEST_SUITE_P(
    A, ControlRefuses,
    testing::Values(
        BadRequest{"LineThatIsNoJson", "hello", "a request is one line with one JSON object"},
        BadRequest{"ListInsteadOfAnObject", "[1,2]", "one JSON object"},
        BadRequest{"RequestNestedDeeply", nested.c_str(), "a request is nested 16 deep at most"},
        BadRequest{"RequestWithoutAName", "{}", "a request names what it asks for"},
        BadRequest{"RequestThatIsNotThere", R"({"request":"tabels"})",
                   "there is no request \"tabels\""},
        BadRequest{"RequestThatIsANumber", R"({"request":7})", "a request names what it asks for"},
        BadRequest{"ArgumentThatIsNotThere", R"({"request":"pending","tabel":"x"})",
                   "the request \"pending\" has no argument \"tabel\""},
        BadRequest{"MissingArgument", R"({"request":"pending"})",
                   "the request \"pending\" needs the argument \"table\""},
        BadRequest{"ArgumentOfAnotherType", R"({"request":"pending","table":7})",
                   "the argument \"table\" is 7; expected: text"},
        BadRequest{"NegativeNumber",
                   R"({"request":"pending","table":"MacSystemPolicyTcamEntry","first":-1})",
                   "the argument \"first\" is -1; expected: number"},
        BadRequest{"TableThatIsNotThere", R"({"request":"pending","table":"Ipv5"})",
                   "there is no table \"Ipv5\""},
        BadRequest{"UnitThatIsNotThere", R"({"request":"watch","unit":9})",
                   "the agent has no unit 9"},
        BadRequest{"KeyToExplainOfMoreThan32Bits",
                   R"({"request":"explain","table":"MacSystemPolicyTcamEntry","key":4294967296})",
                   "the argument \"key\" is 4294967296; expected a number of 32 bits"},
        BadRequest{"KeyToWatchOfMoreThan32Bits", R"({"request":"watch","key":4294967296})",
                   "the argument \"key\" is 4294967296; expected a number of 32 bits"},
        BadRequest{"EventThatIsNotThere", R"({"request":"watch","events":["gone"]})",
                   "an event to watch is none of these"},
        BadRequest{"TraceLevelThatIsNone", R"({"request":"trace","set":"*=17"})", "17"}),
    [](auto const& test) { return std::string{test.param.name}; });

TEST_F(Control, NamesWhatThereIsInsteadOfWhatIsNot) {
    auto const answer = ControlClient{path()}.ask({{"request", "pending"}, {"table", "Ipv5"}});
    EXPECT_EQ(answer["there-is"].size(), 14U);
}

TEST_F(Control, EndsAClientWhoseLineIsTooLong) {
    ControlClient client{path()};
    std::string const piece(8192, 'x');
    std::size_t sent = 0;
    while (sent < 200000) {
        auto const size = client.send(piece);
        if (size == 0) {
            break;
        }
        sent += size;
    }
    EXPECT_THAT(client.line().value_or(""), HasSubstr("a request has 65536 bytes at most"));
    EXPECT_EQ(client.line(), std::nullopt);
    EXPECT_EQ(ControlClient{path()}.ask({{"request", "status"}})["ok"], true);
}

TEST_F(Control, SendsClientsBeyondTheLimitAwayWithASentence) {
    std::vector<std::unique_ptr<ControlClient>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<ControlClient>(path()));
        ASSERT_EQ(clients.back()->ask({{"request", "status"}})["ok"], true) << i;
    }
    ControlClient late{path()};
    EXPECT_THAT(late.line().value_or(""), HasSubstr("64 clients already"));
    EXPECT_EQ(late.line(), std::nullopt);
    clients.pop_back();
    EXPECT_TRUE(testing_support::eventually([&] {
        return ControlClient{path()}.ask({{"request", "status"}}).is_object();
    }));
}

TEST_F(Control, OutlivesThousandsOfConnections) {
    auto const before = openFilesOf(agent->pid());
    std::string const half = "{\"request\":\"sta";
    for (int burst = 0; burst < 20; ++burst) {
        std::vector<std::unique_ptr<ControlClient>> clients;
        for (int i = 0; i < 200; ++i) {
            clients.push_back(std::make_unique<ControlClient>(path()));
            ASSERT_TRUE(clients.back()->connected()) << burst << " " << i;
            if (i % 3 == 0) {
                clients.back()->send(half);
            }
        }
    }
    EXPECT_TRUE(testing_support::eventually([&] {
        return ControlClient{path()}.ask({{"request", "status"}}).value("ok", false);
    }));
    EXPECT_TRUE(testing_support::eventually([&] { return openFilesOf(agent->pid()) == before; }))
        << openFilesOf(agent->pid()) << " open files, " << before << " before";
}

TEST_F(Control, AnswersAClientThatHasEndedSendingAndThenLetsItGo) {
    ControlClient client{path()};
    client.send("{\"request\":\"status\",\"id\":1}\n{\"request\":");
    client.endSending();
    EXPECT_EQ(json::parse(client.line().value_or("null"))["id"], 1);
    EXPECT_EQ(client.line(), std::nullopt);
}

TEST_F(Control, AnswersAClientThatSendsByteByByteAndOthersMeanwhile) {
    ControlClient slow{path()};
    ControlClient other{path()};
    std::string const request = "{\"request\":\"status\",\"id\":9}\n";
    for (char const byte : request) {
        ASSERT_EQ(slow.send({byte}), 1U);
        ASSERT_EQ(other.ask({{"request", "status"}})["ok"], true);
    }
    EXPECT_EQ(json::parse(slow.line().value_or("null"))["id"], 9);
}

// Clients that never read, never end a line, or ask without pause, while a large policy is written.
TEST(HostileClients, NeverStallTheAgentsWork) {
    Programs programs;
    programs.policyIs(policyOf(1));
    auto const hw = programs.startHw();
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("everything is applied")) << agent->err();
    auto const path = programs.managerFolder() + "/control";
    std::vector<std::unique_ptr<ControlClient>> silent; // ask, and never take an answer
    for (int i = 0; i < 40; ++i) {
        silent.push_back(std::make_unique<ControlClient>(path));
        std::string requests;
        for (int j = 0; j < 500; ++j) {
            requests += "{\"request\":\"requests\"}\n";
        }
        silent.back()->send(requests);
        if (i % 2 == 0) {
            silent.back()->send("{\"request\":\"watch\"}\n");
        }
    }
    ControlClient endless{path};
    endless.send("{\"request\":\"");
    programs.generatedPolicyIs(2000);
    agent->signal(SIGHUP);
    EXPECT_TRUE(agent->says("28000 entries differed")) << agent->out();
    ControlClient polite{path};
    EXPECT_EQ(polite.ask({{"request", "status"}})["ok"], true);
    EXPECT_TRUE(testing_support::eventually([&] {
        return polite.ask({{"request", "status"}})["result"]["settled"] == true;
    }));
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "28000 entries in 14 tables agree\n");
}

TEST_F(Control, TellsAWatcherEachStepOfAnOperation) {
    auto const hw = programs.startHw();
    ASSERT_TRUE(agent->says("everything is applied"));
    ControlClient client{path()};
    auto const begun = client.ask({{"request", "watch"}, {"table", "Ipv4SystemPolicyTcamEntry"}});
    ASSERT_EQ(begun["result"]["tables"], json::array({"Ipv4SystemPolicyTcamEntry"}));
    programs.policyIs(policyOf(11));
    agent->signal(SIGHUP);
    std::string steps;
    std::string key;
    for (int i = 0; i < 3; ++i) {
        auto const event = json::parse(client.line().value_or("null"));
        steps += event["event"].get<std::string>() + " ";
        key = key.empty() ? event["key"].get<std::string>() : key;
        EXPECT_EQ(event["key"], key);
        EXPECT_EQ(event["unit"], 0);
        EXPECT_EQ(event.value("version", 0), i == 0 ? 0 : 11);
    }
    EXPECT_EQ(steps, "written committed applied ");
}

TEST_F(Control, TellsAWatcherThatEventsWereLost) {
    ControlClient client{path()};
    ASSERT_EQ(client.ask({{"request", "watch"}})["ok"], true);
    programs.policyIs(policyOf(8000));
    agent->signal(SIGHUP);
    ASSERT_TRUE(agent->says("15980 entries differed"))
        << agent->out(); // 31960 events, and none taken
    std::uint64_t told = 0;
    std::uint64_t lost = 0;
    programs.policyIs(policyOf(8001));
    std::optional<std::string> line;
    while (told + lost < 31960 && (line = client.line(2000))) {
        auto const event = json::parse(*line);
        event["event"] == "lost" ? lost += event["count"].get<std::uint64_t>() : ++told;
    }
    // The loss itself is told with the next event that there is room for.
    agent->signal(SIGHUP);
    while (lost == 0 && (line = client.line())) {
        auto const event = json::parse(*line);
        lost += event.value("count", std::uint64_t{0});
    }
    EXPECT_GT(told, 0U);
    EXPECT_EQ(told + lost, 31960U);
}

TEST_F(Control, FlushDeletesAllEntriesWithOneChangePerTableThatHasSome) {
    auto const hw = programs.startHw();
    ASSERT_TRUE(agent->says("everything is applied"));
    auto const flushed = programs.ctl({"flush"});
    EXPECT_EQ(flushed.out, "the agent deletes 20 entries\n") << flushed.err;
    ASSERT_TRUE(agent->says("flushed: 20 entries; hardware operations: 2")) << agent->out();
    ASSERT_TRUE(testing_support::eventually(
        [&] { return testing_support::countOf(agent->out(), "everything is applied") == 2; }));
    hw->signal(SIGTERM);
    ASSERT_EQ(hw->wait(), 0);
    EXPECT_EQ(testing_support::contentOf(programs.dumpFile()), "");
}

TEST_F(Control, AFlushedPolicyComesBackWithAReload) {
    auto const hw = programs.startHw();
    ASSERT_TRUE(agent->says("everything is applied"));
    ASSERT_EQ(programs.ctl({"flush"}).status, 0);
    ASSERT_TRUE(agent->says("flushed: 20 entries"));
    ASSERT_EQ(programs.ctl({"reload"}).status, 0);
    ASSERT_TRUE(agent->says("20 entries differed, 0 were as the policy has them"));
    EXPECT_TRUE(testing_support::eventually([&] {
        return ControlClient{path()}.ask({{"request", "status"}})["result"]["settled"] == true;
    }));
    agent->signal(SIGTERM);
    EXPECT_EQ(agent->wait(), 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "20 entries in 14 tables agree\n");
}

TEST_F(Control, AFlushRemovesEntriesBeforeTheirActions) {
    ASSERT_EQ(programs.ctl({"flush"}).status, 0);
    ASSERT_TRUE(agent->says("flushed: 20 entries"));
    auto const log = json::parse(programs.ctl({"log", "ipv4action", "--json"}).out);
    auto const change = log["changes"].back();
    EXPECT_EQ(change["change"], "table deleted");
    EXPECT_EQ(change["needs"], json::array({"Ipv4SystemPolicyTcamEntry@11"}));
}

} // namespace
