#include <fmt/chrono.h>
#include <fmt/format.h>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/Interrupt.h>
#include <apps/loamctl/LiveAgent.h>
#include <chrono>
#include <cstdio>

namespace LoamCtl {

namespace {

using Json = LiveAgent::Json;

Json requestOf(Context const& context) {
    auto const& options = context.options();
    Json request{{"request", "watch"}};
    if (!options.table.empty()) {
        request["table"] = context.table().name();
    }
    if (options.key) {
        request["key"] = *options.key;
    }
    if (options.unit) {
        request["unit"] = *options.unit;
    }
    if (!options.events.empty()) {
        request["events"] = options.events;
    }
    return request;
}

std::string timeText(std::uint64_t ms) {
    auto const seconds = static_cast<std::time_t>(ms / 1000);
    return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(seconds), ms % 1000);
}

std::string lineOf(Json const& event) {
    auto const what = event.value("event", std::string{});
    if (what == "lost") {
        return fmt::format("... {} events were lost, because they came faster than they were taken",
                           event.value("count", std::uint64_t{0}));
    }
    auto line = fmt::format("{}  {:<9}  {}  unit {}", timeText(event.value("time-ms", 0ULL)), what,
                            event.value("table", std::string{}), event.value("unit", 0U));
    if (event.contains("key")) {
        line += "  key " + event.value("key", std::string{});
    }
    if (event.contains("version")) {
        line += fmt::format("  version {}", event.value("version", 0ULL));
    }
    return line;
}

} // namespace

// A line per event, as it happens; without a table all are watched.
ExitStatus watchTables(Context& context) {
    auto const request = requestOf(context);
    waitForInterrupts();
    LiveAgent agent{context.folder()};
    agent.ask(request);
    auto const& options = context.options();
    if (!options.json) {
        fmt::print(stderr, "watching; Ctrl-C ends it\n");
    }
    std::uint64_t told = 0;
    while (!interrupted() && (options.most == 0 || told < options.most)) {
        if (auto const event = agent.next(1000)) {
            fmt::print("{}\n", options.json ? event->dump() : lineOf(*event));
            std::fflush(stdout);
            ++told;
        }
    }
    return exitDone;
}

} // namespace LoamCtl
