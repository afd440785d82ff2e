#pragma once

#include <Pallet/SlabLayout.h>

#include <cstdint>

// The range of addresses that all slabs come from. It is reserved once, at the first use, and made
// usable in steps of 4 MiB, so that an address tells by one comparison whether it is a slab's.
// Callers see to it that one thread calls at a time.
namespace Pallet::Impl {

class SlabRegion {
  public:
    bool contains(void const* address) const noexcept {
        return reinterpret_cast<std::uintptr_t>(address) - begin_ < usedBytes_;
    }

    // Memory for a slab: aligned, and readable and writable for all of its bytes. Null when the
    // region is used up or there is no memory.
    void* slabNew() noexcept;

    // The slab's blocks are all free.
    void slabFree(Slab& slab) noexcept;

    std::uint64_t freeSlabs() const noexcept { return freeCount_; }

    template <typename Visit>
    void forEachSlab(Visit&& visit) const {
        for (std::uintptr_t at = 0; at != usedBytes_; at += slabBytes) {
            if (auto& slab = *reinterpret_cast<Slab*>(begin_ + at);
                slab.magic == Slab::magicOfSlab) {
                visit(slab);
            }
        }
    }

  private:
    void reserve() noexcept;

    std::uintptr_t begin_ = 0;
    std::uintptr_t usedBytes_ = 0;      // handed out as slabs so far
    std::uintptr_t committedBytes_ = 0; // readable and writable
    std::uintptr_t reservedBytes_ = 0;
    bool tried_ = false;
    Slab* freeSlabs_ = nullptr;
    std::uint64_t freeCount_ = 0;
};

} // namespace Pallet::Impl
