#include <Ombra/Ptr.h>
#include <Zet/Tracked.h>

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Under the sanitizers, too, memory that is not there is an answer and not the end. The thread
// sanitizer asks before it is ready to look on.
extern "C" char const* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" __attribute__((no_sanitize("thread"))) char const* __tsan_default_options() {
    return "allocator_may_return_null=1";
}

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

// More than the process may have: the child that finds out exits with 0 when the count is right.
struct Huge : Zet::Tracked<Huge, Ombra::Node> {
    char payload[1U << 30];
};

TEST(Tracked, AnAllocationThatFailsLeavesTheCountUnchanged) {
    auto const child = ::fork();
    if (child == 0) {
        rlimit const none{0, 0};
        ::setrlimit(RLIMIT_AS, &none);
        try {
            Ombra::ptrIs<Huge>();
        } catch (std::bad_alloc const&) {
            ::_exit(AllocTrackTypeInfo::live(Huge::memAllocationTracker_) == 0 ? 0 : 1);
        }
        ::_exit(2);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(Tracked, AClientsDerivedClassIsCountedWithItsBase) {
    auto const object = Ombra::ptrIs<Derived>();
    EXPECT_EQ(AllocTrackTypeInfo::live(Plain::memAllocationTracker_), 1U);
}

} // namespace
