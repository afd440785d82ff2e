#include "Collections.h"

#include <Pallet/SlabAlloc.h>

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

using namespace ZetTest;
using Bucket = Zet::HashMap2018BucketHdr;
using Zet::AllocTrackTypeInfo;

class HashMap : public testing::Test {
  protected:
    ~HashMap() override {
        EXPECT_EQ(Wrapper::live, 0);
        EXPECT_EQ(AllocTrackTypeInfo::live(Bucket::bucketHeaderTracker_), 0U);
        for (auto* tracker : {HN_Wrapper::memAllocationTracker_, HN_Set::memAllocationTracker_,
                              HN_Version::memAllocationTracker_}) {
            EXPECT_EQ(AllocTrackTypeInfo::live(tracker), 0U);
        }
    }
};

TEST_F(HashMap, ANewOneHasAllocatedNothing) {
    WrapperMap const map;
    EXPECT_EQ(map.size(), 0U);
    EXPECT_FALSE(has(map, 1));
    EXPECT_EQ(map.footprint(WrapperMap::vt_).bytes, 0U);
    EXPECT_EQ(map.footprint(WrapperMap::vt_).buckets, 0U);
}

TEST_F(HashMap, FindsWhatWasAdded) {
    KeySet set;
    for (std::uint32_t i = 0; i != 10'000; ++i) {
        add(set, i * 3);
        ASSERT_EQ(set.size(), i + 1);
    }
    for (std::uint32_t i = 0; i != 30'000; ++i) {
        ASSERT_EQ(has(set, i), i % 3 == 0) << i;
    }
}

TEST_F(HashMap, ForgetsWhatWasRemoved) {
    KeySet set;
    for (std::uint32_t i = 0; i != 10'000; ++i) {
        add(set, i);
    }
    for (std::uint32_t i = 0; i != 10'000; i += 2) {
        ASSERT_TRUE(del(set, i));
        ASSERT_FALSE(del(set, i));
    }
    EXPECT_EQ(set.size(), 5000U);
    for (std::uint32_t i = 0; i != 10'000; ++i) {
        ASSERT_EQ(has(set, i), i % 2 == 1);
    }
}

TEST_F(HashMap, ARemovedNodeMovesToThePlaceGiven) {
    auto const wrapper = Ombra::ptrIs<Wrapper>(5U);
    WrapperMap map;
    map.add(WrapperMap::keyArg(wrapper->key), HN_Wrapper{wrapper});
    {
        WrapperMap::Removed removed;
        ASSERT_TRUE(map.del(WrapperMap::keyArg(Key{5}), removed));
        ASSERT_TRUE(removed);
        EXPECT_EQ(removed.node().value(), wrapper);
        EXPECT_EQ(wrapper->refCount(), 2U);
    }
    EXPECT_EQ(wrapper->refCount(), 1U);
}

TEST_F(HashMap, RemovingWithoutAPlaceLetsTheValueGo) {
    WrapperMap map;
    for (std::uint32_t i = 0; i != 20; ++i) {
        add(map, i);
    }
    for (std::uint32_t i = 0; i != 20; ++i) {
        EXPECT_TRUE(del(map, i));
        EXPECT_EQ(Wrapper::live, static_cast<int>(19 - i));
    }
}

TEST_F(HashMap, RemovingWhatIsNotThereChangesNothing) {
    WrapperMap map;
    WrapperMap::Removed removed;
    EXPECT_FALSE(map.del(WrapperMap::keyArg(Key{5}), removed));
    EXPECT_FALSE(removed);
    add(map, 1);
    EXPECT_FALSE(map.del(WrapperMap::keyArg(Key{5}), removed));
    EXPECT_EQ(map.size(), 1U);
}

