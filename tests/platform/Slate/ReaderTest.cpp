#include "StoreFixture.h"

#include <Ombra/Exception.h>
#include <Slate/Verify.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <functional>
#include <random>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <thread>

// Readers beside a writer in another process that changes what they read as fast as it can.
using namespace SlateTest;
using Slate::Order;

namespace {

// Ends the writer's process, by SIGKILL, when the test is done with it.
class WriterProcess {
  public:
    explicit WriterProcess(std::function<void()> const& work) : pid_{::fork()} {
        if (pid_ == 0) {
            for (;;) {
                work();
            }
        }
    }
    ~WriterProcess() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }

  private:
    pid_t pid_;
};

class Readers : public testing::TestWithParam<Order> {
  protected:
    // Keys that meet in few chains: some that always stay and are replaced, some that come and go.
    static constexpr std::uint64_t staying = 12;
    static constexpr std::uint64_t passing = 12;
    static std::uint64_t keyAt(std::uint64_t index) {
        return GetParam() == Order::version ? 3 + index * 56 : index;
    }

    MemoryFile const file_{specOf(GetParam(), 32)};
};

template <typename Body>
void forAWhile(Body const& body) {
    auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds{800};
    while (std::chrono::steady_clock::now() < end) {
        body();
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}

} // namespace

TEST_P(Readers, SeeEveryStayingKeyWholeAndNeverOlderThanBefore) {
    auto const writer = file_.writer();
    for (std::uint64_t index = 0; index < staying; ++index) {
        put(*writer, keyAt(index), 0);
    }
    std::uint32_t value = 0;
    WriterProcess const process{[&] {
        ++value;
        for (std::uint64_t index = 0; index < staying; ++index) {
            put(*writer, keyAt(index), value);
            std::uint64_t const other = keyAt(staying + (index * 7 + value) % passing);
            if (!writer->erase(other)) {
                put(*writer, other, value);
            }
        }
    }};
    auto const reader = file_.reader();
    Content last;
    forAWhile([&] {
        for (std::uint64_t index = 0; index < staying; ++index) {
            std::int64_t const found = get(*reader, keyAt(index));
            ASSERT_GE(found, std::int64_t{last[keyAt(index)]});
            last[keyAt(index)] = static_cast<std::uint32_t>(found);
        }
        Content const seen = walk(*reader);
        for (std::uint64_t index = 0; index < staying; ++index) {
            ASSERT_TRUE(seen.contains(keyAt(index))) << index;
        }
    });
    EXPECT_GT(last[keyAt(0)], 100U);
}

TEST_P(Readers, VerifyFindsNoDamageInALiveStore) {
    auto const writer = file_.writer();
    std::uint32_t value = 0;
    WriterProcess const process{[&] {
        ++value;
        for (std::uint64_t index = 0; index < staying + passing; ++index) {
            put(*writer, keyAt(index), value);
            writer->scratchpadIs(value);
        }
        for (std::uint64_t index = 0; index < staying + passing; index += 2) {
            writer->erase(keyAt(index));
        }
    }};
    forAWhile([&] {
        Slate::verify(Slate::FileDescriptor{::dup(file_.fd())}, "live",
                      [](Slate::Damage const& damage) { ADD_FAILURE() << damage.text; });
    });
}

TEST_P(Readers, SeeAScratchpadThatOnlyGrows) {
    auto const writer = file_.writer();
    std::uint64_t value = 0;
    WriterProcess const process{[&] { writer->scratchpadIs(++value * 0x100000001); }};
    auto const reader = file_.reader();
    std::uint64_t last = 0;
    forAWhile([&] {
        std::uint64_t const found = reader->scratchpad();
        ASSERT_EQ(found % 0x100000001, 0U);
        ASSERT_GE(found, last);
        last = found;
    });
    EXPECT_GT(last, 0U);
}

