#include <LoamSystemAcl/XxxInspect.h>
#include <LoamSystemAcl/XxxSwTable.h>
#include <OrderedTable/OrderedSwTableAccessor.h>
#include <OrderedTable/OrderedSwTableCommit.h>
#include <OrderedTable/OrderedSwTableRead.h>
#include <OrderedTable/OrderedSwTableSweep.h>
#include <OrderedTable/OrderedSwTableUpdate.h>
#include <OrderedTable/OrderedSwTableWrite.h>
#include <OrderedTable/UnitLoaded.h>
#include <RingScribe/Write.h>
#include <Zet/EmbeddedMapAttr.h>
#include <Zet/KeyedCollectionAttr.h>
#include <Zet/MutatorException.h>
#include <Zet/QueueAttr.h>
#include <Zet/SetAttr.h>
#include <Zet/Trace.h>
#include <Zet/ValueMapAttr.h>

#include <typeinfo>
#include <utility>

namespace LoamSystemAcl {

namespace {

OrderedTable::UnitLoaded const swTableLoaded{xxxSwTableModule, XxxConstants::row.alignsAtLoad};

constexpr char const* className = "XxxSwTable";

using Accessor = Asic::OrderedSwTableAccessor<XxxSwTable>;
using ConstAccessor = Asic::OrderedSwTableAccessor<XxxSwTable const>;
using IterAccessor = Asic::IterStateAccessor<XxxSwTableIteratorState, XxxSwTable>;
using AddAttr = Zet::KeyedCollectionAttr<XxxSwTable::TransientAddEntry>;
using RemoveAttr = Zet::KeyedCollectionAttr<XxxSwTable::TransientRemoveEntry>;
using VersionAttr = Zet::ValueMapAttr<XxxSwTable::TransientVersionForKey>;
using MarkedAttr = Zet::SetAttr<XxxSwTable::MarkedKey>;
using QueueAttr = Zet::QueueAttr<XxxSwTable::EntryHandleInLog, Ombra::Ptr<XxxSwTable::EntryHandle>>;
using SnapshotAttr = Zet::EmbeddedMapAttr<XxxSwTable::SwTableEntries_py::TableEntries>;

} // namespace

// --- XxxSwTable

Zet::TraceHandle const& XxxSwTable::_defaultTraceHandle() {
    static Zet::TraceHandle const handle{"XxxSwTable", false};
    return handle;
}

XxxSwTable::XxxSwTable(Ombra::Ptr<Asic::CanonicalTableName const> const& tableName,
                       Asic::SwTableId tableId, Asic::UnitId unitId,
                       Asic::OrderedSwTableSet* swTableSet, Ombra::Ptr<XxxEntryLog> const& entryLog,
                       Ombra::Ptr<Asic::GroupResolver> const& groupResolver)
    : Tracked{tableName, tableId, unitId, swTableSet}, entryLog_{entryLog}, groupResolver_{
                                                                                groupResolver} {
    handleInitialized();
}

XxxSwTable::~XxxSwTable() {
    entryHandleInLog_.doClear(false);
}

Ombra::TypeData XxxSwTable::typeData() const {
    return Ombra::typeDataOf<XxxSwTable>;
}

void XxxSwTable::handleInitialized() {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "doesMarkSweep: True hwErrorHandling: False");
    swTableHelperIs(XxxSwTableHelperBase::XxxSwTableHelperBaseIs());
    statsIs();
}

Ombra::Ptr<XxxSwTable::EntryHandle const>
XxxSwTable::entryWrite(XxxEntryKey const& key, XxxEntry const& entry,
                       DependencyPtr const& depEntryHandle) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, " key: {}", key);
    return entryWriteWithResponseHandler(key, entry, depEntryHandle, ResponseHandler{});
}

Ombra::Ptr<XxxSwTable::EntryHandle const>
XxxSwTable::entryWriteWithResponseHandler(XxxEntryKey const& key, XxxEntry const& entry,
                                          DependencyPtr const& depEntryHandle,
                                          ResponseHandler const& responseHandler) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, " key: {}", key);
    return Accessor{this}
        .entryWriteGeneric<XxxConstants, XxxResolverEntry, XxxEntryWrapper, XxxEntryKey, XxxEntry>(
            key, entry, depEntryHandle, responseHandler);
}

