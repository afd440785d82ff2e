#pragma once

#include <Asic/OrderedSwTableSet.h>
#include <Asic/OrderedSwTableStatus.h>
#include <Asic/OrderedTableInterface.h>
#include <Asic/SwTableInterfacesSingleton.h>
#include <Asic/TableInterfaceBase.h>
#include <LoamSystemAcl/XxxFamily.h>
#include <LoamSystemAcl/XxxSwTable.h>
#include <Zet/Described.h>
#include <Zet/TraceHandle.h>
#include <Zet/Tracked.h>

// The front door of the table Xxx: one per process, found or made by `getIntf`, and alive to the
// end of the process. It owns the table's durable memory, status and set, and makes one software
// table per chip unit.
//
//     auto intf = LoamSystemAcl::XxxInterface::getIntf(orderedTableIntf);
//     auto table = intf->makeSwTable(unitId, nullptr, false);
//
// Agent's thread. What the operations do is told in OrderedTable/TableInterfaceAccessor.h.
namespace LoamSystemAcl {

class LOAM_EXPORT XxxInterface final : public Zet::Tracked<XxxInterface, Asic::TableInterfaceBase> {
  public:
    using Family = XxxFamily;
    static constexpr char const* className = "XxxInterface";

    // The one text under which the interface is known to both registries.
    static constexpr char const* registryKey = "LoamSystemAcl::XxxInterface";

    static constexpr char const* clearingEntriesText =
        " Clearing entries for table: Xxx, unitId: {}";
    static constexpr char const* restoredEntriesText =
        " Restored {} entries for table: Xxx, unitId: {}";

    // The process's interface; made at the first call, whose argument is the one that counts.
    static Ombra::Ptr<XxxInterface>
    getIntf(Ombra::Ptr<Asic::OrderedTableInterface> const& ordTblIntf);

    // A second interface in a process stops it: use `getIntf`.
    explicit XxxInterface(Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf);
    ~XxxInterface() override;

    Ombra::TypeData typeData() const override;

    // The table of a unit. A null helper keeps the one that the table has. `reset` true: the table
    // is empty when the call returns; false: what shared memory holds of the unit stays, and a new
    // table starts to mark. Never null.
    Ombra::Ptr<XxxSwTable> makeSwTable(Asic::UnitId unitId,
                                       Ombra::Ptr<XxxSwTableHelperBase> const& swTableHelper,
                                       bool reset);

    void reconcile() override;

    // Leaves the agent's registry, and on purpose not the process-wide one.
    void onDelete();

    // Called once, by the constructor.
    void handleInitialized();

    // The invariant of a new interface.
    static void assertNotCreated(Asic::SwTableInterfacesSingleton const& singleton);

    Ombra::String const& tableName() const noexcept { return tableName_; }
    void tableNameIs(Ombra::String const& tableName) { tableName_ = tableName; }
    static constexpr Asic::SwTableId tableId() noexcept { return XxxConstants::tableId; }
    Ombra::String const& groupName() const noexcept { return groupName_; }
    void groupNameIs(Ombra::String const& groupName) { groupName_ = groupName; }
    Ombra::String const& agentName() const noexcept { return agentName_; }
    void agentNameIs(Ombra::String const& agentName) { agentName_ = agentName; }
    Ombra::String const& tableNamespace() const noexcept { return tableNamespace_; }
    void tableNamespaceIs(Ombra::String const& tableNamespace) { tableNamespace_ = tableNamespace; }

    // These setters take the constructor's arguments of what they set, and keep what there is when
    // it was made with equal ones. Null until the interface is initialised; the `Del` forms clear
    // the attribute and hand the former value to the caller.
    Ombra::Ptr<XxxEntryLog> const& entryLog() const noexcept { return entryLog_; }
    Ombra::Ptr<XxxEntryLog> entryLogIs(Asic::SwTableId tableId,
                                       Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                                       Ombra::Ptr<Asic::GroupInterface> const& groupInterface,
                                       Ombra::String const& agentName);
    Ombra::Ptr<XxxEntryLog> entryLogDel();

    Ombra::Ptr<Asic::OrderedSwTableStatus> const& swTableStatus() const noexcept {
        return swTableStatus_;
    }
    Ombra::Ptr<Asic::OrderedSwTableStatus> swTableStatusIs(Asic::SwTableId tableId);
    Ombra::Ptr<Asic::OrderedSwTableStatus> swTableStatusDel();

    Ombra::Ptr<Asic::OrderedSwTableSet> const& swTableSet() const noexcept { return swTableSet_; }
    Ombra::Ptr<Asic::OrderedSwTableSet>
    swTableSetIs(Asic::SwTableId tableId,
                 Ombra::Ptr<Asic::OrderedSwTableStatus> const& swTableStatus);
    Ombra::Ptr<Asic::OrderedSwTableSet> swTableSetDel();

  private:
    friend struct Zet::Described<XxxInterface>;

    static Zet::TraceHandle const& _defaultTraceHandle();

    Ombra::String tableName_;
    Ombra::String groupName_;
    Ombra::String agentName_;
    Ombra::String tableNamespace_;
    Ombra::Ptr<XxxEntryLog> entryLog_;
    Ombra::Ptr<Asic::OrderedSwTableStatus> swTableStatus_;
    Ombra::Ptr<Asic::OrderedSwTableSet> swTableSet_;
};

} // namespace LoamSystemAcl
