#include <Zet/HashHelper.h>

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Zet::HashHelper;

enum class Small : std::uint16_t { seven = 7 };

TEST(HashHelper, TheSeedCanBeFixed) {
    auto const before = HashHelper::hashSeed32();
    HashHelper::hashSeed32Is(0x12345678);
    EXPECT_EQ(HashHelper::hashSeed32(), 0x12345678U);
    HashHelper::hashSeed32Is(before);
}

TEST(HashHelper, EveryProcessDrawsItsOwnSeed) {
    std::set<std::string> seeds;
    std::string const self = "/proc/self/exe";
    char path[4096] = {};
    ASSERT_GT(::readlink(self.c_str(), path, sizeof path - 1), 0);
    for (int i = 0; i != 4; ++i) {
        std::string const command =
            std::string{path} + " --gtest_filter=HashHelper.TheSeedStaysTheSame* | grep SEED";
        FILE* const pipe = ::popen(command.c_str(), "r");
        char line[100] = {};
        EXPECT_NE(std::fgets(line, sizeof line, pipe), nullptr);
        ::pclose(pipe);
        seeds.insert(line);
    }
    EXPECT_GE(seeds.size(), 3U);
}

// Says the seed for the test above, which runs this one in processes of its own.
TEST(HashHelper, TheSeedStaysTheSameForTheLifeOfTheProcess) {
    auto const seed = HashHelper::hashSeed32();
    std::printf("SEED %08x\n", seed);
    EXPECT_EQ(HashHelper::hashSeed32(), seed);
}

TEST(HashHelper, ASingleAttributeHashesByItsNumber) {
    EXPECT_EQ(Zet::hashSingleAttr(1, std::uint16_t{7}), Zet::hashSingleAttr(1, std::uint32_t{7}));
    EXPECT_EQ(Zet::hashSingleAttr(1, Small::seven), Zet::hashSingleAttr(1, std::uint16_t{7}));
    EXPECT_NE(Zet::hashSingleAttr(1, std::uint16_t{7}), Zet::hashSingleAttr(2, std::uint16_t{7}));
    EXPECT_NE(Zet::hashSingleAttr(1, std::uint16_t{7}), Zet::hashSingleAttr(1, std::uint16_t{8}));
}

// Keys of tables are counters, addresses, strides: their hashes must fill the buckets evenly.
TEST(HashHelper, StridedKeysSpreadEvenlyOverTheTopAndTheLowBits) {
    constexpr unsigned keys = 16384;
    constexpr unsigned places = 256;
    for (unsigned shift = 0; shift != 18; ++shift) {
        for (std::uint32_t const seed : {0U, 0x9e3779b9U, 0xffffffffU}) {
            std::vector<int> top(places);
            std::vector<int> low(places);
            for (std::uint32_t i = 0; i != keys; ++i) {
                auto const hash = Zet::hashMix32(seed, i << shift);
                ++top[hash >> 24];
                ++low[hash & 0xff];
            }
            // 64 expected in each; 8 standard deviations around it.
            for (unsigned place = 0; place != places; ++place) {
                ASSERT_NEAR(top[place], 64, 64) << "shift " << shift << " seed " << seed;
                ASSERT_NEAR(low[place], 64, 64) << "shift " << shift << " seed " << seed;
            }
        }
    }
}

TEST(HashHelper, ABitOfTheKeyMovesAboutHalfTheBitsOfTheHash) {
    for (unsigned bit = 0; bit != 32; ++bit) {
        int moved = 0;
        for (std::uint32_t i = 0; i != 1000; ++i) {
            auto const key = i * 2654435761U;
            moved += std::popcount(Zet::hashMix32(5, key) ^ Zet::hashMix32(5, key ^ 1U << bit));
        }
        EXPECT_NEAR(moved / 1000.0, 16.0, 2.0) << "bit " << bit;
    }
}

} // namespace
