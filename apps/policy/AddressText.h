#pragma once

/// Addresses, prefixes and port ranges as text, exactly as the YANG types admit them.
///
/// Each parser accepts what the pattern of the type accepts and nothing else: no leading zeros in
/// IPv4, no dotted quad inside IPv6, no zone. Bits behind the prefix length are admitted by the
/// types and are masked away where a prefix becomes a match. Formatting gives the usual short
/// form (RFC 5952 for IPv6). No allocation in the parsers; thread-safe.

#include <apps/policy/Rule.h>
#include <optional>
#include <string>
#include <string_view>

namespace LoamPolicy {

struct Ipv4Prefix {
    Ipv4Bytes address;
    unsigned length;
};

struct Ipv6Prefix {
    Ipv6Bytes address;
    unsigned length;
};

std::optional<Ipv4Prefix> parseIpv4Prefix(std::string_view text);
std::optional<Ipv6Prefix> parseIpv6Prefix(std::string_view text);
std::optional<MacBytes> parseMac(std::string_view text);

/// "<lower>..<upper>"; whether it runs backwards is for the caller to see.
std::optional<Range<std::uint16_t>> parsePortRange(std::string_view text);

/// The value with the bits behind the prefix length cleared, and its mask.
template <std::size_t N>
Masked<std::array<std::uint8_t, N>> maskedPrefix(std::array<std::uint8_t, N> const& address,
                                                 unsigned length) {
    Masked<std::array<std::uint8_t, N>> result;
    for (std::size_t i = 0; i < N; ++i) {
        unsigned const bits = length > 8 * i ? length - static_cast<unsigned>(8 * i) : 0;
        result.mask[i] = static_cast<std::uint8_t>(bits >= 8 ? 0xffu : 0xff00u >> bits);
        result.value[i] = address[i] & result.mask[i];
    }
    return result;
}

std::string formatIpv4(Ipv4Bytes const& address);
std::string formatIpv6(Ipv6Bytes const& address);
std::string formatMac(MacBytes const& address);

/// "192.0.2.0/24", "any" for an empty mask, "192.0.2.1 mask 255.0.255.0" for one with holes.
std::string formatMasked(Masked<Ipv4Bytes> const& address);
std::string formatMasked(Masked<Ipv6Bytes> const& address);

/// "01:80:c2:00:00:00", "any", or address and mask.
std::string formatMasked(Masked<MacBytes> const& address);

} // namespace LoamPolicy
