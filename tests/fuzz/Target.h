#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// What a fuzzer and the replay of its corpus call, one per program. Whatever the bytes are, a
// target returns; what must never be ends the process.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace fuzz {

inline void require(bool holds, char const* what) {
    if (!holds) {
        std::fprintf(stderr, "must hold, and doesn't: %s\n", what);
        std::abort();
    }
}

} // namespace fuzz
