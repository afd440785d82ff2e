#include <algorithm>
#include <apps/policy/AddressText.h>
#include <apps/policy/Identities.h>
#include <apps/policy/ValueText.h>

namespace LoamPolicy {

namespace {

std::string lower(std::string_view name) {
    std::string text(name);
    std::ranges::transform(text, text.begin(), [](char c) {
        return c == '_' ? '-' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    return text;
}

} // namespace

std::string lowerName(std::span<NamedNumber const> names, std::uint32_t number) {
    auto const found = std::ranges::find(names, number, &NamedNumber::number);
    if (found != names.end()) {
        return lower(found->name);
    }
    return number == 0 ? "" : fmt::format("{}", number);
}

std::string protocolText(Masked<std::uint8_t> const& protocol) {
    constexpr std::string_view prefix = "IP_";
    if (protocol.mask == 0) {
        return "ip";
    }
    if (protocol.value == IpProtocol::icmp6) {
        return "icmp6";
    }
    auto const found =
        std::ranges::find(protocolNames, std::uint32_t{protocol.value}, &NamedNumber::number);
    if (found == protocolNames.end()) {
        return "ip proto " + maskedText<std::uint8_t>(protocol, 0xff);
    }
    bool const isIpInIp = protocol.value == IpProtocol::ipInIp;
    return lower(isIpInIp ? found->name : found->name.substr(prefix.size()));
}

std::string ethertypeText(Masked<std::uint16_t> const& ethertype) {
    if (ethertype.mask == 0) {
        return {};
    }
    std::string text = fmt::format("ethertype 0x{:04x}", ethertype.value);
    return ethertype.mask == 0xffff ? text : text + fmt::format("/0x{:04x}", ethertype.mask);
}

std::string tcpFlagsText(std::uint8_t flags) {
    constexpr std::string_view prefix = "TCP_";
    std::string list;
    for (NamedNumber const& flag : tcpFlagNames) {
        if ((flags & flag.number) != 0) {
            list += list.empty() ? "" : ",";
            list += lower(flag.name.substr(prefix.size()));
        }
    }
    return list;
}

std::vector<unsigned> dscpsOf(std::uint64_t set) {
    std::vector<unsigned> dscps;
    for (unsigned dscp = 0; dscp < 64; ++dscp) {
        if ((set >> dscp & 1u) != 0) {
            dscps.push_back(dscp);
        }
    }
    return dscps;
}

std::string outerText(Masked<Ipv6Bytes> const& prefix, std::uint8_t ipVersion) {
    if (ipVersion != 4) {
        return formatMasked(prefix);
    }
    Masked<Ipv4Bytes> v4;
    std::copy_n(prefix.value.begin(), v4.value.size(), v4.value.begin());
    std::copy_n(prefix.mask.begin(), v4.mask.size(), v4.mask.begin());
    return formatMasked(v4);
}

} // namespace LoamPolicy
