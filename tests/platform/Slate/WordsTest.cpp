#include <Slate/KeyMix.h>
#include <Slate/Words.h>

#include <gtest/gtest.h>

#include <random>

using namespace Slate;

TEST(EntryWords, TellTagNumberAndOwner) {
    std::uint64_t const word = packEntry(0x89abcdef, 0x12345, 77);
    EXPECT_EQ(entryTag(word), 0x89abcdefU);
    EXPECT_EQ(entryNumber(word), 0x12345U);
    EXPECT_TRUE(entryWhole(word, 77));
    EXPECT_FALSE(entryWhole(word, 78));
}

TEST(EntryWords, NoFlipOfOneBitIsWhole) {
    std::mt19937_64 random{1};
    for (int round = 0; round < 200; ++round) {
        auto const owner = static_cast<std::uint32_t>(random() & 0x1ffff);
        auto const number = static_cast<std::uint32_t>(random() % entryNumberMax) + 1;
        std::uint64_t const word = packEntry(static_cast<std::uint32_t>(random()), number, owner);
        for (int bit = 0; bit < 64; ++bit) {
            EXPECT_FALSE(entryWhole(word ^ (std::uint64_t{1} << bit), owner)) << bit;
        }
    }
}

TEST(EntryWords, NeverDifferFromAnEmptyCellByOneBit) {
    for (std::uint32_t owner = 0; owner < 1U << 19; ++owner) {
        for (int bit = 0; bit < 64; ++bit) {
            ASSERT_FALSE(entryWhole(std::uint64_t{1} << bit, owner)) << bit << " " << owner;
        }
    }
}

TEST(EntryWords, FoldsOfManyAddUp) {
    std::uint64_t sum = 0;
    for (std::uint32_t number = 1; number <= 15; ++number) {
        sum ^= packEntry(number * 0x9e3779b9U, number, 4711);
    }
    EXPECT_EQ(entryFold(sum), ownerSalt(4711));
    EXPECT_NE(entryFold(sum ^ 0x10000), ownerSalt(4711));
}

TEST(StateWords, NoFlipOfOneBitIsWhole) {
    std::mt19937_64 random{2};
    for (int round = 0; round < 200; ++round) {
        std::uint64_t const word = packState(SlotState::live, random());
        EXPECT_TRUE(stateWhole(word));
        for (int bit = 0; bit < 64; ++bit) {
            EXPECT_FALSE(stateWhole(word ^ (std::uint64_t{1} << bit))) << bit;
        }
    }
}

TEST(StateWords, AreZeroOnlyOnAFreshPage) {
    EXPECT_EQ(packState(SlotState::never, 0), 0U);
    EXPECT_NE(packState(SlotState::writing, 0), 0U);
    EXPECT_NE(packState(SlotState::live, 0), 0U);
    EXPECT_NE(packState(SlotState::retired, 0), 0U);
}

TEST(Marks, StandThirtyOneFlippedBits) {
    std::uint64_t const flips = 0x7fff'ffff;
    EXPECT_TRUE(markIsOn(markOn ^ flips));
    EXPECT_FALSE(markIsOn(markOff ^ flips));
}

// Its steps undone one by one, the multiplications by the inverses modulo 2^32.
TEST(KeyMix, CanBeUndoneSoNoTwoKeysShareANumber) {
    static_assert(0x7feb352dU * 0x1d69e2a5U == 1 && 0x846ca68bU * 0x43021123U == 1);
    for (std::uint64_t key = 0; key < std::uint64_t{1} << 32; key += 1021) {
        std::uint32_t mixed = keyMix(static_cast<std::uint32_t>(key));
        mixed ^= mixed >> 16;
        mixed *= 0x43021123U;
        mixed ^= (mixed >> 15) ^ (mixed >> 30);
        mixed *= 0x1d69e2a5U;
        mixed ^= mixed >> 16;
        ASSERT_EQ(mixed, key);
    }
}
