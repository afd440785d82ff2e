#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The layout of a slab: a header of one cache line, then blocks of one size class.
namespace Pallet::Impl {

inline constexpr std::uintptr_t slabBytes = 64 * 1024;
inline constexpr unsigned maxBlockBytes = 4096;
inline constexpr unsigned granularity = 8;

// In the first word of a block that is free.
struct FreeBlock {
    FreeBlock* next;
};

struct SizeClass;

struct alignas(64) Slab {
    static constexpr std::uint32_t magicOfSlab = 0x51ab51ab; // anything else is no slab in use
    static constexpr std::uint16_t flagFull = 1;             // every block is live; in no list
    static constexpr std::uint16_t flagChecked = 2; // blocks carry what the debug checks need

    FreeBlock* free = nullptr; // null when what is left, if anything, was never used yet
    std::uint32_t used = 0;    // live blocks, and one more while it is the current slab
    std::uint16_t flags = 0;
    std::uint16_t blockBytes = 0;
    std::uint32_t fresh = 0; // offset of the first block that was never used
    std::uint32_t magic = 0;
    SizeClass* sizeClass = nullptr;
    Slab* next = nullptr; // in the class's list of slabs with room
    Slab* previous = nullptr;
    FreeBlock* lastFree = nullptr; // of a checked slab: blocks are used again as late as possible

    static Slab& of(void const* block) noexcept {
        return *reinterpret_cast<Slab*>(reinterpret_cast<std::uintptr_t>(block) & ~(slabBytes - 1));
    }
    std::byte* at(std::uint32_t offset) noexcept {
        return reinterpret_cast<std::byte*>(this) + offset;
    }
    std::uint32_t offsetOf(void const* block) const noexcept {
        return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(block) -
                                          reinterpret_cast<std::uintptr_t>(this));
    }
    bool hasFresh() const noexcept { return fresh + blockBytes <= slabBytes; }
    std::uint32_t blocks() const noexcept;
};
static_assert(sizeof(Slab) == 64);

inline std::uint32_t Slab::blocks() const noexcept {
    return static_cast<std::uint32_t>((slabBytes - sizeof(Slab)) / blockBytes);
}

// The slabs of one size: one that serves now, and the others that have room.
struct SizeClass {
    Slab* current;
    Slab* withRoom = nullptr;
    std::uint16_t blockBytes = 0;
};

// Sizes go in steps of 8 bytes up to 256, where most objects are, of 64 up to 1024, and of 256
// beyond.
struct ClassTable {
    static constexpr unsigned entries = maxBlockBytes / granularity + 1;
    static constexpr unsigned classes = 32 + 12 + 12;

    std::array<std::uint8_t, entries> classOf{}; // by size in granules, rounded up
    std::array<std::uint16_t, classes> bytesOf{};

    constexpr ClassTable() {
        unsigned next = 0;
        unsigned granules = 0;
        for (unsigned bytes = granularity; bytes <= maxBlockBytes; bytes += bytes < 256    ? 8
                                                                            : bytes < 1024 ? 64
                                                                                           : 256) {
            bytesOf[next] = static_cast<std::uint16_t>(bytes);
            for (; granules <= bytes / granularity; ++granules) {
                classOf[granules] = static_cast<std::uint8_t>(next);
            }
            ++next;
        }
    }
};
inline constexpr ClassTable classTable{};

constexpr unsigned classIndex(unsigned size) noexcept {
    return classTable.classOf[(size + granularity - 1) / granularity];
}

} // namespace Pallet::Impl
