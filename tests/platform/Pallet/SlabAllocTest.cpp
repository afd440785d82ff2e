#include <Ombra/ThreadControl.h>
#include <Pallet/SlabAlloc.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace {

using Pallet::SlabAllocationPattern;

constexpr auto longLived = SlabAllocationPattern::longLived;
constexpr auto perOperation = SlabAllocationPattern::perOperation;

// Without checks, whose layout has other sizes, also where the sanitizer turns them on.
class SlabAlloc : public testing::Test {
  protected:
    SlabAlloc() { Pallet::debugChecksIs(false); }

    static void free(void* memory) { Pallet::slabFree(memory, typeid(int)); }

    static Pallet::SlabClassStats statsOf(unsigned blockBytes, SlabAllocationPattern pattern) {
        for (auto const& each : Pallet::slabStats().classes) {
            if (each.blockBytes == blockBytes && each.pattern == pattern) {
                return each;
            }
        }
        return {blockBytes, pattern, 0, 0, 0};
    }
};

TEST_F(SlabAlloc, EveryByteOfEverySizeIsUsable) {
    std::vector<void*> all;
    for (unsigned size = 0; size <= 5000; ++size) {
        all.push_back(Pallet::slabAlloc(size));
        std::memset(all.back(), static_cast<int>(size), size);
    }
    for (unsigned size = 0; size <= 5000; ++size) {
        auto const* bytes = static_cast<unsigned char const*>(all[size]);
        EXPECT_TRUE(std::all_of(bytes, bytes + size, [&](unsigned char each) {
            return each == static_cast<unsigned char>(size);
        })) << size;
        free(all[size]);
    }
}

TEST_F(SlabAlloc, AnObjectStandsAsItsSizeAllows) {
    for (unsigned size = 1; size <= 4096; ++size) {
        void* const memory = Pallet::slabAlloc(size);
        auto const address = reinterpret_cast<std::uintptr_t>(memory);
        std::uintptr_t const alignment = size & (0U - size); // the largest power of two in it
        EXPECT_EQ(address % std::min<std::uintptr_t>(std::max<std::uintptr_t>(alignment, 8), 64),
                  0U)
            << size;
        free(memory);
    }
}

TEST_F(SlabAlloc, TheSizesOfAWriteTakeNoMoreThanTheyAre) {
    for (unsigned size : {48U, 104U, 168U}) {
        void* const memory = Pallet::slabAlloc(size, perOperation);
        EXPECT_GE(statsOf(size, perOperation).liveBlocks, 1U) << size;
        free(memory);
    }
}

TEST_F(SlabAlloc, AFreedObjectIsTheNextOneGivenOut) {
    void* const first = Pallet::slabAlloc(72);
    free(first);
    void* const second = Pallet::slabAlloc(72);
    EXPECT_EQ(first, second);
    free(second);
}

TEST_F(SlabAlloc, PatternsDoNotShareSlabs) {
    void* const one = Pallet::slabAlloc(88, longLived);
    void* const other = Pallet::slabAlloc(88, perOperation);
    constexpr std::uintptr_t slab = ~std::uintptr_t{0xffff};
    EXPECT_NE(reinterpret_cast<std::uintptr_t>(one) & slab,
              reinterpret_cast<std::uintptr_t>(other) & slab);
    free(one);
    free(other);
}

TEST_F(SlabAlloc, WithoutAPatternMeansLongLived) {
    auto const before = statsOf(232, longLived).liveBlocks;
    void* const memory = Pallet::slabAlloc(232);
    EXPECT_EQ(statsOf(232, longLived).liveBlocks, before + 1);
    free(memory);
}

TEST_F(SlabAlloc, StatisticsCountLiveBlocksAndSlabs) {
    auto const before = statsOf(200, perOperation);
    std::vector<void*> all;
    for (int i = 0; i != 1000; ++i) {
        all.push_back(Pallet::slabAlloc(197, perOperation));
    }
    auto const full = statsOf(200, perOperation);
    EXPECT_EQ(full.liveBlocks, before.liveBlocks + 1000);
    EXPECT_EQ(full.slabs, before.slabs + 4); // 327 blocks each
    EXPECT_GE(full.blocks, full.liveBlocks);
    std::ranges::for_each(all, free);
    EXPECT_EQ(statsOf(200, perOperation).liveBlocks, before.liveBlocks);
}

