#pragma once

#include <RingScribe/Layout.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

// The two checks of a ring file.
//
// `crc32c` (Castagnoli, as in RFC 3720 appendix B.4) is for what is written once. `Check` is for
// what is written all the time: a sum of 64-bit words, each times an odd constant of its own, whose
// multiplications don't wait for each other. A single flipped bit always changes it.
namespace RingScribe {

namespace Impl {

inline constexpr auto crc32cTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1) ^ ((value & 1) != 0 ? 0x82f63b78U : 0U);
        }
        table[byte] = value;
    }
    return table;
}();

} // namespace Impl

inline std::uint32_t crc32c(std::span<std::byte const> bytes) noexcept {
    std::uint32_t crc = ~0U;
    for (std::byte const byte : bytes) {
        auto const index = (crc ^ static_cast<std::uint32_t>(byte)) & 0xff;
        crc = (crc >> 8) ^ Impl::crc32cTable[index];
    }
    return ~crc;
}

class Check {
  public:
    void add(std::uint64_t word) noexcept {
        sum_ += word * factor_;
        factor_ += step;
    }

    // Never 0.
    std::uint32_t value() const noexcept {
        auto const folded = static_cast<std::uint32_t>(sum_ >> 32);
        return folded == 0 ? 1 : folded;
    }

  private:
    // Odd, with bits spread over both halves; an even step keeps every factor odd.
    static constexpr std::uint64_t step = 0x6a09e667f3bcc908;
    std::uint64_t factor_ = 0x9e3779b97f4a7c15;
    std::uint64_t sum_ = 0x243f6a8885a308d3;
};

inline std::uint32_t blockCheck(Layout::BlockHeader const& header) noexcept {
    Check check;
    check.add(header.place);
    check.add(header.number);
    check.add(header.firstSequence);
    check.add(static_cast<std::uint64_t>(header.wallOffsetNs));
    return check.value();
}

// The header's check word is left out. `arguments` are `header.argBytes` bytes and what follows
// them up to a multiple of 8, which is checked with them.
inline std::uint32_t msgCheck(Layout::MsgHeader const& header,
                              std::byte const* arguments) noexcept {
    Check check;
    check.add(std::uint64_t{header.msgId} << 32 | header.argBytes);
    check.add(header.sequence);
    check.add(static_cast<std::uint64_t>(header.monotonicNs));
    for (std::size_t at = 0; at < header.argBytes; at += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, arguments + at, sizeof word);
        check.add(word);
    }
    return check.value();
}

} // namespace RingScribe
