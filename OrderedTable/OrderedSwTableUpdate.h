#pragma once

#include <OrderedTable/OrderedSwTableAccessor.h>
#include <OrderedTable/SlateRead.h>

// The operations that bypass the resolver: update of a committed entry, and clearing.
namespace Asic {

// Recomputes a committed entry because a resource that it uses has changed, and logs it at once if
// that changed it and the client's helper wants it logged. Null when the entry doesn't exist.
//
// Pending operations of the key are neither looked at nor changed. The handle is in no queue, and
// serves as a version to read and a dependency to give; on both ways out it says `entryInLog`.
template <typename T>
template <typename Key, typename EntryWrapper>
Ombra::Ptr<OrderedSwTable::EntryHandle const>
OrderedSwTableAccessor<T>::updateEntry(Key const& key) {
    auto const& entryLog = swTable_->entryLog();
    auto const unitId = swTable_->unitId();
    if (!entryLog->entryHas(key, unitId)) {
        ZET_TRACE(_defaultTraceHandle(), 3, className, " key: {} entry does not exist ", key);
        return nullptr;
    }
    Ombra::Ptr<EntryHandle> entryHandle;
    auto const wrapper = entryWrapperFromConfig<Key, EntryWrapper>(key, false, entryHandle);
    auto const oldLogEntry = wrapper->logEntry();
    wrapper->setResolvedFields();
    bool const commitToLog = swTable_->swTableHelper()->finalizeOnResourceUpdate(
        wrapper, Ombra::Ptr<Table>{swTable_}, false);
    auto const newLogEntry = wrapper->logEntry();

    if (Family::LogEntry::isEq(&oldLogEntry, &newLogEntry) || !commitToLog) {
        ZET_TRACE(_defaultTraceHandle(), 3, className,
                  " key: {}, commitToLog: {}, no change in logEntry or don't commit to log", key,
                  commitToLog);
        entryHandle->logVersionIs(entryLog->entryLogVersion(key, unitId));
        entryHandle->entryStateIs(SwTableBase::EntryState::entryInLog);
        return entryHandle;
    }
    auto const neededEntry = swTable_->getNeededEntrySet(wrapper);
    entryHandle->logVersionIs(entryLog->entryIs(newLogEntry, typename Family::ResourceKeys{},
                                                neededEntry, unitId, swTable_->stats(), false));
    entryHandle->entryStateIs(SwTableBase::EntryState::entryInLog);
    swTable_->stats()->updateCntInc(1);
    ZET_TRACE(_defaultTraceHandle(), 3, className,
              " key: {}, neededEntry: {}, entryLogVersion: {} ", key,
              Ombra::Ptr<NeededEntry const>{neededEntry}, entryHandle->logVersion());
    return entryHandle;
}

// A wrapper for a committed entry. Uses the handle given, or makes one of version zero and leaves
// it in `entryHandle`; the state of a new handle isn't set.
template <typename T>
template <typename Key, typename EntryWrapper>
Ombra::Ptr<EntryWrapper>
OrderedSwTableAccessor<T>::entryWrapperFromConfig(Key const& key, bool refreshRsrcPtrs,
                                                  Ombra::Ptr<EntryHandle>& entryHandle) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "key: {}, refreshRsrcPtrs: {}", key,
              refreshRsrcPtrs);
    auto const entry = swTable_->entryFromConfig(key);
    if (!entryHandle) {
        entryHandle = Ombra::ptrIs<EntryHandle>(EntryVersion::first(), key, swTable_);
    }
    auto const wrapper = Ombra::ptrIs<EntryWrapper>(entry, entryHandle);
    wrapper->keyIs(key);
    swTable_->setRsrcPtrs(wrapper, refreshRsrcPtrs);
    wrapper->retrieveClientData();
    return wrapper;
}

// Deletes all committed entries of the unit by one table delete in the log. Nothing pending is
// touched. A unit without a configuration table, or with an empty one, is left wholly alone: no
// version, no count, no change of the handle.
//
// The walk gives back what the entries hold of other tables' resources. These tables hold none, so
// that it makes each wrapper and drops it; a table with resources has its place here.
template <typename T>
template <typename EntryWrapper>
void OrderedSwTableAccessor<T>::delAllEntries(bool releaseResources,
                                              Ombra::Ptr<NeededEntry const> const& neededEntry,
                                              Ombra::Ptr<EntryHandle>& entryHandle) {
    using Key = typename Family::Key;
    ZET_TRACE(_defaultTraceHandle(), 8, className, " releaseResources: {}, neededEntry:{} ",
              releaseResources, neededEntry);
    auto const unitId = swTable_->unitId();
    auto const configSlate = swTable_->entryLog()->tableConfigSlate(unitId);
    if (!configSlate) {
        return;
    }
    auto& entries = configSlate->swTableEntries();
    if (entries.memberCount() == 0) {
        return;
    }
    if (releaseResources) {
        for (OrderedTable::SlateWalk walk{entries}; walk.valid(); walk.next()) {
            if (!walk.record().inDeletion()) {
                entryWrapperFromConfig<Key, EntryWrapper>(walk.record().key(), false, entryHandle);
            }
        }
    }
    LogVersion const logVersion = swTable_->entryLog()->tableDel(neededEntry, unitId);
    if (entryHandle) {
        entryHandle->logVersionIs(logVersion);
        entryHandle->entryStateIs(SwTableBase::EntryState::entryInLog);
    }
    swTable_->stats()->tableClearCntInc(1);
}

} // namespace Asic
