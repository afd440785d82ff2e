#include <Pallet/SlabAlloc.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

// What the debug checks find, and in which words. The faults are made on purpose, through addresses
// that the compiler and the address sanitizer do not follow.
namespace {

struct Victim {
    char bytes[40];
};

#if defined(__SANITIZE_ADDRESS__)
#define LOAM_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LOAM_TEST_ASAN 1
#endif
#endif
#ifndef LOAM_TEST_ASAN
#define LOAM_TEST_ASAN 0
#endif

__attribute__((no_sanitize("address"), noinline)) void poke(void* base, int offset) {
    static_cast<char volatile*>(base)[offset] = 0x55;
}

class SlabChecks : public testing::Test {
  protected:
    SlabChecks() {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
        Pallet::debugChecksIs(true);
    }
    ~SlabChecks() override { Pallet::debugChecksIs(false); }

    static void* make() { return Pallet::slabAlloc(sizeof(Victim)); }
    static void free(void* memory) { Pallet::slabFree(memory, typeid(Victim)); }
};

using SlabChecksDeathTest = SlabChecks;

TEST_F(SlabChecksDeathTest, ASecondFreeIsFound) {
    void* const memory = make();
    free(memory);
    EXPECT_DEATH(free(memory), "Pallet: second free of .*Victim at 0x");
}

TEST_F(SlabChecksDeathTest, AWriteBehindTheEndIsFoundAtTheFree) {
    void* const memory = make();
    EXPECT_DEATH(
        {
            poke(memory, sizeof(Victim));
            free(memory);
        },
        "Pallet: write behind the end of .*Victim at 0x");
    free(memory);
}

TEST_F(SlabChecksDeathTest, AWriteInFrontIsFoundAtTheFree) {
    void* const memory = make();
    EXPECT_DEATH(
        {
            poke(memory, -16);
            free(memory);
        },
        "Pallet: write in front of .*Victim at 0x");
    free(memory);
}

TEST_F(SlabChecksDeathTest, AWriteAfterTheFreeIsFoundWhenTheMemoryIsUsedAgain) {
    void* const memory = make();
    free(memory);
    EXPECT_DEATH(
        {
            poke(memory, 3);
            for (int i = 0; i != 2000; ++i) {
                make();
            }
        },
        "Pallet: write after the free of .*Victim at 0x");
}

TEST_F(SlabChecksDeathTest, AnAddressWithinAnObjectIsNoObject) {
    void* const memory = make();
    EXPECT_DEATH(free(static_cast<char*>(memory) + 8),
                 "Pallet: free of an address that is no object's, of .*Victim at 0x");
    free(memory);
}

TEST_F(SlabChecksDeathTest, AnAddressOfSomebodyElseIsNoObject) {
    static char foreign[64] = {};
    EXPECT_DEATH(free(foreign + 32),
                 "Pallet: free of an address that is no object's, of .*Victim at 0x");
}

TEST_F(SlabChecksDeathTest, WithoutATypeTheReportSaysAnObject) {
    void* const memory = make();
    EXPECT_DEATH(
        {
            poke(memory, sizeof(Victim));
            Pallet::slabFreeOrStdFree(memory);
        },
        "Pallet: write behind the end of an object at 0x");
    free(memory);
}

TEST_F(SlabChecksDeathTest, ALargeObjectFreedTwiceIsFound) {
    // Above the largest class the C library's heap serves, which the sanitizer watches itself.
    EXPECT_DEATH(
        {
            void* const memory = Pallet::slabAlloc(100'000);
            free(memory);
            free(memory);
        },
        LOAM_TEST_ASAN ? "AddressSanitizer"
                       : "Pallet: free of an address that is no object's, of .*Victim at 0x");
}

TEST_F(SlabChecks, MemoryIsPoisonWhenItIsGivenOut) {
    auto const* const memory = static_cast<unsigned char const*>(make());
    EXPECT_EQ(memory[0], 0xdb);
    EXPECT_EQ(memory[sizeof(Victim) - 1], 0xdb);
    free(const_cast<unsigned char*>(memory));
}

TEST_F(SlabChecks, FreedMemoryIsUsedAgainLate) {
    void* const memory = make();
    free(memory);
    void* const next = make();
    EXPECT_NE(memory, next);
    free(next);
}

TEST_F(SlabChecks, EveryByteOfEverySizeIsStillTheObjects) {
    std::vector<void*> all;
    for (unsigned size = 0; size <= 5000; ++size) {
        all.push_back(Pallet::slabAlloc(size));
        std::memset(all.back(), 0xee, size);
    }
    for (void* memory : all) {
        free(memory);
    }
}

TEST_F(SlabChecks, ChecksMayBeSwitchedWhileObjectsLive) {
    void* const checked = make();
    Pallet::debugChecksIs(false);
    void* const plain = make();
    free(checked);
    Pallet::debugChecksIs(true);
    free(plain);
}

TEST_F(SlabChecks, AProgramThatKeepsTheRulesIsNotDisturbed) {
    std::vector<void*> live;
    for (int round = 0; round != 20; ++round) {
        for (int i = 0; i != 3000; ++i) {
            live.push_back(make());
            std::memset(live.back(), i, sizeof(Victim));
        }
        while (!live.empty()) {
            free(live.back());
            live.pop_back();
        }
    }
}

} // namespace
