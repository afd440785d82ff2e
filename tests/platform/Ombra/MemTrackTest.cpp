#include <Ombra/MemTrack.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

struct Thing {
    char bytes[24];
};
struct Odd {
    char bytes[12];
};

using Ombra::MemTrack::Impl;

TEST(MemTrack, AnEmptyTrackerHasNothingAlive) {
    EXPECT_EQ(Impl::live(nullptr), 0U);
}

TEST(MemTrack, TheFirstAllocationFillsTheTracker) {
    static void* tracker = nullptr;
    Impl::alloc(&tracker, typeid(Thing), sizeof(Thing), 3);
    ASSERT_NE(tracker, nullptr);
    EXPECT_EQ(Impl::live(tracker), 3U);
    Impl::dealloc(tracker, 3);
    EXPECT_EQ(Impl::live(tracker), 0U);
}

TEST(MemTrack, TheDumpNamesTypeSizeAndCounts) {
    static void* tracker = nullptr;
    Impl::alloc(&tracker, typeid(Odd), sizeof(Odd), 5);
    Impl::dealloc(tracker, 2);
    auto const all = Ombra::MemTrack::dump();
    auto const found = std::ranges::find_if(
        all, [](auto const& each) { return each.typeName.find("Odd") != std::string::npos; });
    ASSERT_NE(found, all.end());
    EXPECT_EQ(found->live, 3U);
    EXPECT_EQ(found->allocated, 5U);
    EXPECT_EQ(found->sizeBytes, 12U);
    EXPECT_EQ(found->granularity, 4U);
    Impl::dealloc(tracker, 3);
}

} // namespace
