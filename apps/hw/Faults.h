#pragma once

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>

// What the model is told to do badly, at start by options and at run time by a control file.
//
// The control file is JSON; a member that is missing is off:
//
//     {
//       "capacity": 100,                                       entries per table and unit
//       "slow-us": 500,                                        microseconds that an operation takes
//       "refuse": ["Ipv4SystemPolicyTcamEntry:0x00010064"],    entries that the hardware can't take
//       "stop-after": 1000                                     operations, then it answers no more
//     }
namespace LoamHw {

struct Faults {
    using Refused = std::pair<std::string, std::uint32_t>; // table and key, on every unit

    static constexpr std::uint32_t defaultCapacity = 65536;
    static constexpr std::uint32_t maxCapacity = 1U << 24;
    static constexpr std::uint32_t maxSlowUs = 10'000'000;

    std::uint32_t capacity = defaultCapacity;
    std::uint32_t slowUs = 0;
    std::set<Refused> refuse;
    std::optional<std::uint64_t> stopAfter; // counted from the start of the backend

    friend bool operator==(Faults const&, Faults const&) = default;
};

// Reads "TABLE:KEY", the key in decimal or, after 0x, in hexadecimal. Throws
// `std::invalid_argument` with a sentence that names the fault. Whether there is such a table is
// not looked at here.
Faults::Refused refusedFromText(std::string const& text);

// Throws `std::invalid_argument` as above for a member that is unknown or out of range.
Faults faultsFromJson(nlohmann::json const& json);
nlohmann::json toJson(Faults const& faults);

} // namespace LoamHw
