#pragma once

#include <Asic/CanonicalTableName.h>
#include <Asic/Constants.h>
#include <Asic/OrderedTableInterface.h>
#include <Asic/SwTableInterfacesSingleton.h>
#include <Ombra/Assert.h>
#include <OrderedTable/SlateRead.h>
#include <OrderedTable/TypeName.h>
#include <RingScribe/Write.h>
#include <Zet/Trace.h>

#include <optional>

// The algorithms of a table's front door, once for all tables: the one interface per process, its
// start, the making of a table per chip unit, and reconciliation. `I` is the interface class.
//
// A first start and a restart run the same steps. What tells them apart is only whether the group
// has a record of what the hardware side has applied of the table.
namespace Asic {

// Up to which version the hardware side has applied a table; nothing when `map` has no record of
// the table. A damaged record counts as none, or as version 0 when the damage came between the two
// reads: it never stops an agent from coming up.
template <typename Map>
std::optional<LogVersion> appliedVersionIn(Map& map, SwTableId tableId) {
    if (!OrderedTable::recordHas(map, tableId)) {
        return std::nullopt;
    }
    return LogVersion{OrderedTable::recordOf(map, tableId).version};
}

template <typename I>
class TableInterfaceAccessor {
  public:
    using Family = typename I::Family;
    using SwTable = typename Family::SwTable;
    using HelperPtr = Ombra::Ptr<typename Family::SwTableHelperBase>;

    explicit TableInterfaceAccessor(I* intf) noexcept : intf_{intf} {}

    static Ombra::Ptr<I> getIntf(Ombra::Ptr<OrderedTableInterface> const& ordTblIntf);
    void handleInitialized();
    Ombra::Ptr<SwTable> makeSwTable(UnitId unitId, HelperPtr const& swTableHelper, bool reset);
    void reconcile();

    static Zet::TraceHandle const& _defaultTraceHandle() {
        static Zet::TraceHandle const handle{
            Ombra::String{OrderedTable::lastComponentOfTypeName<I>()}, false};
        return handle;
    }

  private:
    static char const* className() noexcept { return I::className; }

    Ombra::Ptr<GroupInterface> groupIntf() const;
    static std::optional<LogVersion> appliedVersion(GroupInterface& groupIntf);
    Ombra::Ptr<SwTable> existingSwTable(UnitId unitId, HelperPtr const& swTableHelper, bool reset);
    Ombra::Ptr<SwTable> newSwTable(UnitId unitId, HelperPtr const& swTableHelper, bool reset,
                                   GroupInterface& groupIntf);
    void reportReset(UnitId unitId) const;
    void reportRestored(SwTable& swTable) const;

    I* intf_;
};

// The argument of a later call is ignored: the interface exists already.
template <typename I>
Ombra::Ptr<I>
TableInterfaceAccessor<I>::getIntf(Ombra::Ptr<OrderedTableInterface> const& ordTblIntf) {
    auto const singleton = SwTableInterfacesSingleton::get();
    if (singleton->swTableIntfHas(I::registryKey)) {
        return Ombra::staticCast<I>(singleton->swTableIntf(I::registryKey));
    }
    return Ombra::ptrIs<I>(ordTblIntf);
}

template <typename I>
Ombra::Ptr<GroupInterface> TableInterfaceAccessor<I>::groupIntf() const {
    auto groupIntf = intf_->orderedTableIntf()->groupIntf(
        Constants::canonicalizeGroupName(intf_->agentName(), intf_->groupName()));
    OMBRA_ASSERT(groupIntf != nullptr, "groupIntf");
    return groupIntf;
}

// Nothing while the hardware side has never run.
template <typename I>
std::optional<LogVersion> TableInterfaceAccessor<I>::appliedVersion(GroupInterface& groupIntf) {
    auto const versions = groupIntf.tableVersionMap();
    return versions ? appliedVersionIn(versions->map(), I::tableId()) : std::nullopt;
}

// Runs in the constructor, so that nobody else can hold the interface. It is entered in the
// registries last, when all else has gone well.
template <typename I>
void TableInterfaceAccessor<I>::handleInitialized() {
    auto const singleton = SwTableInterfacesSingleton::get();
    I::assertNotCreated(*singleton);
    auto const& ordTblIntf = intf_->orderedTableIntf();
    ordTblIntf->makeGroupIntf(intf_->agentName(), intf_->groupName(),
                              I::tableId().agentAndGroupId());
    auto const groupIntf = this->groupIntf();

    ZET_TRACE(_defaultTraceHandle(), 3, className(), " Creating entry log for {}", I::tableId());
    auto const entryLog =
        intf_->entryLogIs(I::tableId(), ordTblIntf->entityManager(), groupIntf, intf_->agentName());
    auto const swTableStatus = intf_->swTableStatusIs(I::tableId());
    if (auto const applied = appliedVersion(*groupIntf)) {
        entryLog->cleanupEntryLog(*applied);
        ZET_TRACE(_defaultTraceHandle(), 3, className(),
                  " Cleaned entry log until table version: {}", *applied);
        if (*applied < entryLog->tableVersion()) {
            ZET_TRACE(_defaultTraceHandle(), 2, className(), " Turning ON pendingHwWrites");
            swTableStatus->pendingHwWritesIs(true);
        }
    }
    ZET_TRACE(_defaultTraceHandle(), 2, className(),
              " Entry log created for table id: {} at version: {}", I::tableId(),
              entryLog->tableVersion());

    auto const swTableSet = intf_->swTableSetIs(I::tableId(), swTableStatus);
    groupIntf->swTableSetIs(swTableSet);
    ordTblIntf->swTableIntfIs(I::registryKey, intf_);
    singleton->swTableIntfIs(I::registryKey, Ombra::Ptr<TableInterfaceBase>{intf_});
}

// The table of a unit: the one that exists, or a new one that keeps what shared memory holds of the
// unit, or a new one that is emptied.
template <typename I>
auto TableInterfaceAccessor<I>::makeSwTable(UnitId unitId, HelperPtr const& swTableHelper,
                                            bool reset) -> Ombra::Ptr<SwTable> {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), "unitId: {}", unitId);
    auto const groupIntf = this->groupIntf();
    OMBRA_ASSERT(groupIntf->swTableSetHas(I::tableId()), "groupIntf->swTableSetHas( tableId() )");
    return intf_->swTableSet()->swTableHas(unitId)
               ? existingSwTable(unitId, swTableHelper, reset)
               : newSwTable(unitId, swTableHelper, reset, *groupIntf);
}

