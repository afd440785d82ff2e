#pragma once

#include <compare>
#include <cstdint>

// A 64-bit unsigned number with 4-byte alignment: what a 64-bit field of a shared record is, so
// that records are the same bytes in a 32-bit and in a 64-bit process. Reads and writes as the
// number.
namespace Ombra {

class Uint64Align4 {
  public:
    constexpr Uint64Align4() noexcept = default;
    constexpr Uint64Align4(std::uint64_t number) noexcept
        : low_{static_cast<std::uint32_t>(number)}, high_{
                                                        static_cast<std::uint32_t>(number >> 32)} {}

    constexpr operator std::uint64_t() const noexcept { return std::uint64_t{high_} << 32 | low_; }

  private:
    std::uint32_t low_ = 0; // little-endian halves, as every machine this runs on stores them
    std::uint32_t high_ = 0;
};

static_assert(sizeof(Uint64Align4) == 8 && alignof(Uint64Align4) == 4);

} // namespace Ombra
