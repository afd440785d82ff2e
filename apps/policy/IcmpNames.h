#pragma once

/// The ICMP types and codes that a policy can name, with their numbers.
///
/// Names are the identities of openconfig-icmpv4-types and openconfig-icmpv6-types, spelling
/// included; numbers are IANA's ("Internet Control Message Protocol (ICMP) Parameters", "Internet
/// Control Message Protocol version 6 (ICMPv6) Parameters"). A code belongs to one type, so naming
/// a code is enough. An identity that stands for all codes of a type has `anyCode`.

#include <cstdint>
#include <span>
#include <string_view>

namespace LoamPolicy {

enum class IpVersion : std::uint8_t { V4 = 4, V6 = 6 };

inline constexpr std::int16_t anyCode = -1;

struct IcmpTypeName {
    std::string_view name;
    std::uint8_t number;
};

struct IcmpCodeName {
    std::string_view name;
    std::uint8_t type;
    std::int16_t number; ///< or `anyCode`
};

std::span<IcmpTypeName const> icmpTypeNames(IpVersion version);
std::span<IcmpCodeName const> icmpCodeNames(IpVersion version);

} // namespace LoamPolicy
