#include "StoreFixture.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <random>
#include <sys/mman.h>
#include <thread>
#include <vector>

namespace Orbis {

namespace {

constexpr char const* path = "generation";

class Processes : public StoreFixture {
  protected:
    // Starts a child that runs `work` and ends.
    static pid_t started(std::function<void()> const& work) {
        auto const child = ::fork();
        if (child == 0) {
            try {
                work();
            } catch (...) {
                ::_exit(99);
            }
            ::_exit(0);
        }
        return child;
    }

    static int statusOf(pid_t child) {
        int status = 0;
        ::waitpid(child, &status, 0);
        return status;
    }
};

} // namespace

TEST_F(Processes, ConcurrentIncrementsOfTwoProcessesAddUp) {
    constexpr int each = 3000;
    auto const increment = [] {
        auto const generation = Asic::GenId::create(shared(), path);
        for (int i = 0; i < each; ++i) {
            generation->majorIdInc(1);
        }
    };
    auto const one = started(increment);
    auto const two = started(increment);
    EXPECT_EQ(statusOf(one), 0);
    EXPECT_EQ(statusOf(two), 0);
    EXPECT_EQ(Asic::GenId::create(shared(), path)->majorId(), 2U * each);
}

TEST_F(Processes, ManyProcessesMakeTheStoreAtOnce) {
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        children.push_back(started([] { Asic::GenId::create(shared(), path)->majorIdInc(1); }));
    }
    for (auto const child : children) {
        EXPECT_EQ(statusOf(child), 0);
    }
    EXPECT_EQ(Asic::GenId::create(shared(), path)->majorId(), 8U);
}

TEST_F(Processes, AChangeOfAnotherProcessIsSeenAtTheNextRead) {
    auto const generation = Asic::GenId::create(shared(), path);
    EXPECT_EQ(generation->majorId(), 0U);
    EXPECT_EQ(inChild([] {
                  Asic::GenId::create(shared(), path)->majorIdInc(7);
                  return 0;
              }),
              0);
    EXPECT_EQ(generation->majorId(), 7U);
}

TEST_F(Processes, AManagerThatAChildInheritedWorksInBoth) {
    auto const manager = shared();
    auto const generation = Asic::GenId::create(manager, path);
    EXPECT_EQ(inChild([&] {
                  generation->majorIdInc(2);
                  return generation->majorId() == 2 ? 0 : 1;
              }),
              0);
    generation->majorIdInc(1);
    EXPECT_EQ(generation->majorId(), 3U);
}

TEST_F(Processes, AProcessKilledInsideAChangeLosesThatChangeAndBlocksNobody) {
    auto const generation = Asic::GenId::create(shared(), path);
    generation->majorIdInc(1);
    EXPECT_EQ(inChild([] {
                  auto const own = shared();
                  own->store().modify(path, [](auto const& stored) {
                      ::raise(SIGKILL); // the writer's lock is held here
                      return stored;
                  });
                  return 0;
              }),
              -SIGKILL);
    generation->majorIdInc(1);
    EXPECT_EQ(generation->majorId(), 2U);
}

TEST_F(Processes, KillsAtAnyTimeLoseNoFinishedIncrement) {
    // The child counts what it has finished in memory that the parent sees.
    auto* const finished = static_cast<std::atomic<std::uint64_t>*>(::mmap(
        nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    std::minstd_rand random{7};
    std::uint64_t before = 0;
    for (int round = 0; round < 40; ++round) {
        auto const child = started([&] {
            auto const generation = Asic::GenId::create(shared(), path);
            for (;;) {
                generation->majorIdInc(1);
                finished->fetch_add(1);
            }
        });
        std::this_thread::sleep_for(std::chrono::microseconds{random() % 4000});
        ::kill(child, SIGKILL);
        EXPECT_TRUE(WIFSIGNALED(statusOf(child)));

        auto const after = Asic::GenId::create(shared(), path)->majorId();
        auto const counted = finished->exchange(0);
        EXPECT_GE(after - before, counted);
        EXPECT_LE(after - before, counted + 1); // one may be finished and not counted
        before = after;
    }
    ::munmap(finished, sizeof(std::uint64_t));
    EXPECT_GT(before, 0U);
}

TEST_F(Processes, AKillWhileTheStoreIsMadeLeavesItMakeable) {
    std::minstd_rand random{11};
    for (int round = 0; round < 60; ++round) {
        auto const child = started([&] { Asic::GenId::create(shared(), path); });
        std::this_thread::sleep_for(std::chrono::microseconds{random() % 900});
        ::kill(child, SIGKILL);
        statusOf(child);
        EXPECT_EQ(refusal([&] { Asic::GenId::create(shared(), path)->majorIdInc(1); }), "");
        std::filesystem::remove_all(folder + "/switch");
    }
}

TEST_F(Processes, AReaderSeesWholeStatesWhileAnotherProcessChangesThem) {
    auto const reader = shared();
    reader->store().modify(path, [](auto const&) { return StoredEntity{"Kind", "x"}; });
    auto const child = started([] {
        auto const own = shared();
        for (int i = 0; i < 3000; ++i) {
            own->store().modify(path, [&](auto stored) {
                stored->content = std::string(static_cast<std::size_t>(1 + i % 5000),
                                              static_cast<char>('a' + i % 26));
                return stored;
            });
        }
    });
    unsigned changes = 0;
    std::string last;
    for (int status = 0; ::waitpid(child, &status, WNOHANG) == 0;) {
        auto const content = reader->store().read(path)->content;
        ASSERT_EQ(content, std::string(content.size(), content.front()));
        changes += content != last;
        last = content;
    }
    EXPECT_GT(changes, 10U);
}

TEST_F(Processes, AReaderThatWasStoppedOrKilledHoldsUpNobody) {
    auto const generation = Asic::GenId::create(shared(), path);
    auto const child = started([] {
        auto const own = Asic::GenId::create(shared(), path);
        for (;;) {
            own->majorId();
        }
    });
    for (int round = 0; round < 20; ++round) {
        ::kill(child, SIGSTOP);
        for (int i = 0; i < 50; ++i) {
            generation->majorIdInc(1);
        }
        ::kill(child, SIGCONT);
    }
    ::kill(child, SIGKILL);
    EXPECT_TRUE(WIFSIGNALED(statusOf(child)));
    generation->majorIdInc(1);
    EXPECT_EQ(generation->majorId(), 1001U);
}

} // namespace Orbis
