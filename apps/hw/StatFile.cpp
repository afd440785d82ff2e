#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <apps/hw/StatFile.h>
#include <chrono>

namespace LoamHw {

namespace {

using Json = nlohmann::ordered_json;

std::string nameOfTable(HardwareSide const& hardwareSide, Asic::SwTableId tableId) {
    for (auto const& table : hardwareSide.tables()) {
        if (table.view().tableId() == tableId) {
            return table.view().name();
        }
    }
    return {};
}

Json stuckOf(std::optional<Stuck> const& stuck, Clock::time_point now) {
    if (!stuck) {
        return nullptr;
    }
    return {{"version", stuck->version},
            {"unit", stuck->place.unitId},
            {"key", fmt::format("{:#010x}", stuck->place.key)},
            {"result", nameOf(stuck->result)},
            {"reason", stuck->reason},
            {"tries", stuck->tries},
            {"for-ms",
             std::chrono::duration_cast<std::chrono::milliseconds>(now - stuck->since).count()}};
}

Json waitsForOf(HardwareSide const& hardwareSide, TableFollower const& table) {
    auto const& place = table.waitsFor();
    if (!place) {
        return nullptr;
    }
    return {{"table-id", fmt::format("{}", place->tableId)},
            {"table", nameOfTable(hardwareSide, place->tableId)},
            {"version", std::uint64_t{place->version}}};
}

Json orNull(std::string const& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

Json tableOf(HardwareSide const& hardwareSide, TableFollower const& table, Backend const& backend,
             Clock::time_point now) {
    auto const& counts = table.counts();
    auto const& view = table.view();
    return {{"name", view.name()},
            {"table-id", fmt::format("{}", view.tableId())},
            {"state", nameOf(table.state())},
            {"announced", table.announced()},
            {"applied", table.applied()},
            {"entries", backend.entryCount(view.tableId())},
            {"damaged-reads", view.damagedReads()},
            {"changes", counts.changes},
            {"unchanged", counts.unchanged},
            {"audits", counts.audits},
            {"audit-operations", counts.audited},
            {"incomplete-audits", counts.incompleteAudits},
            {"missing-changes", counts.missing},
            {"lost-needed", counts.lostNeeded},
            {"overtaken", counts.overtaken},
            {"early-removes", counts.early},
            {"leftovers", counts.leftovers},
            {"stuck", stuckOf(table.stuck(), now)},
            {"waits-for", waitsForOf(hardwareSide, table)},
            {"trouble", orNull(view.trouble())}};
}

} // namespace

nlohmann::ordered_json statOf(HardwareSide const& hardwareSide, Backend const& backend,
                              Clock::time_point now) {
    auto const& operations = backend.counts();
    Json stat{{"backend", backend.name()},
              {"agent-run", hardwareSide.agentRun()},
              {"rounds", hardwareSide.rounds()},
              {"settled", hardwareSide.settled()},
              {"store-trouble", orNull(hardwareSide.storeTrouble())},
              {"operations",
               {{"writes", operations.writes},
                {"removes", operations.removes},
                {"moved", operations.moved},
                {"refused", operations.refused},
                {"full", operations.full},
                {"retried", operations.retried}}}};
    stat["tables"] = Json::array();
    for (auto const& table : hardwareSide.tables()) {
        stat["tables"].push_back(tableOf(hardwareSide, table, backend, now));
    }
    return stat;
}

} // namespace LoamHw
