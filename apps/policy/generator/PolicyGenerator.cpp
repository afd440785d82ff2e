#include <fmt/format.h>

#include <algorithm>
#include <apps/policy/generator/PolicyGenerator.h>
#include <apps/policy/generator/Random.h>
#include <array>
#include <iterator>

namespace LoamPolicy {

namespace {

using Buffer = fmt::memory_buffer;

template <class... Args>
void put(Buffer& out, fmt::format_string<Args...> format, Args&&... args) {
    fmt::format_to(std::back_inserter(out), format, std::forward<Args>(args)...);
}

struct Service {
    std::string_view name;
    std::string_view protocol; ///< as JSON
    std::uint16_t port;
};

constexpr std::string_view tcp = R"("openconfig-packet-match-types:IP_TCP")";
constexpr std::string_view udp = R"("openconfig-packet-match-types:IP_UDP")";

/// IANA "Service Name and Transport Protocol Port Number Registry".
constexpr std::array<Service, 16> services{{
    {"bgp", tcp, 179},
    {"ldp", tcp, 646},
    {"ssh", tcp, 22},
    {"netconf-ssh", tcp, 830},
    {"gnmi-gnoi", tcp, 9339},
    {"tacacs", tcp, 49},
    {"msdp", tcp, 639},
    {"bfd-control", udp, 3784},
    {"bfd-multi-ctl", udp, 4784},
    {"ntp", udp, 123},
    {"snmp", udp, 161},
    {"syslog", udp, 514},
    {"radius", udp, 1812},
    {"domain", udp, 53},
    {"lsp-ping", udp, 3503},
    {"ptp-event", udp, 319},
}};

/// Index in 10.0.0.0/8, one host each; the low bits vary first.
void putHost4(Buffer& out, std::string_view leaf, std::uint32_t index) {
    put(out, R"("{}":"10.{}.{}.{}/32")", leaf, index >> 16 & 0xffu, index >> 8 & 0xffu,
        index & 0xffu);
}

void putHost6(Buffer& out, std::string_view leaf, std::uint32_t index) {
    put(out, R"("{}":"2001:db8:{:x}:{:x}::1/128")", leaf, index >> 16, index & 0xffffu);
}

void putTransport(Buffer& out, Random& random, Service const& service) {
    put(out, R"("transport":{{"config":{{"destination-port":{})", service.port);
    if (random.oneIn(4)) {
        put(out, R"(,"source-port":"{}..65535")", random.pick(std::array{1024, 32768, 49152}));
    }
    if (service.protocol == tcp && random.oneIn(4)) {
        put(out, R"(,"detail-mode":"BUILTIN","builtin-detail":"TCP_ESTABLISHED")");
    }
    put(out, "}}}},");
}

template <class PutHost>
void putIp(Buffer& out, Random& random, std::uint32_t index, std::string_view container,
           PutHost putHost) {
    Service const& service = random.pick(services);
    put(out, R"("{}":{{"config":{{)", container);
    putHost(out, "source-address", index);
    put(out, R"(,"protocol":{})", service.protocol);
    if (random.oneIn(3)) {
        put(out, R"(,"dscp":{})", random.pick(std::array{0, 16, 46, 48}));
    }
    if (random.oneIn(8)) {
        put(out, R"(,"hop-limit":255)");
    }
    put(out, "}}}},");
    putTransport(out, random, service);
}

void putMatch(Buffer& out, Random& random, std::uint32_t index, PolicyKind kind) {
    switch (kind) {
    case PolicyKind::Ipv4System:
        putIp(out, random, index, "ipv4", putHost4);
        break;
    case PolicyKind::Ipv6System:
        putIp(out, random, index, "ipv6", putHost6);
        break;
    case PolicyKind::MacSystem:
        // Locally administered addresses: IEEE 802-2014, section 8.4.
        put(out,
            R"("l2":{{"config":{{"source-mac":"02:00:00:{:02x}:{:02x}:{:02x}","ethertype":{}}}}},)",
            index >> 16 & 0xffu, index >> 8 & 0xffu, index & 0xffu,
            random.pick(std::array{2048, 2054, 34525, 34825, 35020}));
        break;
    case PolicyKind::MplsSystem:
        put(out, R"("mpls":{{"config":{{"start-label-value":{0},"end-label-value":{0})",
            16 + index);
        put(out, R"(,"traffic-class":{}}}}},)", random.below(8));
        break;
    case PolicyKind::VxlanAnycast:
        put(out, R"("loam-acl-ext:vxlan-anycast":{{"config":{{"vni":{},)", 10000 + index);
        put(out, R"("anycast-vtep":"192.0.2.{}/32","udp-port":4789}}}},)", 1 + random.below(8));
        break;
    case PolicyKind::TunnelTermination:
        put(out, R"("loam-acl-ext:tunnel":{{"config":{{"tunnel-type":"{}",)",
            random.pick(std::array{"VXLAN", "GRE", "GENEVE", "IP_IN_IP", "MPLS_OVER_UDP"}));
        putHost4(out, "source-prefix", index);
        put(out, R"(,"destination-prefix":"192.0.2.{}/32"}}}},)", 1 + random.below(8));
        break;
    case PolicyKind::EgressOlp:
        put(out, R"("loam-acl-ext:egress-olp":{{"config":{{"egress-port":{},)", index);
        put(out, R"("traffic-class":{},)", random.below(8));
        put(out, R"("packet-type":"{}"}}}},)",
            random.pick(std::array{"OAM", "BFD", "LEARNING", "SAMPLE", "TELEMETRY"}));
        break;
    }
}

void putActions(Buffer& out, Random& random, PolicyKind kind) {
    bool const drop = random.oneIn(8);
    put(out, R"("actions":{{"config":{{"forwarding-action":"{}"}})", drop ? "DROP" : "ACCEPT");
    put(out, R"(,"loam-acl-ext:control-plane":{{"config":{{"count":true)");
    if (!drop) {
        std::uint32_t const rate = 100 * random.between(1, 200);
        put(out, R"(,"cpu-queue":{},"police-rate":{})", random.below(48), rate);
        if (kind != PolicyKind::VxlanAnycast) {
            put(out, R"(,"police-burst":{})", rate / 10);
        }
    }
    put(out, "}}}}}}");
}

struct KindName {
    std::string_view name;
    PolicyKind kind;
    std::string_view setType;
};

constexpr std::array<KindName, kindCount> kindNames{{
    {"ipv4", PolicyKind::Ipv4System, "openconfig-acl:ACL_IPV4"},
    {"ipv6", PolicyKind::Ipv6System, "openconfig-acl:ACL_IPV6"},
    {"l2", PolicyKind::MacSystem, "openconfig-acl:ACL_L2"},
    {"mpls", PolicyKind::MplsSystem, "openconfig-acl:ACL_MPLS"},
    {"vxlan", PolicyKind::VxlanAnycast, "loam-acl-ext:ACL_VXLAN_ANYCAST"},
    {"tunnel", PolicyKind::TunnelTermination, "loam-acl-ext:ACL_TUNNEL_TERMINATION"},
    {"olp", PolicyKind::EgressOlp, "loam-acl-ext:ACL_EGRESS_OLP"},
}};

bool flush(Buffer& out, std::FILE* file) {
    bool const written = std::fwrite(out.data(), 1, out.size(), file) == out.size();
    out.clear();
    return written;
}

bool generateSet(GeneratorOptions const& options, KindName const& kind, std::FILE* file) {
    constexpr std::size_t flushSize = std::size_t{1} << 16;
    Random random(options.seed * kindCount + static_cast<std::uint64_t>(kind.kind));
    Buffer out;
    put(out,
        R"({{"name":"generated-{0}","type":"{1}","config":{{"name":"generated-{0}","type":"{1}"}})",
        kind.name, kind.setType);
    put(out, R"(,"acl-entries":{{"acl-entry":[)");
    for (std::uint32_t index = 0; index < options.entries; ++index) {
        std::uint32_t const sequence = 10 * (index + 1);
        put(out, "{}\n", index == 0 ? "" : ",");
        put(out, R"({{"sequence-id":{0},"config":{{"sequence-id":{0}}},)", sequence);
        putMatch(out, random, index, kind.kind);
        putActions(out, random, kind.kind);
        put(out, "}}");
        if (out.size() > flushSize && !flush(out, file)) {
            return false;
        }
    }
    put(out, "]}}}}");
    return flush(out, file);
}

} // namespace

std::optional<PolicyKind> generatorKind(std::string_view name) {
    auto const found = std::ranges::find(kindNames, name, &KindName::name);
    return found == kindNames.end() ? std::nullopt : std::optional(found->kind);
}

bool generatePolicy(GeneratorOptions const& options, std::FILE* file) {
    bool written = std::fputs(R"({"openconfig-acl:acl":{"acl-sets":{"acl-set":[)", file) >= 0;
    bool first = true;
    for (KindName const& kind : kindNames) {
        if (std::ranges::find(options.kinds, kind.kind) == options.kinds.end()) {
            continue;
        }
        written = written && std::fputs(first ? "\n" : ",\n", file) >= 0 &&
                  generateSet(options, kind, file);
        first = false;
    }
    return written && std::fputs("\n]}}}\n", file) >= 0 && std::fflush(file) == 0;
}

} // namespace LoamPolicy
