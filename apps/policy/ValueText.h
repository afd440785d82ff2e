#pragma once

/// Single values of a rule as text, for both forms of description.

#include <fmt/format.h>

#include <apps/policy/LeafValue.h>
#include <apps/policy/Rule.h>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace LoamPolicy {

/// "7", or "4/0x0c" when not all bits of the field are compared.
template <class T>
std::string maskedText(Masked<T> const& field, T fullMask) {
    return field.mask == fullMask ? fmt::format("{}", field.value)
                                  : fmt::format("{}/0x{:x}", field.value, field.mask);
}

/// "179", "1024..65535".
template <class T>
std::string rangeText(T low, T high) {
    return low == high ? fmt::format("{}", low) : fmt::format("{}..{}", low, high);
}

/// The name of a number, in lower case with hyphens; the number itself when it has none; nothing
/// for 0.
std::string lowerName(std::span<NamedNumber const> names, std::uint32_t number);

/// "tcp", "icmp6", "89"; "ip" when it is not compared.
std::string protocolText(Masked<std::uint8_t> const& protocol);

/// "ethertype 0x88cc"; nothing when it is not compared.
std::string ethertypeText(Masked<std::uint16_t> const& ethertype);

/// "syn,ack".
std::string tcpFlagsText(std::uint8_t flags);

/// The DSCPs of a set, ascending.
std::vector<unsigned> dscpsOf(std::uint64_t set);

/// A tunnel's outer prefix.
std::string outerText(Masked<Ipv6Bytes> const& prefix, std::uint8_t ipVersion);

} // namespace LoamPolicy
