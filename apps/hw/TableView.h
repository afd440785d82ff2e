#pragma once

#include <Asic/GroupSlates.h>
#include <Asic/Identifiers.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <ZetSharedMem/EntityManager.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

// One table's shared memory as the hardware side reads it: what is announced, the change log, the
// configuration tables of the units. Without the table's types, so that what follows the logs is
// written once and compiled once.
//
// Everything is mounted read-only, and may not be there: the agent has perhaps never run. Damage
// that a read meets is reported to the map and told by the result. Records are handed out by
// reference and good until the next call of the same kind. One thread uses a view.
namespace LoamHw {

enum class Read : std::uint8_t { found, absent, damaged };

// A change of the table, as the log has it.
struct Change {
    Asic::LogVersion version = 0;
    Asic::EntryFlags logFlags{};
    Asic::UnitId unitId = 0;
    std::uint32_t key = 0;
    std::span<std::byte const> fields;
};

// What the configuration table of a unit holds for a key.
struct Stored {
    std::uint32_t key = 0;
    Asic::LogVersion logVersion = 0;
    bool inDeletion = false;
    std::span<std::byte const> fields;
};

class TableView {
  public:
    TableView(Ombra::Ptr<ZetSharedMem::EntityManager> manager, Asic::SwTableId tableId,
              std::string name, Ombra::String const& canonicalGroup);
    TableView(TableView const&) = delete;
    TableView& operator=(TableView const&) = delete;
    virtual ~TableView();

    Asic::SwTableId tableId() const { return tableId_; }
    std::string const& name() const { return name_; }

    // Mounts what is not mounted. Cheap when all is. True when the table can be followed; `trouble`
    // tells why not, empty when the agent just hasn't made it yet.
    bool mount();
    std::string const& trouble() const { return trouble_; }

    // Drops what is no longer the file at its path. True when the log was among it: what will be
    // there instead is another log, whose versions have nothing to do with the former one's.
    bool dropStale();

    // The version up to which changes are announced. Nothing when it can't be known now.
    std::optional<Asic::LogVersion> announced();

    // The needed places of a change; `absent` when it has none.
    Read needed(Asic::LogVersion version, Asic::NeededRecord& record);

    // Reads that met damage, since the start.
    std::uint64_t damagedReads() const { return damagedReads_; }

    virtual Read change(Asic::LogVersion version, Change& change) = 0;

    // The lowest version above `version` that is in the log; walks the log.
    virtual std::optional<Asic::LogVersion> nextInLog(Asic::LogVersion version) = 0;

    // The units that have a configuration table; finds and mounts them.
    virtual std::vector<Asic::UnitId> units() = 0;

    virtual Read stored(Asic::UnitId unitId, std::uint32_t key, Stored& stored) = 0;

    // A walk over a configuration table goes on from a key, which may be gone by then: nothing for
    // the beginning. `absent` at the end.
    virtual Read next(Asic::UnitId unitId, std::optional<std::uint32_t> previous,
                      Stored& stored) = 0;

  protected:
    virtual bool mountLog() = 0; // false when there is none
    virtual bool dropStaleTables() = 0;

    ZetSharedMem::EntityManager& manager() { return *manager_; }

    // Mounts at `path` and gives null, with the trouble noted, when that is not possible.
    template <typename Slate>
    Ombra::Ptr<Slate> mountReader(Ombra::String const& path, char const* collection);

    // Whether the slate had to go; sets it null then.
    template <typename Slate>
    bool dropIfStale(Ombra::Ptr<Slate>& slate);

    // `read` with `damaged` in place of the exception.
    template <typename Map, typename Reading>
    Read guarded(Map const& map, Reading const& read);

  private:
    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    Asic::SwTableId tableId_;
    std::string name_;
    Ombra::String announcementPath_;
    Ombra::Ptr<Asic::AnnouncementSlate> announcement_;
    std::string trouble_;
    std::uint64_t damagedReads_ = 0;
};

// One of each table of the catalogue, in the order of the identifiers.
std::vector<std::unique_ptr<TableView>>
allTableViews(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager);

} // namespace LoamHw
