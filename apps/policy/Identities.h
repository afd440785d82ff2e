#pragma once

/// Names that a policy file uses for numbers, with the numbers. Names are the identities and
/// enumerations of the YANG modules; each table says where its numbers come from.

#include <apps/policy/LeafValue.h>
#include <apps/policy/Rule.h>
#include <array>

namespace LoamPolicy {

namespace Module {
inline constexpr std::string_view acl = "openconfig-acl";
inline constexpr std::string_view ext = "loam-acl-ext";
inline constexpr std::string_view matchTypes = "openconfig-packet-match-types";
inline constexpr std::string_view icmp4Types = "openconfig-icmpv4-types";
inline constexpr std::string_view icmp6Types = "openconfig-icmpv6-types";
} // namespace Module

/// IANA "Assigned Internet Protocol Numbers": those that rules depend on.
namespace IpProtocol {
inline constexpr std::uint8_t icmp = 1;
inline constexpr std::uint8_t ipInIp = 4;
inline constexpr std::uint8_t tcp = 6;
inline constexpr std::uint8_t udp = 17;
inline constexpr std::uint8_t dccp = 33;
inline constexpr std::uint8_t icmp6 = 58;
inline constexpr std::uint8_t sctp = 132;
inline constexpr std::uint8_t udpLite = 136;
} // namespace IpProtocol

/// IANA "Assigned Internet Protocol Numbers".
inline constexpr std::array<NamedNumber, 10> protocolNames{{
    {"IP_ICMP", IpProtocol::icmp},
    {"IP_IGMP", 2},
    {"IP_IN_IP", IpProtocol::ipInIp},
    {"IP_TCP", IpProtocol::tcp},
    {"IP_UDP", IpProtocol::udp},
    {"IP_RSVP", 46},
    {"IP_GRE", 47},
    {"IP_AUTH", 51},
    {"IP_PIM", 103},
    {"IP_L2TP", 115},
}};

/// IEEE EtherType registry.
inline constexpr std::array<NamedNumber, 7> ethertypeNames{{
    {"ETHERTYPE_IPV4", 0x0800},
    {"ETHERTYPE_ARP", 0x0806},
    {"ETHERTYPE_VLAN", 0x8100},
    {"ETHERTYPE_IPV6", 0x86DD},
    {"ETHERTYPE_MPLS", 0x8847},
    {"ETHERTYPE_LLDP", 0x88CC},
    {"ETHERTYPE_ROCE", 0x8915},
}};

/// Bits of the TCP header, RFC 9293 section 3.1.
inline constexpr std::array<NamedNumber, 8> tcpFlagNames{{
    {"TCP_FIN", 0x01},
    {"TCP_SYN", 0x02},
    {"TCP_RST", 0x04},
    {"TCP_PSH", 0x08},
    {"TCP_ACK", 0x10},
    {"TCP_URG", 0x20},
    {"TCP_ECE", 0x40},
    {"TCP_CWR", 0x80},
}};

/// Reserved labels, RFC 3032 section 2.1 and RFC 6790. NO_LABEL is not among them: a table of
/// labels never sees a packet without one.
inline constexpr std::array<NamedNumber, 5> labelNames{{
    {"IPV4_EXPLICIT_NULL", 0},
    {"ROUTER_ALERT", 1},
    {"IPV6_EXPLICIT_NULL", 2},
    {"IMPLICIT_NULL", 3},
    {"ENTROPY_LABEL_INDICATOR", 7},
}};

inline constexpr std::array<NamedNumber, 11> tunnelTypeNames{{
    {"VXLAN", static_cast<std::uint32_t>(TunnelType::Vxlan)},
    {"VXLAN_GPE", static_cast<std::uint32_t>(TunnelType::VxlanGpe)},
    {"GENEVE", static_cast<std::uint32_t>(TunnelType::Geneve)},
    {"GRE", static_cast<std::uint32_t>(TunnelType::Gre)},
    {"NVGRE", static_cast<std::uint32_t>(TunnelType::Nvgre)},
    {"IP_IN_IP", static_cast<std::uint32_t>(TunnelType::IpInIp)},
    {"IPV6_IN_IP", static_cast<std::uint32_t>(TunnelType::Ipv6InIp)},
    {"MPLS_OVER_GRE", static_cast<std::uint32_t>(TunnelType::MplsOverGre)},
    {"MPLS_OVER_UDP", static_cast<std::uint32_t>(TunnelType::MplsOverUdp)},
    {"GUE", static_cast<std::uint32_t>(TunnelType::Gue)},
    {"L2TPV3", static_cast<std::uint32_t>(TunnelType::L2tpV3)},
}};

inline constexpr std::array<NamedNumber, 6> olpPacketTypeNames{{
    {"OAM", static_cast<std::uint32_t>(OlpPacketType::Oam)},
    {"BFD", static_cast<std::uint32_t>(OlpPacketType::Bfd)},
    {"LEARNING", static_cast<std::uint32_t>(OlpPacketType::Learning)},
    {"SAMPLE", static_cast<std::uint32_t>(OlpPacketType::Sample)},
    {"TELEMETRY", static_cast<std::uint32_t>(OlpPacketType::Telemetry)},
    {"TIMESTAMP", static_cast<std::uint32_t>(OlpPacketType::Timestamp)},
}};

/// Types of acl-set: the module that defines each, and the policy that it becomes.
struct SetTypeName {
    std::string_view module;
    std::string_view name;
    PolicyKind kind;
};
inline constexpr std::array<SetTypeName, kindCount> setTypeNames{{
    {Module::ext, "ACL_EGRESS_OLP", PolicyKind::EgressOlp},
    {Module::acl, "ACL_IPV4", PolicyKind::Ipv4System},
    {Module::acl, "ACL_IPV6", PolicyKind::Ipv6System},
    {Module::acl, "ACL_L2", PolicyKind::MacSystem},
    {Module::acl, "ACL_MPLS", PolicyKind::MplsSystem},
    {Module::ext, "ACL_TUNNEL_TERMINATION", PolicyKind::TunnelTermination},
    {Module::ext, "ACL_VXLAN_ANYCAST", PolicyKind::VxlanAnycast},
}};

/// The name of a kind's set type.
constexpr std::string_view setTypeName(PolicyKind kind) {
    return setTypeNames[static_cast<std::size_t>(kind)].name;
}

} // namespace LoamPolicy
