#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <support/Programs.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

TEST(Refusal, OfASecondAgentNamesTheFirst) {
    Programs programs;
    programs.policyIs(policyOf(10));
    auto const first = programs.startAgent();
    ASSERT_TRUE(first->says("hardware operations: 20")) << first->err();
    auto const second = programs.runAgent();
    EXPECT_EQ(second.status, 4);
    EXPECT_THAT(second.err, HasSubstr("process " + std::to_string(first->pid())));
    EXPECT_THAT(second.err, HasSubstr(programs.managerFolder()));
    EXPECT_TRUE(first->running());
    first->signal(SIGTERM);
    EXPECT_EQ(first->wait(), 0);
}

TEST(Refusal, OfASecondAgentLeavesTheFirstItsDoorbell) {
    Programs programs;
    programs.policyIs(policyOf(10));
    auto const first = programs.startAgent();
    ASSERT_TRUE(first->says("hardware operations: 20")) << first->err();
    EXPECT_EQ(programs.runAgent().status, 4);
    EXPECT_TRUE(std::filesystem::is_socket(programs.managerFolder() + "/doorbell/agent"));
}

TEST(Refusal, OfAPolicyNamesFilePlaceAndReasonAndTouchesNothing) {
    Programs programs;
    programs.policyIs(policyOf(3, 70000));
    auto const agent = programs.runAgent();
    EXPECT_EQ(agent.status, 2);
    EXPECT_THAT(agent.err, HasSubstr(programs.policyFile()));
    EXPECT_THAT(agent.err, HasSubstr("/transport/config/destination-port"));
    EXPECT_FALSE(std::filesystem::exists(programs.root()));
}

TEST(Refusal, OfAPolicyLeavesWhatWasProgrammed) {
    Programs programs;
    programs.policyIs(policyOf(25));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
    programs.policyIs("{");
    EXPECT_EQ(programs.runAgent().status, 2);
    EXPECT_EQ(programs.endHwAndCompare(*hw).out, "50 entries in 14 tables agree\n");
}

TEST(Refusal, OfAFolderThatOthersCanReadTellsTheMode) {
    Programs programs;
    programs.policyIs(policyOf(1));
    ASSERT_EQ(::mkdir(programs.root().c_str(), 0700), 0);
    ASSERT_EQ(::chmod(programs.root().c_str(), 0755), 0);
    auto const agent = programs.runAgent();
    EXPECT_EQ(agent.status, 4);
    EXPECT_THAT(agent.err, HasSubstr(programs.root()));
    EXPECT_THAT(agent.err, HasSubstr("0755"));
}

TEST(Refusal, OfAFolderWhoseParentIsMissingNamesIt) {
    Programs programs;
    programs.policyIs(policyOf(1));
    auto command = programs.agentCommand({"--once"});
    command[2] = programs.scratch("not/there");
    auto const agent = programs.run(command);
    EXPECT_EQ(agent.status, 4);
    EXPECT_THAT(agent.err, HasSubstr(programs.scratch("not")));
}

TEST(Refusal, OfAnUnknownOptionHasItsOwnStatus) {
    Programs programs;
    EXPECT_EQ(programs.runAgent({"--no-such-option"}).status, 64);
}

// The agent gets a file system of its own that is too small, in name spaces of its own.
testing_support::Ran runOnSmallFileSystem(Programs& programs, std::string const& size,
                                          std::string const& folder) {
    auto command = programs.agentCommand({"--once"});
    command[2] = folder + "/root";
    std::string line;
    for (auto const& word : command) {
        line += " '" + word + "'";
    }
    return programs.run({"/usr/bin/unshare", "-Urm", "/bin/sh", "-c",
                         "mount -t tmpfs -o mode=0700,size=" + size + " tmpfs '" + folder +
                             "' || exit 99; exec" + line});
}

class FullFileSystem : public testing::TestWithParam<char const*> {};

TEST_P(FullFileSystem, IsOneClearSentenceAndNoSignal) {
    Programs programs;
    programs.generatedPolicyIs(3000);
    auto const folder = programs.scratch("small");
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    auto const agent = runOnSmallFileSystem(programs, GetParam(), folder);
    if (agent.status == 99 || agent.err.find("unshare") != std::string::npos) {
        GTEST_SKIP() << "no file system can be mounted here: " << agent.err;
    }
    EXPECT_EQ(agent.status, 4) << agent.out << agent.err;
    EXPECT_THAT(agent.err, HasSubstr("loam-agent: "));
    EXPECT_EQ(std::ranges::count(agent.err, '\n'), 1) << agent.err;
}

// From no room for the state store to no room for the last tables.
INSTANTIATE_TEST_SUITE_P(Sizes, FullFileSystem,
                         testing::Values("4k", "64k", "512k", "2m", "8m", "16m"),
                         [](auto const& size) { return std::string{"Of"} + size.param; });

} // namespace
