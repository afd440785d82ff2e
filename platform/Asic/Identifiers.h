#pragma once

#include <Ombra/Uint64Align4.h>
#include <Zet/HashHelper.h>

#include <fmt/format.h>

#include <compare>
#include <cstdint>

// The identifiers and versions that every part of the system shares. Plain values.
namespace Asic {

// Number of a chip unit.
using UnitId = std::uint16_t;

// Place in a table's change log. 0 is no place: what an operation that wrote nothing gives.
using LogVersion = std::uint64_t;

// Identity of a table: 8 bits of agent, 8 bits of group, 16 bits of table.
class SwTableId {
  public:
    constexpr SwTableId() noexcept = default;
    constexpr explicit SwTableId(std::uint32_t number) noexcept : number_{number} {}

    constexpr std::uint8_t agentId() const noexcept {
        return static_cast<std::uint8_t>(number_ >> 24);
    }
    constexpr std::uint8_t groupId() const noexcept {
        return static_cast<std::uint8_t>(number_ >> 16);
    }
    constexpr std::uint16_t tblId() const noexcept { return static_cast<std::uint16_t>(number_); }
    constexpr std::uint16_t agentAndGroupId() const noexcept {
        return static_cast<std::uint16_t>(number_ >> 16);
    }

    constexpr std::uint32_t number() const noexcept { return number_; }
    constexpr explicit operator std::uint32_t() const noexcept { return number_; }
    constexpr std::uint32_t hash(std::uint32_t seed) const noexcept {
        return Zet::hashSingleAttr(seed, number_);
    }

    friend constexpr auto operator<=>(SwTableId const&, SwTableId const&) = default;

  private:
    std::uint32_t number_ = 0;
};

// A 64-bit version of which all ones is invalid.
class MajorVersion {
  public:
    constexpr MajorVersion() noexcept = default; // invalid
    constexpr explicit MajorVersion(std::uint64_t number) noexcept : number_{number} {}

    constexpr bool valid() const noexcept { return number_ != invalid; }
    constexpr std::uint64_t number() const noexcept { return number_; }

    friend constexpr bool operator==(MajorVersion const&, MajorVersion const&) = default;

  private:
    static constexpr std::uint64_t invalid = ~std::uint64_t{0};
    std::uint64_t number_ = invalid;
};

// Which of the overlapping operations of a key one is. Only equality is ever asked, never order.
class EntryVersion {
  public:
    constexpr EntryVersion() noexcept = default; // invalid: all ones in both fields
    constexpr EntryVersion(std::uint64_t major, std::uint16_t minor) noexcept
        : major_{major}, minor_{minor} {}

    // What a key's first operation gets.
    static constexpr EntryVersion first() noexcept { return EntryVersion{0, 0}; }

    constexpr bool valid() const noexcept {
        return !(std::uint64_t{major_} == ~std::uint64_t{0} && minor_ == 0xffff);
    }
    constexpr std::uint64_t major() const noexcept { return major_; }
    constexpr std::uint16_t minor() const noexcept { return minor_; }

    constexpr EntryVersion next() const noexcept { return EntryVersion{major_ + 1, minor_}; }

    static constexpr bool isEq(EntryVersion const& left, EntryVersion const& right) noexcept {
        return left.major() == right.major() && left.minor_ == right.minor_;
    }
    friend constexpr bool operator==(EntryVersion const& left, EntryVersion const& right) noexcept {
        return isEq(left, right);
    }

  private:
    Ombra::Uint64Align4 major_{~std::uint64_t{0}};
    std::uint16_t minor_ = 0xffff;
};

// One entry's place in one table's log.
struct TableVersion {
    SwTableId tableId;
    Ombra::Uint64Align4 version;

    friend constexpr bool operator==(TableVersion const& left, TableVersion const& right) noexcept {
        return left.tableId == right.tableId &&
               std::uint64_t{left.version} == std::uint64_t{right.version};
    }
};

// What an operation is and how it is committed. Bits.
enum class EntryFlags : std::uint8_t {
    none = 0,
    flagEntryDeleted = 1,
    flagTableDeleted = 2,
    flagSuppressIdenticalWrites = 4,
};

constexpr bool flagHas(EntryFlags flags, EntryFlags one) noexcept {
    return (static_cast<unsigned>(flags) & static_cast<unsigned>(one)) != 0;
}

// Place of an entry in the hardware, as a dependent field would name it.
using Index = std::uint32_t;

} // namespace Asic

template <>
struct fmt::formatter<Asic::SwTableId> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Asic::SwTableId const& id, Context& context) const {
        return fmt::format_to(context.out(), "{:02x}:{:02x}:{:04x}", id.agentId(), id.groupId(),
                              id.tblId());
    }
};

template <>
struct fmt::formatter<Asic::TableVersion> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Asic::TableVersion const& place, Context& context) const {
        return fmt::format_to(context.out(), "{}@{}", place.tableId, std::uint64_t{place.version});
    }
};

template <>
struct fmt::formatter<Asic::MajorVersion> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Asic::MajorVersion const& version, Context& context) const {
        return version.valid() ? fmt::format_to(context.out(), "{}", version.number())
                               : fmt::format_to(context.out(), "invalid");
    }
};