template <typename I>
auto TableInterfaceAccessor<I>::existingSwTable(UnitId unitId, HelperPtr const& swTableHelper,
                                                bool reset) -> Ombra::Ptr<SwTable> {
    ZET_TRACE_AS("makeSwTable", _defaultTraceHandle(), 3, className(),
                 "swTable with unitId: {} exists", unitId);
    auto const existingTbl = Ombra::dynamicCast<SwTable>(intf_->swTableSet()->swTable(unitId));
    OMBRA_ASSERT(existingTbl != nullptr, "existingTbl");
    if (swTableHelper) {
        ZET_TRACE_AS("makeSwTable", _defaultTraceHandle(), 2, className(),
                     "Update software table helper");
        existingTbl->swTableHelperIs(swTableHelper);
    }
    if (reset) {
        ZET_TRACE_AS("makeSwTable", _defaultTraceHandle(), 2, className(),
                     " Clearing entries for table id: {}", I::tableId());
        existingTbl->clearTable(false);
    }
    return existingTbl;
}

// The table enters its set only when it was cleared or restored, and starts to mark last: all that
// was restored is then a candidate for the next sweep, until the client writes it again.
template <typename I>
auto TableInterfaceAccessor<I>::newSwTable(UnitId unitId, HelperPtr const& swTableHelper,
                                           bool reset, GroupInterface& groupIntf)
    -> Ombra::Ptr<SwTable> {
    LogVersion const applied = appliedVersion(groupIntf).value_or(0);
    intf_->entryLog()->mountSlateConfig(unitId, applied);

    auto const canonicalName =
        Ombra::ptrIs<CanonicalTableName>(OrderedTableType::orderedSwTable, intf_->groupName(),
                                         intf_->tableNamespace(), intf_->tableName());
    auto const swTable =
        Ombra::ptrIs<SwTable>(canonicalName, I::tableId(), unitId, intf_->swTableSet().get(),
                              intf_->entryLog(), groupIntf.groupResolver());
    if (swTableHelper) {
        swTable->swTableHelperIs(swTableHelper);
    }
    swTable->statusIs(intf_->swTableStatus());
    if (reset) {
        reportReset(unitId);
        swTable->clearTable(false);
    } else {
        swTable->restoreEntries();
        reportRestored(*swTable);
    }
    intf_->swTableSet()->swTableIs(swTable);
    swTable->tableStatusVersion(applied);
    groupIntf.sweepableSwTableSetIs(swTable);
    if (!reset && !intf_->orderedTableIntf()->restoredTablesSkipMark()) {
        swTable->mark();
    }
    return swTable;
}

template <typename I>
void TableInterfaceAccessor<I>::reportReset(UnitId unitId) const {
    static int msgId = 0;
    RingScribe::write(msgId, __FILE__, __LINE__, className(), "makeSwTable", I::clearingEntriesText,
                      unitId);
    ZET_TRACE_AS("makeSwTable", _defaultTraceHandle(), 2, className(), I::clearingEntriesText,
                 unitId);
}

// Counting the entries costs a walk, so it is done only for who listens.
template <typename I>
void TableInterfaceAccessor<I>::reportRestored(SwTable& swTable) const {
    static int msgId = 0;
    UnitId const unitId = swTable.unitId();
    if (RingScribe::currentTraceFile() != nullptr) {
        RingScribe::write(msgId, __FILE__, __LINE__, className(), "makeSwTable",
                          I::restoredEntriesText, swTable.entrys(), unitId);
    }
    ZET_TRACE_AS("makeSwTable", _defaultTraceHandle(), 2, className(), I::restoredEntriesText,
                 swTable.entrys(), unitId);
}

// A unit with a live table is left as it stands. One that has only a configuration table gets a
// table that is emptied and stays, registered like any other.
template <typename I>
void TableInterfaceAccessor<I>::reconcile() {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), "");
    auto const sharedMem = sharedMemOf(*intf_->orderedTableIntf()->entityManager());
    auto const base = Constants::canonicalGroupTableConfigSlatePathBase(
        Constants::canonicalizeGroupName(intf_->agentName(), intf_->groupName()),
        intf_->tableNamespace(), intf_->tableName());
    auto const found = sharedMem->findEntities(base, ZetSharedMem::ZetSharedMemType::slate);
    ZET_TRACE(_defaultTraceHandle(), 3, className(),
              " No. of config entities found: {}, in slate path: {}", found->size(), base);
    for (auto const& [path, count] : found->count) {
        UnitId const unitId = Constants::getUnitIdFromConfigPath(path);
        if (!intf_->swTableSet()->swTableHas(unitId)) {
            ZET_TRACE(_defaultTraceHandle(), 3, className(), " Found inactive unit id: {} ",
                      unitId);
            intf_->makeSwTable(unitId, nullptr, true);
        }
    }
}

} // namespace Asic
