#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

// The agent of the soak: it changes its tables as fast as it can, in every way that there is, and
// notes how it fares. What it has in common with the test lies in memory that both have mapped.
namespace soak {

inline constexpr std::uint64_t firstVersion = (std::uint64_t{1} << 32) - 1500;
inline constexpr char const* managerName = "LoamSystemAcl"; // as the programs' manager

// How it fared in one interval; the amounts at its end, when everything was applied.
struct Interval {
    std::uint64_t cycles;
    std::uint64_t medianNs;    // of a write or remove, with its commit
    std::uint64_t percent99Ns; // the same
    std::uint64_t objects;     // that the library counts
    std::uint64_t heapBytes;   // in use
};

struct Soak {
    static constexpr std::size_t mostIntervals = 64;

    std::atomic<std::uint32_t> interval; // the test moves it on,
    std::atomic<std::uint32_t> noted;    // and the agent follows
    std::atomic<bool> last;              // the agent ends behind the next one
    std::array<Interval, mostIntervals> intervals;
    std::atomic<std::uint64_t> version; // of the table that changes most
    std::atomic<std::uint64_t> restarts;
    std::atomic<std::uint64_t> unitRestarts;
    std::atomic<std::uint64_t> sweeps;
    std::atomic<std::uint64_t> removeAlls;
};

// Makes all files, with both tables' logs at `firstVersion` and applied up to there.
void makeFiles();

// Until the last interval; then everything is applied.
void churn(Soak& soak);

} // namespace soak
