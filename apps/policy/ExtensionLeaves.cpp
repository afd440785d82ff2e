// Leaves of the actions and of the containers that loam-acl-ext adds.

#include <apps/policy/Identities.h>
#include <apps/policy/SchemaLeaves.h>
#include <apps/policy/SharedLeaves.h>
#include <limits>

namespace LoamPolicy::Leaf {

namespace {

constexpr std::uint64_t maxWord = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t maxShort = std::numeric_limits<std::uint16_t>::max();
constexpr std::uint64_t maxVni = 16777215;
constexpr std::uint64_t maxCpuQueue = 63;
constexpr std::uint64_t maxMirrorSession = 15;

Refusal takeIpPrefix(LeafValue const& value, std::optional<IpPrefix>& prefix) {
    if (value.kind == LeafValue::Kind::Text) {
        if (auto const v4 = parseIpv4Prefix(value.text)) {
            prefix = *v4;
            return std::nullopt;
        }
        if (auto const v6 = parseIpv6Prefix(value.text)) {
            prefix = *v6;
            return std::nullopt;
        }
    }
    return refuse("an IPv4 or IPv6 prefix", value);
}

/// An identity of openconfig-acl in a leaf of the same module.
LeafValue aclIdentity(LeafValue const& value) {
    LeafValue named = value;
    named.text = identityOf(value, Module::acl, true);
    return named;
}

} // namespace

Refusal vni(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxVni, draft.entry.vxlan.vni);
}

Refusal vniMask(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxVni, draft.entry.vxlan.vniMask);
}

Refusal vtep(Draft& draft, LeafValue const& value) {
    return takePrefix4(value, draft.entry.vxlan.vtep);
}

Refusal vxlanUdpPort(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxPort, draft.entry.vxlan.udpPort);
}

Refusal vxlanVrfId(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxShort, draft.entry.vxlan.vrfId);
}

Refusal tunnelType(Draft& draft, LeafValue const& value) {
    return takeEnumeration<TunnelType>(value, tunnelTypeNames, draft.entry.tunnel.type);
}

Refusal tunnelSource(Draft& draft, LeafValue const& value) {
    return takeIpPrefix(value, draft.entry.tunnel.source);
}

Refusal tunnelDestination(Draft& draft, LeafValue const& value) {
    return takeIpPrefix(value, draft.entry.tunnel.destination);
}

Refusal tunnelVrfId(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxShort, draft.entry.tunnel.vrfId);
}

Refusal tunnelUdpPort(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxPort, draft.entry.tunnel.udpPort);
}

Refusal tunnelKey(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxWord, draft.entry.tunnel.tunnelKey);
}

Refusal tunnelHopLimit(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxByte, draft.entry.tunnel.hopLimit);
}

Refusal egressPort(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxShort, draft.entry.olp.egressPort);
}

Refusal egressPortMask(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxShort, draft.entry.olp.egressPortMask);
}

Refusal olpEthertype(Draft& draft, LeafValue const& value) {
    return takeEthertype(value, draft.entry.olp.ethertype);
}

Refusal olpVlanId(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxVlanId, draft.entry.olp.vlanId);
}

Refusal olpTrafficClass(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxTrafficClass, draft.entry.olp.trafficClass);
}

Refusal olpChannel(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxByte, draft.entry.olp.channel);
}

Refusal olpPacketType(Draft& draft, LeafValue const& value) {
    return takeEnumeration<OlpPacketType>(value, olpPacketTypeNames, draft.entry.olp.packetType);
}

Refusal forwardingAction(Draft& draft, LeafValue const& value) {
    static constexpr std::array<NamedNumber, 3> names{{
        {"ACCEPT", static_cast<std::uint32_t>(Verdict::Accept)},
        {"DROP", static_cast<std::uint32_t>(Verdict::Drop)},
        {"REJECT", static_cast<std::uint32_t>(Verdict::Reject)},
    }};
    auto const named = aclIdentity(value);
    auto refusal = takeEnumeration<Verdict>(named, names, draft.entry.action.verdict);
    return refusal ? refuse("one of " + listNames(names), value) : std::nullopt;
}

Refusal logAction(Draft& draft, LeafValue const& value) {
    static constexpr std::array<NamedNumber, 2> names{{{"LOG_NONE", 0}, {"LOG_SYSLOG", 1}}};
    auto const number = enumeration(aclIdentity(value), names);
    if (!number) {
        return refuse("one of " + listNames(names), value);
    }
    draft.entry.action.log = *number != 0;
    return std::nullopt;
}

Refusal toCpu(Draft& draft, LeafValue const& value) {
    static constexpr std::array<NamedNumber, 2> names{{
        {"COPY", static_cast<std::uint32_t>(ToCpu::Copy)},
        {"TRAP", static_cast<std::uint32_t>(ToCpu::Trap)},
    }};
    return takeEnumeration<ToCpu>(value, names, draft.entry.action.toCpu);
}

Refusal cpuQueue(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxCpuQueue, draft.entry.action.cpuQueue);
}

Refusal trafficClass(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxTrafficClass, draft.entry.action.trafficClass);
}

Refusal count(Draft& draft, LeafValue const& value) {
    if (value.kind != LeafValue::Kind::Boolean) {
        return refuse("true or false", value);
    }
    draft.entry.action.count = value.boolean;
    return std::nullopt;
}

Refusal mirrorSession(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxMirrorSession, draft.entry.action.mirrorSession);
}

Refusal policeRate(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxWord, draft.entry.action.policeRate);
}

Refusal policeUnit(Draft& draft, LeafValue const& value) {
    static constexpr std::array<NamedNumber, 2> names{{
        {"PACKETS_PER_SECOND", static_cast<std::uint32_t>(PoliceUnit::PacketsPerSecond)},
        {"KILOBITS_PER_SECOND", static_cast<std::uint32_t>(PoliceUnit::KilobitsPerSecond)},
    }};
    return takeEnumeration<PoliceUnit>(value, names, draft.entry.action.policeUnit);
}

Refusal policeBurst(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxWord, draft.entry.action.policeBurst);
}

Refusal setDscp(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxDscp, draft.entry.action.setDscp);
}

Refusal setVlanId(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxVlanId, draft.entry.action.setVlanId);
}

Refusal setMplsTc(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxTrafficClass, draft.entry.action.setMplsTc);
}

Refusal innerVrfId(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 1, maxShort, draft.entry.action.innerVrfId);
}

Refusal maxInnerTtl(Draft& draft, LeafValue const& value) {
    return takeNumber(value, 0, maxByte, draft.entry.action.maxInnerTtl);
}

} // namespace LoamPolicy::Leaf
