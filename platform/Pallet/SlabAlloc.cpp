#include <Ombra/ThreadControl.h>
#include <Pallet/SlabAlloc.h>
#include <Pallet/SlabChecks.h>
#include <Pallet/SlabLayout.h>
#include <Pallet/SlabRegion.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

namespace Pallet {

namespace {

using namespace Impl;

// Stands where a class has no slab yet. It never has a free block.
constinit Slab noSlab{};

constexpr unsigned patterns = 2;

struct Heap {
    SizeClass classes[ClassTable::classes];

    constexpr Heap() : classes{} {
        for (unsigned i = 0; i != ClassTable::classes; ++i) {
            classes[i] = SizeClass{&noSlab, nullptr, classTable.bytesOf[i]};
        }
    }
};

struct State {
    Heap plain[patterns];
    Heap
        checked[patterns]; // their classes' `current` stays `noSlab`: every call takes the slow way
    Heap* heaps = plain;   // those that serve now
    SlabRegion region;
    bool checksDecided = false;
    std::uint64_t largeLive = 0;
    std::uint64_t largeBytes = 0;
};
constinit State state{};

std::mutex& mutex() {
    static std::mutex all;
    return all;
}

bool checksOn() noexcept {
    return state.heaps != state.plain;
}

void decideChecks() noexcept {
    if (!std::exchange(state.checksDecided, true)) {
        char const* const wish = std::getenv("LOAM_SLAB_CHECKS");
        bool const on = wish == nullptr ? addressSanitizer : std::strcmp(wish, "0") != 0;
        state.heaps = on ? state.checked : state.plain;
    }
}

// In front of an object that is too large for a slab.
struct alignas(16) LargeHdr {
    static constexpr std::uint32_t magicOfLarge = 0x1a49e000;
    std::uint32_t magic;
    std::uint32_t size; // bytes
};

std::uint32_t largeMagic(std::uintptr_t address) noexcept {
    return LargeHdr::magicOfLarge ^ static_cast<std::uint32_t>(address);
}

void* largeAlloc(unsigned size) noexcept {
    auto* const header = static_cast<LargeHdr*>(std::malloc(std::size_t{size} + sizeof(LargeHdr)));
    if (header == nullptr) {
        return nullptr;
    }
    *header = LargeHdr{largeMagic(reinterpret_cast<std::uintptr_t>(header)), size};
    ++state.largeLive;
    state.largeBytes += size;
    return header + 1;
}

void largeFree(void* memory, std::type_info const* type) noexcept {
    auto* const header = static_cast<LargeHdr*>(memory) - 1;
    if (header->magic != largeMagic(reinterpret_cast<std::uintptr_t>(header))) {
        checkFailed("free of an address that is no object's,", memory, type);
    }
    --state.largeLive;
    state.largeBytes -= header->size;
    header->magic = 0;
    std::free(header);
}

void listAdd(SizeClass& sizeClass, Slab& slab) noexcept {
    slab.previous = nullptr;
    slab.next = sizeClass.withRoom;
    if (slab.next != nullptr) {
        slab.next->previous = &slab;
    }
    sizeClass.withRoom = &slab;
}

void listRemove(SizeClass& sizeClass, Slab& slab) noexcept {
    (slab.previous == nullptr ? sizeClass.withRoom : slab.previous->next) = slab.next;
    if (slab.next != nullptr) {
        slab.next->previous = slab.previous;
    }
}

Slab* newSlab(SizeClass& sizeClass, std::uint16_t flags) noexcept {
    void* const memory = state.region.slabNew();
    if (memory == nullptr) {
        return nullptr;
    }
    auto* const slab = new (memory) Slab{};
    slab->flags = flags;
    slab->blockBytes = sizeClass.blockBytes;
    slab->fresh = sizeof(Slab);
    slab->magic = Slab::magicOfSlab;
    slab->sizeClass = &sizeClass;
    return slab;
}

// Chains the next blocks that were never used, a page's worth, so that a slab's pages are touched
// when they are needed.
void chainFresh(Slab& slab) noexcept {
    constexpr std::uint32_t pageBytes = 4096;
    std::uint32_t const stop = slab.fresh + std::max<std::uint32_t>(pageBytes, slab.blockBytes);
    FreeBlock** end = &slab.free;
    while (slab.hasFresh() && slab.fresh < stop) {
        auto* const block = reinterpret_cast<FreeBlock*>(slab.at(slab.fresh));
        *end = block;
        end = &block->next;
        slab.fresh += slab.blockBytes;
    }
    *end = nullptr;
}

// Makes a slab with free blocks the class's current one. False when there is no memory.
bool nextSlab(SizeClass& sizeClass) noexcept {
    Slab* next = sizeClass.withRoom;
    if (next != nullptr) {
        listRemove(sizeClass, *next);
    } else if (next = newSlab(sizeClass, 0); next == nullptr) {
        return false;
    }
    if (Slab& former = *sizeClass.current; &former != &noSlab) {
        former.flags |= Slab::flagFull;
        --former.used;
    }
    ++next->used;
    sizeClass.current = next;
    return true;
}

void* slowAlloc(SizeClass& sizeClass) noexcept {
    while (sizeClass.current->free == nullptr) {
        if (Slab& slab = *sizeClass.current; &slab != &noSlab && slab.hasFresh()) {
            chainFresh(slab);
        } else if (!nextSlab(sizeClass)) {
            return nullptr;
        }
    }
    Slab& slab = *sizeClass.current;
    ++slab.used;
    return std::exchange(slab.free, slab.free->next);
}

void slabIsEmpty(Slab& slab) noexcept {
    listRemove(*slab.sizeClass, slab);
    state.region.slabFree(slab);
}

// The first free of a block of a full slab, or the last of a slab that is not the current one. With
// checks a slab stays, so that writes to its free blocks are still found.
void slowFree(Slab& slab) noexcept {
    if ((slab.flags & Slab::flagFull) != 0) {
        slab.flags = static_cast<std::uint16_t>(slab.flags & ~Slab::flagFull);
        listAdd(*slab.sizeClass, slab);
    }
    if (slab.used == 0 && (slab.flags & Slab::flagChecked) == 0) {
        slabIsEmpty(slab);
    }
}

// With checks a slab serves from the class's list until it is full; it is never the current one.
void* checkedAlloc(Heap& heap, unsigned size) noexcept {
    auto& sizeClass = heap.classes[classIndex(checkedBlockBytes(size))];
    Slab* slab = sizeClass.withRoom;
    if (slab == nullptr) {
        if (slab = newSlab(sizeClass, Slab::flagChecked); slab == nullptr) {
            return nullptr;
        }
        listAdd(sizeClass, *slab);
    }
    bool const reused = !slab->hasFresh();
    std::byte* block = slab->at(slab->fresh);
    if (reused) {
        block = checkedBlockOf(*slab, *slab->free);
        unpoison(slab->free, sizeof(FreeBlock));
        slab->free = slab->free->next;
    } else {
        slab->fresh += slab->blockBytes;
    }
    if (++slab->used == slab->blocks()) {
        listRemove(sizeClass, *slab);
        slab->flags |= Slab::flagFull;
    }
    return checkedMakeLive(*slab, block, size, reused);
}

void checkedFree(Slab& slab, void* object, std::type_info const* type) noexcept {
    std::byte* const block = checkedMakeFree(slab, object, type);
    auto& link = checkedLink(slab, block);
    link.next = nullptr;
    if (slab.free == nullptr) {
        slab.free = &link;
    } else {
        unpoison(slab.lastFree, sizeof(FreeBlock));
        slab.lastFree->next = &link;
        poison(slab.lastFree, sizeof(FreeBlock));
    }
    slab.lastFree = &link;
    poison(block, slab.blockBytes);
    --slab.used;
    slowFree(slab);
}

[[gnu::noinline]] void* otherAlloc(unsigned size, unsigned pattern) noexcept {
    decideChecks();
    Heap& heap = state.heaps[pattern];
    void* memory = nullptr;
    if (checksOn() && size <= maxBlockBytes - checkedExtraBytes) {
        memory = checkedAlloc(heap, size);
    } else if (!checksOn() && size <= maxBlockBytes) {
        memory = slowAlloc(heap.classes[classIndex(size)]);
    }
    return memory != nullptr ? memory : largeAlloc(size);
}

[[gnu::noinline]] void* lockedAlloc(unsigned size, unsigned pattern) noexcept {
    std::lock_guard const lock{mutex()};
    return otherAlloc(size, pattern);
}

inline void* allocate(unsigned size, SlabAllocationPattern pattern) noexcept {
    auto const index = static_cast<unsigned>(pattern);
    if (Ombra::ThreadControl::tsp_) [[unlikely]] {
        return lockedAlloc(size, index);
    }
    if (size <= maxBlockBytes) [[likely]] {
        Slab& slab = *state.heaps[index].classes[classIndex(size)].current;
        if (FreeBlock* const block = slab.free; block != nullptr) [[likely]] {
            slab.free = block->next;
            __builtin_prefetch(slab.free, 1); // the next one's: where the one behind it is told
            ++slab.used;
            return block;
        }
    }
    return otherAlloc(size, index);
}

inline void freeUnlocked(void* memory, std::type_info const* type) noexcept {
    if (!state.region.contains(memory)) [[unlikely]] {
        if (memory != nullptr) {
            largeFree(memory, type);
        }
        return;
    }
    Slab& slab = Slab::of(memory);
    if ((slab.flags & Slab::flagChecked) != 0) [[unlikely]] {
        checkedFree(slab, memory, type);
        return;
    }
    auto* const block = static_cast<FreeBlock*>(memory);
    block->next = slab.free;
    slab.free = block;
    if (--slab.used == 0 || slab.flags != 0) [[unlikely]] {
        slowFree(slab);
    }
}

[[gnu::noinline]] void lockedFree(void* memory, std::type_info const* type) noexcept {
    std::lock_guard const lock{mutex()};
    freeUnlocked(memory, type);
}

inline void release(void* memory, std::type_info const* type) noexcept {
    if (Ombra::ThreadControl::tsp_) [[unlikely]] {
        lockedFree(memory, type);
    } else {
        freeUnlocked(memory, type);
    }
}

} // namespace

void* slabAlloc(unsigned size) {
    return slabAlloc(size, SlabAllocationPattern::longLived);
}

void* slabAlloc(unsigned size, SlabAllocationPattern pattern) {
    void* const memory = allocate(size, pattern);
    if (memory == nullptr) [[unlikely]] {
        throw std::bad_alloc{};
    }
    return memory;
}

void* slabAllocOrStdMalloc(unsigned size, SlabAllocationPattern pattern) noexcept {
    return allocate(size, pattern);
}

void slabFree(void* memory, std::type_info const& type) noexcept {
    release(memory, &type);
}

void slabFreeOrStdFree(void* memory) noexcept {
    release(memory, nullptr);
}

void slabFreeOrStdFree(void* memory, std::type_info const& type) noexcept {
    release(memory, &type);
}

void debugChecksIs(bool on) noexcept {
    std::lock_guard const lock{mutex()};
    state.checksDecided = true;
    state.heaps = on ? state.checked : state.plain;
}

SlabStats slabStats() {
    std::lock_guard const lock{mutex()};
    SlabStats result{{}, state.region.freeSlabs(), state.largeLive, state.largeBytes};
    state.region.forEachSlab([&](Slab const& slab) {
        auto const& home = *slab.sizeClass;
        bool const perOperation = (slab.flags & Slab::flagChecked) != 0
                                      ? &home >= state.checked[1].classes
                                      : &home >= state.plain[1].classes;
        auto const pattern = static_cast<SlabAllocationPattern>(perOperation);
        auto found = std::ranges::find_if(result.classes, [&](auto const& each) {
            return each.blockBytes == slab.blockBytes && each.pattern == pattern;
        });
        if (found == result.classes.end()) {
            found = result.classes.insert(found, {slab.blockBytes, pattern, 0, 0, 0});
        }
        ++found->slabs;
        found->liveBlocks += slab.used - (home.current == &slab ? 1 : 0);
        found->blocks += slab.blocks();
    });
    std::ranges::sort(result.classes, {}, [](auto const& each) {
        return std::pair{each.pattern, each.blockBytes};
    });
    return result;
}

} // namespace Pallet
