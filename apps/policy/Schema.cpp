#include <algorithm>
#include <apps/policy/Schema.h>
#include <apps/policy/SchemaLeaves.h>
#include <array>
#include <limits>

namespace LoamPolicy {

namespace {

using Kind = SchemaNode::Kind;

constexpr SchemaNode leaf(std::string_view name, SchemaNode::Store store) {
    return {.name = name, .kind = Kind::Leaf, .store = store};
}

constexpr SchemaNode leafList(std::string_view name, SchemaNode::Store store) {
    return {.name = name, .kind = Kind::LeafList, .store = store};
}

constexpr SchemaNode container(std::string_view name, std::span<SchemaNode const> children,
                               unsigned matchContainer = 0) {
    return {.name = name,
            .kind = Kind::Container,
            .children = children,
            .matchContainer = matchContainer};
}

constexpr SchemaNode list(std::string_view name, std::span<SchemaNode const> children,
                          SchemaNode::Hook hook) {
    return {.name = name, .kind = Kind::List, .children = children, .hook = hook};
}

constexpr SchemaNode refused(std::string_view name, std::string_view reason) {
    return {.name = name, .kind = Kind::Refused, .refusal = reason};
}

constexpr SchemaNode state =
    refused("state", "operational state: a policy file holds configuration only");
constexpr std::string_view noDefinedSets =
    "references to defined sets are not supported: write one entry per prefix or port range";
constexpr std::string_view noInterfaces =
    "not supported: the system policy belongs to the whole switch and binds to no interface";

constexpr std::array l2Config{
    leaf("source-mac", Leaf::sourceMac),
    leaf("source-mac-mask", Leaf::sourceMacMask),
    leaf("destination-mac", Leaf::destinationMac),
    leaf("destination-mac-mask", Leaf::destinationMacMask),
    leaf("ethertype", Leaf::ethertype),
};
constexpr std::array l2{container("config", l2Config), state};

constexpr std::array icmp4Config{leaf("type", Leaf::icmp4Type), leaf("code", Leaf::icmp4Code)};
constexpr std::array icmp4{container("config", icmp4Config), state};
constexpr std::array ipv4Config{
    leaf("source-address", Leaf::source4),
    refused("source-address-prefix-set", noDefinedSets),
    leaf("destination-address", Leaf::destination4),
    refused("destination-address-prefix-set", noDefinedSets),
    leafList("fragment-offsets", Leaf::fragmentOffset),
    leaf("dscp", Leaf::dscp),
    leafList("dscp-set", Leaf::dscpSet),
    leaf("length", Leaf::length),
    leaf("protocol", Leaf::protocol),
    leaf("hop-limit", Leaf::hopLimit),
};
constexpr std::array ipv4{container("config", ipv4Config), state, container("icmpv4", icmp4)};

constexpr std::array icmp6Config{leaf("type", Leaf::icmp6Type), leaf("code", Leaf::icmp6Code)};
constexpr std::array icmp6{container("config", icmp6Config), state};
constexpr std::array ipv6Config{
    leaf("source-address", Leaf::source6),
    refused("source-address-prefix-set", noDefinedSets),
    leaf("source-flow-label", Leaf::sourceFlowLabel),
    leaf("destination-address", Leaf::destination6),
    refused("destination-address-prefix-set", noDefinedSets),
    leaf("destination-flow-label", Leaf::destinationFlowLabel),
    leaf("dscp", Leaf::dscp),
    leafList("dscp-set", Leaf::dscpSet),
    leaf("length", Leaf::length),
    leaf("protocol", Leaf::protocol),
    leaf("hop-limit", Leaf::hopLimit),
};
constexpr std::array ipv6{container("config", ipv6Config), state, container("icmpv6", icmp6)};

constexpr std::array transportConfig{
    leaf("source-port", Leaf::sourcePort),
    refused("source-port-set", noDefinedSets),
    leaf("destination-port", Leaf::destinationPort),
    refused("destination-port-set", noDefinedSets),
    leaf("detail-mode", Leaf::detailMode),
    leaf("explicit-detail-match-mode", Leaf::explicitMode),
    leafList("explicit-tcp-flags", Leaf::tcpFlag),
    leaf("builtin-detail", Leaf::builtinDetail),
};
constexpr std::array transport{container("config", transportConfig), state};

constexpr std::array mplsConfig{
    leaf("traffic-class", Leaf::mplsTrafficClass),
    leaf("start-label-value", Leaf::startLabel),
    leaf("end-label-value", Leaf::endLabel),
    leaf("ttl-value", Leaf::mplsTtl),
};
constexpr std::array mpls{container("config", mplsConfig), state};

constexpr std::array vxlanConfig{
    leaf("vni", Leaf::vni),           leaf("vni-mask", Leaf::vniMask),
    leaf("anycast-vtep", Leaf::vtep), leaf("udp-port", Leaf::vxlanUdpPort),
    leaf("vrf-id", Leaf::vxlanVrfId),
};
constexpr std::array vxlan{container("config", vxlanConfig)};

constexpr std::array tunnelConfig{
    leaf("tunnel-type", Leaf::tunnelType),
    leaf("source-prefix", Leaf::tunnelSource),
    leaf("destination-prefix", Leaf::tunnelDestination),
    leaf("vrf-id", Leaf::tunnelVrfId),
    leaf("udp-port", Leaf::tunnelUdpPort),
    leaf("tunnel-key", Leaf::tunnelKey),
    leaf("hop-limit", Leaf::tunnelHopLimit),
};
constexpr std::array tunnel{container("config", tunnelConfig)};

constexpr std::array olpConfig{
    leaf("egress-port", Leaf::egressPort),        leaf("egress-port-mask", Leaf::egressPortMask),
    leaf("ethertype", Leaf::olpEthertype),        leaf("vlan-id", Leaf::olpVlanId),
    leaf("traffic-class", Leaf::olpTrafficClass), leaf("olp-channel", Leaf::olpChannel),
    leaf("packet-type", Leaf::olpPacketType),
};
constexpr std::array olp{container("config", olpConfig)};

constexpr std::array controlPlaneConfig{
    leaf("to-cpu", Leaf::toCpu),
    leaf("cpu-queue", Leaf::cpuQueue),
    leaf("traffic-class", Leaf::trafficClass),
    leaf("count", Leaf::count),
    leaf("mirror-session", Leaf::mirrorSession),
    leaf("police-rate", Leaf::policeRate),
    leaf("police-unit", Leaf::policeUnit),
    leaf("police-burst", Leaf::policeBurst),
    leaf("set-dscp", Leaf::setDscp),
    leaf("set-vlan-id", Leaf::setVlanId),
    leaf("set-mpls-traffic-class", Leaf::setMplsTc),
    leaf("inner-vrf-id", Leaf::innerVrfId),
    leaf("max-inner-ttl", Leaf::maxInnerTtl),
};
constexpr std::array controlPlane{container("config", controlPlaneConfig)};

constexpr std::array actionsConfig{
    leaf("forwarding-action", Leaf::forwardingAction),
    leaf("log-action", Leaf::logAction),
};
constexpr std::array actions{container("config", actionsConfig), state,
                             container("loam-acl-ext:control-plane", controlPlane)};

constexpr std::array entryConfig{
    leaf("sequence-id", Leaf::sequence),
    leaf("description", Leaf::description),
};
constexpr std::array entry{
    leaf("sequence-id", Leaf::keySequence),
    container("config", entryConfig),
    state,
    container("l2", l2, MatchContainer::l2),
    container("ipv4", ipv4, MatchContainer::ipv4),
    container("mpls", mpls, MatchContainer::mpls),
    container("ipv6", ipv6, MatchContainer::ipv6),
    container("transport", transport, MatchContainer::transport),
    refused("input-interface", noInterfaces),
    container("actions", actions),
    container("loam-acl-ext:vxlan-anycast", vxlan, MatchContainer::vxlanAnycast),
    container("loam-acl-ext:tunnel", tunnel, MatchContainer::tunnel),
    container("loam-acl-ext:egress-olp", olp, MatchContainer::egressOlp),
};
constexpr std::array entries{list("acl-entry", entry, SchemaNode::Hook::Entry)};

constexpr std::array setConfig{
    leaf("name", Leaf::setName),
    leaf("type", Leaf::setType),
    leaf("description", Leaf::setDescription),
    leaf("loam-acl-ext:set-id", Leaf::setId),
};
constexpr std::array set{
    leaf("name", Leaf::setKeyName),    leaf("type", Leaf::setKeyType),
    container("config", setConfig),    state,
    container("acl-entries", entries),
};
constexpr std::array sets{list("acl-set", set, SchemaNode::Hook::Set)};

constexpr std::array acl{
    container("config", std::span<SchemaNode const>()),
    state,
    container("acl-sets", sets),
    refused("interfaces", noInterfaces),
};
constexpr std::array root{container("openconfig-acl:acl", acl)};
constexpr SchemaNode rootNode = container("", root);

static_assert(std::max({controlPlaneConfig.size(), entry.size(), ipv6Config.size()}) <=
              std::numeric_limits<MemberSet>::digits);

} // namespace

SchemaNode const& schemaRoot() {
    return rootNode;
}

SchemaNode const* findChild(SchemaNode const& node, std::string_view name) {
    auto const found = std::ranges::find(node.children, name, &SchemaNode::name);
    return found == node.children.end() ? nullptr : &*found;
}

} // namespace LoamPolicy
