#include <apps/agent/Operation.h>
#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Names.h>
#include <apps/agent/control/Requests.h>

// The agent's tables: their counters, and what has not come to their logs yet.
namespace LoamAgent {

namespace {

constexpr std::uint64_t mostPending = 10000; // operations in one answer

Json tableJson(AgentControl& agent, AgentTable const& table) {
    auto const counts = table.counts();
    std::uint64_t entries = 0;
    bool marking = false;
    for (std::size_t unit = 0; unit < agent.units().size(); ++unit) {
        entries += table.entrys(unit);
        marking = marking || table.inMarkingState(unit);
    }
    return {{"name", table.name()},
            {"entries", entries},
            {"marking", marking},
            {"writes", counts.writes},
            {"removes", counts.removes},
            {"suppressed-writes", counts.suppressedWrites},
            {"commits", counts.commits},
            {"queued", table.queued()},
            {"logged-version", table.loggedVersion()},
            {"applied-version", table.appliedVersion()},
            {"log-records", table.logRecords()}};
}

Json tables(AgentControl& agent) {
    Json all = Json::array();
    for (auto const& table : agent.platform().tables()) {
        all.push_back(tableJson(agent, *table));
    }
    return all;
}

Json pending(AgentControl& agent, Arguments const& arguments) {
    auto const& table =
        *agent.platform().tables()[placeOfTable(agent.platform(), arguments.text("table"))];
    auto const first = arguments.number("first");
    auto const most = std::min(arguments.number("most", mostPending), mostPending);
    Json operations = Json::array();
    table.forEachQueued([&](Operation const& operation) {
        if (operation.position >= first && operations.size() < most) {
            operations.push_back({{"operation", nameOf(operation.kind)},
                                  {"unit", agent.units()[operation.unit]},
                                  {"key", keyText(operation.key)},
                                  {"position", operation.position},
                                  {"fields", hexText(operation.fields)}});
        }
        return operations.size() < most;
    });
    return {{"queued", table.queued()}, {"operations", operations}};
}

} // namespace

void addTableRequests(Requests& requests, AgentControl& agent) {
    using enum Arguments::Type;
    requests.add({"tables", "tells the counters of all tables", {}, [&](auto const&, auto&) {
                      return tables(agent);
                  }});
    requests.add({"pending",
                  "lists the operations of a table that wait to be logged, first one first",
                  {{"table", text, true, "the table's name"},
                   {"first", number, false, "how many to pass over; 0 if left out"},
                   {"most", number, false, "how many to list; 10000 at most"}},
                  [&](Arguments const& arguments, auto&) { return pending(agent, arguments); }});
}

} // namespace LoamAgent
