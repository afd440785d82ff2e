#pragma once

#include <Asic/EntryLogBase.h>
#include <Asic/GroupInterface.h>
#include <Asic/NeededEntry.h>
#include <Asic/SwTableStats.h>
#include <LoamSystemAcl/XxxFamily.h>
#include <LoamSystemAcl/XxxLogSlate.h>
#include <Zet/Described.h>
#include <Zet/HashMap2018.h>
#include <Zet/TraceHandle.h>
#include <Zet/Tracked.h>

#include <array>

// The durable memory of the table Xxx: one per agent, for all chip units.
//
// It owns the change log of the table and the configuration table of each unit, both in shared
// memory. Every committed change is stored in both, stamped with the next value of the table's
// version counter, and announced to the group. What the operations do, and what a crash in the
// middle of them leaves, is told in OrderedTable/EntryLogWrite.h and its neighbours. Agent's
// thread; no lock.
//
// All operations but `entryIs` require the unit to be mounted, and don't check.
namespace LoamSystemAcl {

class LOAM_EXPORT XxxEntryLog final : public Zet::Tracked<XxxEntryLog, Asic::EntryLogBase> {
  public:
    using Family = XxxFamily;
    static constexpr char const* className = "XxxEntryLog";

    class HN_TableConfigSlate
        : public Zet::Hm2018NE<XxxConstants::row.configSeed, Asic::UnitId,
                               Ombra::Ptr<XxxConfigSlate>, Zet::HashMap2018Alloc{1}> {
        using Hm2018NE::Hm2018NE;
    };
    using TableConfigSlate =
        Zet::HashMap2018<HN_TableConfigSlate, Asic::UnitId, Ombra::Ptr<XxxConfigSlate>>;
    using NeededPtr = Ombra::Ptr<Asic::NeededEntry const>;

    // Mounts the change log.
    XxxEntryLog(Asic::SwTableId tableId, Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                Ombra::Ptr<Asic::GroupInterface> const& groupInterface,
                Ombra::String const& agentName);
    ~XxxEntryLog() override;
    static Ombra::Ptr<XxxEntryLog>
    XxxEntryLogIs(Asic::SwTableId tableId, Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                  Ombra::Ptr<Asic::GroupInterface> const& groupInterface,
                  Ombra::String const& agentName);

    Ombra::TypeData typeData() const override;

    // Null until the change log is mounted.
    Ombra::Ptr<XxxEntryLogSlate> const& tableEntryLog() const noexcept { return tableEntryLog_; }
    void tableEntryLogIs(Ombra::Ptr<XxxEntryLogSlate> const& log) { tableEntryLog_ = log; }

    // The configuration table of a unit, null when it is not mounted. Setting null removes the
    // unit.
    Ombra::Ptr<XxxConfigSlate> tableConfigSlate(Asic::UnitId unitId) const {
        auto const& asked = asked_[unitId % asked_.size()];
        if (asked.configSlate == nullptr || asked.unitId != unitId) {
            return askConfigSlate(unitId);
        }
        return Ombra::Ptr<XxxConfigSlate>{asked.configSlate};
    }
    void tableConfigSlateIs(Asic::UnitId unitId, Ombra::Ptr<XxxConfigSlate> const& configSlate);
    Ombra::Ptr<XxxConfigSlate> tableConfigSlateDel(Asic::UnitId unitId);
    void tableConfigSlateDelAll();
    TableConfigSlate const& tableConfigSlates() const noexcept { return tableConfigSlate_; }

    // The changes. Each gives the version that now stands for what it changed.
    Asic::LogVersion entryIs(XxxLogEntry const& tableEntry, XxxResourceKeys const& rsrcKeys,
                             NeededPtr const& neededEntry, Asic::UnitId unitId,
                             Ombra::Ptr<Asic::SwTableStats> const& stats,
                             bool suppressIdenticalWrites);
    Asic::LogVersion entryDel(XxxEntryKey const& key, NeededPtr const& neededEntry,
                              Asic::UnitId unitId);
    Asic::LogVersion tableDel(NeededPtr const& neededEntry, Asic::UnitId unitId);

    // What the unit's configuration table says.
    XxxLogEntry entry(XxxEntryKey const& key, Asic::UnitId unitId) const;
    bool entryHas(XxxEntryKey const& key, Asic::UnitId unitId) const;
    XxxResourceKeys entryRsrcKeys(XxxEntryKey const& key, Asic::UnitId unitId) const;
    Asic::LogVersion entryLogVersion(XxxEntryKey const& key, Asic::UnitId unitId) const;
    std::uint32_t entrys(Asic::UnitId unitId) const;
    std::uint32_t entrysInDeletion(Asic::UnitId unitId) const;

    // The hardware side has acknowledged the changes up to `tableVersion`: they leave the log.
    void cleanupEntryLog(Asic::LogVersion tableVersion);

    void mountSlateChangeLog();

    // `tableVersion` is what the hardware side has acknowledged of the table; 0 for nothing.
    void mountSlateConfig(Asic::UnitId unitId, Asic::LogVersion tableVersion);

    // Called once, by the constructor.
    void handleInitialized();

    // Raises HW_ABSTRACTION_ERROR with the name of a collection that was lost.
    static void reportWiped(Ombra::String const& item);

  private:
    friend struct Zet::Described<XxxEntryLog>;

    static Zet::TraceHandle const& _defaultTraceHandle();

    Ombra::Ptr<XxxConfigSlate> askConfigSlate(Asic::UnitId unitId) const;

    Ombra::Ptr<XxxEntryLogSlate> tableEntryLog_;
    TableConfigSlate tableConfigSlate_;

    // What was asked for last, by the low bits of the unit, since an operation asks several times
    // and operations of some units take turns. Held by the collection.
    struct Asked {
        Asic::UnitId unitId = 0;
        XxxConfigSlate* configSlate = nullptr;
    };
    mutable std::array<Asked, 16> asked_;
};

LOAM_EXPORT Ombra::Ptr<XxxEntryLog>
xxxEntryLogFactory(Asic::SwTableId tableId, Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                   Ombra::Ptr<Asic::GroupInterface> const& groupInterface,
                   Ombra::String const& agentName);

} // namespace LoamSystemAcl
