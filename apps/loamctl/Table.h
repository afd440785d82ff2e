#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <ZetSharedMem/EntityManager.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// One table's shared memory as a person looks at it: read-only, of a live or a dead agent, and
// without the table's types, so that each command is written once for all tables.
//
// A collection that isn't there counts as empty. Damage that a read meets ends the walk or the
// look-up and raises `Ombra::CorruptionDetectedException`; what can't be opened raises the other
// exceptions of the shared-memory service. Spans are good during the callback. One thread uses it.
namespace LoamCtl {

// The state of one key on one unit.
struct StoredEntry {
    std::uint32_t key = 0;
    Asic::LogVersion version = 0;
    bool inDeletion = false;
    std::span<std::byte const> fields; // behind the key, without padding
    std::span<std::byte const> padded; // the same with it
};

// One change of the log.
struct LoggedChange {
    Asic::LogVersion version = 0;
    Asic::EntryFlags flags{};
    Asic::UnitId unitId = 0;
    std::uint32_t key = 0;
    std::span<std::byte const> padded;
};

struct LogState {
    bool present = false; // an agent has made the log
    std::uint64_t records = 0;
    Asic::LogVersion version = 0; // of the last change
};

class Table {
  public:
    Table() = default;
    Table(Table const&) = delete;
    Table& operator=(Table const&) = delete;
    virtual ~Table();

    virtual std::string_view name() const = 0;
    virtual Asic::SwTableId tableId() const = 0;
    virtual std::string_view policy() const = 0; // "IPv4 system" and the like
    virtual std::string_view holds() const = 0;  // "entries" or "actions"

    // The units that have a configuration table, ascending.
    virtual std::vector<Asic::UnitId> units() = 0;

    // In no order.
    virtual void forEachEntry(Asic::UnitId unitId,
                              std::function<void(StoredEntry const&)> const& give) = 0;

    // False when the unit's table has no record of the key.
    virtual bool withEntry(Asic::UnitId unitId, std::uint32_t key,
                           std::function<void(StoredEntry const&)> const& give) = 0;

    virtual LogState logState() = 0;

    // In the order of the versions.
    virtual void forEachChange(std::function<void(LoggedChange const&)> const& give) = 0;
};

// One of each table of the catalogue, by the order of their identifiers.
std::vector<std::unique_ptr<Table>>
allTables(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager);

} // namespace LoamCtl
