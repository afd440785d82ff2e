#pragma once

#include <Ombra/Export.h>

#include <cstdint>
#include <typeinfo>
#include <vector>

// The system's allocator for small objects of few sizes.
//
// Memory comes in slabs of 64 KiB with blocks of one size class each, aligned to their own size, so
// that a free finds its slab from the address alone and needs no size. Allocation and free are a
// pop and a push on the slab's list of free blocks. What every write makes anew has slabs of its
// own, so that objects that stay do not keep the slabs of a burst. A slab whose blocks are all free
// serves any class again; most of them are given back to the kernel. Sizes above 4096 bytes go to
// the C library; which of the two an address belongs to is known from the address.
//
// Alignment is that of the size class: the largest power of two, up to 64, that divides the size
// rounded up. So any object stands aligned, and a multiple of 64 bytes starts a cache line.
//
// On the agent's one thread no lock is taken; once `Ombra::ThreadControl::tsp_` is set, every call
// takes one.
//
// Debug checks are built always and switched on by `debugChecksIs` or LOAM_SLAB_CHECKS=1. They find
// a second free, a free of an address that is no object's, a write beyond either end of an object
// and a write after the free, and end the process with a sentence that names type and address. A
// build with the address sanitizer has them on, and poisons what is free.
namespace Pallet {

// How long objects of a call live and how many there are. Only the numbers are part of the system:
// 1 marks what every write makes anew, 0 is everything else.
enum class LOAM_EXPORT SlabAllocationPattern : unsigned { longLived = 0, perOperation = 1 };

// Memory of at least `size` bytes, aligned for any object of that size. Never null: when there is
// none, `std::bad_alloc` is thrown.
LOAM_EXPORT void* slabAlloc(unsigned size);
LOAM_EXPORT void* slabAlloc(unsigned size, SlabAllocationPattern pattern);

// As `slabAlloc`, but null when there is no memory.
LOAM_EXPORT void* slabAllocOrStdMalloc(unsigned size, SlabAllocationPattern pattern) noexcept;

// Gives memory back. `type` names the object in the report of a failed debug check. Null is
// allowed.
LOAM_EXPORT void slabFree(void* memory, std::type_info const& type) noexcept;
LOAM_EXPORT void slabFreeOrStdFree(void* memory) noexcept;
LOAM_EXPORT void slabFreeOrStdFree(void* memory, std::type_info const& type) noexcept;

// Switches the checks for what is allocated from now on.
LOAM_EXPORT void debugChecksIs(bool on) noexcept;

struct SlabClassStats {
    unsigned blockBytes; // of one block
    SlabAllocationPattern pattern;
    std::uint32_t slabs; // of 64 KiB
    std::uint64_t liveBlocks;
    std::uint64_t blocks; // live, free, and never used yet
};

struct SlabStats {
    std::vector<SlabClassStats> classes; // those that have slabs, by pattern and size
    std::uint64_t freeSlabs;             // belong to no class now
    std::uint64_t largeLive;             // objects that the C library holds for us
    std::uint64_t largeBytes;
};

// What the allocator holds now. Walks all slabs.
LOAM_EXPORT SlabStats slabStats();

} // namespace Pallet
