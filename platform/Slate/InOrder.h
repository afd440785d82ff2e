#pragma once

#include <Ombra/Export.h>
#include <Slate/BucketScan.h>
#include <Slate/Layout.h>
#include <Slate/StoreSpec.h>
#include <Slate/Words.h>

#include <cstdint>
#include <limits>

// The bucket that a walk works through, and which of its entries comes next by tag.
//
// A walk comes to a bucket once for each of its entries, and knows of the last step no more than a
// key. So what it finds out about a bucket it notes, and next time only sees whether the bucket is
// still what it was, but for entries that were removed, as by who trims what he walks over. Entries
// are not sorted: to look at seven for the next one takes fewer instructions, and none of the
// branches that depend on where entries stand.
namespace Slate {

class LOAM_EXPORT InOrder {
  public:
    // Whether the bucket of that owner is noted, and whether it has now no entry but those.
    bool holds(std::uint32_t owner) const { return owner_ == owner; }
    bool holds(Bucket const& bucket) const {
        return sameWords(bucket, words_) || onlyRemoved(bucket);
    }

    // Notes a bucket that is its chain, has entries, and whose words are whole; of versions, each
    // in its own place, and so all of different tags. Otherwise nothing is noted, and the result is
    // false.
    bool note(Bucket const& bucket, std::uint32_t owner, Order order);

    static constexpr std::uint32_t none = bucketEntries;

    // Index of the entry with the smallest tag at or above one; `none` when there is no such.
    // `least` is at most noTag.
    std::uint32_t firstFrom(std::uint64_t least) const {
        // An item's distance goes around for those before it, which puts them behind the empty.
        std::uint64_t const from = least << 32;
        std::uint64_t nearest = empty - from;
        if (least == noTag) [[unlikely]] {
            return none;
        }
#pragma GCC unroll 7
        for (std::uint64_t const item : items_) {
            std::uint64_t const distance = item - from;
            nearest = distance < nearest ? distance : nearest;
        }
        return static_cast<std::uint32_t>(nearest + from) & indexMask;
    }
    std::uint64_t word(std::uint32_t index) const {
        return words_.word[index];
    }

  private:
    static constexpr std::uint32_t nobody = std::numeric_limits<std::uint32_t>::max();
    static constexpr std::uint64_t empty = std::numeric_limits<std::uint64_t>::max();
    static constexpr std::uint32_t indexMask = 7;
    static_assert((empty & indexMask) == none);

    bool inPlace() const;
    bool onlyRemoved(Bucket const& bucket) const;

    BucketWords words_;
    std::uint32_t owner_ = nobody;
    // Words with their index in the lowest bits, or `empty`.
    std::uint64_t items_[bucketEntries] = {};
};

} // namespace Slate
