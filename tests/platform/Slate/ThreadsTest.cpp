#include "StoreFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <support/CommonMapping.h>
#include <thread>
#include <vector>

// Readers in threads beside the writer, all through one mapping: what the thread sanitizer needs to
// see them. That it then finds a race is tested by PlantedRaceTest.cpp.
using namespace SlateTest;
using Slate::Order;

namespace {

class Threads : public testing::TestWithParam<Order> {
  protected:
    // Some keys stay and are replaced, some come and go, in few chains.
    static constexpr std::uint64_t staying = 12;
    static constexpr std::uint64_t passing = 12;
    static std::uint64_t keyAt(std::uint64_t index) {
        return GetParam() == Order::version ? 3 + index * 56 : index;
    }

    void change(std::uint32_t value) {
        for (std::uint64_t index = 0; index < staying; ++index) {
            put(*writer_, keyAt(index), value);
        }
        for (std::uint64_t index = staying; index < staying + passing; ++index) {
            if (!writer_->erase(keyAt(index)) && (index + value) % 3 != 0) {
                put(*writer_, keyAt(index), value);
            }
        }
        writer_->scratchpadIs(value);
    }

    // Each of the readers looks on, while this thread writes for a while.
    void beside(std::vector<std::function<void(Slate::Store&)>> const& readers) {
        change(0);
        std::atomic<unsigned> looks{0};
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        for (auto const& look : readers) {
            threads.emplace_back([&] {
                auto const reader = file_.reader();
                while (!stop) {
                    look(*reader);
                    ++looks;
                }
            });
        }
        auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds{400};
        for (std::uint32_t value = 1;
             std::chrono::steady_clock::now() < end || looks < 100 * readers.size(); ++value) {
            change(value);
        }
        stop = true;
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(common_.shared(), readers.size());
    }

  private:
    testing_support::CommonMapping common_;
    MemoryFile const file_{specOf(GetParam(), 32)};
    std::unique_ptr<Slate::Store> const writer_ = file_.writer();
};

TEST_P(Threads, ReadersSeeStayingKeysWholeThroughTheWritersMapping) {
    auto const lookUp = [](Slate::Store& reader) {
        for (std::uint64_t index = 0; index < staying; ++index) {
            ASSERT_GE(get(reader, keyAt(index)), 0);
        }
        for (std::uint64_t index = staying; index < staying + passing; ++index) {
            get(reader, keyAt(index));
        }
    };
    auto const goRound = [](Slate::Store& reader) {
        Content const seen = walk(reader);
        for (std::uint64_t index = 0; index < staying; ++index) {
            ASSERT_TRUE(seen.contains(keyAt(index)));
        }
    };
    auto const askControl = [last = std::uint64_t{0}](Slate::Store& reader) mutable {
        std::uint64_t const now = reader.scratchpad();
        ASSERT_GE(now, last);
        last = now;
        ASSERT_GE(reader.memberCount(), staying);
        ASSERT_FALSE(reader.wiped());
    };
    beside({lookUp, lookUp, goRound, askControl});
}

INSTANTIATE_TEST_SUITE_P(Orders, Threads, testing::Values(Order::keyMix, Order::version),
                         [](auto const& parameter) {
                             return parameter.param == Order::keyMix ? "Keys" : "Versions";
                         });

} // namespace
