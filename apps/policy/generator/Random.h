#pragma once

/// A small generator of numbers whose sequence is the same everywhere: SplitMix64 (Steele, Lea,
/// Flood: Fast splittable pseudorandom number generators, OOPSLA 2014).

#include <array>
#include <cstddef>
#include <cstdint>

namespace LoamPolicy {

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9e3779b97f4a7c15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
        return z ^ (z >> 31);
    }

    /// 0 to `count` - 1; the bias of the remainder does not matter here.
    std::uint32_t below(std::uint32_t count) { return static_cast<std::uint32_t>(next() % count); }

    std::uint32_t between(std::uint32_t low, std::uint32_t high) {
        return low + below(high - low + 1);
    }

    bool oneIn(std::uint32_t count) { return below(count) == 0; }

    template <class T, std::size_t N>
    T const& pick(std::array<T, N> const& choices) {
        return choices[below(N)];
    }

  private:
    std::uint64_t state_;
};

} // namespace LoamPolicy
