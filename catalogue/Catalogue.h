#pragma once

#include <array>
#include <cstdint>
#include <string_view>

// The catalogue as C++ sees it: one row per table, found by name at compile time.
namespace catalogue {

struct Row {
    std::string_view name;
    std::string_view policy;
    std::string_view holds;
    std::uint32_t tableId;
    std::uint32_t logEntryBytes;
    std::uint32_t declaredBytes;
    std::uint32_t unsetFieldOffset;
    bool alignsAtLoad;
    std::uint32_t addSeed;
    std::uint32_t removeSeed;
    std::uint32_t versionSeed;
    std::uint32_t markedSeed;
    std::uint32_t snapshotSeed;
    std::uint32_t configSeed;
};

// Agent 08 and group 08: the first half of every table's identifier.
inline constexpr std::uint32_t agentAndGroup = 0x0808'0000;

inline constexpr Row rows[] = {
#define LOAM_TABLE(name, policy, holds, tblId, ...)                                                \
    Row{#name, policy, holds, agentAndGroup | (tblId), __VA_ARGS__},
#include <catalogue/SystemPolicyTables.def>
};

// The row of a table that is known to exist; a wrong name does not compile.
consteval Row row(std::string_view name) {
    for (Row const& each : rows) {
        if (each.name == name) {
            return each;
        }
    }
    throw "no table of this name in the catalogue";
}

} // namespace catalogue
