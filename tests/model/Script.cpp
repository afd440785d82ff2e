#include "Script.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <tuple>

namespace model {

namespace {

constexpr std::array actNames{"nothing", "write", "remove", "removeAll", "update",
                              "clear",   "mark",  "sweep",  "die"};
constexpr std::array helperNames{"nothing", "change", "react", "fail", "die"};
constexpr std::array eventNames{"response", "helper", "helper asked", "changed",
                                "pending",  "failed", "died",         "hardware gap"};

} // namespace

std::ostream& operator<<(std::ostream& out, Reaction const& reaction) {
    return out << actNames[static_cast<std::size_t>(reaction.act)] << "(table " << reaction.table
               << ", key " << reaction.key << ", value " << reaction.value << ')';
}

std::ostream& operator<<(std::ostream& out, Step const& step) {
    auto const put = [&](char const* name) -> std::ostream& {
        return out << name << " table " << step.table;
    };
    switch (step.kind) {
    case Kind::act:
        return put(actNames[static_cast<std::size_t>(step.act)])
               << " key " << step.key << " value " << step.value << " depends " << step.depends
               << ", then " << step.reaction;
    case Kind::foreign:
        return put("foreign handle") << " state " << step.value << " version " << step.key;
    case Kind::makeTable:
        return put("make") << (step.value % 2 != 0 ? " reset" : " keep")
                           << (step.value / 2 % 2 != 0 ? " own helper" : "");
    case Kind::helper:
        return put("helper of") << " does " << helperNames[step.value % helperNames.size()] << ", "
                                << step.reaction;
    case Kind::watch:
        return put("watch") << " field " << step.value << ", " << step.reaction;
    case Kind::commit:
        return out << "commit " << step.value;
    case Kind::hardware:
        return out << "hardware family " << familyOf(step.table) << " takes " << step.value
                   << " refuses key " << static_cast<int>(step.key) - 1;
    case Kind::poll:
        return out << "poll";
    case Kind::acknowledge:
        return put("acknowledge") << " version " << step.value;
    case Kind::sweepAll:
        return out << "sweep all";
    case Kind::reconcile:
        return out << "reconcile";
    case Kind::restart:
        return out << "restart, tables " << step.value;
    case Kind::dieWithin:
        return put("die within ") << ' ' << actNames[static_cast<std::size_t>(step.act)] << " key "
                                  << step.key << " value " << step.value << " after "
                                  << step.depends << " stores";
    }
    return out;
}

std::ostream& operator<<(std::ostream& out, Event const& event) {
    return out << eventNames[event.kind] << " table " << event.table << " field 0x" << std::hex
               << event.field << std::dec << " number " << event.number << " detail "
               << event.detail;
}

Events inOrder(Events events) {
    auto const sameRun = [](Event const& one, Event const& other) {
        return one.kind == Event::changed && other.kind == Event::changed &&
               one.table == other.table && one.field == other.field;
    };
    for (auto first = events.begin(); first != events.end();) {
        auto const last = std::find_if_not(first, events.end(),
                                           [&](auto const& e) { return sameRun(*first, e); });
        auto const end = last == first ? std::next(first) : last;
        std::sort(first, end, [](Event const& one, Event const& other) {
            return std::tie(one.number, one.detail) < std::tie(other.number, other.detail);
        });
        first = end;
    }
    return events;
}

} // namespace model
