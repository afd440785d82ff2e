#include <LoamSystemAcl/XxxInfraTypes.h>
#include <LoamSystemAcl/XxxInspect.h>
#include <LoamSystemAcl/XxxSwTable.h>
#include <LoamSystemAcl/XxxSwTableHelperBase.h>
#include <OrderedTable/UnitLoaded.h>
#include <Zet/Trace.h>

namespace LoamSystemAcl {

namespace {

OrderedTable::UnitLoaded const infraTypesLoaded{xxxInfraTypesModule,
                                                XxxConstants::row.alignsAtLoad};

} // namespace

Zet::TraceHandle const& XxxEntryWrapper::_defaultTraceHandle() {
    static Zet::TraceHandle const handle{"XxxSwTable", false};
    return handle;
}

XxxEntryWrapper::XxxEntryWrapper(XxxEntry const& entry,
                                 Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle)
    : swTableEntry_{entry}, entryHandle_{entryHandle} {}

XxxEntryWrapper::~XxxEntryWrapper() = default;

Ombra::Ptr<XxxEntryWrapper> XxxEntryWrapper::XxxEntryWrapperIs(
    XxxEntry const& entry, Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle) {
    return Ombra::ptrIs<XxxEntryWrapper>(entry, entryHandle);
}

Ombra::TypeData XxxEntryWrapper::typeData() const {
    return Ombra::typeDataOf<XxxEntryWrapper>;
}

void XxxEntryWrapper::finalizeOnSuccess(Ombra::Ptr<XxxSwTable> const& swTable, bool isDeleted) {
    ZET_TRACE(_defaultTraceHandle(), 8, "XxxEntryWrapper", " key: {} isDeleted: {}", key(),
              isDeleted);
    swTable->swTableHelper()->finalizeOnSuccess(Ombra::Ptr<XxxEntryWrapper>{this}, isDeleted,
                                                swTable);
}

bool XxxEntryWrapper::finalizeOnFailure(Ombra::Ptr<XxxSwTable> const& swTable, bool isDeleted) {
    ZET_TRACE(_defaultTraceHandle(), 8, "XxxEntryWrapper", " key: {} isDeleted: {}", key(),
              isDeleted);
    bool const retVal = swTable->swTableHelper()->finalizeOnFailure(
        Ombra::Ptr<XxxEntryWrapper>{this}, isDeleted, swTable);
    ZET_TRACE(_defaultTraceHandle(), 3, "XxxEntryWrapper", " retVal: {}", retVal);
    return retVal;
}

XxxResolverEntry::XxxResolverEntry(
    Ombra::Ptr<Asic::DependencyEntryHandle const> const& dependantEntryHandle,
    Asic::EntryFlags flags, XxxSwTable* swTable, Ombra::Ptr<XxxEntryWrapper> const& entry)
    : Tracked{dependantEntryHandle, flags}, swTable_{swTable}, entry_{entry} {}

XxxResolverEntry::~XxxResolverEntry() = default;

Ombra::Ptr<XxxResolverEntry> XxxResolverEntry::XxxResolverEntryIs(
    Ombra::Ptr<Asic::DependencyEntryHandle const> const& dependantEntryHandle,
    Asic::EntryFlags flags, XxxSwTable* swTable, Ombra::Ptr<XxxEntryWrapper> const& entry) {
    return Ombra::ptrIs<XxxResolverEntry>(dependantEntryHandle, flags, swTable, entry);
}

Ombra::TypeData XxxResolverEntry::typeData() const {
    return Ombra::typeDataOf<XxxResolverEntry>;
}

bool XxxResolverEntry::isResolved() {
    return swTable_->isResolverEntryResolved(Ombra::Ptr<XxxResolverEntry>{this});
}

void XxxResolverEntry::commitEntry(Ombra::Ptr<Asic::ResolverEntry> const& resolvedEntry) {
    swTable_->commitEntry(resolvedEntry);
}

void XxxResolverEntry::fetchAhead(Ahead what) const noexcept {
    swTable_->fetchAhead(*entry_, what);
}

Ombra::Ptr<XxxEntryWrapper>
xxxEntryWrapperFactory(XxxEntry const& entry,
                       Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle) {
    return Ombra::ptrIs<XxxEntryWrapper>(entry, entryHandle);
}

Ombra::Ptr<XxxResolverEntry>
xxxResolverEntryFactory(Ombra::Ptr<Asic::DependencyEntryHandle const> const& dependantEntryHandle,
                        Asic::EntryFlags flags, XxxSwTable* swTable,
                        Ombra::Ptr<XxxEntryWrapper> const& entry) {
    return Ombra::ptrIs<XxxResolverEntry>(dependantEntryHandle, flags, swTable, entry);
}

} // namespace LoamSystemAcl
