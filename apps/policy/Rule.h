#pragma once

/// What one line of a policy says: which packets it matches and what becomes of them.
///
/// These are plain values, made by the parser from an acl-entry, stored into records by the codec
/// (Codec.h) and taken back from records by it. A field that the policy leaves out is a wildcard:
/// a mask of zero, a range that is not checked, an empty set, or the value named `Any`.
///
/// Addresses are in network order, byte by byte as on the wire. Numbers are in host order.

#include <array>
#include <cstdint>
#include <variant>

namespace LoamPolicy {

using Ipv4Bytes = std::array<std::uint8_t, 4>;
using Ipv6Bytes = std::array<std::uint8_t, 16>;
using MacBytes = std::array<std::uint8_t, 6>;

/// A packet's field matches if it equals `value` in the bits of `mask`.
template <class T>
struct Masked {
    T value{};
    T mask{};
    bool operator==(Masked const&) const = default;
};

/// Inclusive range; matches everything unless `checked`.
template <class T>
struct Range {
    T low{};
    T high{};
    bool checked{};
    bool operator==(Range const&) const = default;
};

/// The transport condition that goes beyond ports. Values are stored in records.
enum class TransportDetail : std::uint8_t {
    Any = 0,
    AnyFlag = 1,        ///< at least one of `tcpFlags` is set
    AllFlags = 2,       ///< all of `tcpFlags` are set
    TcpInitial = 3,     ///< SYN without ACK
    TcpEstablished = 4, ///< ACK or RST
    Fragment = 5,       ///< fragment offset is not zero
};

/// Conditions that IPv4 and IPv6 share.
struct IpConditions {
    Masked<std::uint8_t> protocol;
    Masked<std::uint8_t> icmpType;
    Masked<std::uint8_t> icmpCode;
    TransportDetail transportDetail{};
    std::uint8_t tcpFlags{}; ///< bits as in the TCP header: FIN 1, SYN 2, RST 4, ... CWR 128
    std::uint64_t dscpSet{}; ///< bit n: DSCP n matches; 0: every DSCP matches
    Masked<std::uint16_t> length;
    Range<std::uint16_t> sourcePort;
    Range<std::uint16_t> destinationPort;
    std::uint8_t hopLimitMin{};
    std::uint8_t hopLimitMax{255};
    bool operator==(IpConditions const&) const = default;
};

struct Ipv4Match {
    Masked<Ipv4Bytes> source;
    Masked<Ipv4Bytes> destination;
    IpConditions ip;
    Masked<std::uint16_t> fragmentOffset; ///< in units of 8 bytes
    bool operator==(Ipv4Match const&) const = default;
};

struct Ipv6Match {
    Masked<Ipv6Bytes> source;
    Masked<Ipv6Bytes> destination;
    IpConditions ip;
    Masked<std::uint32_t> sourceFlowLabel;
    Masked<std::uint32_t> destinationFlowLabel;
    bool operator==(Ipv6Match const&) const = default;
};

struct MacMatch {
    Masked<MacBytes> source;
    Masked<MacBytes> destination;
    Masked<std::uint16_t> ethertype;
    bool operator==(MacMatch const&) const = default;
};

struct MplsMatch {
    Range<std::uint32_t> label;
    Masked<std::uint8_t> trafficClass;
    Masked<std::uint8_t> ttl;
    bool operator==(MplsMatch const&) const = default;
};

struct VxlanMatch {
    Masked<std::uint32_t> vni;
    Masked<Ipv4Bytes> vtep;
    std::uint16_t udpPort{}; ///< 0: any
    std::uint16_t vrfId{};   ///< 0: any
    bool operator==(VxlanMatch const&) const = default;
};

/// Values are stored in records and are those of the YANG enumeration.
enum class TunnelType : std::uint8_t {
    Any = 0,
    Vxlan = 1,
    VxlanGpe = 2,
    Geneve = 3,
    Gre = 4,
    Nvgre = 5,
    IpInIp = 6,
    Ipv6InIp = 7,
    MplsOverGre = 8,
    MplsOverUdp = 9,
    Gue = 10,
    L2tpV3 = 11,
};

struct TunnelMatch {
    TunnelType type{};
    std::uint8_t ipVersion{}; ///< of both prefixes: 4, 6, or 0 when there are none
    Masked<Ipv6Bytes> source; ///< an IPv4 address stands in the first four bytes
    Masked<Ipv6Bytes> destination;
    std::uint16_t vrfId{};   ///< 0: any
    std::uint16_t udpPort{}; ///< 0: any
    Masked<std::uint32_t> tunnelKey;
    std::uint8_t hopLimitMin{};
    std::uint8_t hopLimitMax{255};
    bool operator==(TunnelMatch const&) const = default;
};

/// Values are stored in records and are those of the YANG enumeration.
enum class OlpPacketType : std::uint8_t {
    Any = 0,
    Oam = 1,
    Bfd = 2,
    Learning = 3,
    Sample = 4,
    Telemetry = 5,
    Timestamp = 6,
};

struct OlpMatch {
    Masked<std::uint16_t> egressPort;
    Masked<std::uint16_t> ethertype;
    std::uint16_t vlanId{}; ///< 0: any
    Masked<std::uint8_t> trafficClass;
    Masked<std::uint8_t> channel;
    OlpPacketType packetType{};
    bool operator==(OlpMatch const&) const = default;
};

/// The alternatives stand in the order of `PolicyKind`.
using Match =
    std::variant<OlpMatch, Ipv4Match, Ipv6Match, MacMatch, MplsMatch, TunnelMatch, VxlanMatch>;

/// Values are stored in records.
enum class Verdict : std::uint8_t { None = 0, Accept = 1, Drop = 2, Reject = 3 };
enum class ToCpu : std::uint8_t { No = 0, Copy = 1, Trap = 2 };
enum class PoliceUnit : std::uint8_t { PacketsPerSecond = 0, KilobitsPerSecond = 1 };

/// A number that may be left out.
template <class T>
struct Given {
    T value{};
    bool given{};
    bool operator==(Given const&) const = default;
};

/// One action. The members behind `policeBurst` are stored by the tables of their policy alone;
/// the policers of VXLAN anycast have no burst.
struct Action {
    Verdict verdict{};
    bool log{};
    bool count{};
    ToCpu toCpu{};
    Given<std::uint8_t> cpuQueue;
    Given<std::uint8_t> trafficClass;
    std::uint8_t mirrorSession{}; ///< 0: none
    std::uint32_t policeRate{};   ///< in `policeUnit`; 0: not policed
    PoliceUnit policeUnit{};
    std::uint32_t policeBurst{};   ///< in packets or 1000 bits; 0: the chip's choice
    Given<std::uint8_t> setDscp;   ///< IPv4, IPv6
    std::uint16_t setVlanId{};     ///< MAC; 0: unchanged
    Given<std::uint8_t> setMplsTc; ///< MPLS
    std::uint16_t innerVrfId{};    ///< tunnel termination; 0: VRF of the outer packet
    std::uint8_t maxInnerTtl{255}; ///< tunnel termination; 255: every TTL stays
    bool operator==(Action const&) const = default;
};

/// One TCAM entry: where it stands among the others, what it does, what it matches.
struct Entry {
    std::uint32_t priority{};  ///< the lowest number that matches decides
    std::uint32_t actionKey{}; ///< key of the record in the action table
    Match match;
    bool operator==(Entry const&) const = default;
};

} // namespace LoamPolicy
