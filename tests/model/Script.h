#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <vector>

// What is done to the library and to the reference model alike, and what both tell of it.
//
// The world is small, so that everything meets everything: two tables, the one of entries and the
// one of actions, on two chip units each; six keys; four values of an entry. A table on a unit is
// told by one number, 0 to 3.
namespace model {

using Key = std::uint32_t;
using Value = std::uint32_t; // the last byte of an entry
using Version = std::uint64_t;

inline constexpr unsigned familyCount = 2;
inline constexpr unsigned unitCount = 2;
inline constexpr unsigned tableCount = familyCount * unitCount;
inline constexpr unsigned keyCount = 6;

constexpr unsigned familyOf(unsigned table) {
    return table / unitCount;
}
constexpr unsigned unitOf(unsigned table) {
    return table % unitCount;
}
constexpr unsigned tableOf(unsigned family, unsigned unit) {
    return family * unitCount + unit;
}

// What a client can do; also what its code does when it is called back.
enum class Act : std::uint8_t { none, write, remove, removeAll, update, clear, mark, sweep, die };

struct Reaction {
    Act act = Act::none;
    unsigned table = 0;
    Key key = 0;
    Value value = 0;
};

// What a client's helper does when a commit calls it.
enum class HelperMode : std::uint8_t { nothing, change, react, fail, die };

enum class Kind : std::uint8_t {
    act,       // a client's call, with a response handler that reacts
    foreign,   // a handle that others made, in any state; something to depend on
    makeTable, // value bit 0: reset; bit 1: with a helper of the client's own
    helper,    // what the table's own helper does from now on
    watch,     // value 0: nobody subscribes to the table; else a subscriber that reacts to a field
    commit,    // the resolver runs with a budget of `value`
    hardware,  // takes up to `value` changes of the family; refuses the key `key` - 1
    poll,      // the agent looks what the hardware side has applied
    acknowledge, // the platform tells the table that `value` is applied, true or not
    sweepAll,    // the group sweeps
    reconcile,   // the agent's tables for units that nobody claimed
    restart,     // the agent is killed and comes up; value: what each table does then
    dieWithin,   // as restart, in the middle of a change: `value` stores were made
};

struct Step {
    Kind kind = Kind::poll;
    Act act = Act::none;
    unsigned table = 0;
    Key key = 0;
    Value value = 0;
    unsigned depends = 0; // how far back in the list of handles; 0: on nothing
    Reaction reaction{};
};

using Script = std::vector<Step>;

std::ostream& operator<<(std::ostream& out, Reaction const& reaction);
std::ostream& operator<<(std::ostream& out, Step const& step);

// What client code, subscribers and callers are told, in order.
struct Event {
    enum Kind : std::uint8_t {
        response,     // number: of the handle among those kept; detail: its state
        helperCalled, // number: key; detail: value seen, and whether it is a remove
        helperAsked,  // as above, for an update
        changed,      // field `field` of a watched table, of the key or sequence number `number`
        pending,      // of the family `table`; number: the status' new value
        failed,       // a call ended with an exception of the helper's
        died,         // ... or with the agent's death
        hardwareGap,  // the hardware side misses a change
    };
    Kind kind{};
    unsigned table = 0;
    unsigned field = 0;
    std::uint64_t number = 0;
    std::uint64_t detail = 0;

    friend bool operator==(Event const&, Event const&) = default;
};
using Events = std::vector<Event>;

std::ostream& operator<<(std::ostream& out, Event const& event);

// Where a collection is emptied key by key, the order is the hash's: such runs are put in order.
Events inOrder(Events events);

// How often code that is called back may act within one step.
inline constexpr unsigned fuelPerStep = 3;

// Thrown by callbacks.
struct HelperFailure {};
struct AgentDied {};

} // namespace model
