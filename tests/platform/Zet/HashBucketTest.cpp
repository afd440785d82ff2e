#include "Collections.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using namespace ZetTest;
using Bucket = Zet::HashMap2018BucketHdr;

// A bucket made by hand for nodes of a set.
struct HandMade {
    std::vector<std::uint64_t> room;
    Bucket* bucket;

    explicit HandMade(std::uint32_t capacity, std::uint32_t depth = 0)
        : room(capacity + 3 + capacity) {
        bucket =
            new (reinterpret_cast<std::uint32_t*>(room.data()) + capacity) Bucket{capacity, depth};
    }
};

std::uint32_t find(Bucket const& bucket, std::uint32_t hash) {
    return bucket.find(hash, [&](std::uint32_t i) { return bucket.hash(i) == hash; });
}

TEST(HashBucket, TheWordHoldsCapacityAndNodesInUse) {
    HandMade made{14};
    made.bucket->add(0x1234);
    made.bucket->add(0x5678);
    std::uint32_t word = 0;
    std::memcpy(&word, made.bucket, sizeof word);
    EXPECT_EQ(word >> 4 & 0x3fff, 14U);
    EXPECT_EQ(word >> 18, 2U);
}

TEST(HashBucket, ItsAllocationBeginsCapacityTimesFourBytesBeforeTheHeader) {
    HandMade made{14};
    EXPECT_EQ(reinterpret_cast<char*>(made.bucket) - static_cast<char*>(made.bucket->allocation()),
              14 * 4);
    EXPECT_EQ(made.bucket->allocation(), made.room.data());
}

TEST(HashBucket, HashesGrowDownwardsFromTheHeader) {
    HandMade made{14};
    made.bucket->add(0xaaaaaaaa);
    made.bucket->add(0xbbbbbbbb);
    auto const* const words = reinterpret_cast<std::uint32_t const*>(made.bucket);
    EXPECT_EQ(words[-1], 0xaaaaaaaaU);
    EXPECT_EQ(words[-2], 0xbbbbbbbbU);
}

TEST(HashBucket, FindsEachOfItsNodesAndNoOther) {
    for (std::uint32_t capacity : {14U, 56U}) {
        HandMade made{capacity};
        for (std::uint32_t i = 0; i != capacity; ++i) {
            made.bucket->add(i * 0x01010107);
            for (std::uint32_t j = 0; j != capacity; ++j) {
                EXPECT_EQ(find(*made.bucket, j * 0x01010107), j <= i ? j : Bucket::none);
            }
        }
    }
}

TEST(HashBucket, AskedForATagThatManyShareItFindsTheRightOne) {
    HandMade made{14};
    for (std::uint32_t i = 0; i != 14; ++i) {
        made.bucket->add(i << 8 | 0x42);
    }
    for (std::uint32_t i = 0; i != 14; ++i) {
        EXPECT_EQ(find(*made.bucket, i << 8 | 0x42), i);
    }
    EXPECT_EQ(find(*made.bucket, 14U << 8 | 0x42), Bucket::none);
}

TEST(HashBucket, AHashWhoseLowByteIsZeroIsFoundAmongFreeSlots) {
    HandMade made{14};
    EXPECT_EQ(find(*made.bucket, 0x100), Bucket::none);
    made.bucket->add(0x101);
    EXPECT_EQ(find(*made.bucket, 0x100), Bucket::none);
    made.bucket->add(0x100);
    EXPECT_EQ(find(*made.bucket, 0x100), 1U);
}

TEST(HashBucket, ADroppedNodeIsNotFoundAnyMore) {
    for (std::uint32_t capacity : {14U, 56U}) {
        HandMade made{capacity};
        for (std::uint32_t i = 0; i != capacity; ++i) {
            made.bucket->add(0x777);
        }
        for (std::uint32_t left = capacity; left-- != 0;) {
            made.bucket->dropLast();
            EXPECT_EQ(made.bucket->inUse(), left);
            unsigned seen = 0;
            made.bucket->find(0x777, [&](std::uint32_t) { return ++seen, false; });
            EXPECT_EQ(seen, left);
        }
    }
}

TEST(HashBucket, ReferencesAndDepthDoNotDisturbEachOther) {
    HandMade made{14, 24};
    EXPECT_EQ(made.bucket->depth(), 24U);
    EXPECT_FALSE(made.bucket->held());
    made.bucket->refInc();
    made.bucket->depthIs(3);
    EXPECT_TRUE(made.bucket->held());
    EXPECT_EQ(made.bucket->refs(), 2U);
    EXPECT_EQ(made.bucket->depth(), 3U);
    EXPECT_EQ(made.bucket->bktHdrRefDecHelper(), 1U);
    EXPECT_EQ(made.bucket->bktHdrRefDecHelper(), 0U);
}

TEST(HashBucket, ReferencesMoveAtomicallyOnceTheProcessSaysSo) {
    Ombra::ThreadControl::tsp_ = true;
    HandMade made{14, 5};
    made.bucket->refInc();
    EXPECT_EQ(made.bucket->bktHdrRefDecHelper(), 1U);
    EXPECT_EQ(made.bucket->depth(), 5U);
    Ombra::ThreadControl::tsp_ = false;
}

TEST(HashBucket, OneThatHasUsersLeftIsNotFreed) {
    WrapperMap map;
    add(map, 1);
    Bucket& bucket = *map.bucketOf(WrapperMap::hash(Key{1}));
    bucket.refInc();
    EXPECT_EQ(WrapperMap::vt_.bktHdrRefDec(&bucket), 1U);
    EXPECT_TRUE(has(map, 1));
}

TEST(HashBucket, OneWithoutNodesInUseIsFreedWithoutTouchingASlot) {
    auto const headers = Zet::AllocTrackTypeInfo::live(Bucket::bucketHeaderTracker_);
    auto const slots = Zet::AllocTrackTypeInfo::live(HN_Wrapper::memAllocationTracker_);
    {
        WrapperMap map;
        add(map, 1);
        del(map, 1);
        Bucket& bucket = *map.bucketOf(0);
        ASSERT_EQ(bucket.inUse(), 0U);
        // Whoever took these bytes for a pointer would follow them.
        std::memset(bucket.nodes(), 0x5a, 14 * sizeof(HN_Wrapper));
    }
    EXPECT_EQ(Zet::AllocTrackTypeInfo::live(Bucket::bucketHeaderTracker_), headers);
    EXPECT_EQ(Zet::AllocTrackTypeInfo::live(HN_Wrapper::memAllocationTracker_), slots);
}

} // namespace
