#include <Ombra/Ptr.h>
#include <Zet/Tracked.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Zet::AllocTrackTypeInfo;

struct Plain : Zet::Tracked<Plain, Ombra::Node> {
    std::uint64_t payload[4] = {};
};

struct PerOperation : Zet::Tracked<PerOperation, Ombra::Node, Zet::perOperation> {
    explicit PerOperation(bool fails) {
        if (fails) {
            throw std::runtime_error{"no"};
        }
    }
};

struct Derived : Plain {
    std::uint64_t more[8] = {};
};

std::uint64_t liveIn(Pallet::SlabAllocationPattern pattern) {
    std::uint64_t live = 0;
    for (auto const& each : Pallet::slabStats().classes) {
        live += each.pattern == pattern ? each.liveBlocks : 0;
    }
    return live;
}

TEST(Tracked, AnObjectIsCountedAndLivesInASlab) {
    auto const before = liveIn(Pallet::SlabAllocationPattern::longLived);
    {
        auto const object = Ombra::ptrIs<Plain>();
        EXPECT_EQ(AllocTrackTypeInfo::live(Plain::memAllocationTracker_), 1U);
        EXPECT_EQ(liveIn(Pallet::SlabAllocationPattern::longLived), before + 1);
    }
    EXPECT_EQ(AllocTrackTypeInfo::live(Plain::memAllocationTracker_), 0U);
    EXPECT_EQ(liveIn(Pallet::SlabAllocationPattern::longLived), before);
}

TEST(Tracked, APatternHasItsOwnSlabs) {
    auto const before = liveIn(Pallet::SlabAllocationPattern::perOperation);
    auto const object = Ombra::ptrIs<PerOperation>(false);
    EXPECT_EQ(liveIn(Pallet::SlabAllocationPattern::perOperation), before + 1);
}

TEST(Tracked, AConstructorThatThrowsLeavesTheCountUnchanged) {
    auto const slabs = liveIn(Pallet::SlabAllocationPattern::perOperation);
    auto const before = AllocTrackTypeInfo::live(PerOperation::memAllocationTracker_);
    EXPECT_THROW(Ombra::ptrIs<PerOperation>(true), std::runtime_error);
    EXPECT_EQ(AllocTrackTypeInfo::live(PerOperation::memAllocationTracker_), before);
    EXPECT_EQ(liveIn(Pallet::SlabAllocationPattern::perOperation), slabs);
}

TEST(Tracked, AClientsDerivedClassIsCountedWithItsBase) {
    auto const object = Ombra::ptrIs<Derived>();
    EXPECT_EQ(AllocTrackTypeInfo::live(Plain::memAllocationTracker_), 1U);
}

} // namespace
