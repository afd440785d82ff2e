#pragma once

#include "Script.h"

#include <array>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

// The rules of the whole system, told as plainly as they can be: maps, lists, and one function per
// rule. It knows nothing of the library.
//
// Three kinds of state: what survives the agent (`Stored`), what a run of the agent has (`Table`,
// `Running`), and what the hardware has.
namespace model {

enum class State : unsigned { pending = 0, inLog = 1, applied = 4, failed = 5 };

constexpr unsigned numberOf(State state) {
    return static_cast<unsigned>(state);
}

constexpr bool isFailure(unsigned state) {
    return state == 3 || state == 5 || state == 6;
}

// The numbers under which changes are published.
enum Field : unsigned {
    helperField = 0x302,
    addField = 0x303,
    removeField = 0x304,
    versionField = 0x305,
    removeAllField = 0x306,
    inLogField = 0x316,
    markedField = 0x31f,
    markingField = 0x320,
};

// --- what survives

struct Record { // of a key in a unit's configuration table
    Value value = 0;
    Version version = 0;
    bool inDeletion = false;

    friend bool operator==(Record const&, Record const&) = default;
};

enum class What : unsigned { written = 0, deleted = 1, tableDeleted = 2 };

struct Change { // in a table's log
    What what{};
    unsigned unit = 0;
    Key key = 0;
    Value value = 0;

    friend bool operator==(Change const&, Change const&) = default;
};

using Needed = std::map<unsigned, Version>; // places in other families' logs

struct Stored {                                       // of one family
    std::map<unsigned, std::map<Key, Record>> config; // per unit that was ever mounted
    std::map<Version, Change> log;                    //
    Version scratchpad = 0;                           // the last version that was logged
    Version announced = 0;                            //
    std::map<Version, Needed> needed;                 //
    std::optional<Version> applied;                   // the hardware side's
};

// --- what a run of the agent has

struct Handle {
    unsigned table = 0;
    Key key = 0;
    Version entryVersion = 0;
    unsigned state = 0;
    Version logVersion = 0;
    std::optional<std::size_t> number; // among those that a client keeps
    Reaction reaction{};               // of its response handler
    bool answers = false;              // whether it has one
};
using HandlePtr = std::shared_ptr<Handle>;

struct Wrapper {
    Key key = 0;
    Value value = 0;
    HandlePtr handle;
};
using WrapperPtr = std::shared_ptr<Wrapper>;

struct Operation { // in the resolver's queue
    Act act{};
    unsigned table = 0;
    bool suppressIdentical = false;
    HandlePtr dependency;
    WrapperPtr wrapper;
};

struct Counts {
    std::uint64_t writes = 0, removes = 0, commits = 0, updates = 0, clears = 0, suppressed = 0,
                  differed = 0;

    friend bool operator==(Counts const&, Counts const&) = default;
};

struct Table {
    std::map<Key, WrapperPtr> adds, removes;
    std::map<Key, Version> versions;
    std::optional<Version> removeAlls; // how many are pending, less one
    std::set<Key> marked;
    bool marking = false;
    std::deque<HandlePtr> inLog;
    std::uint32_t nextNumber = 1; // of an element of that queue
    Counts counts;
    bool ownHelper = false;
    HelperMode helperMode{};
    Reaction helperReaction{};
    bool watched = false;
    unsigned watchedField = 0;
    Reaction watchReaction{};
};

struct Running { // one family's interface
    Version tableVersion = 0;
    Version cleaned = 0; // trimmed to; 0: not yet in this run
    bool pendingHwWrites = false;
    std::set<unsigned> mounted; // units
};

class ReferenceModel {
  public:
    ReferenceModel();

    void take(Step const& step);

    // What the library's iteration order decides: given in the order in which it is asked for.
    std::deque<std::vector<Key>> orders;
    // In which order the group tells its families, and a family its units.
    std::vector<unsigned> familyOrder;
    std::array<std::vector<unsigned>, familyCount> unitOrder;

    // Whether nothing has been done that the hardware side may know nothing of.
    bool hardwareIsTold() const { return hardwareIsTold_; }
    void audit(); // the hardware side compares its entries with the configuration tables

