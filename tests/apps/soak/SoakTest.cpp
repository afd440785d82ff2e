#include "NearTheEnd.h"
#include "SoakAgent.h"

#include <Orbis/EntityManager.h>
#include <Slate/Words.h>
#include <ZetSharedMem/EntityManager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <support/Figures.h>
#include <support/Programs.h>
#include <sys/mman.h>
#include <sys/stat.h>

// An agent and the hardware side, each in a process of its own, for a long time, over files whose
// counters all stand near their end at first. Neither may grow, neither may become slower, and at
// the end the hardware has what the tables say. LOAM_SOAK_SECONDS says how long.
namespace soak {
namespace {

using testing_support::eventually;
using testing_support::Programs;

unsigned seconds() {
    char const* const wanted = std::getenv("LOAM_SOAK_SECONDS");
    return wanted == nullptr ? 6 : static_cast<unsigned>(std::atoi(wanted));
}

constexpr Counters nearTheEnd{Slate::sequenceMask - 1000, 0xffffffff - 1000, ~std::uint64_t{0} - 5};

class Forked {
  public:
    explicit Forked(std::function<void()> const& work) : pid_{::fork()} {
        if (pid_ == 0) {
            work();
            ::_exit(testing::Test::HasFailure() ? 1 : 0);
        }
    }
    Forked(Forked const&) = delete;
    Forked& operator=(Forked const&) = delete;
    ~Forked() { kill(); }

    pid_t pid() const { return pid_; }
    bool running() {
        ended_ = ended_ || ::waitpid(pid_, &status_, WNOHANG) == pid_;
        return !ended_;
    }
    int wait() {
        if (!ended_) {
            ::waitpid(pid_, &status_, 0);
            ended_ = true;
        }
        return status_;
    }
    void kill() {
        if (!ended_) {
            ::kill(pid_, SIGKILL);
            wait();
        }
    }

  private:
    pid_t pid_;
    int status_ = 0;
    bool ended_ = false;
};

// What a process and the files take.
struct Taken {
    std::uint64_t anonymousKiB = 0;
    std::uint64_t descriptors = 0;
};

Taken takenBy(pid_t pid) {
    Taken taken;
    std::ifstream status{"/proc/" + std::to_string(pid) + "/status"};
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("RssAnon:")) {
            taken.anonymousKiB = std::strtoull(line.c_str() + 8, nullptr, 10);
        }
    }
    for ([[maybe_unused]] auto const& each :
         std::filesystem::directory_iterator{"/proc/" + std::to_string(pid) + "/fd"}) {
        ++taken.descriptors;
    }
    return taken;
}

std::vector<std::filesystem::path> filesBelow(std::string const& folder, char const* ending) {
    std::vector<std::filesystem::path> result;
    for (auto const& each : std::filesystem::recursive_directory_iterator{folder}) {
        if (each.is_regular_file() && each.path().extension() == ending) {
            result.push_back(each.path());
        }
    }
    return result;
}

std::uint64_t sharedBytes(std::string const& folder) {
    std::uint64_t bytes = 0;
    for (auto const& each : filesBelow(folder, ".slate")) {
        struct stat status {};
        bytes += ::stat(each.c_str(), &status) == 0
                     ? static_cast<std::uint64_t>(status.st_blocks) * 512
                     : 0;
    }
    return bytes;
}

struct Sample {
    Interval agent;
    Taken byAgent;
    Taken byHw;
    std::uint64_t shared;
    std::uint64_t version;
};

void print(Sample const& sample) {
    std::printf("%9llu cycles, median %6llu ns, 99%% %7llu ns; agent %llu objects, %llu bytes of "
                "heap, %llu KiB, %llu files; hardware side %llu KiB, %llu files; shared %llu KiB\n",
                static_cast<unsigned long long>(sample.agent.cycles),
                static_cast<unsigned long long>(sample.agent.medianNs),
                static_cast<unsigned long long>(sample.agent.percent99Ns),
                static_cast<unsigned long long>(sample.agent.objects),
                static_cast<unsigned long long>(sample.agent.heapBytes),
                static_cast<unsigned long long>(sample.byAgent.anonymousKiB),
                static_cast<unsigned long long>(sample.byAgent.descriptors),
                static_cast<unsigned long long>(sample.byHw.anonymousKiB),
                static_cast<unsigned long long>(sample.byHw.descriptors),
                static_cast<unsigned long long>(sample.shared >> 10));
    std::fflush(stdout);
}

// Of the intervals behind the first quarter, in which everything comes to its size: the least of
// the last third may not be above the greatest of the first third, with some room.
class Steady {
  public:
    explicit Steady(std::vector<Sample> const& samples) : samples_{samples} {}

    template <typename Value>
    void check(char const* what, Value const& value, double factor, double room) const {
        std::size_t const warm = samples_.size() / 4;
        std::size_t const third = (samples_.size() - warm) / 3;
        auto const extreme = [&](std::size_t from, bool greatest) {
            auto result = static_cast<double>(value(samples_[from]));
            for (std::size_t each = from; each < from + third; ++each) {
                auto const next = static_cast<double>(value(samples_[each]));
                result = greatest ? std::max(result, next) : std::min(result, next);
            }
            return result;
        };
        double const first = extreme(warm, true);
        double const last = extreme(samples_.size() - third, false);
        EXPECT_LE(last, first * factor + room) << what << " grows: from " << first;
    }

