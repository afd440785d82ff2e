// Leaves of the match containers that openconfig-packet-match defines.

#include <algorithm>
#include <apps/policy/IcmpNames.h>
#include <apps/policy/Identities.h>
#include <apps/policy/SchemaLeaves.h>
#include <apps/policy/SharedLeaves.h>
#include <limits>

namespace LoamPolicy::Leaf {

namespace {

constexpr std::uint64_t maxFragmentOffset = 8191;
constexpr std::uint64_t maxFlowLabel = 1048575;
constexpr std::uint64_t maxLabel = 1048575;
constexpr std::uint64_t firstPlainLabel = 16;

Refusal takeMac(LeafValue const& value, std::optional<MacBytes>& mac) {
    if (value.kind == LeafValue::Kind::Text) {
        mac = parseMac(value.text);
    }
    return mac ? std::nullopt : refuse("a MAC address such as \"01:80:c2:00:00:0e\"", value);
}

Refusal takePrefix6(LeafValue const& value, std::optional<Ipv6Prefix>& prefix) {
    if (value.kind == LeafValue::Kind::Text) {
        prefix = parseIpv6Prefix(value.text);
    }
    return prefix ? std::nullopt : refuse("an IPv6 prefix such as \"2001:db8::/32\"", value);
}

Refusal takeIcmpType(IpVersion version, std::string_view module, Draft& draft,
                     LeafValue const& value) {
    auto const name = identityOf(value, module, false);
    auto const names = icmpTypeNames(version);
    auto const found = std::ranges::find(names, name, &IcmpTypeName::name);
    if (name.empty() || found == names.end()) {
        return refuse(fmt::format("an identity of {} derived from TYPE", module), value);
    }
    draft.entry.ip.icmpType = found->number;
    return std::nullopt;
}

Refusal takeIcmpCode(IpVersion version, std::string_view module, Draft& draft,
                     LeafValue const& value) {
    auto const name = identityOf(value, module, false);
    auto const names = icmpCodeNames(version);
    auto const found = std::ranges::find(names, name, &IcmpCodeName::name);
    if (name.empty() || found == names.end()) {
        return refuse(fmt::format("an identity of {} derived from CODE", module), value);
    }
    draft.entry.ip.icmpCode = IcmpCodeDraft{found->type, found->number};
    return std::nullopt;
}

Refusal takePort(LeafValue const& value, Range<std::uint16_t>& range) {
    if (auto const port = numberIn(value, 0, maxPort)) {
        auto const number = static_cast<std::uint16_t>(*port);
        range = {number, number, true};
        return std::nullopt;
    }
    if (value.kind == LeafValue::Kind::Text) {
        if (value.text == "ANY") {
            range = {};
            return std::nullopt;
        }
        if (auto const parsed = parsePortRange(value.text)) {
            if (parsed->low > parsed->high) {
                return "port range " + inQuotes(value.text) + " runs backwards";
            }
            range = *parsed;
            return std::nullopt;
        }
    }
    return refuse(R"(a port from 0 to 65535, a range such as "1024..65535" or "ANY")", value);
}

Refusal takeLabel(LeafValue const& value, std::optional<std::uint32_t>& label) {
    if (auto const number = numberIn(value, firstPlainLabel, maxLabel)) {
        label = static_cast<std::uint32_t>(*number);
    } else if (auto const named = enumeration(value, labelNames)) {
        label = *named;
    } else if (value.kind == LeafValue::Kind::Text && value.text == "NO_LABEL") {
        return "NO_LABEL is impossible: a packet without label never reaches an MPLS set";
    } else {
        return refuse("a label from 16 to 1048575 or one of " + listNames(labelNames), value);
    }
    return std::nullopt;
}

} // namespace

Refusal sourceMac(Draft& draft, LeafValue const& value) {
    return takeMac(value, draft.entry.l2.source);
}

Refusal sourceMacMask(Draft& draft, LeafValue const& value) {
    return takeMac(value, draft.entry.l2.sourceMask);
}

Refusal destinationMac(Draft& draft, LeafValue const& value) {
    return takeMac(value, draft.entry.l2.destination);
}

Refusal destinationMacMask(Draft& draft, LeafValue const& value) {
    return takeMac(value, draft.entry.l2.destinationMask);
}

Refusal ethertype(Draft& draft, LeafValue const& value) {
    return takeEthertype(value, draft.entry.l2.ethertype);
}

Refusal source4(Draft& draft, LeafValue const& value) {
    return takePrefix4(value, draft.entry.ip.source4);
}

Refusal destination4(Draft& draft, LeafValue const& value) {
    return takePrefix4(value, draft.entry.ip.destination4);
}

Refusal source6(Draft& draft, LeafValue const& value) {
    return takePrefix6(value, draft.entry.ip.source6);
}

Refusal destination6(Draft& draft, LeafValue const& value) {
    return takePrefix6(value, draft.entry.ip.destination6);
}

Refusal sourceFlowLabel(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxFlowLabel, draft.entry.ip.sourceFlowLabel);
}

Refusal destinationFlowLabel(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxFlowLabel, draft.entry.ip.destinationFlowLabel);
}

