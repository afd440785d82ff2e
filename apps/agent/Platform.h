#pragma once

#include <Asic/Doorbell.h>
#include <Asic/GenId.h>
#include <Asic/GroupInterface.h>
#include <Asic/OrderedTableInterface.h>

#include <apps/agent/AgentTable.h>
#include <apps/agent/Options.h>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

// Everything that the agent stands on: state store, tables, group, doorbells, ring trace. One per
// process.
//
// The order of the start matters. The generation at the relaunch path is noted before any table is
// mounted, so that a loss found by a mount is seen as a moved generation. The change logs are
// mounted before anything else of the tables, because their locks are what tells a second agent to
// go away; only the agent that holds them takes the doorbell and the ring file. When all tables are
// made, the units that shared memory holds and nobody claimed are emptied.
//
// The constructor throws what shared memory, state store and ring trace throw, all of it
// `Ombra::Exception`.
namespace LoamAgent {

class Recorder;

class Platform {
  public:
    explicit Platform(Options const& options);
    Platform(Platform const&) = delete;
    Platform& operator=(Platform const&) = delete;
    ~Platform();

    std::span<std::unique_ptr<AgentTable> const> tables() const { return tables_; }

    // For operations: what is asked of it is recorded, if anything is. Null when no table has that
    // number, or name.
    AgentTable* table(std::uint16_t tblId) const;
    AgentTable* table(std::string_view name) const;

    // The policies whose two tables there are: all of them, unless a developer builds only some.
    std::vector<std::size_t> const& kinds() const { return kinds_; }

    // Who records; null for nobody. Not owned.
    void recorderIs(Recorder* recorder);

    std::vector<Asic::UnitId> const& units() const { return units_; }
    std::size_t placeOfUnit(Asic::UnitId unitId) const; // in `units`, where it is

    Asic::GroupInterface& group() const { return *group_; }
    Ombra::Ptr<Asic::GroupInterface> const& groupObject() const { return group_; }
    Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf() const {
        return orderedTableIntf_;
    }
    Asic::GroupResolver& resolver() const { return *group_->groupResolver(); }
    Asic::DoorbellReceiver& doorbell() { return *doorbell_; }

    // Rings the hardware side when something was announced since the last call.
    void ringIfAnnounced();

    // Whether any table marks: a restarted agent has not replayed its policy yet.
    bool inMarkingState() const;

    // Whether the generation at the relaunch path has moved since the start: an order to start
    // anew.
    bool relaunchOrdered() const;

    bool hasPendingHwWrites() const;
    std::uint64_t unappliedChanges() const;

    // Changes that this run has put into the logs: what the hardware side had to do for it.
    std::uint64_t loggedChanges() const;

    AgentTable::Counts counts() const; // of all tables

  private:
    void openTables(Options const& options);

    Ombra::Ptr<Orbis::EntityManager> entityManager_;
    Ombra::Ptr<Asic::GenId> relaunch_;
    std::uint64_t relaunchMajorId_ = 0;
    std::vector<Asic::UnitId> units_;
    std::vector<std::size_t> kinds_;
    Ombra::Ptr<Asic::OrderedTableInterface> orderedTableIntf_;
    std::vector<std::unique_ptr<AgentTable>> tables_;    // by tblId
    std::vector<std::unique_ptr<AgentTable>> recording_; // before these; made when first used
    Recorder* recorder_ = nullptr;
    Ombra::Ptr<Asic::GroupInterface> group_;
    std::uint64_t loggedAtStart_ = 0;
    std::optional<Asic::DoorbellReceiver> doorbell_;
    std::optional<Asic::DoorbellRinger> hwBell_;
};

} // namespace LoamAgent
