#pragma once

#include <Ombra/Export.h>
#include <Zet/HashMap2018Generic.h>

#include <cstdint>

// A position in a hash collection that survives every change of it.
//
// A walk from the first node gives each node that is there all along exactly once, in the map's
// order. A node that is removed before the walk reaches it is not given; one that is added comes if
// its place is still ahead. The iterator holds the bucket in which it stands, so that the node it
// stands on can be read even when it was removed since (`currNodeMaybeStale`). The map must outlive
// the iterator's use, but not its destruction.
//
//     for (HashMap2018IteratorGeneric i{map, vt}; i.position() != 0; i.advance()) {
//         use(i.currNodeMaybeStale());
//     }
namespace Zet {

class LOAM_EXPORT HashMap2018IteratorGeneric {
  public:
    // At the first node.
    HashMap2018IteratorGeneric(HashMap2018Generic const& map, HashMap2018VTable const& vt);

    // At the node with that key; at the end when there is none.
    HashMap2018IteratorGeneric(HashMap2018Generic const& map, HashMap2018VTable const& vt,
                               HashHelper::KeyAndRhashSeedArg const& key);

    HashMap2018IteratorGeneric(HashMap2018IteratorGeneric const& other) noexcept;
    HashMap2018IteratorGeneric& operator=(HashMap2018IteratorGeneric const& other) noexcept;
    ~HashMap2018IteratorGeneric();

    // 0 at the end.
    std::uint32_t position() const noexcept { return position_; }

    // To the next node of the map as it is now. Not at the end.
    void advance();

    // The node of the current key in the map as it is now; null when it has gone, and at the end.
    void* currNodeNonStale() const;

    // The node as it was when the iterator came to it, whether or not it has gone since; null at
    // the end. Valid until the iterator moves.
    void* currNodeMaybeStale() const noexcept;

  private:
    void take(HashMap2018BucketHdr* bucket, std::uint32_t index) noexcept;
    void letGo() noexcept;
    bool standsInCurrentBucket() const noexcept;
    void takeFirstFrom(std::uint64_t hash);

    struct Least {
        std::uint32_t index; // HashMap2018BucketHdr::none when there is no node
        bool alike;
    };
    static Least leastFrom(HashMap2018BucketHdr const& bucket, std::uint32_t least);
    bool isBefore(std::uint32_t leftHash, void const* left, std::uint32_t rightHash,
                  void const* right) const;
    std::uint32_t successor(HashMap2018BucketHdr& bucket, std::uint32_t hash,
                            void const* node) const;

    HashMap2018Generic const* map_;
    HashMap2018VTable const* vt_;
    HashMap2018BucketHdr* bucket_ = nullptr; // null at the end
    std::uint32_t position_ = 0;             // place in the bucket, from 1
    std::uint32_t hash_ = 0;                 // of the current node
};

} // namespace Zet
