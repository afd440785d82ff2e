#pragma once

#include <Pallet/SlabLayout.h>

#include <cstddef>
#include <typeinfo>

// What a block looks like while debug checks are on, and the checks themselves.
//
//     OFFSET                SIZE     MEANING
//     0                     4        state, mixed with the address: live or free
//     4                     4        size that was asked for
//     8                     8        free: the type that it was freed as, if that was told
//     16                    size     the object; poison while the block is free
//     16 + size             8 or     red zone
//                           more
//     block size - 8        8        free: the next free block
//
// Freed blocks are used again in the order in which they were freed.
namespace Pallet::Impl {

#if defined(__SANITIZE_ADDRESS__)
#define PALLET_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PALLET_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef PALLET_ADDRESS_SANITIZER
#define PALLET_ADDRESS_SANITIZER 0
#endif

inline constexpr bool addressSanitizer = PALLET_ADDRESS_SANITIZER;

// For the address sanitizer; nothing in other builds.
void poison(void const* memory, std::size_t bytes) noexcept;
void unpoison(void const* memory, std::size_t bytes) noexcept;
void leakCheckerSees(void const* slab) noexcept;

inline constexpr unsigned checkedFrontBytes = 16;
inline constexpr unsigned checkedExtraBytes = checkedFrontBytes + 8 + 8;

// Block size of the class that serves `size` with checks: a multiple of 16, so that objects keep
// their alignment.
constexpr unsigned checkedBlockBytes(unsigned size) noexcept {
    return (size + checkedExtraBytes + 15) & ~15U;
}

// Makes a block of a checked slab live. `reused` when it was free before: then its poison is
// verified. Gives the object's address.
void* checkedMakeLive(Slab& slab, std::byte* block, unsigned size, bool reused) noexcept;

// Verifies that `object` is live and unharmed, poisons it, and gives its block. `type` may be null.
std::byte* checkedMakeFree(Slab& slab, void* object, std::type_info const* type) noexcept;

FreeBlock& checkedLink(Slab& slab, std::byte* block) noexcept;
std::byte* checkedBlockOf(Slab& slab, FreeBlock& link) noexcept;

// Ends the process: "Pallet: <what> of <type> at <address>".
[[noreturn]] void checkFailed(char const* what, void const* object,
                              std::type_info const* type) noexcept;

} // namespace Pallet::Impl