  private:
    std::vector<Sample> const& samples_;
};

void expectSteady(std::vector<Sample> const& samples) {
    Steady const steady{samples};
    steady.check(
        "the agent's objects", [](auto const& s) { return s.agent.objects; }, 1.02, 200);
    steady.check(
        "the agent's heap", [](auto const& s) { return s.agent.heapBytes; }, 1.05, 65536);
    steady.check(
        "the agent's memory", [](auto const& s) { return s.byAgent.anonymousKiB; }, 1.1, 1024);
    steady.check(
        "the hardware side's memory", [](auto const& s) { return s.byHw.anonymousKiB; }, 1.1, 1024);
    steady.check(
        "the agent's files", [](auto const& s) { return s.byAgent.descriptors; }, 1, 0);
    steady.check(
        "the hardware side's files", [](auto const& s) { return s.byHw.descriptors; }, 1, 0);
    // Log and announcements go round their directories, 64 bytes for seven versions each; records
    // take the slots of those that were trimmed.
    steady.check(
        "shared memory",
        [&](auto const& s) {
            std::uint64_t const perLog = (s.version - firstVersion) * 64 / 7;
            return s.shared - std::min(s.shared, 4 * perLog);
        },
        1, 2 << 20);
    steady.check(
        "the median of a cycle", [](auto const& s) { return s.agent.medianNs; }, 2.5, 2000);
    steady.check(
        "the 99th percentile of a cycle", [](auto const& s) { return s.agent.percent99Ns; }, 8,
        200000);
}

void rootIs(std::string const& root) {
    ZetSharedMem::setRoot(root);
    Orbis::setRoot(root);
}

TEST(Soak, NeitherSideGrowsOrSlowsDownWhileAllCountersWrap) {
    testing_support::Figures cycles{"cycles of a soak"};
    Programs programs;
    std::filesystem::create_directory(programs.root());
    std::filesystem::permissions(programs.root(), std::filesystem::perms::owner_all);
    ASSERT_EQ(Forked([&] {
                  rootIs(programs.root());
                  makeFiles();
              }).wait(),
              0);
    auto const files = filesBelow(programs.managerFolder(), ".slate");
    ASSERT_GE(files.size(), 7U);
    for (auto const& file : files) {
        countersAre(file, nearTheEnd);
    }

    auto* const soak = static_cast<Soak*>(
        ::mmap(nullptr, sizeof(Soak), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    auto hw = programs.startHw();
    Forked agent{[&] {
        rootIs(programs.root());
        churn(*soak);
    }};
    constexpr unsigned intervals = 20;
    std::vector<Sample> samples;
    for (unsigned interval = 0; interval < intervals; ++interval) {
        std::this_thread::sleep_for(std::chrono::milliseconds{seconds() * 1000 / intervals});
        Taken const byAgent = takenBy(agent.pid());
        soak->last = interval + 1 == intervals;
        soak->interval = interval + 1;
        ASSERT_TRUE(eventually([&] { return soak->noted == interval + 1 || !agent.running(); },
                               std::chrono::seconds{120}))
            << "what it has logged is never applied";
        ASSERT_EQ(soak->noted, interval + 1) << "the agent has ended";
        ASSERT_TRUE(hw->running()) << hw->err();
        samples.push_back({soak->intervals[interval], byAgent, takenBy(hw->pid()),
                           sharedBytes(programs.managerFolder()), soak->version});
        cycles.count += samples.back().agent.cycles;
        print(samples.back());
    }
    EXPECT_EQ(agent.wait(), 0);
    std::printf("%llu restarts of the agent, %llu of a unit, %llu sweeps, %llu times all removed\n",
                static_cast<unsigned long long>(soak->restarts),
                static_cast<unsigned long long>(soak->unitRestarts),
                static_cast<unsigned long long>(soak->sweeps),
                static_cast<unsigned long long>(soak->removeAlls));
    expectSteady(samples);

    EXPECT_GT(soak->version, std::uint64_t{1} << 32) << "the versions have passed 32 bits";
    for (auto const& file : files) {
        if (file.parent_path().filename() != "announce") { // no change needs another table here
            EXPECT_LT(countersOf(file).operations, Slate::sequenceMask / 2) << file;
        }
    }

    auto const verified = programs.ctl({"verify"});
    EXPECT_EQ(verified.status, 0) << verified.out;
    auto const compared = programs.endHwAndCompare(*hw);
    EXPECT_EQ(compared.status, 0) << compared.out;
    EXPECT_GT(std::atoi(compared.out.c_str()), 1000) << compared.out;
    std::printf("%s", compared.out.c_str());
    ::munmap(soak, sizeof(Soak));
}

} // namespace
} // namespace soak