Refusal fragmentOffset(Draft& draft, LeafValue const& value) {
    IpDraft& ip = draft.entry.ip;
    if (value.kind == LeafValue::Kind::Text && value.text == "ANY" && !ip.anyFragmentOffset) {
        ip.anyFragmentOffset = true;
        return std::nullopt;
    }
    if (ip.fragmentOffset) {
        return "a TCAM entry compares one fragment offset: write one entry per value";
    }
    auto refusal = takeNumber(value, 0, maxFragmentOffset, ip.fragmentOffset);
    return refusal ? refuse(R"(a fragment offset from 0 to 8191 or "ANY")", value) : std::nullopt;
}

Refusal dscp(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxDscp, draft.entry.ip.dscp);
}

Refusal dscpSet(Draft& draft, LeafValue const& value) {
    std::uint8_t number = 0;
    if (auto refusal = takeNumber(value, 0, maxDscp, number)) {
        return refusal;
    }
    std::uint64_t const bit = std::uint64_t{1} << number;
    if ((draft.entry.ip.dscpSet & bit) != 0) {
        return fmt::format("DSCP {} is given twice", number);
    }
    draft.entry.ip.dscpSet |= bit;
    return std::nullopt;
}

Refusal length(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, std::numeric_limits<std::uint16_t>::max(), draft.entry.ip.length);
}

Refusal protocol(Draft& draft, LeafValue const& value) {
    constexpr std::uint64_t maxProtocol = 254;
    auto& protocol = draft.entry.ip.protocol;
    if (auto const number = numberIn(value, 0, maxProtocol)) {
        protocol = static_cast<std::uint8_t>(*number);
        return std::nullopt;
    }
    LeafValue named = value;
    named.text = identityOf(value, Module::matchTypes, false);
    if (auto const number = enumeration(named, protocolNames)) {
        protocol = static_cast<std::uint8_t>(*number);
        return std::nullopt;
    }
    return refuse(fmt::format("a protocol number from 0 to 254 or, with the prefix \"{}:\", one "
                              "of {}",
                              Module::matchTypes, listNames(protocolNames)),
                  value);
}

Refusal hopLimit(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxByte, draft.entry.ip.hopLimit);
}

Refusal icmp4Type(Draft& draft, LeafValue const& value) {
    return takeIcmpType(IpVersion::V4, Module::icmp4Types, draft, value);
}

Refusal icmp4Code(Draft& draft, LeafValue const& value) {
    return takeIcmpCode(IpVersion::V4, Module::icmp4Types, draft, value);
}

Refusal icmp6Type(Draft& draft, LeafValue const& value) {
    return takeIcmpType(IpVersion::V6, Module::icmp6Types, draft, value);
}

Refusal icmp6Code(Draft& draft, LeafValue const& value) {
    return takeIcmpCode(IpVersion::V6, Module::icmp6Types, draft, value);
}

Refusal sourcePort(Draft& draft, LeafValue const& value) {
    return takePort(value, draft.entry.transport.sourcePort);
}

Refusal destinationPort(Draft& draft, LeafValue const& value) {
    return takePort(value, draft.entry.transport.destinationPort);
}

Refusal detailMode(Draft& draft, LeafValue const& value) {
    static constexpr std::array<NamedNumber, 2> names{{
        {"EXPLICIT", static_cast<std::uint32_t>(DetailMode::Explicit)},
        {"BUILTIN", static_cast<std::uint32_t>(DetailMode::Builtin)},
    }};
    return takeEnumeration<DetailMode>(value, names, draft.entry.transport.mode);
}

Refusal explicitMode(Draft& draft, LeafValue const& value) {
    static constexpr std::array<NamedNumber, 2> names{{
        {"ANY", static_cast<std::uint32_t>(TransportDetail::AnyFlag)},
        {"ALL", static_cast<std::uint32_t>(TransportDetail::AllFlags)},
    }};
    return takeEnumeration<TransportDetail>(value, names, draft.entry.transport.explicitMode);
}

Refusal tcpFlag(Draft& draft, LeafValue const& value) {
    LeafValue named = value;
    named.text = identityOf(value, Module::matchTypes, false);
    auto const flag = enumeration(named, tcpFlagNames);
    if (!flag) {
        return refuse(fmt::format("with the prefix \"{}:\", one of {}", Module::matchTypes,
                                  listNames(tcpFlagNames)),
                      value);
    }
    auto& flags = draft.entry.transport.tcpFlags;
    if ((flags & *flag) != 0) {
        return inQuotes(value.text) + " is given twice";
    }
    flags = static_cast<std::uint8_t>(flags | *flag);
    return std::nullopt;
}

Refusal builtinDetail(Draft& draft, LeafValue const& value) {
    static constexpr std::array<NamedNumber, 3> names{{
        {"TCP_INITIAL", static_cast<std::uint32_t>(TransportDetail::TcpInitial)},
        {"TCP_ESTABLISHED", static_cast<std::uint32_t>(TransportDetail::TcpEstablished)},
        {"FRAGMENT", static_cast<std::uint32_t>(TransportDetail::Fragment)},
    }};
    return takeEnumeration<TransportDetail>(value, names, draft.entry.transport.builtin);
}

Refusal mplsTrafficClass(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxTrafficClass, draft.entry.mpls.trafficClass);
}

Refusal startLabel(Draft& draft, LeafValue const& value) {
    return takeLabel(value, draft.entry.mpls.startLabel);
}

Refusal endLabel(Draft& draft, LeafValue const& value) {
    return takeLabel(value, draft.entry.mpls.endLabel);
}

Refusal mplsTtl(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxByte, draft.entry.mpls.ttl);
}

} // namespace LoamPolicy::Leaf