TEST_F(SlabAlloc, SlabsOfABurstServeOtherSizesAfterwards) {
    std::vector<void*> all;
    for (int i = 0; i != 20000; ++i) {
        all.push_back(Pallet::slabAlloc(120, perOperation));
    }
    std::ranges::for_each(all, free);
    auto const freeBefore = Pallet::slabStats().freeSlabs;
    EXPECT_GE(freeBefore, 30U);
    all.clear();
    for (int i = 0; i != 20000; ++i) {
        all.push_back(Pallet::slabAlloc(64, perOperation));
    }
    EXPECT_LT(Pallet::slabStats().freeSlabs, freeBefore);
    std::ranges::for_each(all, free);
}

TEST_F(SlabAlloc, LargeSizesComeFromTheCLibraryAndAreCounted) {
    auto const before = Pallet::slabStats();
    void* const memory = Pallet::slabAllocOrStdMalloc(200'000, longLived);
    std::memset(memory, 1, 200'000);
    auto const during = Pallet::slabStats();
    EXPECT_EQ(during.largeLive, before.largeLive + 1);
    EXPECT_EQ(during.largeBytes, before.largeBytes + 200'000);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 16, 0U);
    Pallet::slabFreeOrStdFree(memory);
    EXPECT_EQ(Pallet::slabStats().largeLive, before.largeLive);
    EXPECT_EQ(Pallet::slabStats().largeBytes, before.largeBytes);
}

TEST_F(SlabAlloc, FreeOfNullDoesNothing) {
    free(nullptr);
    Pallet::slabFreeOrStdFree(nullptr);
    Pallet::slabFreeOrStdFree(nullptr, typeid(int));
}

TEST_F(SlabAlloc, LiveObjectsNeverOverlapWhateverTheOrder) {
    struct Object {
        unsigned char* at;
        unsigned size;
        unsigned char mark;
    };
    std::mt19937 engine{4711};
    auto const random = [&] { return static_cast<unsigned>(engine()); };
    std::vector<Object> live;
    for (int step = 0; step != 100'000; ++step) {
        bool const grow = live.size() < 50 || (live.size() < 3000 && random() % 2 == 0);
        if (grow) {
            unsigned const size = random() % 16 == 0 ? random() % 6000 : random() % 300;
            auto const pattern = random() % 2 == 0 ? longLived : perOperation;
            auto const mark = static_cast<unsigned char>(random());
            auto* const at = static_cast<unsigned char*>(Pallet::slabAlloc(size, pattern));
            std::memset(at, mark, size);
            live.push_back({at, size, mark});
        } else {
            std::swap(live[random() % live.size()], live.back());
            auto const [at, size, mark] = live.back();
            ASSERT_TRUE(std::all_of(at, at + size, [m = mark](auto each) { return each == m; }));
            free(at);
            live.pop_back();
        }
    }
    for (auto const& object : live) {
        free(object.at);
    }
}

TEST_F(SlabAlloc, ThreadsShareItOnceTheProcessSaysSo) {
    Ombra::ThreadControl::tsp_ = true;
    auto const work = [](unsigned seed) {
        std::mt19937 random{seed};
        std::vector<unsigned*> live;
        for (int step = 0; step != 20'000; ++step) {
            if (live.size() < 100 || random() % 2 == 0) {
                live.push_back(static_cast<unsigned*>(Pallet::slabAlloc(104, perOperation)));
                *live.back() = seed;
            } else {
                EXPECT_EQ(*live.back(), seed);
                free(live.back());
                live.pop_back();
            }
        }
        std::ranges::for_each(live, free);
    };
    std::thread other{work, 2};
    work(1);
    other.join();
    Ombra::ThreadControl::tsp_ = false; // no thread is left
}

} // namespace