Ombra::Ptr<XxxSwTable::EntryHandle const>
XxxSwTable::entryRemove(XxxEntryKey const& key, DependencyPtr const& depEntryHandle) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, " key: {}", key);
    return entryRemoveWithResponseHandler(key, depEntryHandle, ResponseHandler{});
}

Ombra::Ptr<XxxSwTable::EntryHandle const>
XxxSwTable::entryRemoveWithResponseHandler(XxxEntryKey const& key,
                                           DependencyPtr const& depEntryHandle,
                                           ResponseHandler const& responseHandler) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, " key: {}", key);
    return Accessor{this}
        .entryRemoveGeneric<XxxConstants, XxxResolverEntry, XxxEntryWrapper, XxxEntry, XxxEntryKey>(
            key, depEntryHandle, responseHandler);
}

void XxxSwTable::entryRemoveAll(DependencyPtr const& depEntryHandle) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    entryRemoveAllWithResponseHandler(depEntryHandle, ResponseHandler{});
}

void XxxSwTable::entryRemoveAllWithResponseHandler(DependencyPtr const& depEntryHandle,
                                                   ResponseHandler const& responseHandler) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    Accessor{this}
        .entryRemoveAllGeneric<XxxConstants, XxxResolverEntry, XxxEntryWrapper, XxxEntry,
                               XxxEntryKey>(depEntryHandle, responseHandler);
}

XxxEntry XxxSwTable::entryRead(XxxEntryKey const& key) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className, " key: {}", key);
    return ConstAccessor{this}.entryReadGeneric<XxxEntryKey, XxxEntry>(key);
}

// The body of `entryRead`, whose name its trace bears too.
XxxEntry XxxSwTable::entry(XxxEntryKey const& key) const {
    return entryRead(key);
}

bool XxxSwTable::entryHas(XxxEntryKey const& key) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "key: {}", key);
    return ConstAccessor{this}.entryHas(key);
}

std::uint32_t XxxSwTable::entrys() const {
    return ConstAccessor{this}.entrys();
}

XxxEntry XxxSwTable::entryFromConfig(XxxEntryKey const& key) const {
    return ConstAccessor{this}.entryFromConfig<XxxEntryKey, XxxEntry>(key);
}

Ombra::Ptr<Asic::OrderedSwTable::EntryHandle const>
XxxSwTable::updateEntry(XxxEntryKey const& key) {
    return Accessor{this}.updateEntry<XxxEntryKey, XxxEntryWrapper>(key);
}

void XxxSwTable::clearTable(bool updateResources) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    Ombra::Ptr<EntryHandle> entryHandle;
    Accessor{this}.delAllEntries<XxxEntryWrapper>(updateResources, nullptr, entryHandle);
}

Ombra::Ptr<XxxSwTableIteratorState> XxxSwTable::initIterState() const {
    return IterAccessor::initIterState(this);
}

Ombra::Ptr<XxxSwTableIteratorState> XxxSwTable::initIterStateFromKey(XxxEntryKey const& key) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className, " key: {}", key);
    return IterAccessor::initIterState(this, key);
}

XxxSwTable::EntryIteratorConst XxxSwTable::entryIteratorConst() const {
    return EntryIteratorConst{this};
}

XxxSwTable::EntryIteratorConst XxxSwTable::entryIteratorConst(XxxEntryKey const& key) const {
    return EntryIteratorConst{this, key};
}

Ombra::Ptr<XxxSwTable::SwTableEntries_py> XxxSwTable::getTableEntries_py() const {
    auto snapshot = Ombra::ptrIs<SwTableEntries_py>();
    for (auto iter = entryIteratorConst(); iter; ++iter) {
        snapshot->tableEntriesIs(*iter);
    }
    return snapshot;
}

// The hardware side makes its own twin of the table from the change log.
void XxxSwTable::doCreateHwTable() {}

void XxxSwTable::tableStatusVersion(Asic::LogVersion version) {
    Accessor{this}.tableStatusVersion(version);
}

bool XxxSwTable::hasPendingHwWrites() const {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    return ConstAccessor{this}.hasPendingHwWrites();
}

