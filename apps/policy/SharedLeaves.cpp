#include <apps/policy/Identities.h>
#include <apps/policy/SharedLeaves.h>

namespace LoamPolicy::Leaf {

Refusal takePrefix4(LeafValue const& value, std::optional<Ipv4Prefix>& prefix) {
    if (value.kind == LeafValue::Kind::Text) {
        prefix = parseIpv4Prefix(value.text);
    }
    return prefix ? std::nullopt : refuse("an IPv4 prefix such as \"192.0.2.0/24\"", value);
}

Refusal takeEthertype(LeafValue const& value, std::optional<std::uint16_t>& ethertype) {
    constexpr std::uint64_t first = 1536;
    constexpr std::uint64_t last = 65535;
    if (auto const number = numberIn(value, first, last)) {
        ethertype = static_cast<std::uint16_t>(*number);
        return std::nullopt;
    }
    LeafValue named = value;
    named.text = identityOf(value, Module::matchTypes, false);
    if (auto const number = enumeration(named, ethertypeNames)) {
        ethertype = static_cast<std::uint16_t>(*number);
        return std::nullopt;
    }
    return refuse(fmt::format("an ethertype from {} to {} or, with the prefix \"{}:\", one of {}",
                              first, last, Module::matchTypes, listNames(ethertypeNames)),
                  value);
}

} // namespace LoamPolicy::Leaf
