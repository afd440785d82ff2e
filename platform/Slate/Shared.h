#pragma once

#include <atomic>
#include <cstdint>

// Access to words that another process may be writing or reading at the same time.
//
// Every access to mapped memory that is not known to be at rest goes through these: each is one
// whole, aligned 8-byte access (on a 32-bit x86 this needs SSE2), so no reader ever sees half of a
// word.
namespace Slate {

inline std::uint64_t loadAcquire(std::uint64_t const* word) {
    return __atomic_load_n(word, __ATOMIC_ACQUIRE);
}
inline std::uint64_t loadRelaxed(std::uint64_t const* word) {
    return __atomic_load_n(word, __ATOMIC_RELAXED);
}
inline void storeRelease(std::uint64_t* word, std::uint64_t value) {
    __atomic_store_n(word, value, __ATOMIC_RELEASE);
}
inline void storeRelaxed(std::uint64_t* word, std::uint64_t value) {
    __atomic_store_n(word, value, __ATOMIC_RELAXED);
}

} // namespace Slate
