#pragma once

#include <Ombra/Export.h>
#include <Pallet/SlabAlloc.h>

#include <cstdint>

// What the engine of the hash collections knows of one collection: a constant record of sizes and
// hooks. The engine (HashMap2018Generic, the iterator, the buckets) is compiled once and sees nodes
// as bytes; HashMap2018Hooks.h makes the hooks from the node's type.
//
// `place` and `shift` are null for nodes that may be copied bytewise. The contracts of the hooks
// stand at their types below.
namespace Zet {

class HashMap2018BucketHdr;
struct HashMap2018VTable;

// How a collection's buckets are allocated. Every collection of the system uses 1, the slab.
enum class HashMap2018Alloc : unsigned {};

enum class MoveOrCopy : std::uint32_t { copy = 0, move = 1 };

// Where the nodes of a new bucket come from: runs of nodes, in the order in which they will stand.
class LOAM_EXPORT HashMap2018NodeSourceColl {
  public:
    // 16 bytes at every word size.
    struct alignas(8) Run {
        MoveOrCopy moveOrCopy;
        std::uint32_t count;
        void* nodes;
    };
    static_assert(sizeof(Run) == 16);

    static constexpr unsigned maxRuns = 16; // a bucket that splits, in runs of one

    // A run of no nodes is left out.
    void add(MoveOrCopy moveOrCopy, std::uint32_t count, void* nodes) noexcept {
        if (count != 0) {
            runs_[runCount_] = Run{moveOrCopy, count, nodes};
            ++runCount_;
        }
    }

    Run const* begin() const noexcept { return runs_; }
    Run const* end() const noexcept { return runs_ + runCount_; }

  private:
    [[maybe_unused]] std::uint8_t unused_[3] = {};
    std::uint8_t runCount_ = 0;
    Run runs_[maxRuns]; // those in front of runCount_ are set
};

struct LOAM_EXPORT HashMap2018VTable {
    // Gives up one use of a bucket. Gives the uses that are left; at 0 the nodes were released and
    // the bucket freed.
    using BktHdrRefDec = std::uint32_t (*)(HashMap2018BucketHdr* bucket);

    using KeyEqualsNode = bool (*)(void const* key, void const* node);

    // `target` holds nothing before. A copy adds a reference, a move leaves `source` null.
    using Place = void (*)(HashMap2018VTable const& vt, void* target, void* source,
                           MoveOrCopy moveOrCopy);

    // The bucket's `count` nodes change by `slotsToShift` at `index`. -n takes n nodes out and
    // releases them. 1 puts `newNode` in, and leaves it null; the slot behind the last node holds
    // nothing before.
    using Shift = void (*)(HashMap2018VTable const& vt, void* nodes, void* newNode,
                           std::uint32_t count, std::uint32_t index, int slotsToShift);

    // Counts `capacity` slots on the node's tracker and fills the new array `nodes` from the
    // sources. Gives the number of nodes placed.
    using NewBucketAssemble = std::uint32_t (*)(HashMap2018VTable const& vt, std::uint32_t capacity,
                                                void* nodes,
                                                HashMap2018NodeSourceColl const& sources);

    // Orders by key: 0 equal, 1 left is less, 2 left is greater. Left is the key of node `a`, or
    // `key` when `a` is null; right is the key of node `b`.
    using CompareOrLruUnlink = int (*)(void const* key, void const* a, void const* b);

    static constexpr std::uint32_t flagsOfAll = 0x100;

    std::uint32_t flagsAndAlignment; // low byte: alignment of a node
    std::uint32_t nodeSize;          // bytes
    BktHdrRefDec bktHdrRefDec;
    KeyEqualsNode keyEqualsNode;
    Place place;
    Shift shift;
    NewBucketAssemble newBucketAssemble;
    CompareOrLruUnlink compareOrLruUnlink;

    // `newBucketAssemble` of bytewise-copyable nodes, without the counting.
    static std::uint32_t trivialNewBucketAssemble(HashMap2018VTable const& vt, void* nodes,
                                                  HashMap2018NodeSourceColl const& sources);
};

} // namespace Zet
