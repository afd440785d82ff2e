#include "StoreFixture.h"

#include <lmdb.h>

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

TEST_F(Processes, AManagerThatAChildInheritedIsRefusedThereAndItsOwnWorks) {
    auto const manager = shared();
    auto const generation = Asic::GenId::create(manager, path);
    EXPECT_EQ(inChild([&] {
                  if (refusal([&] { generation->majorId(); }).find("before this process was") ==
                      std::string::npos) {
                      return 1;
                  }
                  auto const own = shared();
                  Asic::GenId::create(own, path)->majorIdInc(2);
                  return Asic::GenId::create(own, path)->majorId() == 2 ? 0 : 2;
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

// Begins a read in a child, and either dies in it or stays in it until `release` is closed.
pid_t readerIn(std::string const& folder, bool dies, int release) {
    int ready[2];
    if (::pipe(ready) != 0) {
        return -1;
    }
    auto const child = ::fork();
    char byte = 0;
    if (child == 0) {
        MDB_env* env = nullptr;
        MDB_txn* txn = nullptr;
        if (::mdb_env_create(&env) != 0 ||
            ::mdb_env_open(env, folder.c_str(), MDB_NOTLS, 0600) != 0 ||
            ::mdb_txn_begin(env, nullptr, MDB_RDONLY, &txn) != 0) {
            ::_exit(1);
        }
        [[maybe_unused]] auto const told = ::write(ready[1], "r", 1);
        if (dies) {
            ::raise(SIGKILL);
        }
        [[maybe_unused]] auto const released = ::read(release, &byte, 1);
        ::_exit(0);
    }
    [[maybe_unused]] auto const got = ::read(ready[0], &byte, 1);
    ::close(ready[0]);
    ::close(ready[1]);
    return child;
}

// Many more than fit into the store while a reader keeps their pages.
void incrementManyTimes(Asic::GenId& generation) {
    for (int i = 0; i < 5000; ++i) {
        generation.majorIdInc(1);
    }
}

TEST_F(Processes, AReaderThatWasKilledDoesNotFillTheStore) {
    auto const generation = Asic::GenId::create(shared(), path);
    auto const child = readerIn(stateFolder(), true, -1);
    EXPECT_TRUE(WIFSIGNALED(statusOf(child)));
    EXPECT_EQ(refusal([&] { incrementManyTimes(*generation); }), "");
    EXPECT_EQ(generation->majorId(), 5000U);
}

TEST_F(Processes, AReaderThatStopsWhileItReadsFillsTheStoreUntilItGoes) {
    auto const generation = Asic::GenId::create(shared(), path);
    int release[2];
    ASSERT_EQ(::pipe2(release, O_CLOEXEC), 0);
    auto const child = readerIn(stateFolder(), false, release[0]);
    EXPECT_NE(refusal([&] { incrementManyTimes(*generation); }).find("are full"),
              std::string::npos);
    ::kill(child, SIGKILL);
    statusOf(child);
    EXPECT_EQ(refusal([&] { incrementManyTimes(*generation); }), "");
    ::close(release[0]);
    ::close(release[1]);
}

} // namespace Orbis
