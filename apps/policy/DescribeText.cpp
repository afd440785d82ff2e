#include <fmt/format.h>

#include <apps/policy/AddressText.h>
#include <apps/policy/Codec.h>
#include <apps/policy/Describe.h>
#include <apps/policy/Identities.h>
#include <apps/policy/RuleKey.h>
#include <apps/policy/ValueText.h>

namespace LoamPolicy {

namespace {

/// Words with one blank between them.
class Line {
  public:
    Line& add(std::string_view word) {
        if (!word.empty()) {
            text_ += text_.empty() ? "" : " ";
            text_ += word;
        }
        return *this;
    }

    template <class T>
    Line& addMasked(std::string_view name, Masked<T> const& field, T fullMask) {
        return field.mask == 0 ? *this
                               : add(fmt::format("{} {}", name, maskedText(field, fullMask)));
    }

    template <class T>
    Line& addRange(std::string_view name, Range<T> const& range) {
        return range.checked ? add(fmt::format("{} {}", name, rangeText(range.low, range.high)))
                             : *this;
    }

    /// Left out when zero.
    Line& addNumber(std::string_view name, std::uint32_t number) {
        return number == 0 ? *this : add(fmt::format("{} {}", name, number));
    }

    Line& addHopLimit(std::uint8_t low, std::uint8_t high) {
        return low == 0 && high == 255 ? *this : add("hop-limit " + rangeText(low, high));
    }

    std::string take() { return std::move(text_); }

