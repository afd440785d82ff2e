#include <Ombra/ThreadControl.h>
#include <Zet/AllocTrack.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace {

using Zet::AllocTrackTypeInfo;

struct Tracked24 {
    char bytes[24];
};
struct Tracked12 {
    char bytes[12];
};

TEST(AllocTrack, TheGranularityIsEightForMultiplesOfEight) {
    EXPECT_EQ(AllocTrackTypeInfo::granularityOf(24), 8U);
    EXPECT_EQ(AllocTrackTypeInfo::granularityOf(12), 4U);
}

TEST(AllocTrack, ATrackerStartsEmptyAndIsFilledByTheFirstAllocation) {
    static AllocTrackTypeInfo* tracker = nullptr;
    EXPECT_EQ(AllocTrackTypeInfo::live(tracker), 0U);
    EXPECT_EQ(AllocTrackTypeInfo::allocated(tracker), 0U);
    AllocTrackTypeInfo::_trackAllocation(&tracker, typeid(Tracked24), 24, 8);
    ASSERT_NE(tracker, nullptr);
    EXPECT_EQ(AllocTrackTypeInfo::live(tracker), 1U);
    AllocTrackTypeInfo::trackDeallocation(tracker);
    EXPECT_EQ(AllocTrackTypeInfo::live(tracker), 0U);
    EXPECT_EQ(AllocTrackTypeInfo::allocated(tracker), 1U);
}

TEST(AllocTrack, ArraysCountTheirSlots) {
    static AllocTrackTypeInfo* tracker = nullptr;
    AllocTrackTypeInfo::trackArrayAllocation(&tracker, typeid(Tracked12), 12, 14);
    AllocTrackTypeInfo::trackArrayAllocation(&tracker, typeid(Tracked12), 12, 28);
    AllocTrackTypeInfo::trackArrayDeallocation(tracker, 14);
    EXPECT_EQ(AllocTrackTypeInfo::live(tracker), 28U);
    auto const all = AllocTrackTypeInfo::dump();
    auto const found = std::ranges::find_if(
        all, [](auto const& each) { return each.typeName.find("Tracked12") != std::string::npos; });
    ASSERT_NE(found, all.end());
    EXPECT_EQ(found->live, 28U);
    EXPECT_EQ(found->allocated, 42U);
    EXPECT_EQ(found->sizeBytes, 12U);
    EXPECT_EQ(found->granularity, 4U);
    AllocTrackTypeInfo::trackArrayDeallocation(tracker, 28);
}

TEST(AllocTrack, CountsOfSeveralThreadsAddUpOnceTheProcessSaysSo) {
    static AllocTrackTypeInfo* tracker = nullptr;
    Ombra::ThreadControl::tsp_ = true;
    AllocTrackTypeInfo::_trackAllocation(&tracker, typeid(Tracked24), 24, 8);
    auto const work = [] {
        for (int i = 0; i != 50'000; ++i) {
            AllocTrackTypeInfo::_trackAllocation(&tracker, typeid(Tracked24), 24, 8);
        }
    };
    std::thread other{work};
    work();
    other.join();
    EXPECT_EQ(AllocTrackTypeInfo::live(tracker), 100'001U);
    Ombra::ThreadControl::tsp_ = false;
}

} // namespace