TEST_F(HashMap, TheGenericOperationsDoTheSame) {
    VersionMap map;
    auto const& vt = VersionMap::vt_;
    for (std::uint32_t i = 0; i != 1000; ++i) {
        Key const key{i};
        HN_Version node{key, Version::of(i * 2)};
        map.newMemberG(vt, VersionMap::keyArg(key), &node);
    }
    for (std::uint32_t i = 0; i != 1000; ++i) {
        Key const key{i};
        auto const* node = static_cast<HN_Version*>(map.lookupNodeG(vt, VersionMap::keyArg(key)));
        ASSERT_NE(node, nullptr);
        ASSERT_EQ(node->value().number(), i * 2);
        HN_Version out{Key{}, Version{}};
        ASSERT_TRUE(map.deleteMemberG(vt, VersionMap::keyArg(key), &out));
        ASSERT_EQ(out.value().number(), i * 2);
        ASSERT_EQ(map.lookupNodeG(vt, VersionMap::keyArg(key)), nullptr);
        ASSERT_FALSE(map.deleteMemberG(vt, VersionMap::keyArg(key), nullptr));
    }
    EXPECT_EQ(map.size(), 0U);
}

TEST_F(HashMap, TheKeyIsHashedByTheCallerAlone) {
    KeySet set;
    Key const key{5};
    auto const at = KeySet::keyArg(key);
    Key::hashed = 0;
    EXPECT_EQ(set.find(at), nullptr);
    set.add(at, HN_Set{key});
    for (std::uint32_t i = 100; i != 200; ++i) {
        add(set, i);
    }
    EXPECT_EQ(Key::hashed, 100);
    set.del(at);
    EXPECT_EQ(Key::hashed, 100);
}

TEST_F(HashMap, AHashDependsOnTheCollectionsConstantAndTheProcessSeed) {
    auto const seed = Zet::HashHelper::hashSeed32();
    EXPECT_EQ(KeySet::hash(Key{7}), Key{7}.hash(seed ^ 0x4af471c7));
    EXPECT_NE(KeySet::hash(Key{7}), VersionMap::hash(Key{7}));
}

TEST_F(HashMap, DelAllFreesEverythingAndTheMapGoesOn) {
    WrapperMap map;
    for (int round = 0; round != 3; ++round) {
        for (std::uint32_t i = 0; i != 1000; ++i) {
            add(map, i);
        }
        map.delAll();
        EXPECT_EQ(map.size(), 0U);
        EXPECT_EQ(Wrapper::live, 0);
        EXPECT_EQ(map.footprint(WrapperMap::vt_).bytes, 0U);
        EXPECT_FALSE(has(map, 1));
    }
}

TEST_F(HashMap, AnEmptiedMapKeepsEightBucketsAtMost) {
    KeySet set;
    for (std::uint32_t i = 0; i != 20'000; ++i) {
        add(set, i);
    }
    EXPECT_GT(set.footprint(KeySet::vt_).buckets, 1000U);
    for (std::uint32_t i = 0; i != 20'000; ++i) {
        del(set, i);
    }
    EXPECT_LE(set.footprint(KeySet::vt_).buckets, 8U);
    EXPECT_LE(set.footprint(KeySet::vt_).bytes, 8 * 256U);
}

// Over keys of which some hash badly: two neighbours with a few nodes each could keep the whole
// directory.
TEST_F(HashMap, AMapThatShrinksGivesMemoryBack) {
    for (std::uint32_t first = 0; first != 5'000'000; first += 100'000) {
        KeySet set;
        for (std::uint32_t i = 0; i != 50'000; ++i) {
            add(set, first + i);
        }
        auto const full = set.footprint(KeySet::vt_).bytes;
        for (std::uint32_t i = 0; i != 49'500; ++i) {
            del(set, first + i);
        }
        ASSERT_LT(set.footprint(KeySet::vt_).bytes, full / 15) << first;
    }
}

TEST_F(HashMap, TakesNoMoreThanTwiceWhatItsNodesNeed) {
    WrapperMap map;
    for (std::uint32_t i = 0; i != 100'000; ++i) {
        add(map, i);
        if (i > 1000 && i % 1000 == 0) {
            auto const bytes = map.footprint(WrapperMap::vt_).bytes;
            ASSERT_LT(bytes, map.size() * (sizeof(HN_Wrapper) + 4) * 3) << i;
        }
    }
}

