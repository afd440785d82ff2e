#include <Slate/Layout.h>
#include <Slate/Shared.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <sys/mman.h>
#include <thread>

// A word that two processes share is read and written in one piece. In a 32-bit process the plain
// access would be two.
namespace Slate {

namespace {

// Every 8-byte field that others read meanwhile lies on a multiple of 8 of a mapped page, so in one
// cache line.
static_assert(offsetof(Bucket, entry) % 8 == 0 && sizeof(Bucket) % 8 == 0);
static_assert(offsetof(Bucket, link) % 8 == 0);
static_assert(offsetof(SlotHeader, state) % 8 == 0 && offsetof(SlotHeader, key) % 8 == 0);
static_assert(sizeof(SlotHeader) % 8 == 0 && sizeof(ScratchCell) % 8 == 0);
static_assert(offsetof(ScratchCell, check) % 8 == 0);
static_assert(offsetof(ControlPage, wiped) % 8 == 0 && offsetof(ControlPage, journal) % 8 == 0);
static_assert(offsetof(ControlPage, scratch) % 8 == 0 && extentTableOffset % 8 == 0);

// Looks at a word that another thread changes between all zeroes and all ones, until it was neither
// or `looks` have passed.
template <typename Store>
bool halfSeen(Store const& store, std::uint64_t looks) {
    void* const page =
        ::mmap(nullptr, pageBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto* const word = static_cast<std::uint64_t*>(page) + 7; // the last of a cache line
    std::atomic<bool> started{false};
    std::atomic<bool> done{false};
    std::thread writer{[&] {
        for (std::uint64_t value = 0; !done; value = ~value) {
            store(word, value);
            started = true;
        }
    }};
    while (!started) {
        std::this_thread::yield();
    }
    bool half = false;
    for (std::uint64_t look = 0; look < looks && !half; ++look) {
        std::uint64_t const seen = loadAcquire(word);
        half = seen != 0 && seen != ~std::uint64_t{0};
    }
    done = true;
    writer.join();
    ::munmap(page, pageBytes);
    return half;
}

} // namespace

TEST(SharedWords, AreNeverSeenHalfWritten) {
    EXPECT_FALSE(halfSeen(storeRelease, 3'000'000));
    EXPECT_FALSE(halfSeen(storeRelaxed, 3'000'000));
}

// That the look above would see it. On a machine that is busy the two threads may take turns, and
// then it takes many looks.
TEST(SharedWords, WrittenInTwoPiecesWouldBeSeenHalfWritten) {
    auto const inTwo = [](std::uint64_t* word, std::uint64_t value) {
        auto* const half = reinterpret_cast<std::uint32_t*>(word);
        __atomic_store_n(half, static_cast<std::uint32_t>(value), __ATOMIC_RELAXED);
        __atomic_store_n(half + 1, static_cast<std::uint32_t>(value), __ATOMIC_RELAXED);
    };
    EXPECT_TRUE(halfSeen(inTwo, 50'000'000'000));
}

} // namespace Slate
