#include <apps/agent/Operation.h>
#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Names.h>
#include <apps/agent/control/Requests.h>
#include <optional>
#include <set>

// Why an operation of a key is not in the log: the chain of what it waits for.
//
// An operation waits for those of its table before it; the first of these waits for room in the
// log, or for an operation of another table that it depends on, and that one for what is before it,
// and so on. What is in the log stands in shared memory, and is told from there, by others.
namespace LoamAgent {

namespace {

constexpr std::size_t longestChain = 32; // steps

class Chain {
  public:
    explicit Chain(AgentControl& agent) : agent_{agent} {}

    Json of(std::size_t table, Operation const& operation) {
        steps_ = Json::array();
        visited_.clear();
        follow(table, operation);
        return steps_;
    }

  private:
    AgentTable const& tableAt(std::size_t place) const {
        return *agent_.platform().tables()[place];
    }

    static std::optional<Operation> headOf(AgentTable const& table) {
        std::optional<Operation> head;
        table.forEachQueued([&](Operation const& operation) {
            head = operation;
            return false;
        });
        return head;
    }

    void step(char const* what, std::string const& text, Json const& more = Json::object()) {
        Json one{{"what", what}, {"text", text}};
        one.update(more);
        steps_.push_back(std::move(one));
    }

    void follow(std::size_t place, Operation const& operation) {
        if (steps_.size() >= longestChain || !visited_.insert(operation.handle.get()).second) {
            return;
        }
        if (operation.position != 0) {
            behindOthers(place, operation);
        } else if (tableAt(place).logRecords() >= AgentTable::logCapacity) {
            logIsFull(place);
        } else if (!waitsForDependency(operation)) {
            step("ready", fmt::format("the {} of {} key {} is ready: the agent commits it at its "
                                      "next turn",
                                      nameOf(operation.kind), tableAt(place).name(),
                                      keyText(operation.key)));
        }
    }

    void behindOthers(std::size_t place, Operation const& operation) {
        auto const& table = tableAt(place);
        auto const head = headOf(table);
        if (!head) {
            return;
        }
        step("behind",
             fmt::format("{} operations of {} come before it; the first is the {} of key {}",
                         operation.position, table.name(), nameOf(head->kind), keyText(head->key)),
             {{"table", table.name()}, {"operations", operation.position}});
        follow(place, *head);
        waitsForDependency(operation);
    }

    void logIsFull(std::size_t place) {
        auto const& table = tableAt(place);
        step("log-full",
             fmt::format("the log of {} is full with {} records; there is room again when the "
                         "hardware side has applied a version above {}",
                         table.name(), table.logRecords(), table.appliedVersion()),
             {{"table", table.name()},
              {"log-records", table.logRecords()},
              {"applied-version", table.appliedVersion()}});
    }

    // Whether the operation has such a step.
    bool waitsForDependency(Operation const& operation) {
        auto const& dependency = operation.dependency;
        if (!dependency ||
            dependency->entryState() != Asic::SwTableBase::EntryState::entryPending) {
            return false;
        }
        auto const tables = agent_.platform().tables();
        for (std::size_t place = 0; place < tables.size(); ++place) {
            auto const key = tables[place]->keyOf(dependency);
            if (!key) {
                continue;
            }
            step("dependency",
                 fmt::format("the {} of key {} waits for {} key {}, which is not in the log",
                             nameOf(operation.kind), keyText(operation.key), tables[place]->name(),
                             keyText(*key)),
                 {{"table", tables[place]->name()}, {"key", keyText(*key)}});
            followHandle(place, dependency);
            return true;
        }
        return false;
    }

    void followHandle(std::size_t place, Handle const& handle) {
        std::optional<Operation> found;
        tableAt(place).forEachQueued([&](Operation const& operation) {
            if (operation.handle == handle) {
                found = operation;
            }
            return !found;
        });
        if (found) {
            follow(place, *found);
        }
    }

    AgentControl& agent_;
    Json steps_;
    std::set<void const*> visited_;
};

Json sinceOf(std::optional<History::Clock::duration> const& since) {
    return since ? Json(std::chrono::duration_cast<std::chrono::milliseconds>(*since).count())
                 : Json(nullptr);
}

Json explain(AgentControl& agent, Arguments const& arguments) {
    auto const place = placeOfTable(agent.platform(), arguments.text("table"));
    auto const& table = *agent.platform().tables()[place];
    auto const key = keyOf(arguments);
    Chain chain{agent};
    Json operations = Json::array();
    auto const commits = table.counts().commits;
    std::vector<Operation> found;
    table.forEachQueued([&](Operation const& operation) {
        if (operation.key == key || operation.kind == Operation::Kind::removeAll) {
            found.push_back(operation);
        }
        return true;
    });
    for (auto const& operation : found) {
        operations.push_back({{"operation", nameOf(operation.kind)},
                              {"stage", nameOf(operation.stage)},
                              {"unit", agent.units()[operation.unit]},
                              {"entry-version", operation.entryVersion},
                              {"position", operation.position},
                              {"since-ms", sinceOf(agent.history().sinceEnqueued(
                                               place, commits + operation.position + 1))},
                              {"waits", chain.of(place, operation)}});
    }
    Json seen = Json::array();
    for (std::size_t unit = 0; unit < agent.units().size(); ++unit) {
        if (auto const refused = table.refused(unit, key)) {
            operations.push_back({{"operation", nameOf(refused->kind)},
                                  {"stage", nameOf(refused->stage)},
                                  {"unit", agent.units()[unit]},
                                  {"entry-version", refused->entryVersion}});
        }
        seen.push_back({{"unit", agent.units()[unit]}, {"seen", table.entryHas(unit, key)}});
    }
    return {{"operations", operations}, {"readers", seen}};
}

// Since when something has been in the log, as far as this run of the agent saw it.
Json loggedSince(AgentControl& agent, Arguments const& arguments) {
    auto const place = placeOfTable(agent.platform(), arguments.text("table"));
    return {{"since-ms", sinceOf(agent.history().sinceLogged(place, arguments.number("version")))}};
}

} // namespace

void addExplainRequest(Requests& requests, AgentControl& agent) {
    using enum Arguments::Type;
    requests.add({"explain",
                  "tells what the operations of a key wait for that are not in the log yet",
                  {{"table", text, true, "the table's name"},
                   {"key", number, true, "the key, a number of 32 bits"}},
                  [&](Arguments const& arguments, auto&) { return explain(agent, arguments); }});
    requests.add(
        {"logged-since",
         "tells how long ago a version was logged, if this run of the agent did it",
         {{"table", text, true, "the table's name"}, {"version", number, true, "the version"}},
         [&](Arguments const& arguments, auto&) { return loggedSince(agent, arguments); }});
}

} // namespace LoamAgent