void XxxSwTable::mark() {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    inMarkingStateIs(true);
}

void XxxSwTable::sweep() {
    static int msgId = 0;
    std::uint32_t const swept = Accessor{this}.sweep();
    RingScribe::write(msgId, __FILE__, __LINE__, className, "sweep", "Swept {} entries", swept);
    ZET_TRACE(_defaultTraceHandle(), 6, className, "Swept {} entries", swept);
}

bool XxxSwTable::isResolverEntryResolved(Ombra::Ptr<XxxResolverEntry> const& resolverEntry) {
    return Accessor{this}.isResolverEntryResolved<XxxConstants>(resolverEntry);
}

void XxxSwTable::commitEntry(Ombra::Ptr<Asic::ResolverEntry> const& resolvedEntry) {
    Accessor{this}.commitEntry<XxxConstants, XxxResolverEntry, XxxEntryWrapper>(resolvedEntry);
}

void XxxSwTable::fetchAhead(XxxEntryWrapper const& entry,
                            Asic::ResolverEntry::Ahead what) const noexcept {
    ConstAccessor{this}.fetchAhead(entry, what);
}

Ombra::Ptr<Asic::NeededEntry>
XxxSwTable::getNeededEntrySet(Ombra::Ptr<XxxEntryWrapper const> const& entry) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "key: {}", entry->key());
    return Ombra::ptrIs<Asic::NeededEntry>();
}

void XxxSwTable::setRsrcPtrs(Ombra::Ptr<XxxEntryWrapper> const& entry, bool refresh) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "key: {}, refresh: {}", entry->key(), refresh);
}

void XxxSwTable::restoreEntries() {}

void XxxSwTable::swTableHelperIs(Ombra::Ptr<XxxSwTableHelperBase> const& swTableHelper) {
    if (swTableHelper == nullptr) {
        Zet::throwMutatorArgNullPointerException(&xxxSwTableModule, 2, Field::swTableHelper);
    }
    if (swTableHelper != swTableHelper_) {
        auto const former = std::exchange(swTableHelper_, swTableHelper);
        publisherRef().publishChange(Field::swTableHelper, &former);
    }
}

Ombra::Ptr<XxxEntryWrapper> XxxSwTable::transientAddEntry(XxxEntryKey const& key) const {
    return AddAttr::get(transientAddEntry_, key);
}

bool XxxSwTable::transientAddEntryHas(XxxEntryKey const& key) const {
    return transientAddEntry_[key] != nullptr;
}

void XxxSwTable::transientAddEntryIs(Ombra::Ptr<XxxEntryWrapper> const& wrapper) {
    swTableSet()->mayBePending();
    AddAttr::is(transientAddEntry_, publisherRef(), Field::transientAddEntry, &xxxSwTableModule,
                wrapper);
}

Ombra::Ptr<XxxEntryWrapper> XxxSwTable::transientAddEntryDel(XxxEntryKey const& key) {
    return AddAttr::del(transientAddEntry_, publisherRef(), Field::transientAddEntry, key);
}

void XxxSwTable::transientAddEntryDelAll() {
    AddAttr::delAll(transientAddEntry_, publisherRef(), Field::transientAddEntry);
}

Ombra::Ptr<XxxEntryWrapper> XxxSwTable::transientRemoveEntry(XxxEntryKey const& key) const {
    return RemoveAttr::get(transientRemoveEntry_, key);
}

bool XxxSwTable::transientRemoveEntryHas(XxxEntryKey const& key) const {
    return transientRemoveEntry_[key] != nullptr;
}

void XxxSwTable::transientRemoveEntryIs(Ombra::Ptr<XxxEntryWrapper> const& wrapper) {
    swTableSet()->mayBePending();
    RemoveAttr::is(transientRemoveEntry_, publisherRef(), Field::transientRemoveEntry,
                   &xxxSwTableModule, wrapper);
}

Ombra::Ptr<XxxEntryWrapper> XxxSwTable::transientRemoveEntryDel(XxxEntryKey const& key) {
    return RemoveAttr::del(transientRemoveEntry_, publisherRef(), Field::transientRemoveEntry, key);
}

