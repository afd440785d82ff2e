#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/HardwareStat.h>
#include <apps/loamctl/TextTable.h>

namespace LoamCtl {

namespace {

struct Line {
    Table* table;
    std::vector<Asic::UnitId> units;
    std::uint64_t entries = 0;
    std::uint64_t inDeletion = 0;
    LogState log;
    Asic::LogVersion announced = 0;
    std::optional<Asic::LogVersion> applied;
    std::uint64_t lag = 0;
};

// Of a live agent's table, what moves first is read last, so that no lag comes out below zero.
Line lineOf(Context& context, Table& table) {
    Line line{&table, table.units(), 0, 0, {}, 0, {}, 0};
    for (auto const unitId : line.units) {
        table.forEachEntry(unitId, [&](StoredEntry const& stored) {
            ++(stored.inDeletion ? line.inDeletion : line.entries);
        });
    }
    line.applied = context.group().applied(table.tableId());
    line.announced = context.group().announced(table.tableId());
    line.log = table.logState();
    line.lag = line.announced - std::min(line.announced, line.applied.value_or(0));
    return line;
}

nlohmann::ordered_json jsonOf(Line const& line) {
    nlohmann::ordered_json json{
        {"table-id", fmt::format("{}", line.table->tableId())},
        {"name", line.table->name()},
        {"policy", line.table->policy()},
        {"holds", line.table->holds()},
        {"units", line.units},
        {"entries", line.entries},
        {"in-deletion", line.inDeletion},
        {"log-records", line.log.records},
        {"logged-version", line.log.version},
        {"announced-version", line.announced},
        {"applied-version", nullptr},
        {"lag-changes", line.lag},
    };
    if (line.applied) {
        json["applied-version"] = *line.applied;
    }
    return json;
}

} // namespace

ExitStatus listTables(Context& context) {
    using enum TextTable::Align;
    auto json = nlohmann::ordered_json::array();
    TextTable text{{{"TABLE ID", left},
                    {"NAME", left},
                    {"POLICY", left},
                    {"UNITS", left},
                    {"ENTRIES", right},
                    {"IN DELETION", right},
                    {"LOG RECORDS", right},
                    {"LOGGED VERSION", right},
                    {"ANNOUNCED", right},
                    {"APPLIED", right},
                    {"LAG CHANGES", right}}};
    for (auto const& table : context.tables()) {
        auto const line = lineOf(context, *table);
        json.push_back(jsonOf(line));
        text.row({fmt::format("{}", table->tableId()), std::string{table->name()},
                  std::string{table->policy()},
                  line.units.empty() ? "-" : fmt::format("{}", fmt::join(line.units, ",")),
                  fmt::to_string(line.entries), fmt::to_string(line.inDeletion),
                  fmt::to_string(line.log.records), fmt::to_string(line.log.version),
                  fmt::to_string(line.announced),
                  line.applied ? fmt::to_string(*line.applied) : "-", fmt::to_string(line.lag)});
    }
    HardwareStat const hardware{context};
    if (context.options().json) {
        nlohmann::ordered_json const all{
            {"tables", json},
            {"agent-alive", context.group().agent().alive},
            {"hardware-side", {{"alive", hardware.alive()}, {"troubles", hardware.troubles()}}}};
        fmt::print("{}\n", all.dump(2));
    } else {
        fmt::print("{}", text.text());
        for (auto const& trouble : hardware.troubles()) {
            fmt::print("{}\n", trouble);
        }
    }
    return exitDone;
}

} // namespace LoamCtl
