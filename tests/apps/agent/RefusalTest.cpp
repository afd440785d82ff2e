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

// A file system of their own, which is too small, for programs that a shell starts; in name spaces
// of their own.
class SmallFileSystem {
  public:
    // A program of ours with its tables there.
    std::string program(std::string const& name, std::string const& arguments) const {
        return "'" + Programs::program(name) + "' --root '" + folder_ + "/root' " + arguments;
    }
    std::string agent(std::string const& policyFile) const {
        return program("loam-agent", "--once --policy '" + policyFile + "'");
    }
    // Waits for the hardware side, which looks for what a dead agent left behind once it has
    // applied the rest.
    std::string settled() const {
        return "for i in $(seq 200); do grep -q '\"settled\": *true' '" + folder_ +
               "'/root/*/hw-stat.json && break; sleep 0.05; done";
    }
    std::string roomIs(std::string const& size) const {
        return "mount -o remount,size=" + size + " '" + folder_ + "'";
    }

    testing_support::Ran run(std::string const& size, std::string const& lines) {
        EXPECT_EQ(::mkdir(folder_.c_str(), 0700), 0);
        return programs.run({"/usr/bin/unshare", "-Urm", "/bin/sh", "-c",
                             "mount -t tmpfs -o mode=0700,size=" + size + " tmpfs '" + folder_ +
                                 "' || exit 99\n" + lines});
    }
    static bool refused(testing_support::Ran const& ran) {
        return ran.status == 99 || ran.err.find("unshare") != std::string::npos;
    }

    Programs programs;

  private:
    std::string folder_ = programs.scratch("small");
};

class FullFileSystem : public testing::TestWithParam<char const*> {};

TEST_P(FullFileSystem, IsOneClearSentenceAndNoSignal) {
    SmallFileSystem small;
    small.programs.generatedPolicyIs(3000);
    auto const agent = small.run(GetParam(), "exec " + small.agent(small.programs.policyFile()));
    if (SmallFileSystem::refused(agent)) {
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

// What has come to the tables before there was no room stays, and with room the next agent goes on
// from there.
TEST(FileSystemThatGetsFull, EndsTheAgentInMidPolicyAndLosesNothing) {
    SmallFileSystem small;
    auto const dump = " '" + small.programs.dumpFile() + "'";
    auto const first = small.programs.scratch("first.json");
    small.programs.generatedPolicyIs(100);
    std::filesystem::rename(small.programs.policyFile(), first);
    small.programs.generatedPolicyIs(3000);
    auto const second = small.agent(small.programs.policyFile());
    auto const ran = small.run(
        "40m", small.program("loam-hw", "--stat-interval-ms 20 --dump" + dump) + " & hw=$!\n" +
                   small.agent(first) + " || exit 11\n" + //
                   second + "\n[ $? = 4 ] || exit 12\n" + small.program("loamctl", "verify") +
                   " || exit 13\n" + small.roomIs("1g") + " || exit 99\n" + //
                   second + " || exit 14\n" + small.settled() +
                   "\nkill $hw; wait $hw || exit 15\n" +
                   small.program("loamctl", "compare" + dump));
    if (SmallFileSystem::refused(ran)) {
        GTEST_SKIP() << "no file system can be mounted here: " << ran.err;
    }
    EXPECT_EQ(ran.status, 0) << ran.out << ran.err;
    EXPECT_THAT(ran.err,
                testing::ContainsRegex("loam-agent: .*\\.slate: .*No space left on device"));
    EXPECT_THAT(ran.out, HasSubstr("\n42000 entries in 14 tables agree\n"));
}

} // namespace