void XxxSwTable::transientRemoveEntryDelAll() {
    RemoveAttr::delAll(transientRemoveEntry_, publisherRef(), Field::transientRemoveEntry);
}

Asic::EntryVersion XxxSwTable::transientVersionForKey(XxxEntryKey const& key) const {
    return VersionAttr::get(transientVersionForKey_, key);
}

std::optional<Asic::EntryVersion>
XxxSwTable::transientVersionForKeyGet(XxxEntryKey const& key) const {
    return VersionAttr::getOptional(transientVersionForKey_, key);
}

bool XxxSwTable::transientVersionForKeyHas(XxxEntryKey const& key) const {
    return transientVersionForKey_[key] != nullptr;
}

void XxxSwTable::transientVersionForKeyIs(XxxEntryKey const& key,
                                          Asic::EntryVersion const& version) {
    VersionAttr::is(transientVersionForKey_, publisherRef(), Field::transientVersionForKey, key,
                    version);
}

void XxxSwTable::transientVersionForKeyDel(XxxEntryKey const& key) {
    VersionAttr::del(transientVersionForKey_, publisherRef(), Field::transientVersionForKey, key);
}

void XxxSwTable::transientVersionForKeyDelAll() {
    VersionAttr::delAll(transientVersionForKey_, publisherRef(), Field::transientVersionForKey);
}

void XxxSwTable::transientRemoveAllVersionIs(Asic::MajorVersion version) {
    if (version != transientRemoveAllVersion_) {
        swTableSet()->mayBePending();
        auto const former = std::exchange(transientRemoveAllVersion_, version);
        publisherRef().publishChange(Field::transientRemoveAllVersion, &former);
    }
}

Ombra::Ptr<XxxSwTable::EntryHandle> XxxSwTable::entryHandleInLog(std::uint32_t number) const {
    return entryHandleInLog_.at(number);
}

bool XxxSwTable::entryHandleInLogHas(std::uint32_t number) const {
    return entryHandleInLog_.has(number);
}

Ombra::Ptr<XxxSwTable::EntryHandle> XxxSwTable::entryHandleInLogFront() const {
    return entryHandleInLog_.front();
}

Ombra::Ptr<XxxSwTable::EntryHandle> XxxSwTable::entryHandleInLogBack() const {
    return entryHandleInLog_.back();
}

void XxxSwTable::entryHandleInLogEnq(Ombra::Ptr<EntryHandle> const& entryHandle) {
    QueueAttr::enq(entryHandleInLog_, publisherRef(), Field::entryHandleInLog, entryHandle);
}

Ombra::Ptr<XxxSwTable::EntryHandle> XxxSwTable::entryHandleInLogDeq() {
    return QueueAttr::deq(entryHandleInLog_, publisherRef(), Field::entryHandleInLog);
}

void XxxSwTable::entryHandleInLogDelAll() {
    QueueAttr::delAll(entryHandleInLog_, publisherRef(), Field::entryHandleInLog);
}

bool XxxSwTable::markedKeyHas(XxxEntryKey const& key) const {
    return MarkedAttr::has(markedKey_, key);
}

void XxxSwTable::markedKeyIs(XxxEntryKey const& key) {
    MarkedAttr::is(markedKey_, publisherRef(), Field::markedKey, key);
}

bool XxxSwTable::markedKeyDel(XxxEntryKey const& key) {
    return MarkedAttr::del(markedKey_, publisherRef(), Field::markedKey, key);
}

void XxxSwTable::markedKeyDelAll() {
    MarkedAttr::delAll(markedKey_, publisherRef(), Field::markedKey);
}

void XxxSwTable::inMarkingStateIs(bool inMarkingState) {
    if (inMarkingState != inMarkingState_) {
        bool const former = std::exchange(inMarkingState_, inMarkingState);
        publisherRef().publishChange(Field::inMarkingState, &former);
    }
}

Ombra::Ptr<XxxSwTable::EntryHandle>
XxxSwTable::entryHandleFactory(Asic::EntryVersion const& version, XxxEntryKey const& key,
                               XxxSwTable* swTable) {
    return Ombra::ptrIs<EntryHandle>(version, key, swTable);
}

