#include <Slate/InOrder.h>
#include <Slate/Shared.h>

#include <algorithm>
#include <iterator>

namespace Slate {

bool InOrder::note(Bucket const& bucket, std::uint32_t owner, Order order) {
    owner_ = nobody;
    if (loadAcquire(&bucket.link) != 0) {
        return false;
    }
    std::uint64_t sum = 0;
    std::uint32_t occupied = 0;
#pragma GCC unroll 7
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        std::uint64_t const word = loadAcquire(&bucket.entry[index]);
        words_.word[index] = word;
        sum ^= word;
        occupied |= static_cast<std::uint32_t>(word != 0) << index;
        items_[index] = word != 0 ? (word & ~std::uint64_t{indexMask}) | index : empty;
    }
    words_.word[bucketEntries] = 0;
    if (occupied == 0 || !sumWhole(sum, occupied, owner) ||
        (order == Order::version && !inPlace())) {
        return false;
    }
    owner_ = owner;
    return true;
}

// Whether tags less their indices are the same of all entries.
bool InOrder::inPlace() const {
    std::uint64_t const least = *std::min_element(std::begin(items_), std::end(items_));
    std::uint32_t const base = entryTag(least) - (static_cast<std::uint32_t>(least) & indexMask);
    std::uint32_t difference = 0;
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        std::uint64_t const word = words_.word[index];
        difference |= word != 0 ? entryTag(word) - index - base : 0;
    }
    return difference == 0;
}

bool InOrder::onlyRemoved(Bucket const& bucket) const {
    bool changed = loadAcquire(&bucket.link) != 0;
#pragma GCC unroll 7
    for (std::uint32_t index = 0; index < bucketEntries; ++index) {
        std::uint64_t const word = loadAcquire(&bucket.entry[index]);
        changed |= word != words_.word[index] && word != 0;
    }
    return !changed;
}

} // namespace Slate
