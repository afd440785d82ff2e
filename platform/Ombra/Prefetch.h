#pragma once

#include <cstddef>

// Hints to the processor that memory is used soon.
namespace Ombra {

inline void prefetch(void const* address) noexcept {
    __builtin_prefetch(address);
    // To the compiler a function that does nothing else has no effect, and it leaves out its calls.
    asm volatile("");
}

inline void prefetch(void const* address, std::size_t bytes) noexcept {
    constexpr std::size_t cacheLine = 64;
    for (std::size_t at = 0; at < bytes; at += cacheLine) {
        prefetch(static_cast<std::byte const*>(address) + at);
    }
}

} // namespace Ombra
