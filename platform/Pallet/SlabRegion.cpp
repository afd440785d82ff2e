#include <Pallet/SlabChecks.h>
#include <Pallet/SlabRegion.h>

#include <algorithm>
#include <sys/mman.h>

namespace Pallet::Impl {

namespace {

// More than a switch has memory. Reserving costs nothing; where the address space is limited, less
// will do, and beyond it the C library serves.
constexpr std::uintptr_t wishedBytes =
    sizeof(void*) == 8 ? std::uintptr_t{1} << 36 : std::uintptr_t{1} << 29;
constexpr std::uintptr_t leastBytes = std::uintptr_t{1} << 26;
constexpr std::uintptr_t stepBytes = std::uintptr_t{1} << 22;

// As many free slabs, 16 MiB, keep their memory. The kernel may take that of the others when it
// needs it; until then a new burst finds it in place.
constexpr std::uint64_t keptSlabs = 256;

} // namespace

void SlabRegion::reserve() noexcept {
    tried_ = true;
    for (std::uintptr_t bytes = wishedBytes; bytes >= leastBytes; bytes /= 2) {
        void* const address = ::mmap(nullptr, bytes + stepBytes, PROT_NONE,
                                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (address != MAP_FAILED) {
            begin_ = (reinterpret_cast<std::uintptr_t>(address) + stepBytes - 1) & ~(stepBytes - 1);
            reservedBytes_ = bytes;
            return;
        }
    }
}

void* SlabRegion::slabNew() noexcept {
    if (freeSlabs_ != nullptr) {
        Slab* const slab = freeSlabs_;
        freeSlabs_ = slab->next;
        --freeCount_;
        return slab;
    }
    if (!tried_) {
        reserve();
    }
    if (usedBytes_ == committedBytes_) {
        auto const step = std::min(stepBytes, reservedBytes_ - committedBytes_);
        if (step == 0 || ::mprotect(reinterpret_cast<void*>(begin_ + committedBytes_), step,
                                    PROT_READ | PROT_WRITE) != 0) {
            return nullptr;
        }
        committedBytes_ += step;
    }
    auto* const slab = reinterpret_cast<void*>(begin_ + usedBytes_);
    usedBytes_ += slabBytes;
    leakCheckerSees(slab);
    return slab;
}

void SlabRegion::slabFree(Slab& slab) noexcept {
    unpoison(&slab, slabBytes);
    if (freeCount_ >= keptSlabs) {
        ::madvise(&slab, slabBytes, MADV_FREE);
    }
    slab.magic = 0;
    slab.next = freeSlabs_;
    freeSlabs_ = &slab;
    ++freeCount_;
}

} // namespace Pallet::Impl
