#pragma once

#include <fmt/format.h>

#include <compare>
#include <cstdint>

// What every table's key is: four opaque bytes with alignment 2, made from and read as one 32-bit
// number. `Self` is the table's own key class, so that the key of one table can't be given to
// another even though all are equally wide.
//
// Keys are compared, ordered and hashed by value. The order is that of the number; it means nothing
// beyond being total.
namespace LoamSystemAcl {

template <typename Self>
class EntryKeyBase {
  public:
    constexpr EntryKeyBase() noexcept = default;
    constexpr explicit EntryKeyBase(std::uint32_t number) noexcept
        : high_{static_cast<std::uint16_t>(number >> 16)}, low_{static_cast<std::uint16_t>(
                                                               number)} {}

    constexpr std::uint32_t number() const noexcept {
        return std::uint32_t{high_} << 16 | std::uint32_t{low_};
    }
    constexpr explicit operator std::uint32_t() const noexcept { return number(); }

    static bool isEq(void const* left, void const* right) noexcept {
        return static_cast<Self const*>(left)->number() ==
               static_cast<Self const*>(right)->number();
    }

    // A bijection of the number for each seed, whose every output bit depends on every bit of the
    // number (the finaliser of MurmurHash3, which is in the public domain).
    constexpr std::uint32_t hash(std::uint32_t seed) const noexcept {
        std::uint32_t mixed = number() ^ seed;
        mixed = (mixed ^ mixed >> 16) * 0x85ebca6bU;
        mixed = (mixed ^ mixed >> 13) * 0xc2b2ae35U;
        return mixed ^ mixed >> 16;
    }

    friend constexpr bool operator==(Self const& left, Self const& right) noexcept {
        return left.number() == right.number();
    }
    friend constexpr std::strong_ordering operator<=>(Self const& left,
                                                      Self const& right) noexcept {
        return left.number() <=> right.number();
    }

  private:
    std::uint16_t high_ = 0;
    std::uint16_t low_ = 0;
};

// How a key is shown: as a 32-bit hexadecimal number.
template <typename Key>
struct EntryKeyFormatter {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Key const& key, Context& context) const {
        return fmt::format_to(context.out(), "{:#010x}", key.number());
    }
};

} // namespace LoamSystemAcl
