#include <Slate/BucketScan.h>

#include <gtest/gtest.h>

#include <random>

using namespace Slate;

// Both ways of looking at a bucket give the same, over random buckets with equal tags, the extreme
// tags, empty entries and a link that looks like an entry.
TEST(BucketScan, VectorAndSimpleInstructionsAgree) {
    BucketScan const& best = BucketScan::best();
    BucketScan const& simple = BucketScan::simple();
    std::mt19937_64 random{1};
    for (int round = 0; round < 100'000; ++round) {
        Bucket bucket{};
        for (std::uint64_t& entry : bucket.entry) {
            std::uint64_t const tag =
                random() % 4 == 0 ? random() % 3 + 0xffff'fffd : random() % 20;
            entry = random() % 3 == 0 ? 0 : (tag << 32) | (random() & 0xffff'ffff);
        }
        bucket.link = random();
        auto const tag = static_cast<std::uint32_t>(random() % 20);
        BucketView const view = best.view(bucket, tag);
        BucketView const expected = simple.view(bucket, tag);
        ASSERT_EQ(view.matches, expected.matches);
        ASSERT_EQ(tag == 0 ? view.matches : tagMatches(bucket, tag), expected.matches);
        ASSERT_EQ(view.occupied, expected.occupied);
        ASSERT_EQ(view.sum, expected.sum);
        std::uint64_t const from = random() % 5 == 0 ? noTag - random() % 4 : random() % 20;
        BucketTags const tags = best.tags(bucket, from);
        BucketTags const expectedTags = simple.tags(bucket, from);
        ASSERT_EQ(tags.first, expectedTags.first);
        ASSERT_EQ(tags.second, expectedTags.second);
        ASSERT_EQ(tags.firstAt, expectedTags.firstAt);
        ASSERT_EQ(tags.secondAt, expectedTags.secondAt);
        ASSERT_EQ(tags.occupied, expectedTags.occupied);
        ASSERT_EQ(tags.sum, expectedTags.sum);
    }
}

TEST(BucketScan, TakesNoEmptyEntryForTagZero) {
    Bucket const bucket{};
    EXPECT_EQ(BucketScan::best().view(bucket, 0).matches, 0U);
    EXPECT_EQ(BucketScan::best().tags(bucket, 0).first, noTag);
}

// The link, behind the entries, is none of them.
TEST(BucketScan, MatchesTagsOfEntriesAlone) {
    Bucket bucket{};
    bucket.link = std::uint64_t{5} << 32 | 1;
    EXPECT_EQ(tagMatches(bucket, 5), 0U);
    bucket.entry[6] = std::uint64_t{5} << 32 | 1;
    EXPECT_EQ(tagMatches(bucket, 5), 1U << 6);
}
