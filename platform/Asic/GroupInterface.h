#pragma once

#include <Asic/Announcements.h>
#include <Asic/GroupResolver.h>
#include <Asic/GroupSlates.h>
#include <Asic/NeededEntry.h>
#include <Asic/OrderedSwTableSet.h>
#include <Zet/HashMap2018.h>
#include <Zet/Tracked.h>

#include <cstdint>
#include <functional>
#include <vector>

// What the tables of one group share: the resolver, what the hardware side has applied, the table
// sets by identifier, and the announcing of changes to the hardware side.
//
// The agent's loop drives it: `groupResolver()->run()`, and `pollTableVersions()` whenever the
// hardware side rings or time has passed. Agent's thread.
namespace Asic {

class LOAM_EXPORT GroupInterface : public Zet::Tracked<GroupInterface, Ombra::Node> {
  public:
    class HN_SwTableSet : public Zet::Hm2018NE<0xF13A2AF2, SwTableId, Ombra::Ptr<OrderedSwTableSet>,
                                               Zet::HashMap2018Alloc{1}> {
        using Hm2018NE::Hm2018NE;
    };
    using SwTableSets = Zet::HashMap2018<HN_SwTableSet, SwTableId, Ombra::Ptr<OrderedSwTableSet>>;

    // Begins a new run of the agent: the hardware side sees it by `AgentSlate`.
    GroupInterface(Ombra::String const& agentName, Ombra::String const& groupName,
                   std::uint16_t agentAndGroupId,
                   Ombra::Ptr<ZetSharedMem::EntityManager> const& manager);
    ~GroupInterface() override;
    Ombra::TypeData typeData() const override;

    Ombra::String const& agentName() const noexcept { return agentName_; }
    Ombra::String const& groupName() const noexcept { return groupName_; }
    Ombra::String const& canonicalName() const noexcept { return canonicalName_; }
    std::uint16_t agentAndGroupId() const noexcept { return agentAndGroupId_; }
    Ombra::Ptr<GroupResolver> const& groupResolver() const noexcept { return groupResolver_; }

    // What the hardware side has applied, per table. Written by it alone, and outlives the agent: a
    // record here is what tells a restart of a table from its first start. Null while the hardware
    // side has never run.
    Ombra::Ptr<TableVersionMap> tableVersionMap();

    bool swTableSetHas(SwTableId tableId) const;
    Ombra::Ptr<OrderedSwTableSet> swTableSet(SwTableId tableId) const;
    void swTableSetIs(Ombra::Ptr<OrderedSwTableSet> const& swTableSet);
    void swTableSetDelAll();
    SwTableSets const& swTableSets() const noexcept { return swTableSets_; }

    // The tables that take part in mark and sweep. Registering one twice does nothing.
    void sweepableSwTableSetIs(Ombra::Ptr<OrderedSwTableWithMarkSweep> const& swTable);
    std::vector<Ombra::Ptr<OrderedSwTableWithMarkSweep>> const& sweepableSwTables() const noexcept {
        return sweepable_;
    }

    // Closes the marking phase of every table that takes part. Called when a restarted agent's
    // clients have written again all that they want to keep.
    void sweepSwTables();

    // Announces a change that was logged to the hardware side.
    void addLogEntry(SwTableId tableId, LogVersion version,
                     Ombra::Ptr<NeededEntry const> const& neededEntry) {
        announcements_.announce(tableId, version, neededEntry.get());
    }

    // A table's log was mounted and stands at `version`; see Announcements.h.
    void loggedVersionIs(SwTableId tableId, LogVersion version) {
        announcements_.loggedVersionIs(tableId, version);
    }

    Announcements& announcements() noexcept { return announcements_; }

    // Tells each table whose applied version has moved since the last poll, on every unit. Gives
    // the number of tables that were told.
    std::size_t pollTableVersions();

    // The number of this run of the agent, from 1.
    std::uint64_t agentRun() const noexcept { return agentRun_; }

  private:
    struct Applied {
        SwTableId tableId;
        LogVersion version;
    };

    std::uint64_t beginRun();
    void tell(Applied const& applied);

    Ombra::String agentName_;
    Ombra::String groupName_;
    Ombra::String canonicalName_;
    std::uint16_t agentAndGroupId_;
    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    Ombra::Ptr<GroupResolver> groupResolver_;
    Ombra::Ptr<AgentSlate> agentSlate_;
    std::uint64_t agentRun_;
    Announcements announcements_;
    Ombra::Ptr<TableVersionMap> tableVersionMap_;
    SwTableSets swTableSets_;
    std::vector<Ombra::Ptr<OrderedSwTableWithMarkSweep>> sweepable_;
    std::vector<Applied> told_; // per table, what it was last told
};

} // namespace Asic
