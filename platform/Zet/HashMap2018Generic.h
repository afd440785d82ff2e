#pragma once

#include <Ombra/Export.h>
#include <Zet/HashHelper.h>
#include <Zet/HashMap2018BucketHdr.h>
#include <Zet/HashMap2018VTable.h>

#include <cstdint>

// The engine of the hash collections, which knows nodes as bytes and the rest from a descriptor.
//
// Extendible hashing: the top bits of a hash choose a word of the directory, which leads to a small
// bucket. A full bucket splits in two; two neighbours that have run empty become one again. The
// directory doubles when its buckets fill up and halves when no bucket needs its last bit. Where
// many hashes agree in more bits than the directory has, a bucket grows instead of the directory;
// more than 16382 nodes of one hash end the process.
//
// The map has one fixed order: by hash, and by key where hashes are equal. Buckets follow each
// other in it; within a bucket nodes stand as they came, which makes additions and removals cheap,
// and a walk (HashMap2018IteratorGeneric) picks the next one out of the few. So a walk can go on
// behind a known node whatever changed meanwhile.
//
// A map without a directory of its own has one bucket. An empty map that never held anything has
// allocated nothing; one that was emptied keeps eight buckets at most.
//
// Invariants: every word of the directory leads to a bucket; the 2^(global depth - depth) words of
// a bucket are adjacent; a bucket with more than one reference is not changed
// (HashMap2018BucketHdr.h).
//
// Cost: a look-up reads a word of the directory, the line with a bucket's hashes, and the node; it
// allocates nothing. Used on the thread of its owner; buckets may be let go on another one.
namespace Zet {

class LOAM_EXPORT HashMap2018Generic {
  public:
    // The last argument is false throughout the system; it is kept for the form of the call.
    HashMap2018Generic(HashMap2018VTable const& vt, unsigned alloc, bool reserved) noexcept;
    HashMap2018Generic(HashMap2018Generic const&) = delete;
    HashMap2018Generic& operator=(HashMap2018Generic const&) = delete;

    std::uint32_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }

    // The node with that key, or null. Its value may be changed in place, its key may not; valid
    // until the map changes.
    void* lookupNodeG(HashMap2018VTable const& vt, HashHelper::KeyAndRhashSeedArg const& key) const;

    // Adds a node whose key the map does not hold. Its value moves.
    void newMemberG(HashMap2018VTable const& vt, HashHelper::KeyAndRhashSeedArg const& key,
                    void* node);

    // Removes the node with that key, if there is one, and says whether there was. The node moves
    // to `removed`, room for one node that holds nothing; a null pointer lets the value go.
    bool deleteMemberG(HashMap2018VTable const& vt, HashHelper::KeyAndRhashSeedArg const& key,
                       void* removed);

    // Empties the map and frees all its memory.
    void _memberDelAll(HashMap2018VTable const& vt) { emptyAllBuckets(vt, false); }

    // The same; `destroying` when the map is not used afterwards.
    void emptyAllBuckets(HashMap2018VTable const& vt, bool destroying);

    // The bucket in which a node of that hash stands, if it is there.
    HashMap2018BucketHdr* bucketOf(std::uint32_t hash) const noexcept {
        return directory_[std::uint64_t{hash} * words_ >> 32]; // its top bits
    }

    // Memory held, for statistics: buckets, and bytes of all of them and of the directory.
    struct Footprint {
        std::uint32_t buckets = 0;
        std::uint64_t bytes = 0;
    };
    Footprint footprint(HashMap2018VTable const& vt) const noexcept;

    // The last hash that the bucket at `hash` may hold.
    std::uint32_t lastHashOfBucket(std::uint32_t hash) const noexcept;

  protected:
    // Removes the node at `index` of `bucket`, which is `bucketOf(hash)`.
    void removeFoundG(HashMap2018VTable const& vt, HashMap2018BucketHdr& bucket,
                      std::uint32_t index, std::uint32_t hash, void* removed);

    // For a removal by hand from a bucket that is not held: the last node takes the place of the
    // one that goes. First the bookkeeping, then the nodes; then neighbours that have run empty are
    // made one.
    static void lastTakesPlaceOf(HashMap2018BucketHdr& bucket, std::uint32_t index) noexcept {
        bucket.hashIs(index, bucket.hash(bucket.inUse() - 1));
        bucket.dropLast();
    }
    void removedOneOf(HashMap2018VTable const& vt, std::uint32_t left, std::uint32_t hash) {
        if (left <= mergeTrigger) [[unlikely]] {
            mergeAround(vt, hash);
        }
    }
    void sizeInc() noexcept { ++size_; }
    void sizeDec() noexcept { --size_; }

  private:
    struct Engine;
    friend struct Engine;

    // Two neighbours become one when one of them falls to this count and both together fill at most
    // half a bucket. So hardly a node moves, and a map that swings around a size does not split and
    // merge all the time. Nor does one that is filled with some dozens of nodes and emptied, over
    // and over: neighbours that have no more than the kept depth in common stay apart.
    static constexpr std::uint32_t mergeTrigger = 1;
    static constexpr std::uint32_t mergedLimit = HashMap2018BucketHdr::standardCapacity / 2;
    static constexpr std::uint32_t keptDepth = 3;

    void mergeAround(HashMap2018VTable const& vt, std::uint32_t hash);

    HashMap2018BucketHdr** directory_; // `words_` words; `only_` when that is one
    HashMap2018BucketHdr* only_;
    std::uint32_t words_ = 1; // 2^global depth
    std::uint32_t size_ = 0;
    std::uint8_t alloc_;
};

} // namespace Zet
