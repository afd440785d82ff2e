#pragma once

#include <Ombra/Assert.h>
#include <Ombra/Ptr.h>
#include <Pallet/SlabAlloc.h>
#include <Zet/AllocTrack.h>
#include <Zet/HashHelper.h>
#include <Zet/HashMap2018BucketHdr.h>
#include <Zet/HashMap2018VTable.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <utility>

// The six hooks of one node class, and the descriptor that names them.
//
// Nodes come in two kinds. The trivial ones are copied bytewise and need neither `place` nor
// `shift`. The others hold an `Ombra::Ptr` as value, perhaps with a key behind it: a slot that
// holds nothing has a null pointer there.
namespace Zet {

template <typename HN>
struct HashMap2018Hooks {
    using Key = typename HN::Key;

    static constexpr bool trivial = std::is_trivially_copyable_v<HN>;

    static HN const& node(void const* at) noexcept { return *static_cast<HN const*>(at); }

    // Counted pointers may be moved as bytes, as long as each stands in one place afterwards.
    static void moveBytes(void* target, HN const* source, std::uint32_t count) noexcept {
        std::memmove(target, static_cast<void const*>(source), count * sizeof(HN));
    }

    static bool keyEqualsNode(void const* key, void const* at) {
        return Impl::keyIsEq<Key>(*static_cast<Key const*>(key), node(at).fwkKey());
    }

    static int compareOrLruUnlink(void const* key, void const* a, void const* b) {
        if (a != nullptr) {
            return compare(node(a).fwkKey(), node(b).fwkKey());
        }
        return compare(*static_cast<Key const*>(key), node(b).fwkKey());
    }

    static void place(HashMap2018VTable const&, void* target, void* source, MoveOrCopy moveOrCopy) {
        HN& from = *static_cast<HN*>(source);
        if (moveOrCopy == MoveOrCopy::move) {
            new (target) HN(std::move(from));
        } else {
            new (target) HN(std::as_const(from));
        }
    }

    static void shift(HashMap2018VTable const&, void* nodes, void* newNode, std::uint32_t count,
                      std::uint32_t index, int slotsToShift) {
        HN* const array = static_cast<HN*>(nodes);
        if (slotsToShift < 0) {
            takeOut(array, count, index, static_cast<std::uint32_t>(-slotsToShift));
            return;
        }
        OMBRA_ASSERT(slotsToShift == 1, "slotsToShift == 1");
        putIn(array, *static_cast<HN*>(newNode), count, index);
    }

    static std::uint32_t newBucketAssemble(HashMap2018VTable const& vt, std::uint32_t capacity,
                                           void* nodes, HashMap2018NodeSourceColl const& sources) {
        AllocTrackTypeInfo::trackArrayAllocation(&HN::memAllocationTracker_, typeid(HN), sizeof(HN),
                                                 capacity);
        if constexpr (trivial) {
            return HashMap2018VTable::trivialNewBucketAssemble(vt, nodes, sources);
        } else {
            HN* target = static_cast<HN*>(nodes);
            for (auto const& run : sources) {
                for (HN& source : std::span{static_cast<HN*>(run.nodes), run.count}) {
                    place(vt, target++, &source, run.moveOrCopy);
                }
            }
            return static_cast<std::uint32_t>(target - static_cast<HN*>(nodes));
        }
    }

    static std::uint32_t bktHdrRefDec(HashMap2018BucketHdr* bucket) {
        if (auto const left = bucket->bktHdrRefDecHelper(); left != 0) {
            return left;
        }
        AllocTrackTypeInfo::trackDeallocation(HashMap2018BucketHdr::bucketHeaderTracker_);
        AllocTrackTypeInfo::trackArrayDeallocation(HN::memAllocationTracker_, bucket->capacity());
        if constexpr (!trivial) {
            std::destroy_n(reinterpret_cast<HN*>(bucket->nodes()), bucket->inUse());
        }
        Pallet::slabFreeOrStdFree(bucket->allocation(), typeid(HN));
        return 0;
    }

    static constexpr HashMap2018VTable vt() noexcept {
        return HashMap2018VTable{HashMap2018VTable::flagsOfAll | alignof(HN),
                                 sizeof(HN),
                                 bktHdrRefDec,
                                 keyEqualsNode,
                                 trivial ? nullptr : place,
                                 trivial ? nullptr : shift,
                                 newBucketAssemble,
                                 compareOrLruUnlink};
    }

  private:
    static int compare(Key const& left, Key const& right) {
        if (Impl::keyIsEq<Key>(left, right)) {
            return 0;
        }
        return (left <=> right) < 0 ? 1 : 2;
    }

    // The nodes taken out are released last, when the array is in order again.
    static void takeOut(HN* array, std::uint32_t count, std::uint32_t index, std::uint32_t n) {
        if (n == 1) {
            alignas(HN) std::byte gone[sizeof(HN)];
            HN* const last = array + count - 1;
            moveBytes(gone, array + index, 1);
            moveBytes(array + index, array + index + 1, count - index - 1);
            moveBytes(last, reinterpret_cast<HN const*>(gone), 1);
            std::destroy_at(last);
            return;
        }
        for (std::uint32_t i = index + n; i < count; ++i) {
            std::swap(array[i - n], array[i]);
        }
        std::destroy_n(array + count - n, n);
    }

    static void putIn(HN* array, HN& newNode, std::uint32_t count, std::uint32_t index) noexcept {
        moveBytes(array + index + 1, array + index, count - index);
        new (array + index) HN(std::move(newNode));
    }
};

} // namespace Zet
