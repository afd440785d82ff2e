#pragma once

#include <Asic/OrderedSwTable.h>
#include <Asic/OrderedTableInterface.h>
#include <Ombra/Ptr.h>
#include <Ombra/Publisher.h>

#include <Inspect/Object.h>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// One software table as the agent drives it: all chip units of it, and its values as plain bytes,
// so that what programs a policy is written and compiled once for all tables.
//
// Units are named by their place in the list that `makeSwTables` was given. Keys are the tables'
// own, as numbers. Agent's thread; every operation costs what the table's costs.
namespace LoamAgent {

// Under which all tables of the catalogue are made.
inline constexpr std::string_view agentName = "LoamSystemAcl";
inline constexpr std::string_view groupName = "LoamSystemAcl";

using Handle = Ombra::Ptr<Asic::DependencyEntryHandle const>;

// Called when an operation is applied or refused; see XxxSwTable.h.
using ResponseHandler =
    std::function<void(Ombra::Ptr<Asic::OrderedSwTable::EntryHandle const> const&)>;

struct Operation;  // Operation.h
struct TableEvent; // likewise

class AgentTable {
  public:
    // What the table's objects of all units have counted, added up.
    struct Counts {
        std::uint64_t writes = 0;
        std::uint64_t removes = 0;
        std::uint64_t suppressedWrites = 0;
        std::uint64_t commits = 0; // refused ones too
    };

    AgentTable() = default;
    AgentTable(AgentTable const&) = delete;
    AgentTable& operator=(AgentTable const&) = delete;
    virtual ~AgentTable();

    virtual std::string_view name() const = 0;
    virtual Asic::SwTableId tableId() const = 0;

    // `reset` true: the tables are empty afterwards; false: they keep what shared memory holds, and
    // start to mark. Throws what the shared-memory service throws.
    virtual void makeSwTables(std::vector<Asic::UnitId> const& units, bool reset) = 0;

    virtual bool entryHas(std::size_t unit, std::uint32_t key) const = 0;

    // Whether a reader sees just these bytes behind the key.
    virtual bool entryIsEqual(std::size_t unit, std::uint32_t key,
                              std::span<std::byte const> fields) const = 0;

    // Bytes that an entry has behind its key; and those that a reader sees.
    virtual std::size_t fieldsBytes() const = 0;
    virtual std::vector<std::byte> fieldsOf(std::size_t unit, std::uint32_t key) const = 0;

    virtual std::uint32_t entrys(std::size_t unit) const = 0;

    // The keys that a reader sees, in no order.
    virtual std::vector<std::uint32_t> keys(std::size_t unit) const = 0;

    // `dependency` may be null. What the value type does not hold of `fields`, padding at the end,
    // is left out.
    virtual Handle entryWrite(std::size_t unit, std::uint32_t key,
                              std::span<std::byte const> fields, Handle const& dependency,
                              ResponseHandler const& responseHandler) = 0;
    virtual Handle entryRemove(std::size_t unit, std::uint32_t key, Handle const& dependency,
                               ResponseHandler const& responseHandler) = 0;

    // Deletes all entries of a unit with one change. Gives no handle; see LogPlace.h.
    virtual void entryRemoveAll(std::size_t unit, Handle const& dependency) = 0;

    // Whether the unit's table marks, and whether it does and the key is marked.
    virtual bool inMarkingState(std::size_t unit) const = 0;
    virtual bool markedKeyHas(std::size_t unit, std::uint32_t key) const = 0;

    // Closes the unit's marking phase. Gives the number of removes that it led to.
    virtual std::uint64_t sweep(std::size_t unit) = 0;

    // The version of the last change in the table's log, and up to which it is applied.
    virtual Asic::LogVersion loggedVersion() const = 0;
    virtual Asic::LogVersion appliedVersion() const = 0;

    // Whether some unit holds something that the hardware side has not applied.
    virtual bool hasPendingHwWrites() const = 0;

    // Changes in the log that the hardware side has not applied.
    virtual std::uint64_t unappliedChanges() const = 0;

    virtual Counts counts() const = 0;

    // --- for people who look

    // The unit's table and the table's front door, for access by name.
    virtual Inspect::Object swTable(std::size_t unit) const = 0;
    virtual Inspect::Object interfaceObject() const = 0;

    // Operations that wait in the resolver, in their order, until `give` says false. Linear.
    virtual void forEachQueued(std::function<bool(Operation const&)> const& give) const = 0;

    // A key's operation that was refused, if readers still see it.
    virtual std::optional<Operation> refused(std::size_t unit, std::uint32_t key) const = 0;

    virtual std::uint64_t queued() const = 0;

    // Whose operation the handle is; nothing for one of another table, or of no key.
    virtual std::optional<std::uint32_t> keyOf(Handle const& handle) const = 0;

    // Records in the change log, which takes no more than `logCapacity`.
    virtual std::uint64_t logRecords() const = 0;
    static constexpr std::uint64_t logCapacity = 1000000;

    // Tells each operation of all units as it moves, until the subscriptions end.
    virtual std::vector<Ombra::Subscription>
    watch(std::function<void(TableEvent const&)> const& tell) const = 0;

    // What depends on it is applied behind all that is logged now.
    Handle loggedPlace() const;
};

// One of each table of the catalogue, by the order of their identifiers. The first call in a
// process mounts the change logs; throws what the shared-memory service throws.
std::vector<std::unique_ptr<AgentTable>>
allAgentTables(Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf);

} // namespace LoamAgent
