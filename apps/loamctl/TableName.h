#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>

// Which table a person means.
//
// Upper and lower case are the same. The whole name is best; else a part of the name, or beginnings
// of its words one behind the other, as in "ipv4entry" for Ipv4SystemPolicyTcamEntry. Whatever fits
// more than one table fits none.
namespace LoamCtl {

// The place of the name in the list, or a sentence that lists what was meant or could have been.
std::variant<std::size_t, std::string> findTableName(std::string_view wanted,
                                                     std::span<std::string_view const> names);

} // namespace LoamCtl
