#pragma once

#include <Ombra/Export.h>
#include <Slate/Layout.h>

#include <bit>
#include <cstdint>

// One look at a whole bucket, without a branch that depends on where in it something is.
//
// A search that stops at the entry it looks for is mispredicted at nearly every call, and a
// mispredicted branch that hangs on a cache miss keeps the processor from working on the next
// search meanwhile. So all 7 words are always looked at, with vector instructions where there are
// some.
namespace Slate {

struct BucketView {
    std::uint32_t matches;  // bit i: entry i is not empty and has the tag
    std::uint32_t occupied; // bit i: entry i is not empty
    std::uint64_t sum;      // exclusive or of all entries
};

// The two entries that come first from a place in tag order.
struct BucketTags {
    std::uint64_t first;    // smallest tag at or above the one asked for, or noTag
    std::uint64_t second;   // smallest tag above `first`, or noTag
    std::uint32_t firstAt;  // bit i: entry i has the tag `first`
    std::uint32_t secondAt; // bit i: entry i has the tag `second`
    std::uint32_t occupied;
    std::uint64_t sum; // exclusive or of all entries
};

inline constexpr std::uint64_t noTag = std::uint64_t{1} << 32; // above every tag
inline constexpr std::uint32_t allOccupied = (1U << bucketEntries) - 1;

// Whether all entries of a bucket that is not changing are whole words of the chain: the sum of the
// words has the salt of the owner once for each.
inline bool sumWhole(std::uint64_t sum, std::uint32_t occupied, std::uint32_t owner) {
    std::uint64_t const expected = (std::popcount(occupied) & 1) != 0 ? ownerSalt(owner) : 0;
    return entryFold(sum) == expected;
}

struct LOAM_EXPORT BucketScan {
    BucketView (*view)(Bucket const& bucket, std::uint32_t tag);

    // `from` is at most noTag, for which nothing is found.
    BucketTags (*tags)(Bucket const& bucket, std::uint64_t from);

    static BucketScan const& best();   // what this processor does fastest
    static BucketScan const& simple(); // without special instructions
};

} // namespace Slate
