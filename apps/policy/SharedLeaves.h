#pragma once

/// Leaf types that several containers of the policy file use.

#include <apps/policy/AddressText.h>
#include <apps/policy/LeafValue.h>
#include <cstdint>
#include <optional>

namespace LoamPolicy::Leaf {

inline constexpr std::uint64_t maxByte = 255;
inline constexpr std::uint64_t maxDscp = 63;
inline constexpr std::uint64_t maxTrafficClass = 7;
inline constexpr std::uint64_t maxPort = 65535;
inline constexpr std::uint64_t maxVlanId = 4094;

Refusal takePrefix4(LeafValue const& value, std::optional<Ipv4Prefix>& prefix);
Refusal takeEthertype(LeafValue const& value, std::optional<std::uint16_t>& ethertype);

} // namespace LoamPolicy::Leaf