// The same within one process, where ThreadSanitizer can look on.
TEST_P(Readers, InAnotherThreadSeeWholeRecords) {
    auto const writer = file_.writer();
    std::atomic<bool> stop{false};
    for (std::uint64_t index = 0; index < staying; ++index) {
        put(*writer, keyAt(index), 0);
    }
    std::thread thread{[&] {
        for (std::uint32_t value = 1; !stop; ++value) {
            for (std::uint64_t index = 0; index < staying; ++index) {
                put(*writer, keyAt(index), value);
            }
        }
    }};
    auto const reader = file_.reader();
    forAWhile([&] {
        for (std::uint64_t index = 0; index < staying; ++index) {
            ASSERT_GE(get(*reader, keyAt(index)), 0);
        }
    });
    stop = true;
    thread.join();
}

TEST_P(Readers, KeepReadingWhenTheWriterWasKilledInTheMiddle) {
    for (int round = 0; round < 20; ++round) {
        auto writer = file_.writer();
        for (std::uint64_t index = 0; index < staying; ++index) {
            put(*writer, keyAt(index), 1);
        }
        {
            std::uint32_t value = 1;
            WriterProcess const process{[&] {
                ++value;
                for (std::uint64_t index = 0; index < staying; ++index) {
                    put(*writer, keyAt(index), value);
                }
            }};
            std::this_thread::sleep_for(std::chrono::milliseconds{3});
        }
        auto const reader = file_.reader();
        for (std::uint64_t index = 0; index < staying; ++index) {
            ASSERT_GE(get(*reader, keyAt(index)), 1);
        }
        writer = file_.writer();
        ASSERT_EQ(writer->memberCount(), staying);
        ASSERT_EQ(walk(*writer), walk(*reader));
    }
}

// A reader is stopped after random numbers of instructions, and each time the writer removes a key,
// so that the chain's last entry, which is the one that the reader looks for, moves to a place that
// the reader may have passed.
TEST(SteppedReader, MissesNoKeyThatMovesInItsChain) {
    MemoryFile const file{specOf(Order::version, 32)};
    auto const writer = file.writer();
    auto const keyAt = [](std::uint64_t index) { return 3 + index * 56; };
    constexpr std::uint64_t passing = 7; // fill the first bucket; the others come behind it
    constexpr std::uint64_t all = 18;
    struct Shared {
        std::uint32_t volatile target;   // the key that moves next
        std::uint32_t volatile restarts; // how often the writer began anew, when all keys may be
                                         // missed
    };
    auto* const shared = static_cast<Shared*>(
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    auto const beginAnew = [&] {
        shared->restarts = shared->restarts + 1;
        for (std::uint64_t index = 0; index < all; ++index) {
            writer->erase(keyAt(index));
        }
        for (std::uint64_t index = 0; index < all; ++index) {
            put(*writer, keyAt(index), 1);
        }
        shared->target = all - 1;
    };
    beginAnew();
    auto const reader = file.reader();
    pid_t const child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        for (;;) {
            std::uint32_t const before = shared->restarts;
            Record record{};
            try {
                if (reader->lookup(keyAt(shared->target), &record) == nullptr &&
                    shared->restarts == before) {
                    ::_exit(1);
                }
            } catch (Ombra::Exception const& exception) {
                std::fprintf(stderr, "%s\n", exception.what());
                ::_exit(2);
            }
        }
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    std::mt19937 random{1};
    for (std::uint32_t moves = 0; moves < 400 && WIFSTOPPED(status); ++moves) {
        for (auto steps = random() % 1000; steps > 0 && WIFSTOPPED(status); --steps) {
            ASSERT_EQ(::ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr), 0);
            ASSERT_EQ(::waitpid(child, &status, 0), child);
        }
        if (moves % (passing + 1) == passing) {
            beginAnew();
        } else {
            EXPECT_TRUE(writer->erase(keyAt(moves % (passing + 1))));
            shared->target = shared->target - 1;
        }
    }
    EXPECT_TRUE(WIFSTOPPED(status))
        << "it missed a key that was there all the time (1), or took a change for damage (2): "
        << WEXITSTATUS(status);
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    ::munmap(shared, 4096);
}

INSTANTIATE_TEST_SUITE_P(Orders, Readers, testing::Values(Order::keyMix, Order::version),
                         [](auto const& parameter) {
                             return parameter.param == Order::keyMix ? "Keys" : "Versions";
                         });
