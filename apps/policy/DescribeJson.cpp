#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <apps/policy/AddressText.h>
#include <apps/policy/Codec.h>
#include <apps/policy/Describe.h>
#include <apps/policy/Identities.h>
#include <apps/policy/RuleKey.h>
#include <apps/policy/ValueText.h>

namespace LoamPolicy {

namespace {

using nlohmann::json;

template <class T>
void putMasked(json& object, std::string const& name, Masked<T> const& field, T fullMask) {
    if (field.mask == 0) {
        return;
    }
    object[name] = field.value;
    if (field.mask != fullMask) {
        object[name + "-mask"] = field.mask;
    }
}

template <class T>
void putRange(json& object, std::string const& name, Range<T> const& range) {
    if (!range.checked) {
        return;
    }
    object[name] =
        range.low == range.high ? json(range.low) : json(rangeText(range.low, range.high));
}

void putNumber(json& object, std::string const& name, std::uint32_t number) {
    if (number != 0) {
        object[name] = number;
    }
}

template <class T>
void putGiven(json& object, std::string const& name, Given<T> const& field) {
    if (field.given) {
        object[name] = field.value;
    }
}

template <class Address>
void putAddress(json& object, std::string const& name, Address const& address) {
    if (auto text = formatMasked(address); text != "any") {
        object[name] = std::move(text);
    }
}

void putHopLimit(json& object, std::uint8_t low, std::uint8_t high) {
    if (low != 0 || high != 255) {
        object["hop-limit"] = low == high ? json(low) : json(rangeText(low, high));
    }
}

template <std::size_t N>
void putName(json& object, std::string const& name, std::array<NamedNumber, N> const& names,
             std::uint32_t number) {
    if (number == 0) {
        return;
    }
    auto const found = std::ranges::find(names, number, &NamedNumber::number);
    object[name] = found != names.end() ? json(found->name) : json(number);
}

std::string_view detailName(TransportDetail detail) {
    switch (detail) {
    case TransportDetail::TcpInitial:
        return "TCP_INITIAL";
    case TransportDetail::TcpEstablished:
        return "TCP_ESTABLISHED";
    default:
        return "FRAGMENT";
    }
}

void putDetail(json& object, IpConditions const& ip) {
    bool const anyFlag = ip.transportDetail == TransportDetail::AnyFlag;
    if (ip.transportDetail == TransportDetail::Any) {
        return;
    }
    if (!anyFlag && ip.transportDetail != TransportDetail::AllFlags) {
        object["builtin-detail"] = detailName(ip.transportDetail);
        return;
    }
    object["explicit-detail-match-mode"] = anyFlag ? "ANY" : "ALL";
    for (NamedNumber const& flag : tcpFlagNames) {
        if ((ip.tcpFlags & flag.number) != 0) {
            object["explicit-tcp-flags"].push_back(flag.name);
        }
    }
}

template <class M>
json ipJson(M const& match) {
    IpConditions const& ip = match.ip;
    json object = json::object();
    putAddress(object, "source-address", match.source);
    putAddress(object, "destination-address", match.destination);
    putMasked<std::uint8_t>(object, "protocol", ip.protocol, 0xff);
    putMasked<std::uint8_t>(object, "icmp-type", ip.icmpType, 0xff);
    putMasked<std::uint8_t>(object, "icmp-code", ip.icmpCode, 0xff);
    if (ip.dscpSet != 0) {
        object["dscp-set"] = dscpsOf(ip.dscpSet);
    }
    putMasked<std::uint16_t>(object, "length", ip.length, 0xffff);
    putHopLimit(object, ip.hopLimitMin, ip.hopLimitMax);
    putRange(object, "source-port", ip.sourcePort);
    putRange(object, "destination-port", ip.destinationPort);
    putDetail(object, ip);
    return object;
}

json jsonOf(Ipv4Match const& match) {
    json object = ipJson(match);
    putMasked<std::uint16_t>(object, "fragment-offset", match.fragmentOffset, 0x1fff);
    return object;
}

json jsonOf(Ipv6Match const& match) {
    json object = ipJson(match);
    putMasked<std::uint32_t>(object, "source-flow-label", match.sourceFlowLabel, 0xfffff);
    putMasked<std::uint32_t>(object, "destination-flow-label", match.destinationFlowLabel, 0xfffff);
    return object;
}

json jsonOf(MacMatch const& match) {
    json object = json::object();
    putAddress(object, "source-mac", match.source);
    putAddress(object, "destination-mac", match.destination);
    putMasked<std::uint16_t>(object, "ethertype", match.ethertype, 0xffff);
    return object;
}

json jsonOf(MplsMatch const& match) {
    json object = json::object();
    if (match.label.checked) {
        object["start-label-value"] = match.label.low;
        object["end-label-value"] = match.label.high;
    }
    putMasked<std::uint8_t>(object, "traffic-class", match.trafficClass, 7);
    putMasked<std::uint8_t>(object, "ttl-value", match.ttl, 0xff);
    return object;
}

json jsonOf(VxlanMatch const& match) {
    json object = json::object();
    putMasked<std::uint32_t>(object, "vni", match.vni, 0xffffff);
    putAddress(object, "anycast-vtep", match.vtep);
    putNumber(object, "udp-port", match.udpPort);
    putNumber(object, "vrf-id", match.vrfId);
    return object;
}

json jsonOf(TunnelMatch const& match) {
    json object = json::object();
    putName(object, "tunnel-type", tunnelTypeNames, static_cast<std::uint32_t>(match.type));
    for (auto const& [name, prefix] : {std::pair{"source-prefix", &match.source},
                                       std::pair{"destination-prefix", &match.destination}}) {
        if (auto text = outerText(*prefix, match.ipVersion); text != "any") {
            object[name] = std::move(text);
        }
    }
    putNumber(object, "vrf-id", match.vrfId);
    putNumber(object, "udp-port", match.udpPort);
    putMasked<std::uint32_t>(object, "tunnel-key", match.tunnelKey, 0xffffffff);
    putHopLimit(object, match.hopLimitMin, match.hopLimitMax);
    return object;
}

json jsonOf(OlpMatch const& match) {
    json object = json::object();
    putName(object, "packet-type", olpPacketTypeNames,
            static_cast<std::uint32_t>(match.packetType));
    putMasked<std::uint16_t>(object, "egress-port", match.egressPort, 0xffff);
    putMasked<std::uint16_t>(object, "ethertype", match.ethertype, 0xffff);
    putNumber(object, "vlan-id", match.vlanId);
    putMasked<std::uint8_t>(object, "traffic-class", match.trafficClass, 7);
    putMasked<std::uint8_t>(object, "olp-channel", match.channel, 0xff);
    return object;
}

void putVerdict(json& object, Verdict verdict) {
    constexpr std::array<std::string_view, 4> names{"", "ACCEPT", "DROP", "REJECT"};
    if (verdict != Verdict::None) {
        object["forwarding-action"] = names[static_cast<std::size_t>(verdict)];
    }
}

json jsonOf(Action const& action) {
    json object = json::object();
    putVerdict(object, action.verdict);
    if (action.log) {
        object["log-action"] = "LOG_SYSLOG";
    }
    if (action.toCpu != ToCpu::No) {
        object["to-cpu"] = action.toCpu == ToCpu::Copy ? "COPY" : "TRAP";
    }
    putGiven(object, "cpu-queue", action.cpuQueue);
    putGiven(object, "traffic-class", action.trafficClass);
    if (action.count) {
        object["count"] = true;
    }
    putNumber(object, "mirror-session", action.mirrorSession);
    putNumber(object, "police-rate", action.policeRate);
    if (action.policeRate != 0) {
        object["police-unit"] = action.policeUnit == PoliceUnit::PacketsPerSecond
                                    ? "PACKETS_PER_SECOND"
                                    : "KILOBITS_PER_SECOND";
    }
    putNumber(object, "police-burst", action.policeBurst);
    putGiven(object, "set-dscp", action.setDscp);
    putNumber(object, "set-vlan-id", action.setVlanId);
    putGiven(object, "set-mpls-traffic-class", action.setMplsTc);
    putNumber(object, "inner-vrf-id", action.innerVrfId);
    if (action.maxInnerTtl != 255) {
        object["max-inner-ttl"] = action.maxInnerTtl;
    }
    return object;
}

void putContent(json& object, std::variant<Entry, DecodeError> const& decoded) {
    if (auto const* error = std::get_if<DecodeError>(&decoded)) {
        object["error"] = error->reason;
        return;
    }
    auto const& entry = std::get<Entry>(decoded);
    object["priority"] = entry.priority;
    object["action-key"] = fmt::format("0x{:08x}", entry.actionKey);
    object["match"] = std::visit([](auto const& match) { return jsonOf(match); }, entry.match);
}

void putContent(json& object, std::variant<Action, DecodeError> const& decoded) {
    if (auto const* error = std::get_if<DecodeError>(&decoded)) {
        object["error"] = error->reason;
        return;
    }
    object["action"] = jsonOf(std::get<Action>(decoded));
}

} // namespace

json toJson(std::uint16_t tblId, std::uint32_t key, std::span<std::byte const> fields) {
    auto const table = tableOf(tblId);
    json object{{"key", fmt::format("0x{:08x}", key)},
                {"set-id", setIdOfKey(key)},
                {"sequence-id", sequenceOfKey(key)}};
    if (!table) {
        object["error"] = fmt::format("table 0x{:04x} holds no policy", tblId);
        return object;
    }
    object["policy"] = kindName(table->kind);
    if (table->holds == TableHolds::Entries) {
        object["holds"] = "entries";
        putContent(object, decodeEntry(table->kind, fields));
    } else {
        object["holds"] = "actions";
        putContent(object, decodeAction(table->kind, fields));
    }
    return object;
}

} // namespace LoamPolicy
