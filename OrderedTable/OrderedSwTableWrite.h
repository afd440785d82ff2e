#pragma once

#include <OrderedTable/OrderedSwTableAccessor.h>

// Write, remove and remove-all: an operation gets its version and its ticket, is parked where
// readers see it, and goes to the group's resolver. None of them fails for any reason of the
// table's state, and none touches shared memory.
namespace Asic {

// The version of an operation on `key`: one more than that of the key's newest pending operation,
// or zero when none is pending. The key is looked up twice on purpose: the two reads are those of
// the collection's `Has` and of its value.
template <typename T>
template <typename Key>
EntryVersion OrderedSwTableAccessor<T>::nextVersionOf(Key const& key, char const* function) const {
    if (!swTable_->transientVersionForKeyHas(key)) {
        ZET_TRACE_AS(function, _defaultTraceHandle(), 8, className,
                     " Key: {} not found in entry version collection", key);
        return EntryVersion::first();
    }
    EntryVersion const currEntryVersion = swTable_->transientVersionForKey(key);
    OMBRA_ASSERT(currEntryVersion.valid(), "currEntryVersion.valid()");
    return currEntryVersion.next();
}

template <typename T>
auto OrderedSwTableAccessor<T>::newHandle(EntryVersion const& version,
                                          typename Family::Key const& key,
                                          ResponseHandler const& responseHandler)
    -> Ombra::Ptr<EntryHandle> {
    auto entryHandle = Ombra::ptrIs<EntryHandle>(version, key, swTable_);
    if (responseHandler) {
        entryHandle->responseHandlerIs(responseHandler);
    }
    entryHandle->entryStateIs(SwTableBase::EntryState::entryPending);
    return entryHandle;
}

// What follows every queued operation.
template <typename T>
void OrderedSwTableAccessor<T>::noteQueued() {
    swTable_->groupResolver()->maybeUpdateSuspend();
    swTable_->swTableSet()->maybeUpdatePendingHwWritesOf(*swTable_);
}

// 1 version, 2 mark, 3 handle, 4 wrapper under the key given (also when the entry bears another),
// 5 the key leaves the pending removes, 6 enters the pending writes, 7 resolver entry, 8 queue.
// The resolver entries of operations that are overtaken here stay queued.
template <typename T>
template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper, typename Key,
          typename Entry>
auto OrderedSwTableAccessor<T>::entryWriteGeneric(Key const& key, Entry const& entry,
                                                  DependencyPtr const& depEntryHandle,
                                                  ResponseHandler const& responseHandler)
    -> Ombra::Ptr<EntryHandle const> {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "key: {}", key);
    EntryVersion const version = nextVersionOf(key, __func__);
    swTable_->transientVersionForKeyIs(key, version);

    if (swTable_->inMarkingState()) {
        swTable_->markedKeyIs(key);
    }

    auto const entryHandle = newHandle(version, key, responseHandler);
    auto const wrapper = Ombra::ptrIs<EntryWrapper>(entry, entryHandle);
    wrapper->keyIs(key);

    swTable_->transientRemoveEntryDel(key);
    swTable_->transientAddEntryIs(wrapper);

    // Only what a restarted agent replays while its table is marking may be suppressed as
    // identical. Asked here and not above: a subscriber of the changes may have ended the phase.
    EntryFlags const flags =
        swTable_->inMarkingState() ? EntryFlags::flagSuppressIdenticalWrites : EntryFlags::none;
    auto const resolverEntry =
        Ombra::ptrIs<ResolverEntry>(depEntryHandle, flags, swTable_, wrapper);
    swTable_->groupResolver()->resolverQueueEnq(resolverEntry);
    swTable_->groupResolver()->updateGenId();
    ZET_TRACE(_defaultTraceHandle(), 2, className, "Done processing write for key: {} ", key);
    swTable_->stats()->entryWriteCntInc(1);
    noteQueued();
    return entryHandle;
}

// As the write, with a placeholder entry. It differs in three ways: a remove doesn't mark its key,
// is never suppressed, and has its resolver entry before the pending collections change.
template <typename T>
template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper, typename Entry,
          typename Key>
auto OrderedSwTableAccessor<T>::entryRemoveGeneric(Key const& key,
                                                   DependencyPtr const& depEntryHandle,
                                                   ResponseHandler const& responseHandler)
    -> Ombra::Ptr<EntryHandle const> {
    ZET_TRACE(_defaultTraceHandle(), 8, className, " Key: {} ", key);
    EntryVersion const version = nextVersionOf(key, __func__);
    swTable_->transientVersionForKeyIs(key, version);

    auto const entryHandle = newHandle(version, key, responseHandler);
    auto const wrapper = Ombra::ptrIs<EntryWrapper>(Entry{key}, entryHandle);
    auto const resolverEntry = Ombra::ptrIs<ResolverEntry>(
        depEntryHandle, EntryFlags::flagEntryDeleted, swTable_, wrapper);

    swTable_->transientAddEntryDel(key);
    swTable_->transientRemoveEntryIs(wrapper);

    swTable_->groupResolver()->resolverQueueEnq(resolverEntry);
    swTable_->groupResolver()->updateGenId();
    ZET_TRACE(_defaultTraceHandle(), 2, className, " Done processing remove for key: {} ", key);
    swTable_->stats()->entryRemoveCntInc(1);
    noteQueued();
    return entryHandle;
}

// Drops all pending operations from sight at once; their resolver entries still commit ahead of
// this one. The versions of their keys stay, so that their numbering goes on. The handle is the
// resolver entry's alone: a caller can neither depend on a remove-all nor watch it.
template <typename T>
template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper, typename Entry,
          typename Key>
void OrderedSwTableAccessor<T>::entryRemoveAllGeneric(DependencyPtr const& depEntryHandle,
                                                      ResponseHandler const& responseHandler) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    auto const entryHandle = newHandle(EntryVersion::first(), Key{}, responseHandler);
    auto const wrapper = Ombra::ptrIs<EntryWrapper>(Entry{}, entryHandle);
    auto const resolverEntry = Ombra::ptrIs<ResolverEntry>(
        depEntryHandle, EntryFlags::flagTableDeleted, swTable_, wrapper);

    swTable_->transientAddEntryDelAll();
    swTable_->transientRemoveEntryDelAll();

    MajorVersion const current = swTable_->transientRemoveAllVersion();
    if (current.valid()) {
        ZET_TRACE(_defaultTraceHandle(), 8, className, "Found valid table remove all version: {}",
                  current);
        swTable_->transientRemoveAllVersionIs(MajorVersion{current.number() + 1});
    } else {
        ZET_TRACE(_defaultTraceHandle(), 8, className,
                  "No remove all operation currently enqueued");
        swTable_->transientRemoveAllVersionIs(MajorVersion{0});
    }

    swTable_->groupResolver()->resolverQueueEnq(resolverEntry);
    swTable_->groupResolver()->updateGenId();
    ZET_TRACE(_defaultTraceHandle(), 2, className, "Done processing remove all ");
    noteQueued();
}

} // namespace Asic
