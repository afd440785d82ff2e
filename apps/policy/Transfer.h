#pragma once

/// Which member of a rule goes with which field of a record.
///
/// Each pairing is written once, for both directions: `io` is a `FieldWriter`, and the rule is
/// const, or it is a `FieldReader`. So what is stored and what is taken back cannot drift apart.
/// Only the packed bytes of an action's head are told twice, side by side.

#include <apps/policy/ActionLayout.h>
#include <apps/policy/EntryLayout.h>
#include <apps/policy/Rule.h>
#include <concepts>

namespace LoamPolicy {

/// `R` itself, const or not.
template <class T, class R>
concept Is = std::same_as<std::remove_const_t<T>, R>;

template <class L, class Io, Is<IpConditions> M>
void transferIp(Io& io, M& ip) {
    io(L::protocol, ip.protocol.value);
    io(L::protocolMask, ip.protocol.mask);
    io(L::icmpType, ip.icmpType.value);
    io(L::icmpTypeMask, ip.icmpType.mask);
    io(L::icmpCode, ip.icmpCode.value);
    io(L::icmpCodeMask, ip.icmpCode.mask);
    io.choice(L::transportDetail, ip.transportDetail, TransportDetail::Fragment);
    io(L::tcpFlags, ip.tcpFlags);
    io(L::dscpSet, ip.dscpSet);
    io(L::length, ip.length.value);
    io(L::lengthMask, ip.length.mask);
    io(L::sourcePortLow, ip.sourcePort.low);
    io(L::sourcePortHigh, ip.sourcePort.high);
    io(L::sourcePortChecked, ip.sourcePort.checked);
    io(L::destinationPortLow, ip.destinationPort.low);
    io(L::destinationPortHigh, ip.destinationPort.high);
    io(L::destinationPortChecked, ip.destinationPort.checked);
    io(L::hopLimitMin, ip.hopLimitMin);
    io(L::hopLimitMax, ip.hopLimitMax);
}

template <class Io, Is<Ipv4Match> M>
void transfer(Io& io, M& match) {
    using L = Ipv4EntryLayout;
    io(L::source, match.source.value);
    io(L::sourceMask, match.source.mask);
    io(L::destination, match.destination.value);
    io(L::destinationMask, match.destination.mask);
    transferIp<L>(io, match.ip);
    io(L::fragmentOffset, match.fragmentOffset.value);
    io(L::fragmentOffsetMask, match.fragmentOffset.mask);
}

template <class Io, Is<Ipv6Match> M>
void transfer(Io& io, M& match) {
    using L = Ipv6EntryLayout;
    io(L::source, match.source.value);
    io(L::sourceMask, match.source.mask);
    io(L::destination, match.destination.value);
    io(L::destinationMask, match.destination.mask);
    transferIp<L>(io, match.ip);
    io(L::sourceFlowLabel, match.sourceFlowLabel.value);
    io(L::sourceFlowLabelMask, match.sourceFlowLabel.mask);
    io(L::destinationFlowLabel, match.destinationFlowLabel.value);
    io(L::destinationFlowLabelMask, match.destinationFlowLabel.mask);
}

template <class Io, Is<MacMatch> M>
void transfer(Io& io, M& match) {
    using L = MacEntryLayout;
    io(L::destination, match.destination.value);
    io(L::destinationMask, match.destination.mask);
    io(L::source, match.source.value);
    io(L::sourceMask, match.source.mask);
    io(L::ethertype, match.ethertype.value);
    io(L::ethertypeMask, match.ethertype.mask);
}

template <class Io, Is<MplsMatch> M>
void transfer(Io& io, M& match) {
    using L = MplsEntryLayout;
    io(L::labelLow, match.label.low);
    io(L::labelHigh, match.label.high);
    io(L::labelChecked, match.label.checked);
    io(L::trafficClass, match.trafficClass.value);
    io(L::trafficClassMask, match.trafficClass.mask);
    io(L::ttl, match.ttl.value);
    io(L::ttlMask, match.ttl.mask);
}

template <class Io, Is<VxlanMatch> M>
void transfer(Io& io, M& match) {
    using L = VxlanEntryLayout;
    io(L::vni, match.vni.value);
    io(L::vniMask, match.vni.mask);
    io(L::vtep, match.vtep.value);
    io(L::vtepMask, match.vtep.mask);
    io(L::udpPort, match.udpPort);
    io(L::vrfId, match.vrfId);
}

template <class Io, Is<TunnelMatch> M>
void transfer(Io& io, M& match) {
    using L = TunnelEntryLayout;
    io(L::source, match.source.value);
    io(L::sourceMask, match.source.mask);
    io(L::destination, match.destination.value);
    io(L::destinationMask, match.destination.mask);
    io(L::ipVersion, match.ipVersion);
    io.choice(L::tunnelType, match.type, TunnelType::L2tpV3);
    io(L::vrfId, match.vrfId);
    io(L::udpPort, match.udpPort);
    io(L::hopLimitMin, match.hopLimitMin);
    io(L::hopLimitMax, match.hopLimitMax);
    io(L::tunnelKey, match.tunnelKey.value);
    io(L::tunnelKeyMask, match.tunnelKey.mask);
}

template <class Io, Is<OlpMatch> M>
void transfer(Io& io, M& match) {
    using L = OlpEntryLayout;
    io(L::egressPort, match.egressPort.value);
    io(L::egressPortMask, match.egressPort.mask);
    io(L::ethertype, match.ethertype.value);
    io(L::ethertypeMask, match.ethertype.mask);
    io(L::vlanId, match.vlanId);
    io(L::trafficClass, match.trafficClass.value);
    io(L::trafficClassMask, match.trafficClass.mask);
    io(L::channel, match.channel.value);
    io(L::channelMask, match.channel.mask);
    io.choice(L::packetType, match.packetType, OlpPacketType::Timestamp);
}

inline void storeActionHead(FieldWriter& writer, Action const& action) {
    using L = ActionHeadLayout;
    unsigned flags = action.log ? ActionFlag::log : 0u;
    flags |= action.count ? ActionFlag::count : 0u;
    flags |= static_cast<unsigned>(action.toCpu) << ActionFlag::toCpuShift;
    flags |= action.policeUnit == PoliceUnit::KilobitsPerSecond ? ActionFlag::kilobits : 0u;
    flags |= action.cpuQueue.given ? ActionFlag::cpuQueue : 0u;
    flags |= action.trafficClass.given ? ActionFlag::trafficClass : 0u;
    writer.choice(L::verdict, action.verdict, Verdict::Reject);
    writer(L::flags, flags);
    writer(L::cpuQueue, action.cpuQueue.value);
    writer(L::classAndMirror, static_cast<unsigned>(action.trafficClass.value & 0xfu) |
                                  static_cast<unsigned>(action.mirrorSession & 0xfu) << 4);
    writer(L::policeRate, action.policeRate);
}

inline void loadActionHead(FieldReader& reader, Action& action) {
    using L = ActionHeadLayout;
    unsigned flags = 0;
    unsigned classAndMirror = 0;
    reader.choice(L::verdict, action.verdict, Verdict::Reject);
    reader(L::flags, flags);
    reader(L::cpuQueue, action.cpuQueue.value);
    reader(L::classAndMirror, classAndMirror);
    reader(L::policeRate, action.policeRate);
    unsigned const toCpu = (flags & ActionFlag::toCpuMask) >> ActionFlag::toCpuShift;
    reader.check(L::flags, flags <= ActionFlag::all && toCpu <= static_cast<unsigned>(ToCpu::Trap));
    action.log = (flags & ActionFlag::log) != 0;
    action.count = (flags & ActionFlag::count) != 0;
    action.toCpu = static_cast<ToCpu>(toCpu);
    action.policeUnit = (flags & ActionFlag::kilobits) != 0 ? PoliceUnit::KilobitsPerSecond
                                                            : PoliceUnit::PacketsPerSecond;
    action.cpuQueue.given = (flags & ActionFlag::cpuQueue) != 0;
    action.trafficClass.given = (flags & ActionFlag::trafficClass) != 0;
    action.trafficClass.value = classAndMirror & 0xfu;
    action.mirrorSession = static_cast<std::uint8_t>(classAndMirror >> 4);
}

/// The members of an action that not every policy's table stores.
template <class L, class Io, Is<Action> A>
void transferActionRest(Io& io, A& action) {
    if constexpr (requires { L::policeBurst; }) {
        io(L::policeBurst, action.policeBurst);
    }
    if constexpr (requires { L::setDscp; }) {
        io(L::setDscp, action.setDscp.value);
        io(L::setDscpGiven, action.setDscp.given);
    }
    if constexpr (requires { L::setVlanId; }) {
        io(L::setVlanId, action.setVlanId);
    }
    if constexpr (requires { L::setMplsTc; }) {
        io(L::setMplsTc, action.setMplsTc.value);
        io(L::setMplsTcGiven, action.setMplsTc.given);
    }
    if constexpr (requires { L::innerVrfId; }) {
        io(L::innerVrfId, action.innerVrfId);
        io(L::maxInnerTtl, action.maxInnerTtl);
    }
}

} // namespace LoamPolicy
