#pragma once

#include <cstdint>

namespace Slate {

// A bijection of 32-bit numbers that spreads neighbouring keys evenly: two rounds of multiply and
// shift, with constants found by search (https://github.com/skeeto/hash-prospector, "lowbias32").
// Fixed for good: it decides where the keys of existing files are.
constexpr std::uint32_t keyMix(std::uint32_t key) {
    key ^= key >> 16;
    key *= 0x7feb352dU;
    key ^= key >> 15;
    key *= 0x846ca68bU;
    key ^= key >> 16;
    return key;
}

} // namespace Slate
