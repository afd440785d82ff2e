#include <Slate/InOrder.h>

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <random>
#include <set>

using namespace Slate;

namespace {

constexpr std::uint32_t owner = 77;

Bucket bucketOf(std::array<std::optional<std::uint32_t>, bucketEntries> const& tags) {
    Bucket bucket{};
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        if (tags[index]) {
            bucket.entry[index] = packEntry(*tags[index], index + 1, owner);
        }
    }
    return bucket;
}

Bucket someBucket() {
    return bucketOf({{5, 3, std::nullopt, 9, std::nullopt, std::nullopt, 4}});
}

} // namespace

// All tags at or above one, of random buckets with the extreme tags in them.
TEST(InOrder, GivesTheEntriesOfABucketByTag) {
    std::mt19937_64 random{1};
    for (int round = 0; round < 20'000; ++round) {
        std::set<std::uint32_t> present;
        std::array<std::optional<std::uint32_t>, bucketEntries> tags;
        for (auto& tag : tags) {
            auto const next =
                static_cast<std::uint32_t>(random() % 2 == 0 ? random() % 20 : ~(random() % 20));
            if (random() % 3 != 0 && present.insert(next).second) {
                tag = next;
            }
        }
        Bucket const bucket = bucketOf(tags);
        InOrder order;
        ASSERT_EQ(order.note(bucket, owner, Order::keyMix), !present.empty());
        if (present.empty()) {
            continue;
        }
        ASSERT_TRUE(order.holds(owner) && order.holds(bucket));
        for (std::uint64_t least :
             {std::uint64_t{0}, std::uint64_t{5}, std::uint64_t{19}, noTag - 7, noTag - 1, noTag}) {
            auto const expected = least == noTag
                                      ? present.end()
                                      : present.lower_bound(static_cast<std::uint32_t>(least));
            std::uint32_t const index = order.firstFrom(least);
            ASSERT_EQ(index == InOrder::none, expected == present.end()) << least;
            if (index != InOrder::none) {
                ASSERT_EQ(entryTag(order.word(index)), *expected);
                ASSERT_EQ(order.word(index), bucket.entry[index]);
            }
        }
    }
}

TEST(InOrder, HoldsABucketFromWhichEntriesWereRemovedAndNoOther) {
    Bucket bucket = someBucket();
    InOrder order;
    ASSERT_TRUE(order.note(bucket, owner, Order::keyMix));
    EXPECT_FALSE(order.holds(owner + 1));
    bucket.entry[1] = 0;
    EXPECT_TRUE(order.holds(bucket));
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        Bucket changed = bucket;
        changed.entry[index] = packEntry(1000, 100, owner);
        EXPECT_FALSE(order.holds(changed)) << index;
    }
    bucket.link = packEntry(linkTag, 1, owner);
    EXPECT_FALSE(order.holds(bucket));
}

TEST(InOrder, NotesNoBucketThatIsEmptyDamagedOrNotItsChain) {
    InOrder order;
    EXPECT_FALSE(order.note(Bucket{}, owner, Order::keyMix));
    Bucket const whole = someBucket();
    for (std::uint32_t bit = 0; bit < 64 * bucketEntries; ++bit) {
        Bucket damaged = whole;
        damaged.entry[bit / 64] ^= std::uint64_t{1} << (bit % 64);
        EXPECT_FALSE(order.note(damaged, owner, Order::keyMix)) << bit;
        EXPECT_FALSE(order.holds(owner));
    }
    Bucket linked = whole;
    linked.link = packEntry(linkTag, 1, owner);
    EXPECT_FALSE(order.note(linked, owner, Order::keyMix));
}

// Versions that stand where they were entered differ in their tags, also where these go around;
// others may differ in their upper half only.
TEST(InOrder, NotesVersionsThatStandInTheirPlaces) {
    InOrder order;
    EXPECT_TRUE(order.note(bucketOf({{70, 71, std::nullopt, 73}}), owner, Order::version));
    EXPECT_TRUE(order.note(bucketOf({{~1U, ~0U, 0, 1}}), owner, Order::version));
    EXPECT_TRUE(order.note(bucketOf({{std::nullopt, std::nullopt, 72}}), owner, Order::version));
    EXPECT_FALSE(order.note(bucketOf({{70, 71, 71}}), owner, Order::version));
    EXPECT_FALSE(order.note(bucketOf({{70, 72}}), owner, Order::version));
}
