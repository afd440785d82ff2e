#pragma once

#include <cstdint>
#include <filesystem>

// The counters that a store file keeps, as memory-layout.md tells them. Nobody has the file open.
namespace soak {

struct Counters {
    std::uint64_t operations; // 52 bits
    std::uint32_t scratchStores;
    std::uint64_t moves;
};

Counters countersOf(std::filesystem::path const& file);

// Both copies of the scratchpad keep its value.
void countersAre(std::filesystem::path const& file, Counters const& counters);

} // namespace soak
