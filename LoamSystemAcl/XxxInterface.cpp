#include <LoamSystemAcl/XxxInspect.h>
#include <LoamSystemAcl/XxxInterface.h>
#include <OrderedTable/TableInterfaceAccessor.h>
#include <OrderedTable/UnitLoaded.h>
#include <Zet/SassertHelper.h>
#include <Zet/Trace.h>

#include <utility>

namespace LoamSystemAcl {

namespace {

OrderedTable::UnitLoaded const interfaceLoaded{xxxInterfaceModule, XxxConstants::row.alignsAtLoad};

using InterfaceAccessor = Asic::TableInterfaceAccessor<XxxInterface>;

} // namespace

Zet::TraceHandle const& XxxInterface::_defaultTraceHandle() {
    static Zet::TraceHandle const handle{"XxxInterface", false};
    return handle;
}

Ombra::Ptr<XxxInterface>
XxxInterface::getIntf(Ombra::Ptr<Asic::OrderedTableInterface> const& ordTblIntf) {
    return InterfaceAccessor::getIntf(ordTblIntf);
}

XxxInterface::XxxInterface(Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf)
    : Tracked{orderedTableIntf}, tableName_{XxxConstants::tableName},
      groupName_{XxxConstants::groupName}, agentName_{XxxConstants::agentName},
      tableNamespace_{XxxConstants::tableNamespace} {
    handleInitialized();
}

XxxInterface::~XxxInterface() {
    nodeFlagSet(flagDeleted);
    onDelete();
    entryLog_ = nullptr;
    swTableStatus_ = nullptr;
    swTableSet_ = nullptr;
}

Ombra::TypeData XxxInterface::typeData() const {
    return Ombra::typeDataOf<XxxInterface>;
}

Ombra::Ptr<XxxSwTable>
XxxInterface::makeSwTable(Asic::UnitId unitId,
                          Ombra::Ptr<XxxSwTableHelperBase> const& swTableHelper, bool reset) {
    return InterfaceAccessor{this}.makeSwTable(unitId, swTableHelper, reset);
}

void XxxInterface::reconcile() {
    InterfaceAccessor{this}.reconcile();
}

void XxxInterface::onDelete() {
    ZET_TRACE(_defaultTraceHandle(), 2, className, " onDelete ");
    orderedTableIntf()->swTableIntfDel(registryKey);
}

void XxxInterface::handleInitialized() {
    InterfaceAccessor{this}.handleInitialized();
}

void XxxInterface::assertNotCreated(Asic::SwTableInterfacesSingleton const& singleton) {
    ZET_SASSERT(!singleton.swTableIntfHas(registryKey),
                "!singleton->swTableIntfHas( \"LoamSystemAcl::XxxInterface\" )",
                "Interface already created");
}

Ombra::Ptr<XxxEntryLog> XxxInterface::entryLogIs(
    Asic::SwTableId tableId, Ombra::Ptr<Orbis::EntityManager> const& entityManager,
    Ombra::Ptr<Asic::GroupInterface> const& groupInterface, Ombra::String const& agentName) {
    bool const same = entryLog_ && entryLog_->tableId() == tableId &&
                      entryLog_->entityManager() == entityManager &&
                      entryLog_->groupInterface() == groupInterface &&
                      entryLog_->agentName() == agentName;
    if (!same) {
        entryLog_ = XxxEntryLog::XxxEntryLogIs(tableId, entityManager, groupInterface, agentName);
    }
    return entryLog_;
}

Ombra::Ptr<XxxEntryLog> XxxInterface::entryLogDel() {
    return std::exchange(entryLog_, nullptr);
}

Ombra::Ptr<Asic::OrderedSwTableStatus> XxxInterface::swTableStatusIs(Asic::SwTableId tableId) {
    if (!swTableStatus_ || swTableStatus_->tableId() != tableId) {
        swTableStatus_ = Ombra::ptrIs<Asic::OrderedSwTableStatus>(tableId);
    }
    return swTableStatus_;
}

Ombra::Ptr<Asic::OrderedSwTableStatus> XxxInterface::swTableStatusDel() {
    return std::exchange(swTableStatus_, nullptr);
}

Ombra::Ptr<Asic::OrderedSwTableSet>
XxxInterface::swTableSetIs(Asic::SwTableId tableId,
                           Ombra::Ptr<Asic::OrderedSwTableStatus> const& swTableStatus) {
    bool const same = swTableSet_ && swTableSet_->tableId() == tableId &&
                      swTableSet_->swTableStatus() == swTableStatus;
    if (!same) {
        swTableSet_ = Ombra::ptrIs<Asic::OrderedSwTableSet>(tableId, swTableStatus);
    }
    return swTableSet_;
}

Ombra::Ptr<Asic::OrderedSwTableSet> XxxInterface::swTableSetDel() {
    return std::exchange(swTableSet_, nullptr);
}

} // namespace LoamSystemAcl