TEST_F(HashMap, EqualHashesAreToldApartByTheKey) {
    ThinHashes const thin{0};
    WrapperMap map;
    for (std::uint32_t i = 0; i != 500; ++i) {
        add(map, i, static_cast<int>(i));
    }
    for (std::uint32_t i = 0; i != 500; ++i) {
        ASSERT_EQ(map[Key{i}]->value()->value, static_cast<int>(i));
    }
    for (std::uint32_t i = 0; i != 500; i += 2) {
        ASSERT_TRUE(del(map, i));
    }
    for (std::uint32_t i = 0; i != 500; ++i) {
        ASSERT_EQ(has(map, i), i % 2 == 1);
    }
    EXPECT_EQ(map.footprint(WrapperMap::vt_).buckets, 1U);
}

TEST_F(HashMap, HashesThatAgreeInTheTopBitsDoNotBlowUpTheDirectory) {
    ThinHashes const thin{0x000fffff};
    KeySet set;
    for (std::uint32_t i = 0; i != 5000; ++i) {
        add(set, i);
    }
    EXPECT_LT(set.footprint(KeySet::vt_).bytes, 5000U * 32);
    for (std::uint32_t i = 0; i != 5000; ++i) {
        ASSERT_TRUE(del(set, i));
    }
}

TEST_F(HashMap, ABucketHoldsUpTo16382NodesOfOneHash) {
    ThinHashes const thin{0};
    KeySet set;
    for (std::uint32_t i = 0; i != Bucket::maxCapacity; ++i) {
        add(set, i);
    }
    EXPECT_EQ(set.size(), 16382U);
    EXPECT_TRUE(has(set, 16381));
    EXPECT_TRUE(del(set, 0));
    add(set, 0);
}

using HashMapDeathTest = HashMap;

TEST_F(HashMapDeathTest, OneMoreNodeOfOneHashEndsTheProcessWithASentence) {
    ThinHashes const thin{0};
    KeySet set;
    for (std::uint32_t i = 0; i != Bucket::maxCapacity; ++i) {
        add(set, i);
    }
    EXPECT_DEATH(add(set, 99'999), "more than 16382 keys share the hash 0x00000000");
}

TEST_F(HashMap, LookingUpAllocatesNothing) {
    KeySet set;
    for (std::uint32_t i = 0; i != 1000; ++i) {
        add(set, i);
    }
    auto const blocks = [] {
        std::uint64_t live = 0;
        for (auto const& each : Pallet::slabStats().classes) {
            live += each.liveBlocks;
        }
        return live;
    };
    auto const before = blocks();
    for (std::uint32_t i = 0; i != 2000; ++i) {
        has(set, i);
    }
    EXPECT_EQ(blocks(), before);
}

TEST_F(HashMap, AValueWhoseDestructorUsesTheMapFindsItInOrder) {
    struct Curious : Wrapper {
        WrapperMap* map;
        Curious(std::uint32_t number, WrapperMap& m) : Wrapper{number}, map{&m} {}
        ~Curious() override {
            EXPECT_FALSE(has(*map, key.number()));
            del(*map, key.number() + 1);
        }
    };
    WrapperMap map;
    for (std::uint32_t i = 0; i != 100; ++i) {
        Key const key{i};
        map.add(WrapperMap::keyArg(key), HN_Wrapper{Ombra::ptrIs<Curious>(i, map)});
    }
    del(map, 50);
    EXPECT_EQ(map.size(), 50U);
    map.delAll();
    EXPECT_EQ(map.size(), 0U);
}

TEST_F(HashMap, KeysThatAreNumbersNeedNoHashOfTheirOwn) {
    UnitMap map;
    for (std::uint16_t unit = 0; unit != 300; ++unit) {
        map.add(UnitMap::keyArg(unit), HN_Unit{unit, Ombra::ptrIs<Wrapper>(unit)});
    }
    for (std::uint16_t unit = 0; unit != 300; ++unit) {
        ASSERT_EQ(map[unit]->value()->key.number(), unit);
    }
    EXPECT_EQ(map[std::uint16_t{300}], nullptr);
}

} // namespace
