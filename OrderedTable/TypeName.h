#pragma once

#include <string_view>

// The last component of a type's name, worked out by the compiler:
// "Ipv4SystemPolicyTcamEntrySwTable" for `LoamSystemAcl::Ipv4SystemPolicyTcamEntrySwTable const`.
namespace OrderedTable {

template <typename T>
constexpr std::string_view lastComponentOfTypeName() {
    std::string_view name =
        __PRETTY_FUNCTION__; // "... [with T = A::B const; ...]" or "... [T = A::B]"
    name.remove_prefix(name.find("T = ") + 4);
    name = name.substr(0, name.find_first_of(";]"));
    if (name.ends_with(" const")) {
        name.remove_suffix(6);
    } else if (name.starts_with("const ")) {
        name.remove_prefix(6);
    }
    return name.substr(name.rfind(':') + 1);
}

} // namespace OrderedTable
