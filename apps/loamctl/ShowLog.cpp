#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/TextTable.h>
#include <apps/policy/Describe.h>

namespace LoamCtl {

namespace {

char const* whatOf(Asic::EntryFlags flags) {
    if (Asic::flagHas(flags, Asic::EntryFlags::flagTableDeleted)) {
        return "table deleted";
    }
    return Asic::flagHas(flags, Asic::EntryFlags::flagEntryDeleted) ? "deleted" : "written";
}

std::string placeText(Context const& context, Asic::TableVersion const& place) {
    auto const* table = context.tableOf(place.tableId);
    return fmt::format(
        "{}@{}", table != nullptr ? std::string{table->name()} : fmt::format("{}", place.tableId),
        std::uint64_t{place.version});
}

} // namespace

ExitStatus showLog(Context& context) {
    using enum TextTable::Align;
    auto& table = context.table();
    auto const applied = context.group().applied(table.tableId()).value_or(0);
    auto const announced = context.group().announced(table.tableId());
    auto json = nlohmann::ordered_json::array();
    TextTable text{{{"VERSION", right},
                    {"CHANGE", left},
                    {"UNIT", right},
                    {"KEY", left},
                    {"HARDWARE", left},
                    {"NEEDS", left},
                    {"ENTRY", left}}};
    table.forEachChange([&](LoggedChange const& change) {
        bool const ofTable = Asic::flagHas(change.flags, Asic::EntryFlags::flagTableDeleted);
        auto const* const hardware = change.version <= applied     ? "applied"
                                     : change.version <= announced ? "waiting"
                                                                   : "not announced";
        auto const key = ofTable ? std::string{"-"} : fmt::format("{:#010x}", change.key);
        auto const tblId = table.tableId().tblId();
        auto const entry =
            ofTable ? std::string{} : LoamPolicy::describe(tblId, change.key, change.padded);
        std::vector<std::string> needs;
        for (auto const& place : context.group().needed(table.tableId(), change.version)) {
            needs.push_back(placeText(context, place));
        }
        if (context.options().json) {
            json.push_back({{"version", change.version},
                            {"change", whatOf(change.flags)},
                            {"flags", static_cast<unsigned>(change.flags)},
                            {"unit", change.unitId},
                            {"key", key},
                            {"hardware", hardware},
                            {"needs", needs},
                            {"text", entry}});
        } else {
            text.row({fmt::to_string(change.version), whatOf(change.flags),
                      fmt::to_string(change.unitId), key, hardware,
                      needs.empty() ? "-" : fmt::format("{}", fmt::join(needs, ",")), entry});
        }
    });
    if (context.options().json) {
        nlohmann::ordered_json const all{{"table", table.name()}, {"changes", json}};
        fmt::print("{}\n", all.dump(2));
    } else {
        fmt::print("{}", text.text());
    }
    return exitDone;
}

} // namespace LoamCtl
