#pragma once

/// What the file says about one acl-set and its entries, leaf by leaf, before it makes sense.
///
/// JSON members come in any order: the type of a set may stand behind its entries, a mask before
/// its value. So the reader only collects, each leaf checked by itself, and what must hold between
/// leaves is checked when the set is complete (Assemble.h). A draft of a set holds at most as many
/// entries as a table.

#include <apps/policy/AddressText.h>
#include <apps/policy/PolicyKind.h>
#include <apps/policy/Rule.h>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace LoamPolicy {

/// Match containers of an acl-entry, as bits of `EntryDraft::containers`.
namespace MatchContainer {
inline constexpr unsigned l2 = 1u << 0;
inline constexpr unsigned ipv4 = 1u << 1;
inline constexpr unsigned ipv6 = 1u << 2;
inline constexpr unsigned mpls = 1u << 3;
inline constexpr unsigned transport = 1u << 4;
inline constexpr unsigned vxlanAnycast = 1u << 5;
inline constexpr unsigned tunnel = 1u << 6;
inline constexpr unsigned egressOlp = 1u << 7;
} // namespace MatchContainer

enum class DetailMode : std::uint8_t { Explicit, Builtin };

struct IcmpCodeDraft {
    std::uint8_t type;
    std::int16_t code; ///< or `anyCode`
};

using IpPrefix = std::variant<Ipv4Prefix, Ipv6Prefix>;

struct L2Draft {
    std::optional<MacBytes> source, sourceMask, destination, destinationMask;
    std::optional<std::uint16_t> ethertype;
};

/// The fields of `ipv4`, or those of `ipv6`: a set has entries of one kind.
struct IpDraft {
    std::optional<Ipv4Prefix> source4, destination4;
    std::optional<Ipv6Prefix> source6, destination6;
    std::optional<std::uint32_t> sourceFlowLabel, destinationFlowLabel;
    std::optional<std::uint8_t> dscp, protocol, hopLimit, icmpType;
    std::optional<std::uint16_t> length, fragmentOffset;
    std::optional<IcmpCodeDraft> icmpCode;
    std::uint64_t dscpSet{};
    bool anyFragmentOffset{};
};

struct TransportDraft {
    Range<std::uint16_t> sourcePort, destinationPort;
    std::optional<DetailMode> mode;
    std::optional<TransportDetail> explicitMode, builtin;
    std::uint8_t tcpFlags{};
};

struct MplsDraft {
    std::optional<std::uint32_t> startLabel, endLabel;
    std::optional<std::uint8_t> trafficClass, ttl;
};

struct VxlanDraft {
    std::optional<std::uint32_t> vni, vniMask;
    std::optional<Ipv4Prefix> vtep;
    std::uint16_t udpPort{}, vrfId{};
};

struct TunnelDraft {
    TunnelType type{};
    std::optional<IpPrefix> source, destination;
    std::uint16_t udpPort{}, vrfId{};
    std::optional<std::uint32_t> tunnelKey;
    std::optional<std::uint8_t> hopLimit;
};

struct OlpDraft {
    std::optional<std::uint16_t> egressPort, egressPortMask, ethertype;
    std::uint16_t vlanId{};
    std::optional<std::uint8_t> trafficClass, channel;
    OlpPacketType packetType{};
};

struct ActionDraft {
    std::optional<Verdict> verdict;
    std::optional<std::uint8_t> cpuQueue, trafficClass, mirrorSession, setDscp, setMplsTc,
        maxInnerTtl;
    std::optional<std::uint32_t> policeRate, policeBurst;
    std::optional<PoliceUnit> policeUnit;
    std::optional<std::uint16_t> setVlanId, innerVrfId;
    ToCpu toCpu{};
    bool log{}, count{};
};

struct EntryDraft {
    std::optional<std::uint32_t> keySequence, sequence;
    std::string description;
    unsigned containers{};
    L2Draft l2;
    IpDraft ip;
    TransportDraft transport;
    MplsDraft mpls;
    VxlanDraft vxlan;
    TunnelDraft tunnel;
    OlpDraft olp;
    ActionDraft action;
};

struct SetDraft {
    std::optional<std::string> keyName, name;
    std::optional<PolicyKind> keyType, type;
    std::optional<std::uint16_t> setId;
    std::vector<EntryDraft> entries;
};

/// Where the leaves go: the set that is being read, and the entry.
struct Draft {
    SetDraft set;
    EntryDraft entry;
};

} // namespace LoamPolicy
