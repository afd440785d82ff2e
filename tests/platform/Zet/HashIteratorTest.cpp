#include "Collections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

namespace {

using namespace ZetTest;
using Zet::HashMap2018IteratorGeneric;
using Numbers = std::vector<std::uint32_t>;

KeySet& filled(KeySet& set, std::uint32_t count) {
    for (std::uint32_t i = 0; i != count; ++i) {
        add(set, i);
    }
    return set;
}

Numbers walk(KeySet::IteratorConst i) {
    Numbers numbers;
    for (; i; ++i) {
        numbers.push_back(i->fwkKey().number());
    }
    return numbers;
}
Numbers walk(KeySet const& set) {
    return walk(KeySet::IteratorConst{set});
}

TEST(HashIterator, OverAnEmptyMapIsAtTheEnd) {
    KeySet set;
    KeySet::IteratorConst const i{set};
    EXPECT_EQ(i.position(), 0U);
    EXPECT_EQ(i.currNodeMaybeStale(), nullptr);
    EXPECT_EQ(i.currNodeNonStale(), nullptr);
    add(set, 1);
    del(set, 1);
    EXPECT_EQ(KeySet::IteratorConst{set}.position(), 0U);
}

TEST(HashIterator, GivesEveryNodeOnceInTheOrderOfTheHashes) {
    KeySet set;
    for (auto const count : {1U, 14U, 15U, 5000U}) {
        set.delAll();
        filled(set, count);
        auto const numbers = walk(set);
        EXPECT_EQ(std::set<std::uint32_t>(numbers.begin(), numbers.end()).size(), count);
        EXPECT_TRUE(std::ranges::is_sorted(
            numbers, {}, [](std::uint32_t number) { return KeySet::hash(Key{number}); }));
    }
}

TEST(HashIterator, NodesOfOneHashComeInTheOrderOfTheirKeys) {
    ThinHashes const thin{0xc0000000};
    KeySet set;
    for (std::uint32_t i = 300; i-- != 0;) {
        add(set, i);
    }
    auto const numbers = walk(set);
    ASSERT_EQ(numbers.size(), 300U);
    EXPECT_TRUE(std::ranges::is_sorted(numbers, {}, [](std::uint32_t number) {
        return std::pair{KeySet::hash(Key{number}), number};
    }));
}

TEST(HashIterator, ReachesTheVeryFirstAndTheVeryLastHash) {
    // All hashes are 0 or all ones.
    struct Edge {
        std::uint32_t number = 0;
        std::uint32_t hash(std::uint32_t) const { return number % 2 == 0 ? 0 : 0xffffffff; }
        bool isEq(Edge const& other) const { return number == other.number; }
        auto operator<=>(Edge const&) const = default;
    };
    struct HN_Edge : Zet::Hm2018NE<1, Edge, void, slab> {
        using Hm2018NE::Hm2018NE;
    };
    using EdgeSet = Zet::HashMap2018<HN_Edge, Edge, void>;
    for (std::uint32_t count : {1U, 2U, 3U, 40U}) {
        EdgeSet set;
        for (std::uint32_t i = count; i-- != 0;) {
            Edge const key{i};
            set.add(EdgeSet::keyArg(key), HN_Edge{key});
        }
        Numbers numbers;
        for (EdgeSet::IteratorConst i{set}; i; ++i) {
            numbers.push_back(i->fwkKey().number);
        }
        ASSERT_EQ(numbers.size(), count);
        EXPECT_EQ(std::set<std::uint32_t>(numbers.begin(), numbers.end()).size(), count);
    }
}

TEST(HashIterator, OpenedAtAKeyItStandsThereAndWalksTheRest) {
    KeySet set;
    auto const all = walk(filled(set, 1000));
    for (std::size_t at : {std::size_t{0}, std::size_t{1}, std::size_t{500}, std::size_t{999}}) {
        EXPECT_EQ(walk(KeySet::IteratorConst{set, Key{all[at]}}),
                  Numbers(all.begin() + static_cast<std::ptrdiff_t>(at), all.end()));
    }
}

TEST(HashIterator, OpenedAtAnAbsentKeyItHoldsNoNode) {
    KeySet set;
    filled(set, 1000);
    KeySet::IteratorConst const i{set, Key{1000}};
    EXPECT_EQ(i.position(), 0U);
    EXPECT_EQ(i.currNodeMaybeStale(), nullptr);
}

TEST(HashIterator, ABookmarkTakenByKeyGoesOnWhereItWas) {
    KeySet set;
    auto const all = walk(filled(set, 3000));
    Numbers numbers;
    Key bookmark{all.front()};
    // Each step makes an iterator of its own; keys behind and ahead go and come between the steps.
    for (std::uint32_t step = 0;; ++step) {
        KeySet::IteratorConst i{set, bookmark};
        ASSERT_TRUE(i);
        numbers.push_back(i->fwkKey().number());
        if (!++i) {
            break;
        }
        bookmark = i->fwkKey();
        add(set, 100'000 + step);
        if (numbers.size() > 1) {
            del(set, numbers[numbers.size() - 2]);
        }
    }
    Numbers old;
    std::ranges::copy_if(numbers, std::back_inserter(old), [](auto each) { return each < 3000; });
    EXPECT_EQ(old, all);
}

TEST(HashIterator, ARemovedNodeCanStillBeReadButIsKnownToBeGone) {
    WrapperMap map;
    add(map, 1, 77);
    WrapperMap::IteratorConst i{map};
    del(map, 1);
    EXPECT_EQ(i.currNodeNonStale(), nullptr);
    EXPECT_EQ(i->value()->value, 77);
    EXPECT_EQ(Wrapper::live, 1);
    ++i;
    EXPECT_FALSE(i);
    EXPECT_EQ(Wrapper::live, 0);
}

TEST(HashIterator, ANodeThatStaysIsFoundAgainWhateverHappenedToItsBucket) {
    WrapperMap map;
    add(map, 1, 77);
    WrapperMap::IteratorConst const i{map};
    for (std::uint32_t number = 2; number != 1000; ++number) {
        add(map, number);
    }
    auto const* node = static_cast<HN_Wrapper const*>(i.currNodeNonStale());
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node, map[Key{1}]);
    EXPECT_EQ(node->value()->value, 77);
}

TEST(HashIterator, ANodeAddedAgainUnderItsKeyIsTheOneThatIsThere) {
    WrapperMap map;
    add(map, 1, 77);
    WrapperMap::IteratorConst const i{map};
    del(map, 1);
    add(map, 1, 78);
    EXPECT_EQ(i->value()->value, 77);
    EXPECT_EQ(static_cast<HN_Wrapper const*>(i.currNodeNonStale())->value()->value, 78);
}

TEST(HashIterator, AValueReplacedInPlaceIsSeen) {
    WrapperMap map;
    add(map, 1, 77);
    WrapperMap::IteratorConst const i{map};
    map.find(WrapperMap::keyArg(Key{1}))->valueIs(Ombra::ptrIs<Wrapper>(1U, 78));
    EXPECT_EQ(i->value()->value, 78);
    EXPECT_EQ(Wrapper::live, 1);
}

TEST(HashIterator, DeletingEachNodeAsItComesEmptiesTheMap) {
    for (std::uint32_t const mask : {0xffffffffU, 0xf0000000U, 0U}) {
        ThinHashes const thin{mask};
        KeySet set;
        filled(set, 2000);
        unsigned given = 0;
        for (KeySet::IteratorConst i{set}; i; ++i) {
            Key const key = i->fwkKey();
            ASSERT_TRUE(set.del(KeySet::keyArg(key)));
            ++given;
        }
        EXPECT_EQ(given, 2000U);
        EXPECT_EQ(set.size(), 0U);
    }
}

TEST(HashIterator, EndsAfterTheMapWasEmptied) {
    KeySet set;
    filled(set, 1000);
    KeySet::IteratorConst i{set};
    set.delAll();
    EXPECT_EQ(i.currNodeNonStale(), nullptr);
    EXPECT_NE(i.currNodeMaybeStale(), nullptr);
    ++i;
    EXPECT_FALSE(i);
}

TEST(HashIterator, MayDieAfterTheMap) {
    auto* const map = new WrapperMap;
    add(*map, 1, 77);
    {
        WrapperMap::IteratorConst const i{*map};
        delete map;
        EXPECT_EQ(Wrapper::live, 1);
        EXPECT_EQ(i->value()->value, 77);
    }
    EXPECT_EQ(Wrapper::live, 0);
}

TEST(HashIterator, CopiesWalkOnTheirOwn) {
    KeySet set;
    auto const all = walk(filled(set, 100));
    KeySet::IteratorConst first{set};
    KeySet::IteratorConst second = first;
    ++first;
    EXPECT_EQ(second->fwkKey().number(), all[0]);
    EXPECT_EQ(first->fwkKey().number(), all[1]);
    second = first;
    EXPECT_EQ(walk(second).size(), 99U);
    EXPECT_EQ(walk(first).size(), 99U);
}

TEST(HashIterator, AChangedBucketThatIsHeldIsCopiedOnceAndNotAgain) {
    KeySet set;
    filled(set, 5);
    KeySet::IteratorConst const i{set};
    auto* const before = set.bucketOf(0);
    add(set, 10);
    auto* const after = set.bucketOf(0);
    EXPECT_NE(after, before);
    add(set, 11);
    EXPECT_EQ(set.bucketOf(0), after);
    EXPECT_EQ(before->inUse(), 5U);
}

} // namespace
