#include <Burrow/Entry.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <string>
#include <support/Environment.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

// The alignment of buffers in shared memory, which is set when the tables are loaded.
namespace LoamSystemAcl {
namespace {

using testing_support::Environment;

constexpr char const* alignmentOverride = "BURROW_BUFFER_ALIGNMENT_OVERRIDE";

TEST(BufferAlignment, IsEightByDefaultAndSetWhenTheTablesAreLoaded) {
    ::unsetenv(alignmentOverride);
    EXPECT_EQ(Burrow::Entry::calculateRuntimeBufferAlignment(), 8U);
    EXPECT_EQ(Burrow::Entry::runtimeBufferAlignment(), 8U);
    EXPECT_EQ(Burrow::Entry::BUFFER_ALIGNMENT, 8U);
}

TEST(BufferAlignment, IsEightForAnOverrideOfEightOrOfWhatReadsAsZero) {
    for (char const* const value : {"8", "0", "", "text", "0x10", "8text", " 8"}) {
        Environment const override{alignmentOverride, value};
        EXPECT_EQ(Burrow::Entry::calculateRuntimeBufferAlignment(), 8U) << value;
    }
}

TEST(BufferAlignment, IsComputedOnce) {
    Burrow::Entry::runtimeBufferAlignment();
    Environment const override{alignmentOverride, "16"};
    EXPECT_EQ(Burrow::Entry::runtimeBufferAlignment(), 8U);
}

TEST(BufferAlignmentDeathTest, AnotherNumberStopsTheProcess) {
    for (char const* const value : {"16", "4", "-8", "1text"}) {
        Environment const override{alignmentOverride, value};
        EXPECT_DEATH(Burrow::Entry::calculateRuntimeBufferAlignment(),
                     fmt::format("Unsupported buffer alignment override value: {}",
                                 std::strtol(value, nullptr, 10)));
    }
}

// Runs this program to the listing of its tests; gives its status and what it says on stderr.
std::pair<int, std::string> loadThisProgram(char const* alignment) {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    pid_t const child = ::fork();
    if (child == 0) {
        ::setenv(alignmentOverride, alignment, 1);
        ::dup2(ends[1], STDERR_FILENO);
        ::close(STDOUT_FILENO);
        ::execl("/proc/self/exe", "/proc/self/exe", "--gtest_list_tests", nullptr);
        ::_exit(127);
    }
    ::close(ends[1]);
    std::string said;
    std::array<char, 1024> buffer{};
    for (ssize_t bytes = 0; (bytes = ::read(ends[0], buffer.data(), buffer.size())) > 0;) {
        said.append(buffer.data(), static_cast<std::size_t>(bytes));
    }
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return {status, said};
}

TEST(BufferAlignment, ABadOverrideStopsTheProcessWhenTheTablesAreLoaded) {
    auto const [status, said] = loadThisProgram("16");
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    EXPECT_NE(said.find("Unsupported buffer alignment override value: 16"), std::string::npos)
        << said;
}

TEST(BufferAlignment, AnOverrideOfEightLetsTheTablesBeLoaded) {
    auto const [status, said] = loadThisProgram("8");
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << said;
}

} // namespace
} // namespace LoamSystemAcl
