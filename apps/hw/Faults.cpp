#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <apps/hw/Faults.h>
#include <charconv>
#include <stdexcept>

namespace LoamHw {

namespace {

std::uint64_t numberOf(std::string const& name, nlohmann::json const& value, std::uint64_t least,
                       std::uint64_t most) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() < least ||
        value.get<std::uint64_t>() > most) {
        throw std::invalid_argument{fmt::format("\"{}\" is {}; expected a number from {} to {}",
                                                name, value.dump(), least, most)};
    }
    return value.get<std::uint64_t>();
}

} // namespace

Faults::Refused refusedFromText(std::string const& text) {
    auto const colon = text.rfind(':');
    if (colon != std::string::npos && colon != 0) {
        bool const hexadecimal = text.compare(colon + 1, 2, "0x") == 0;
        char const* const first = text.data() + colon + (hexadecimal ? 3 : 1);
        char const* const last = text.data() + text.size();
        std::uint32_t key = 0;
        auto const [end, error] = std::from_chars(first, last, key, hexadecimal ? 16 : 10);
        if (error == std::errc{} && end == last && first != last) {
            return {text.substr(0, colon), key};
        }
    }
    throw std::invalid_argument{fmt::format(
        "'{}' is no entry; expected TABLE:KEY, for instance Ipv4SystemPolicyTcamEntry:0x00010064",
        text)};
}

Faults faultsFromJson(nlohmann::json const& json) {
    if (!json.is_object()) {
        throw std::invalid_argument{"expected one JSON object"};
    }
    Faults faults;
    for (auto const& [name, value] : json.items()) {
        if (name == "capacity") {
            faults.capacity =
                static_cast<std::uint32_t>(numberOf(name, value, 1, Faults::maxCapacity));
        } else if (name == "slow-us") {
            faults.slowUs = static_cast<std::uint32_t>(numberOf(name, value, 0, Faults::maxSlowUs));
        } else if (name == "stop-after") {
            faults.stopAfter = numberOf(name, value, 0, ~std::uint64_t{0});
        } else if (name == "refuse" && value.is_array()) {
            for (auto const& each : value) {
                faults.refuse.insert(
                    refusedFromText(each.is_string() ? each.get<std::string>() : each.dump()));
            }
        } else {
            throw std::invalid_argument{fmt::format(
                "\"{}\" is not known; expected \"capacity\", \"slow-us\", \"stop-after\" or a list "
                "\"refuse\"",
                name)};
        }
    }
    return faults;
}

nlohmann::json toJson(Faults const& faults) {
    nlohmann::json json{{"capacity", faults.capacity}, {"slow-us", faults.slowUs}};
    if (faults.stopAfter) {
        json["stop-after"] = *faults.stopAfter;
    }
    json["refuse"] = nlohmann::json::array();
    for (auto const& [table, key] : faults.refuse) {
        json["refuse"].push_back(fmt::format("{}:{:#010x}", table, key));
    }
    return json;
}

} // namespace LoamHw
