#include <RingScribe/Clock.h>

#include <algorithm>
#include <apps/agent/Operation.h>
#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Names.h>
#include <apps/agent/control/Requests.h>
#include <iterator>
#include <memory>
#include <optional>

// Tells a client what happens to operations, as the tables publish it.
//
//     {"event": "committed", "table": "...", "unit": 0, "key": "0x00010001", "version": 7,
//      "time-ms": 1700000000000}
//     {"event": "lost", "count": 12}        the client was too slow; these were dropped
//
// Nothing is kept for a client that falls behind, and a table that nobody watches pays nothing.
namespace LoamAgent {

namespace {

struct Filter {
    std::optional<std::size_t> unit;
    std::optional<std::uint32_t> key;
    std::vector<std::string> events; // empty: all

    bool passes(TableEvent const& event) const {
        return (!unit || *unit == event.unit) && (!key || event.key == key) &&
               (events.empty() || std::ranges::find(events, nameOf(event.what)) != events.end());
    }
};

std::vector<std::string> allEvents() {
    using enum TableEvent::What;
    std::vector<std::string> names;
    for (auto const what : {written, removed, committed, applied, marking, sweeping}) {
        names.emplace_back(nameOf(what));
    }
    return names;
}

std::vector<std::string> eventsOf(Arguments const& arguments) {
    std::vector<std::string> events;
    if (!arguments.has("events")) {
        return events;
    }
    auto const known = allEvents();
    for (auto const& each : arguments.value("events")) {
        if (!each.is_string() || std::ranges::find(known, each.get<std::string>()) == known.end()) {
            throw RequestError{"an event to watch is none of these", known};
        }
        events.push_back(each);
    }
    return events;
}

std::uint64_t nowMs() {
    // The standard library's clock ends in 2038 in a 32-bit process.
    return static_cast<std::uint64_t>(RingScribe::clockNs(CLOCK_REALTIME) / 1'000'000);
}

class Watch {
  public:
    Watch(AgentControl& agent, Session& session, Filter filter)
        : agent_{agent}, session_{session}, filter_{std::move(filter)} {}

    void follow(AgentTable const& table) {
        auto subscriptions =
            table.watch([this, &table](TableEvent const& event) { tell(table, event); });
        std::ranges::move(subscriptions, std::back_inserter(subscriptions_));
    }

  private:
    void tell(AgentTable const& table, TableEvent const& event) {
        if (!filter_.passes(event)) {
            return;
        }
        Json json{{"event", nameOf(event.what)},
                  {"table", table.name()},
                  {"unit", agent_.units()[event.unit]},
                  {"time-ms", nowMs()}};
        if (event.key) {
            json["key"] = keyText(*event.key);
        }
        if (event.version != 0) {
            json["version"] = event.version;
        }
        if (lost_ != 0 && session_.tell(Json{{"event", "lost"}, {"count", lost_}}.dump())) {
            lost_ = 0;
        }
        if (lost_ != 0 || !session_.tell(json.dump())) {
            ++lost_;
        }
    }

    AgentControl& agent_;
    Session& session_; // which holds this
    Filter filter_;
    std::uint64_t lost_ = 0;
    std::vector<Ombra::Subscription> subscriptions_;
};

Json watch(AgentControl& agent, Arguments const& arguments, Session& session) {
    constexpr std::size_t mostWatches = 16;
    if (session.attached().size() >= mostWatches) {
        throw RequestError{fmt::format("a client has {} watches at most", mostWatches)};
    }
    auto const& platform = agent.platform();
    Filter filter{std::nullopt, std::nullopt, eventsOf(arguments)};
    if (arguments.has("unit")) {
        filter.unit = placeOfUnit(agent.units(), arguments.number("unit"));
    }
    if (arguments.has("key")) {
        filter.key = keyOf(arguments);
    }
    auto const begun = std::make_shared<Watch>(agent, session, filter);
    Json names = Json::array();
    auto const follow = [&](AgentTable const& table) {
        begun->follow(table);
        names.push_back(table.name());
    };
    if (arguments.has("table")) {
        follow(*platform.tables()[placeOfTable(platform, arguments.text("table"))]);
    } else {
        for (auto const& table : platform.tables()) {
            follow(*table);
        }
    }
    session.attached().push_back(begun);
    return {{"tables", names}};
}

} // namespace

void addWatchRequest(Requests& requests, AgentControl& agent) {
    using enum Arguments::Type;
    requests.add(
        {"watch",
         "tells what happens to operations from now on, a line each, until the client goes",
         {{"table", text, false, "of this table alone"},
          {"unit", number, false, "of this chip unit alone"},
          {"key", number, false, "of this key alone"},
          {"events", list, false,
           "of these alone: written, removed, committed, applied, marking, "
           "swept"}},
         [&](Arguments const& arguments, Session& session) {
             return watch(agent, arguments, session);
         }});
}

} // namespace LoamAgent
