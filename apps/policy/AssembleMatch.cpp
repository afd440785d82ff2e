#include <fmt/format.h>

#include <algorithm>
#include <apps/policy/Assemble.h>
#include <apps/policy/IcmpNames.h>
#include <apps/policy/Identities.h>
#include <limits>

namespace LoamPolicy {

namespace {

using MaybeProblem = std::optional<Problem>;

template <class T>
Masked<T> exactly(T value) {
    return {value, std::numeric_limits<T>::max()};
}

template <class T>
Masked<T> exactlyIfGiven(std::optional<T> const& value, T mask = std::numeric_limits<T>::max()) {
    return value ? Masked<T>{*value, mask} : Masked<T>{};
}

template <class Prefix>
auto prefixMatch(std::optional<Prefix> const& prefix) {
    return prefix ? maskedPrefix(prefix->address, prefix->length)
                  : Masked<decltype(prefix->address)>{};
}

bool carriesPorts(std::uint8_t protocol) {
    return protocol == IpProtocol::tcp || protocol == IpProtocol::udp ||
           protocol == IpProtocol::sctp || protocol == IpProtocol::dccp ||
           protocol == IpProtocol::udpLite;
}

/// A match of `needed` implies its protocol; any other protocol makes it impossible.
MaybeProblem implyProtocol(IpConditions& ip, std::uint8_t needed, std::string_view where,
                           std::string_view what) {
    if (ip.protocol.mask == 0) {
        ip.protocol = exactly(needed);
    }
    if (ip.protocol.value != needed) {
        return Problem{std::string(where), fmt::format("{} needs protocol {}, not {}", what, needed,
                                                       ip.protocol.value)};
    }
    return std::nullopt;
}

MaybeProblem assembleTransport(TransportDraft const& draft, IpConditions& ip) {
    std::string const config = "/transport/config";
    ip.sourcePort = draft.sourcePort;
    ip.destinationPort = draft.destinationPort;
    if ((ip.sourcePort.checked || ip.destinationPort.checked) && ip.protocol.mask != 0 &&
        !carriesPorts(ip.protocol.value)) {
        return Problem{config + (ip.sourcePort.checked ? "/source-port" : "/destination-port"),
                       fmt::format("protocol {} has no ports", ip.protocol.value)};
    }
    if (draft.tcpFlags != 0 && draft.mode != DetailMode::Explicit) {
        return Problem{config + "/explicit-tcp-flags", "is valid with detail-mode EXPLICIT alone"};
    }
    if (draft.explicitMode && draft.mode != DetailMode::Explicit) {
        return Problem{config + "/explicit-detail-match-mode",
                       "is valid with detail-mode EXPLICIT alone"};
    }
    if (draft.builtin && draft.mode != DetailMode::Builtin) {
        return Problem{config + "/builtin-detail", "is valid with detail-mode BUILTIN alone"};
    }
    if (draft.tcpFlags != 0) {
        ip.tcpFlags = draft.tcpFlags;
        ip.transportDetail = draft.explicitMode.value_or(TransportDetail::AllFlags);
        return implyProtocol(ip, IpProtocol::tcp, config + "/explicit-tcp-flags", "a TCP flag");
    }
    if (draft.builtin) {
        ip.transportDetail = *draft.builtin;
        if (*draft.builtin != TransportDetail::Fragment) {
            return implyProtocol(ip, IpProtocol::tcp, config + "/builtin-detail", "a TCP state");
        }
    }
    return std::nullopt;
}

MaybeProblem assembleIcmp(IpDraft const& draft, IpVersion version, IpConditions& ip) {
    if (!draft.icmpType && !draft.icmpCode) {
        return std::nullopt;
    }
    bool const v4 = version == IpVersion::V4;
    std::string const config = v4 ? "/ipv4/icmpv4/config" : "/ipv6/icmpv6/config";
    if (draft.icmpType && draft.icmpCode && draft.icmpCode->type != *draft.icmpType) {
        return Problem{config + "/code", fmt::format("a code of ICMP type {}, but the type is {}",
                                                     draft.icmpCode->type, *draft.icmpType)};
    }
    ip.icmpType = exactly(draft.icmpType ? *draft.icmpType : draft.icmpCode->type);
    if (draft.icmpCode && draft.icmpCode->code != anyCode) {
        ip.icmpCode = exactly(static_cast<std::uint8_t>(draft.icmpCode->code));
    }
    return implyProtocol(ip, v4 ? IpProtocol::icmp : IpProtocol::icmp6,
                         config + (draft.icmpType ? "/type" : "/code"), "an ICMP match");
}

MaybeProblem assembleIp(EntryDraft const& draft, IpVersion version, IpConditions& ip) {
    IpDraft const& source = draft.ip;
    std::string const config = version == IpVersion::V4 ? "/ipv4/config" : "/ipv6/config";
    if (source.dscp && source.dscpSet != 0) {
        return Problem{config + "/dscp-set", "is not valid together with dscp"};
    }
    ip.dscpSet = source.dscp ? std::uint64_t{1} << *source.dscp : source.dscpSet;
    ip.protocol = exactlyIfGiven(source.protocol);
    ip.length = exactlyIfGiven(source.length);
    ip.hopLimitMin = source.hopLimit.value_or(0);
    ip.hopLimitMax = source.hopLimit.value_or(255);
    if (auto problem = assembleIcmp(source, version, ip)) {
        return problem;
    }
    return assembleTransport(draft.transport, ip);
}

MaybeProblem assemble(EntryDraft const& draft, Ipv4Match& match) {
    constexpr std::uint16_t fragmentOffsetBits = 0x1fff;
    match.source = prefixMatch(draft.ip.source4);
    match.destination = prefixMatch(draft.ip.destination4);
    if (!draft.ip.anyFragmentOffset) {
        match.fragmentOffset = exactlyIfGiven(draft.ip.fragmentOffset, fragmentOffsetBits);
    }
    return assembleIp(draft, IpVersion::V4, match.ip);
}

MaybeProblem assemble(EntryDraft const& draft, Ipv6Match& match) {
    constexpr std::uint32_t flowLabelBits = 0xfffff;
    match.source = prefixMatch(draft.ip.source6);
    match.destination = prefixMatch(draft.ip.destination6);
    match.sourceFlowLabel = exactlyIfGiven(draft.ip.sourceFlowLabel, flowLabelBits);
    match.destinationFlowLabel = exactlyIfGiven(draft.ip.destinationFlowLabel, flowLabelBits);
    return assembleIp(draft, IpVersion::V6, match.ip);
}

MaybeProblem maskMac(std::optional<MacBytes> const& value, std::optional<MacBytes> const& mask,
                     std::string_view name, Masked<MacBytes>& match) {
    if (!value) {
        return mask ? MaybeProblem(Problem{fmt::format("/l2/config/{}-mask", name),
                                           fmt::format("is of no use without {}", name)})
                    : std::nullopt;
    }
    match.mask.fill(0xff);
    match.mask = mask.value_or(match.mask);
    for (std::size_t i = 0; i < match.mask.size(); ++i) {
        match.value[i] = (*value)[i] & match.mask[i];
    }
    return std::nullopt;
}

MaybeProblem assemble(EntryDraft const& draft, MacMatch& match) {
    L2Draft const& l2 = draft.l2;
    match.ethertype = exactlyIfGiven(l2.ethertype);
    if (auto problem = maskMac(l2.source, l2.sourceMask, "source-mac", match.source)) {
        return problem;
    }
    return maskMac(l2.destination, l2.destinationMask, "destination-mac", match.destination);
}

MaybeProblem assemble(EntryDraft const& draft, MplsMatch& match) {
    constexpr std::uint32_t maxLabel = 1048575;
    constexpr std::uint8_t trafficClassBits = 7;
    MplsDraft const& mpls = draft.mpls;
    if (mpls.startLabel || mpls.endLabel) {
        match.label = {mpls.startLabel.value_or(0), mpls.endLabel.value_or(maxLabel), true};
    }
    if (match.label.low > match.label.high) {
        return Problem{
            "/mpls/config/end-label-value",
            fmt::format("label range {} to {} runs backwards", match.label.low, match.label.high)};
    }
    match.trafficClass = exactlyIfGiven(mpls.trafficClass, trafficClassBits);
    match.ttl = exactlyIfGiven(mpls.ttl);
    return std::nullopt;
}

MaybeProblem assemble(EntryDraft const& draft, VxlanMatch& match) {
    constexpr std::uint32_t vniBits = 0xffffff;
    VxlanDraft const& vxlan = draft.vxlan;
    if (vxlan.vniMask && !vxlan.vni) {
        return Problem{"/loam-acl-ext:vxlan-anycast/config/vni-mask", "is of no use without vni"};
    }
    if (vxlan.vni) {
        match.vni.mask = vxlan.vniMask.value_or(vniBits);
        match.vni.value = *vxlan.vni & match.vni.mask;
    }
    match.vtep = prefixMatch(vxlan.vtep);
    match.udpPort = vxlan.udpPort;
    match.vrfId = vxlan.vrfId;
    return std::nullopt;
}

bool isCarriedInUdp(TunnelType type) {
    switch (type) {
    case TunnelType::Gre:
    case TunnelType::Nvgre:
    case TunnelType::IpInIp:
    case TunnelType::Ipv6InIp:
    case TunnelType::MplsOverGre:
        return false;
    default:
        return true;
    }
}

/// Takes an outer prefix; an IPv4 address goes into the first four bytes.
void assembleOuter(IpPrefix const& prefix, Masked<Ipv6Bytes>& match, std::uint8_t& version) {
    if (auto const* v4 = std::get_if<Ipv4Prefix>(&prefix)) {
        auto const masked = maskedPrefix(v4->address, v4->length);
        std::ranges::copy(masked.value, match.value.begin());
        std::ranges::copy(masked.mask, match.mask.begin());
        version = 4;
    } else {
        auto const& v6 = std::get<Ipv6Prefix>(prefix);
        match = maskedPrefix(v6.address, v6.length);
        version = 6;
    }
}

MaybeProblem assemble(EntryDraft const& draft, TunnelMatch& match) {
    std::string const config = "/loam-acl-ext:tunnel/config";
    TunnelDraft const& tunnel = draft.tunnel;
    if (tunnel.source && tunnel.destination &&
        tunnel.source->index() != tunnel.destination->index()) {
        return Problem{config + "/destination-prefix",
                       "source-prefix and destination-prefix are of different IP versions"};
    }
    if (tunnel.udpPort != 0 && !isCarriedInUdp(tunnel.type)) {
        return Problem{config + "/udp-port", "the tunnel type is not carried in UDP"};
    }
    if (tunnel.tunnelKey &&
        (tunnel.type == TunnelType::IpInIp || tunnel.type == TunnelType::Ipv6InIp)) {
        return Problem{config + "/tunnel-key", "the tunnel type has no key"};
    }
    match.type = tunnel.type;
    if (tunnel.source) {
        assembleOuter(*tunnel.source, match.source, match.ipVersion);
    }
    if (tunnel.destination) {
        assembleOuter(*tunnel.destination, match.destination, match.ipVersion);
    }
    match.vrfId = tunnel.vrfId;
    match.udpPort = tunnel.udpPort;
    match.tunnelKey = exactlyIfGiven(tunnel.tunnelKey);
    match.hopLimitMin = tunnel.hopLimit.value_or(0);
    match.hopLimitMax = tunnel.hopLimit.value_or(255);
    return std::nullopt;
}

MaybeProblem assemble(EntryDraft const& draft, OlpMatch& match) {
    constexpr std::uint8_t trafficClassBits = 7;
    OlpDraft const& olp = draft.olp;
    if (olp.egressPortMask && !olp.egressPort) {
        return Problem{"/loam-acl-ext:egress-olp/config/egress-port-mask",
                       "is of no use without egress-port"};
    }
    if (olp.egressPort) {
        match.egressPort.mask = olp.egressPortMask.value_or(0xffff);
        match.egressPort.value = *olp.egressPort & match.egressPort.mask;
    }
    match.ethertype = exactlyIfGiven(olp.ethertype);
    match.vlanId = olp.vlanId;
    match.trafficClass = exactlyIfGiven(olp.trafficClass, trafficClassBits);
    match.channel = exactlyIfGiven(olp.channel);
    match.packetType = olp.packetType;
    return std::nullopt;
}

template <class M>
MaybeProblem assembleInto(EntryDraft const& draft, Match& match) {
    return assemble(draft, match.emplace<M>());
}

} // namespace

std::optional<Problem> assembleMatch(EntryDraft const& draft, PolicyKind kind, Match& match) {
    switch (kind) {
    case PolicyKind::EgressOlp:
        return assembleInto<OlpMatch>(draft, match);
    case PolicyKind::Ipv4System:
        return assembleInto<Ipv4Match>(draft, match);
    case PolicyKind::Ipv6System:
        return assembleInto<Ipv6Match>(draft, match);
    case PolicyKind::MacSystem:
        return assembleInto<MacMatch>(draft, match);
    case PolicyKind::MplsSystem:
        return assembleInto<MplsMatch>(draft, match);
    case PolicyKind::TunnelTermination:
        return assembleInto<TunnelMatch>(draft, match);
    case PolicyKind::VxlanAnycast:
        break;
    }
    return assembleInto<VxlanMatch>(draft, match);
}

} // namespace LoamPolicy
