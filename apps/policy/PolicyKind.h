#pragma once

/// The seven policies and the numbers of their tables.
///
/// Each policy has two tables: one of actions, one of TCAM entries. A table is known here by its
/// 16-bit number alone; numbers count up by one in the alphabetical order of the policies, the
/// action table of a policy right before its entry table, so that the number and the pair
/// (policy, what the table holds) can be computed from each other.
///
/// `PolicyKind` has the same order, and so have the alternatives of `Match` (Rule.h).

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace LoamPolicy {

enum class PolicyKind : std::uint8_t {
    EgressOlp,
    Ipv4System,
    Ipv6System,
    MacSystem,
    MplsSystem,
    TunnelTermination,
    VxlanAnycast,
};

inline constexpr std::size_t kindCount = 7;

enum class TableHolds : std::uint8_t { Actions, Entries };

/// Entries that one table holds.
inline constexpr std::size_t tableCapacity = 65536;

struct TableNumber {
    PolicyKind kind;
    TableHolds holds;
    bool operator==(TableNumber const&) const = default;
};

inline constexpr std::uint16_t firstTblId = 0x0401;

constexpr std::uint16_t tblIdOf(PolicyKind kind, TableHolds holds) {
    return static_cast<std::uint16_t>(firstTblId + 2 * static_cast<unsigned>(kind) +
                                      static_cast<unsigned>(holds));
}

/// Nothing when `tblId` is none of the fourteen.
constexpr std::optional<TableNumber> tableOf(std::uint16_t tblId) {
    if (tblId < firstTblId || tblId >= firstTblId + 2 * kindCount) {
        return std::nullopt;
    }
    auto const index = static_cast<unsigned>(tblId - firstTblId);
    return TableNumber{static_cast<PolicyKind>(index / 2), static_cast<TableHolds>(index % 2)};
}

/// How people and JSON output name a policy.
constexpr std::string_view kindName(PolicyKind kind) {
    constexpr std::array<std::string_view, kindCount> names{
        "egress-olp",  "ipv4-system",        "ipv6-system",  "mac-system",
        "mpls-system", "tunnel-termination", "vxlan-anycast"};
    return names[static_cast<std::size_t>(kind)];
}

static_assert(tblIdOf(PolicyKind::EgressOlp, TableHolds::Actions) == 0x0401);
static_assert(tblIdOf(PolicyKind::Ipv4System, TableHolds::Entries) == 0x0404);
static_assert(tblIdOf(PolicyKind::VxlanAnycast, TableHolds::Entries) == 0x040E);

} // namespace LoamPolicy