    // What readers are told.
    std::optional<Value> read(unsigned table, Key key) const;
    std::optional<Value> committed(unsigned table, Key key) const;
    bool has(unsigned table, Key key) const;
    std::map<Key, Value> visible(unsigned table) const;
    std::uint32_t count(unsigned table) const;
    bool hasPendingHwWrites(unsigned table) const;
    std::map<Key, Record> const& config(unsigned table) const;

    std::array<Stored, familyCount> stored;
    std::array<std::optional<Running>, familyCount> running;
    std::array<std::optional<Table>, tableCount> tables;
    std::vector<HandlePtr> handles; // that a client keeps
    std::size_t queuedIn(unsigned family) const;
    std::uint64_t failedCommits = 0;
    std::map<std::pair<unsigned, unsigned>, std::map<Key, Value>> hardware; // by family and unit
    Events events;
    std::size_t committedLast = 0; // by the last `commit`
    unsigned fuel = fuelPerStep;   // how often those who are called back act within a step

  private:
    struct Lane {
        unsigned family;
        std::deque<Operation> queue;
    };
    // While it lives, subscribers do not act: the order in which they are told is not a rule.
    struct Quiet {
        explicit Quiet(unsigned& depth) : depth_{++depth} {}
        ~Quiet() { --depth_; }
        unsigned& depth_;
    };

    Table& at(unsigned table) { return *tables[table]; }
    Table const& at(unsigned table) const { return *tables[table]; }
    Running& run(unsigned table) { return *running[familyOf(table)]; }

    // Acts of a client.
    void act(Act act, unsigned table, Key key, Value value, HandlePtr const& dependency,
             Reaction const& reaction, bool answers);
    void react(Reaction const& reaction);
    HandlePtr newHandle(unsigned table, Key key, Version version, Reaction const& reaction,
                        bool answers, bool kept);
    Version nextVersion(unsigned table, Key key) const;
    void write(unsigned table, Key key, Value value, HandlePtr const& dependency,
               Reaction const& reaction, bool answers);
    void remove(unsigned table, Key key, HandlePtr const& dependency, Reaction const& reaction,
                bool answers, bool kept = true);
    void removeAll(unsigned table, HandlePtr const& dependency, Reaction const& reaction,
                   bool answers);
    void update(unsigned table, Key key);
    bool clear(unsigned table, HandlePtr const& handle, HandlePtr const& dependency);
    void mark(unsigned table);
    void sweep(unsigned table);
    void enqueue(Operation operation);

    // The resolver and the commit.
    void commitSome(std::size_t budget);
    void commit(Operation const& operation);
    void commitWrite(Operation const& operation);
    void commitRemove(Operation const& operation);
    void committedAs(Operation const& operation, Version version, bool inLog);
    void dropIfNewest(Operation const& operation);
    void callHelper(Operation const& operation);
    void respond(HandlePtr const& handle);
    Needed neededOf(HandlePtr const& dependency) const;

    // The log.
    Version logWrite(unsigned table, Key key, Value value, Needed needed, bool suppressIdentical);
    Version logRemove(unsigned table, Key key, Needed needed);
    Version logClear(unsigned table, Needed needed);
    void record(unsigned family, Version version, Change const& change, Needed needed);
    void trim(unsigned family, Version version);
    void applyTrimmed(unsigned family, Version version, Change const& change);

    // The platform.
    void startFamily(unsigned family);
    void makeTable(unsigned table, bool reset, bool ownHelper);
    void statusVersion(unsigned table, Version version);
    void poll();
    void turnOfHardware(unsigned family, unsigned most, unsigned refusedKey);
    void reconcile();
    void restart(unsigned choices);
    void dieWithin(Step const& step);

    // Changes of attributes.
    void changed(unsigned table, unsigned field, std::uint64_t number);
    void updatePending(unsigned family);
    void pendingIs(unsigned family, bool pending);
    void takeRemoved(unsigned table, Key key);
    void takeAdded(unsigned table, Key key);

    std::vector<Lane> lanes_;
    std::size_t nextLane_ = 0;
    std::map<unsigned, Version> told_; // what each family was last told
    std::vector<unsigned> sweepable_;
    unsigned fuel_ = 0;
    unsigned quiet_ = 0;
    bool hardwareIsTold_ = true;
};

} // namespace model
