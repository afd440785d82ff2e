#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/RequestError.h>
#include <apps/agent/control/Requests.h>
#include <cstddef>
#include <iterator>
#include <limits>
#include <span>
#include <string>

// What a request names, looked up; throws `RequestError`.
namespace LoamAgent {

inline std::size_t placeOfTable(Platform const& platform, std::string const& name) {
    std::vector<std::string> names;
    for (auto const& table : platform.tables()) {
        names.emplace_back(table->name());
    }
    auto const found = std::ranges::find(names, name);
    if (found == names.end()) {
        throw RequestError{fmt::format("there is no table \"{}\"", name.substr(0, 80)), names};
    }
    return static_cast<std::size_t>(found - names.begin());
}

inline std::size_t placeOfUnit(std::vector<std::uint16_t> const& units, std::uint64_t unit) {
    auto const found = std::ranges::find(units, unit);
    if (found == units.end()) {
        std::vector<std::string> names;
        names.reserve(units.size());
        for (auto const each : units) {
            names.push_back(fmt::to_string(each));
        }
        throw RequestError{fmt::format("the agent has no unit {}", unit), names};
    }
    return static_cast<std::size_t>(found - units.begin());
}

inline std::uint32_t keyOf(Arguments const& arguments) {
    auto const key = arguments.number("key");
    if (key > std::numeric_limits<std::uint32_t>::max()) {
        throw RequestError{
            fmt::format("the argument \"key\" is {}; expected a number of 32 bits", key)};
    }
    return static_cast<std::uint32_t>(key);
}

inline std::string keyText(std::uint32_t key) {
    return fmt::format("{:#010x}", key);
}

inline std::string hexText(std::span<std::byte const> bytes) {
    std::string text;
    for (auto const byte : bytes) {
        fmt::format_to(std::back_inserter(text), "{:02x}", std::to_integer<unsigned>(byte));
    }
    return text;
}

} // namespace LoamAgent
