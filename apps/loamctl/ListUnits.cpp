#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <apps/loamctl/Commands.h>
#include <apps/loamctl/LiveAgent.h>
#include <apps/loamctl/TextTable.h>
#include <map>

namespace LoamCtl {

namespace {

struct Unit {
    std::uint64_t tables = 0; // that have a configuration table for it
    std::uint64_t entries = 0;
    std::uint64_t inDeletion = 0;
    bool used = false; // by the live agent
};

std::map<Asic::UnitId, Unit> unitsOf(Context& context) {
    std::map<Asic::UnitId, Unit> units;
    for (auto const& table : context.tables()) {
        for (auto const unitId : table->units()) {
            auto& unit = units[unitId];
            ++unit.tables;
            table->forEachEntry(unitId, [&](StoredEntry const& stored) {
                ++(stored.inDeletion ? unit.inDeletion : unit.entries);
            });
        }
    }
    if (auto agent = LiveAgent::find(context.folder())) {
        auto const status = agent->ask({{"request", "status"}});
        for (auto const& each : status.value("units", nlohmann::ordered_json::array())) {
            units[each.get<Asic::UnitId>()].used = true;
        }
    }
    return units;
}

} // namespace

ExitStatus listUnits(Context& context) {
    using enum TextTable::Align;
    auto json = nlohmann::ordered_json::array();
    TextTable text{{{"UNIT", right},
                    {"TABLES", right},
                    {"ENTRIES", right},
                    {"IN DELETION", right},
                    {"USED BY THE LIVE AGENT", left}}};
    for (auto const& [unitId, unit] : unitsOf(context)) {
        json.push_back({{"unit", unitId},
                        {"tables", unit.tables},
                        {"entries", unit.entries},
                        {"in-deletion", unit.inDeletion},
                        {"used", unit.used}});
        text.row({fmt::to_string(unitId), fmt::to_string(unit.tables), fmt::to_string(unit.entries),
                  fmt::to_string(unit.inDeletion), unit.used ? "yes" : "no"});
    }
    if (context.options().json) {
        fmt::print("{}\n", nlohmann::ordered_json{{"units", json}}.dump(2));
    } else {
        fmt::print("{}", text.text());
    }
    return exitDone;
}

} // namespace LoamCtl
