#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <support/Programs.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

// The ring of an agent that was killed.
class Ring : public testing::Test {
  protected:
    void SetUp() override {
        programs.policyIs(policyOf(10));
        auto const agent = programs.startAgent();
        ASSERT_TRUE(agent->says("hardware operations: 20")) << agent->err();
        agent->signal(SIGKILL);
        agent->wait();
    }

    Programs programs;
};

TEST_F(Ring, OfADeadAgentIsDecoded) {
    auto const ran = programs.ctl({"ring"});
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_THAT(ran.out, HasSubstr("Restored 0 entries for table: Ipv4SystemPolicyTcamEntry"));
    EXPECT_THAT(ran.out, HasSubstr("MacSystemPolicyTcamEntrySwTable::sweep: Swept 0 entries"));
}

TEST_F(Ring, GivesTheLastMessagesAndJson) {
    auto const all = json::parse(programs.ctl({"ring", "--json"}).out)["messages"];
    auto const last = json::parse(programs.ctl({"ring", "--json", "--most", "3"}).out)["messages"];
    ASSERT_EQ(last.size(), 3U);
    EXPECT_EQ(last[2], all.back());
    EXPECT_EQ(last[0]["sequence"], all.size() - 2);
    EXPECT_EQ(last[2]["function"], "sweep");
    EXPECT_EQ(last[2]["arguments"], json::parse("[0]"));
}

TEST_F(Ring, ThatIsNoneSaysSo) {
    testing_support::contentIs(programs.scratch("no-ring"), "hello");
    auto const ran = programs.ctl({"ring", programs.scratch("no-ring")});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr(programs.scratch("no-ring")));
}

TEST_F(Ring, IsExportedAsBabeltraceReadsIt) {
    auto const folder = programs.scratch("trace");
    auto const ran = programs.ctl({"ring", "--ctf", folder});
    ASSERT_EQ(ran.status, 0) << ran.err;
    auto const messages = json::parse(programs.ctl({"ring", "--json"}).out)["messages"];
    auto const read = programs.run({"/usr/bin/babeltrace2", folder});
    EXPECT_EQ(read.status, 0) << read.err;
    EXPECT_EQ(testing_support::countOf(read.out, "\n"), messages.size()) << read.err;
    EXPECT_THAT(read.out, HasSubstr("MacSystemPolicyTcamEntrySwTable::sweep"));
    EXPECT_THAT(read.out, HasSubstr("text = \" Restored 0 entries for table: "
                                    "Ipv4SystemPolicyTcamEntry, unitId: 0\", arg0 = 0, arg1 = 0"));
}

TEST_F(Ring, IsNotExportedIntoAFolderThatIsThere) {
    auto const folder = programs.scratch("trace");
    std::filesystem::create_directory(folder);
    auto const ran = programs.ctl({"ring", "--ctf", folder});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr(folder));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

} // namespace
