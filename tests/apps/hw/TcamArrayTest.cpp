#include <gtest/gtest.h>

#include <algorithm>
#include <apps/hw/TcamArray.h>
#include <numeric>
#include <random>
#include <vector>

namespace LoamHw {

namespace {

bool inOrder(TcamArray const& array, std::vector<TcamArray::Rank> ranks) {
    std::ranges::sort(ranks);
    std::int64_t last = -1;
    for (auto const& rank : ranks) {
        auto const slot = array.slotOf(rank);
        if (!slot || static_cast<std::int64_t>(*slot) <= last) {
            return false;
        }
        last = *slot;
    }
    return true;
}

} // namespace

TEST(TcamArray, EntriesStandInTheOrderOfTheirPriority) {
    TcamArray array{16};
    std::vector<TcamArray::Rank> const ranks{{30, 1}, {10, 2}, {20, 3}, {20, 1}};
    for (auto const& rank : ranks) {
        array.insert(rank);
    }
    EXPECT_TRUE(inOrder(array, ranks));
}

TEST(TcamArray, GrowingPrioritiesMoveNothingWhileThereIsRoomBehind) {
    TcamArray array{1024};
    std::uint32_t moved = 0;
    for (std::uint32_t priority = 0; priority < 100; ++priority) {
        moved += array.insert({priority, 0});
    }
    EXPECT_EQ(moved, 0U);
}

// In a plain array an insert would move thousands.
TEST(TcamArray, FewEntriesMoveOnAverageInWhateverOrderTheyCome) {
    constexpr std::uint32_t count = 16384;
    std::mt19937 random{7};
    std::vector<std::uint32_t> shuffled(count);
    std::iota(shuffled.begin(), shuffled.end(), 0U);
    std::ranges::shuffle(shuffled, random);
    for (int order = 0; order < 3; ++order) {
        TcamArray array{count + count / 4};
        std::uint64_t moved = 0;
        std::vector<TcamArray::Rank> ranks;
        for (std::uint32_t i = 0; i < count; ++i) {
            ranks.push_back({order == 0 ? i : order == 1 ? count - i : shuffled[i], 0});
            moved += array.insert(ranks.back());
        }
        EXPECT_LT(moved / count, 100U) << "order " << order;
        EXPECT_TRUE(inOrder(array, ranks)) << "order " << order;
    }
}

TEST(TcamArray, EntryBetweenNeighboursMovesTheFewestToTheNearestFreeSlot) {
    TcamArray array{4};
    std::vector<TcamArray::Rank> ranks{{10, 0}, {20, 0}, {30, 0}};
    for (auto const& rank : ranks) {
        array.insert(rank);
    }
    ranks.push_back({15, 0});
    EXPECT_LE(array.insert(ranks.back()), 2U);
    EXPECT_TRUE(array.full());
    EXPECT_TRUE(inOrder(array, ranks));
}

TEST(TcamArray, OrderHoldsThroughRandomInsertsAndErasesUpToTheLastSlot) {
    std::mt19937 random{42};
    TcamArray array{300};
    std::vector<TcamArray::Rank> ranks;
    for (int step = 0; step < 4'000; ++step) {
        if (!array.full() && (ranks.empty() || random() % 8 < 5)) {
            TcamArray::Rank const rank{static_cast<std::uint32_t>(random() % 8),
                                       static_cast<std::uint32_t>(step)};
            array.insert(rank);
            ranks.push_back(rank);
        } else {
            auto const victim = random() % ranks.size();
            array.erase(ranks[victim]);
            ranks.erase(ranks.begin() + static_cast<std::ptrdiff_t>(victim));
        }
        ASSERT_EQ(array.size(), ranks.size());
        ASSERT_TRUE(inOrder(array, ranks)) << "step " << step;
    }
}

TEST(TcamArray, LoweredCapacityKeepsWhatIsThere) {
    TcamArray array{8};
    for (std::uint32_t key = 0; key < 6; ++key) {
        array.insert({key, key});
    }
    array.capacityIs(3);
    EXPECT_TRUE(array.full());
    EXPECT_EQ(array.size(), 6U);
    array.capacityIs(100);
    EXPECT_FALSE(array.full());
    EXPECT_TRUE(array.slotOf({5, 5}));
}

} // namespace LoamHw