  private:
    std::string text_;
};

std::string dscpText(std::uint64_t set) {
    std::string list;
    for (unsigned const dscp : dscpsOf(set)) {
        list += list.empty() ? "" : ",";
        list += fmt::format("{}", dscp);
    }
    return list.empty() ? "" : "dscp " + list;
}

std::string detailText(IpConditions const& ip) {
    switch (ip.transportDetail) {
    case TransportDetail::Any:
        return {};
    case TransportDetail::AnyFlag:
        return "tcp-flags any of " + tcpFlagsText(ip.tcpFlags);
    case TransportDetail::AllFlags:
        return "tcp-flags " + tcpFlagsText(ip.tcpFlags);
    case TransportDetail::TcpInitial:
        return "tcp-initial";
    case TransportDetail::TcpEstablished:
        return "tcp-established";
    case TransportDetail::Fragment:
        break;
    }
    return "fragment";
}

template <class Address>
Line ipLine(Address const& source, Address const& destination, IpConditions const& ip) {
    Line line;
    line.add(protocolText(ip.protocol)).add(formatMasked(source));
    line.addRange("sport", ip.sourcePort).add("->").add(formatMasked(destination));
    line.addRange("dport", ip.destinationPort);
    line.addMasked<std::uint8_t>("type", ip.icmpType, 0xff);
    line.addMasked<std::uint8_t>("code", ip.icmpCode, 0xff);
    line.add(detailText(ip)).add(dscpText(ip.dscpSet));
    line.addMasked<std::uint16_t>("length", ip.length, 0xffff);
    line.addHopLimit(ip.hopLimitMin, ip.hopLimitMax);
    return line;
}

std::string textOf(Ipv4Match const& match) {
    return ipLine(match.source, match.destination, match.ip)
        .addMasked<std::uint16_t>("fragment-offset", match.fragmentOffset, 0x1fff)
        .take();
}

std::string textOf(Ipv6Match const& match) {
    return ipLine(match.source, match.destination, match.ip)
        .addMasked<std::uint32_t>("source-flow-label", match.sourceFlowLabel, 0xfffff)
        .addMasked<std::uint32_t>("destination-flow-label", match.destinationFlowLabel, 0xfffff)
        .take();
}

std::string textOf(MacMatch const& match) {
    Line line;
    line.add("mac").add(formatMasked(match.source)).add("->").add(formatMasked(match.destination));
    return line.add(ethertypeText(match.ethertype)).take();
}

std::string textOf(MplsMatch const& match) {
    Line line;
    line.add("mpls").addRange("label", match.label);
    line.addMasked<std::uint8_t>("tc", match.trafficClass, 7);
    return line.addMasked<std::uint8_t>("ttl", match.ttl, 0xff).take();
}

std::string textOf(VxlanMatch const& match) {
    Line line;
    line.add("vxlan").addMasked<std::uint32_t>("vni", match.vni, 0xffffff);
    line.add("vtep").add(formatMasked(match.vtep));
    return line.addNumber("udp-port", match.udpPort).addNumber("vrf", match.vrfId).take();
}

std::string textOf(TunnelMatch const& match) {
    Line line;
    line.add("tunnel").add(lowerName(tunnelTypeNames, static_cast<std::uint32_t>(match.type)));
    line.add(outerText(match.source, match.ipVersion)).add("->");
    line.add(outerText(match.destination, match.ipVersion));
    line.addMasked<std::uint32_t>("key", match.tunnelKey, 0xffffffff);
    line.addNumber("udp-port", match.udpPort).addNumber("vrf", match.vrfId);
    return line.addHopLimit(match.hopLimitMin, match.hopLimitMax).take();
}

std::string textOf(OlpMatch const& match) {
    Line line;
    line.add("olp");
    line.add(lowerName(olpPacketTypeNames, static_cast<std::uint32_t>(match.packetType)));
    line.addMasked<std::uint16_t>("egress-port", match.egressPort, 0xffff);
    line.add(ethertypeText(match.ethertype)).addNumber("vlan", match.vlanId);
    line.addMasked<std::uint8_t>("tc", match.trafficClass, 7);
    return line.addMasked<std::uint8_t>("channel", match.channel, 0xff).take();
}

std::string policeText(Action const& action) {
    bool const packets = action.policeUnit == PoliceUnit::PacketsPerSecond;
    if (action.policeRate == 0) {
        return {};
    }
    std::string text = fmt::format("police {} {}", action.policeRate, packets ? "pps" : "kbps");
    if (action.policeBurst != 0) {
        text += fmt::format(" burst {} {}", action.policeBurst, packets ? "packets" : "kbit");
    }
    return text;
}

std::string place(std::uint32_t key) {
    return fmt::format("set {} seq {}", setIdOfKey(key), sequenceOfKey(key));
}

std::string notDecoded(std::uint32_t key, DecodeError const& error) {
    return fmt::format("{}: not decoded: {}", place(key), error.reason);
}

std::string noSuchTable(std::uint16_t tblId) {
    return fmt::format("table 0x{:04x} holds no policy", tblId);
}

} // namespace

std::string matchText(Match const& match) {
    return std::visit([](auto const& m) { return textOf(m); }, match);
}

std::string verdictText(Verdict verdict) {
    switch (verdict) {
    case Verdict::Accept:
        return "permit";
    case Verdict::Drop:
        return "deny";
    case Verdict::Reject:
        return "reject";
    case Verdict::None:
        break;
    }
    return "undecided";
}

std::string treatmentText(Action const& action) {
    Line line;
    line.add(policeText(action));
    line.add(action.cpuQueue.given ? fmt::format("queue {}", action.cpuQueue.value) : "");
    line.add(action.trafficClass.given ? fmt::format("tc {}", action.trafficClass.value) : "");
    line.add(action.toCpu == ToCpu::Copy ? "copy-to-cpu" : "");
    line.add(action.toCpu == ToCpu::Trap ? "trap-to-cpu" : "");
    line.add(action.setDscp.given ? fmt::format("set-dscp {}", action.setDscp.value) : "");
    line.addNumber("set-vlan", action.setVlanId);
    line.add(action.setMplsTc.given ? fmt::format("set-tc {}", action.setMplsTc.value) : "");
    line.addNumber("inner-vrf", action.innerVrfId);
    line.add(action.maxInnerTtl != 255 ? fmt::format("max-inner-ttl {}", action.maxInnerTtl) : "");
    line.addNumber("mirror", action.mirrorSession);
    line.add(action.count ? "count" : "").add(action.log ? "log" : "");
    return line.take();
}

std::string describe(std::uint16_t tblId, std::uint32_t key, std::span<std::byte const> fields) {
    auto const table = tableOf(tblId);
    if (!table) {
        return noSuchTable(tblId);
    }
    if (table->holds == TableHolds::Actions) {
        auto const decoded = decodeAction(table->kind, fields);
        if (auto const* error = std::get_if<DecodeError>(&decoded)) {
            return notDecoded(key, *error);
        }
        auto const& action = std::get<Action>(decoded);
        Line line;
        line.add(place(key) + ":").add(verdictText(action.verdict)).add(treatmentText(action));
        return line.take();
    }
    auto const decoded = decodeEntry(table->kind, fields);
    if (auto const* error = std::get_if<DecodeError>(&decoded)) {
        return notDecoded(key, *error);
    }
    auto const& entry = std::get<Entry>(decoded);
    std::string const action =
        entry.actionKey == key ? "" : fmt::format(" action-key 0x{:08x}", entry.actionKey);
    return fmt::format("{} priority {}: {}{}", place(key), entry.priority, matchText(entry.match),
                       action);
}

std::string describeRule(std::uint16_t entryTblId, std::uint32_t key,
                         std::span<std::byte const> entryFields,
                         std::span<std::byte const> actionFields) {
    auto const table = tableOf(entryTblId);
    if (!table || table->holds != TableHolds::Entries) {
        return noSuchTable(entryTblId);
    }
    auto const entry = decodeEntry(table->kind, entryFields);
    if (auto const* error = std::get_if<DecodeError>(&entry)) {
        return notDecoded(key, *error);
    }
    auto const action = decodeAction(table->kind, actionFields);
    if (auto const* error = std::get_if<DecodeError>(&action)) {
        return notDecoded(key, *error);
    }
    Line line;
    line.add(place(key) + ":").add(verdictText(std::get<Action>(action).verdict));
    line.add(matchText(std::get<Entry>(entry).match));
    if (auto const treatment = treatmentText(std::get<Action>(action)); !treatment.empty()) {
        line.add("action:").add(treatment);
    }
    return line.take();
}

} // namespace LoamPolicy
