#include "HwFixture.h"

#include <Asic/Doorbell.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace LoamHw {

namespace {

using namespace std::chrono_literals;

// The program itself, with this process as the agent.
class TwoProcesses : public HwFixture {
  protected:
    ~TwoProcesses() override {
        if (child != 0) {
            end(SIGKILL);
        }
    }

    void start(std::vector<std::string> more = {}) {
        std::vector<std::string> words{
            LOAM_HW_PROGRAM, "--root",   ZetSharedMem::root().str(), "--manager", managerName,
            "--dump",        dumpFile(), "--stat-interval-ms",       "20"};
        words.insert(words.end(), more.begin(), more.end());
        std::vector<char*> arguments;
        for (auto& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        ASSERT_EQ(
            ::posix_spawn(&child, LOAM_HW_PROGRAM, nullptr, nullptr, arguments.data(), environ), 0);
    }

    // The exit status, or minus the signal that ended it.
    int end(int signal) {
        ::kill(child, signal);
        return wait();
    }
    int wait() {
        int status = 0;
        ::waitpid(std::exchange(child, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    static bool eventually(std::function<bool()> const& holds) {
        for (auto const limit = Clock::now() + 20s; Clock::now() < limit;) {
            if (holds()) {
                return true;
            }
            std::this_thread::sleep_for(1ms);
        }
        return false;
    }

    std::string dumpFile() const { return ZetSharedMem::root().str() + "/dump"; }

    std::string dump() const {
        std::ifstream file{dumpFile()};
        return {std::istreambuf_iterator<char>{file}, {}};
    }

    nlohmann::json stat() const {
        std::ifstream file{folder() + "/hw-stat.json"};
        return nlohmann::json::parse(file, nullptr, false);
    }

    // The lines that a dump has for the table, made from its configuration table.
    template <typename Table>
    static std::string expected(AgentTable<Table>& table) {
        std::map<std::uint32_t, std::string> lines;
        for (typename Table::ConfigSlate::Map::IteratorConst i{&table.config(0).map()}; i; ++i) {
            if (!i->inDeletion()) {
                std::string& line = lines[i->key().number()];
                line =
                    fmt::format("{} 0 {:#010x} ", Table::Constants::tableName, i->key().number());
                for (auto const byte : i->logEntry().fields()) {
                    line += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
                }
            }
        }
        std::string text;
        for (auto const& [key, line] : lines) {
            text += line + "\n";
        }
        return text;
    }

    static std::string firstDifference(std::string const& one, std::string const& other) {
        std::istringstream left{one};
        std::istringstream right{other};
        std::string first;
        std::string second;
        while (std::getline(left, first) && std::getline(right, second) && first == second) {
        }
        return first + "\nbut expected\n" + second;
    }

    pid_t child = 0;
};

} // namespace

TEST_F(TwoProcesses, RungHardwareSideAppliesAndRingsBack) {
    Asic::DoorbellReceiver bell{managerName, Asic::DoorbellReceiver::agent};
    Asic::DoorbellRinger ringer{managerName, Asic::DoorbellReceiver::hw};
    auto entries = agentTable<Ipv4Entries>();
    start();
    ASSERT_TRUE(eventually([&] { return ringer.ring(); }));
    entries.write(1, 100);
    ringer.ring();
    pollfd waited{bell.fd(), POLLIN, 0};
    ASSERT_EQ(::poll(&waited, 1, 20'000), 1);
    EXPECT_EQ(acknowledged<Ipv4Entries>(), 1U);
    EXPECT_EQ(end(SIGTERM), 0);
    EXPECT_EQ(dump(), expected(entries));
    EXPECT_FALSE(dump().empty());
}

TEST_F(TwoProcesses, WithoutARingItLooksByItself) {
    auto entries = agentTable<Ipv4Entries>();
    start();
    entries.write(1, 100);
    EXPECT_TRUE(eventually([&] { return acknowledged<Ipv4Entries>() == 1; }));
}

TEST_F(TwoProcesses, SignalWritesTheDumpWhileTheProgramGoesOn) {
    auto entries = agentTable<Ipv4Entries>();
    entries.write(1, 100);
    start();
    ASSERT_TRUE(eventually([&] { return acknowledged<Ipv4Entries>() == 1; }));
    ::kill(child, SIGUSR1);
    EXPECT_TRUE(eventually([&] { return dump() == expected(entries); }));
    entries.write(2, 200);
    EXPECT_TRUE(eventually([&] { return acknowledged<Ipv4Entries>() == 2; }));
}

TEST_F(TwoProcesses, KilledAgainAndAgainItLosesNothing) {
    auto entries = agentTable<Ipv4Entries>();
    auto actions = agentTable<Ipv4Actions>();
    std::uint32_t value = 0;
    for (int life = 0; life < 12; ++life) {
        start();
        for (int i = 0; i < 400; ++i) {
            std::uint32_t const key = ++value % 257;
            auto const action = actions.write(key, value);
            entries.write(key, value, {actions.place(action)});
            if (value % 7 == 0) {
                entries.remove(key);
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{5 + 7 * life});
        ASSERT_EQ(end(SIGKILL), -SIGKILL);
    }
    start();
    ASSERT_TRUE(eventually([&] {
        auto const told = stat();
        return told.is_object() && told["pid"] == child && told["settled"] == true;
    }));
    EXPECT_EQ(acknowledged<Ipv4Entries>(), entries.version());
    EXPECT_EQ(acknowledged<Ipv4Actions>(), actions.version());
    EXPECT_EQ(end(SIGTERM), 0);
    EXPECT_TRUE(dump() == expected(actions) + expected(entries))
        << firstDifference(dump(), expected(actions) + expected(entries));
}

TEST_F(TwoProcesses, SecondProgramOnTheSameFolderEndsWithAnError) {
    start();
    ASSERT_TRUE(eventually([&] { return stat().is_object(); }));
    auto const first = std::exchange(child, 0);
    start();
    EXPECT_EQ(wait(), 1);
    child = first;
    EXPECT_EQ(end(SIGINT), 0);
}

TEST_F(TwoProcesses, StatFileTellsWhatIsStuckAndTheControlFileResolvesIt) {
    auto entries = agentTable<Ipv4Entries>();
    start({"--refuse", "Ipv4SystemPolicyTcamEntry:0x2"});
    entries.write(1, 100);
    entries.write(2, 200);
    ASSERT_TRUE(eventually([&] {
        auto const told = stat();
        return told.is_object() && told["tables"][3]["state"] == "stuck";
    }));
    EXPECT_EQ(stat()["tables"][3]["stuck"]["version"], 2);
    std::ofstream{folder() + "/hw-control.json"} << "{}";
    EXPECT_TRUE(eventually([&] { return acknowledged<Ipv4Entries>() == 2; }));
    EXPECT_EQ(end(SIGTERM), 0);
    EXPECT_EQ(stat()["running"], false);
    EXPECT_EQ(stat()["operations"]["writes"], 2);
}

} // namespace LoamHw