// --- XxxSwTable::EntryHandle

XxxSwTable::EntryHandle::EntryHandle(Asic::EntryVersion const& version, XxxEntryKey const& key,
                                     XxxSwTable* swTable)
    : Tracked{version}, key_{key}, swTable_{swTable} {}

XxxSwTable::EntryHandle::~EntryHandle() = default;

Ombra::Ptr<XxxSwTable::EntryHandle>
XxxSwTable::EntryHandle::EntryHandleIs(Asic::EntryVersion const& version, XxxEntryKey const& key,
                                       XxxSwTable* swTable) {
    return Ombra::ptrIs<EntryHandle>(version, key, swTable);
}

// The class is final, so that comparing the types is enough, and cheaper than a dynamic cast.
Ombra::Ptr<XxxSwTable::EntryHandle>
XxxSwTable::EntryHandle::exactly(Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle) {
    if (!entryHandle) {
        return nullptr;
    }
    auto const& handle = *entryHandle;
    if (typeid(handle) != typeid(EntryHandle)) {
        return nullptr;
    }
    return Ombra::staticCast<EntryHandle>(entryHandle);
}

Ombra::TypeData XxxSwTable::EntryHandle::typeData() const {
    return Ombra::typeDataOf<XxxSwTable::EntryHandle>;
}

Ombra::String XxxSwTable::EntryHandle::tableName() const {
    ZET_TRACE(_defaultTraceHandle(), 8, "EntryHandle", "");
    return swTable_->tableName()->name();
}

Asic::SwTableId XxxSwTable::EntryHandle::tableId() const {
    ZET_TRACE(_defaultTraceHandle(), 8, "EntryHandle", "");
    return swTable_->tableId();
}

void XxxSwTable::EntryHandle::swTableIs(XxxSwTable* swTable) {
    if (swTable != swTable_) {
        auto* const former = std::exchange(swTable_, swTable);
        publisherRef().publishChange(swTableField, &former);
    }
}

// --- XxxSwTable::SwTableEntries_py

XxxSwTable::SwTableEntries_py::SwTableEntries_py() = default;
XxxSwTable::SwTableEntries_py::~SwTableEntries_py() = default;

Ombra::TypeData XxxSwTable::SwTableEntries_py::typeData() const {
    return Ombra::typeDataOf<XxxSwTable::SwTableEntries_py>;
}

void XxxSwTable::SwTableEntries_py::tableEntriesIs(XxxEntry const& entry) {
    SnapshotAttr::is(tableEntries_, entry);
}

XxxEntry XxxSwTable::SwTableEntries_py::tableEntriesDel(XxxEntryKey const& key) {
    return SnapshotAttr::del(tableEntries_, key, XxxEntry{});
}

void XxxSwTable::SwTableEntries_py::tableEntriesDelAll() {
    SnapshotAttr::delAll(tableEntries_);
}

// --- XxxSwTableIteratorState

XxxSwTableIteratorState::XxxSwTableIteratorState() = default;
XxxSwTableIteratorState::~XxxSwTableIteratorState() = default;

Ombra::TypeData XxxSwTableIteratorState::typeData() const {
    return Ombra::typeDataOf<XxxSwTableIteratorState>;
}

XxxEntry XxxSwTableIteratorState::maybeUpdateCurrentEntry() {
    return IterAccessor{this}.maybeUpdateCurrentEntry();
}

Ombra::Ptr<XxxSwTable>
xxxSwTableFactory(Ombra::Ptr<Asic::CanonicalTableName const> const& tableName,
                  Asic::SwTableId tableId, Asic::UnitId unitId, Asic::OrderedSwTableSet* swTableSet,
                  Ombra::Ptr<XxxEntryLog> const& entryLog,
                  Ombra::Ptr<Asic::GroupResolver> const& groupResolver) {
    return Ombra::ptrIs<XxxSwTable>(tableName, tableId, unitId, swTableSet, entryLog,
                                    groupResolver);
}

Ombra::Ptr<XxxSwTableIteratorState> xxxSwTableIteratorStateFactory() {
    return Ombra::ptrIs<XxxSwTableIteratorState>();
}

} // namespace LoamSystemAcl
