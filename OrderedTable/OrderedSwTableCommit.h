#pragma once

#include <Ombra/Prefetch.h>
#include <OrderedTable/OrderedSwTableAccessor.h>
#include <OrderedTable/SlateRead.h>
#include <Zet/System.h>

#include <typeinfo>

// Whether a queued operation is ready, and what its commit does. The resolver calls both, through
// the operation's resolver entry.
namespace Asic {

// Ready means: the change log has room, and what the operation depends on is no longer pending,
// asked in this order. A failed dependency is ready too; the commit refuses it.
template <typename T>
template <typename SwTableConstants, typename ResolverEntry>
bool OrderedSwTableAccessor<T>::isResolverEntryResolved(
    Ombra::Ptr<ResolverEntry> const& resolverEntry) {
    auto const& wrapper = resolverEntry->entry();
    bool const isEntryDeleted = resolverEntry->isEntryDeleted();
    if (swTable_->entryLog()->tableEntryLog()->entryLogConfig().memberCount() >=
        entryLogCapacityLimit) {
        ZET_TRACE(_defaultTraceHandle(), 1, className,
                  "key: {}, isEntryDeleted: {} : no space in entryLog!", wrapper->key(),
                  isEntryDeleted);
        return false;
    }
    if (auto const& dependency = resolverEntry->dependantEntryHandle()) {
        if (dependency->entryState() == SwTableBase::EntryState::entryPending) {
            ZET_TRACE(_defaultTraceHandle(), 3, className,
                      "key: {} dependant entry not yet resolved", wrapper->key());
            return false;
        }
        ZET_TRACE(_defaultTraceHandle(), 3, className, "key: {} dependant entry is resolved",
                  wrapper->key());
    }
    if (!isEntryDeleted) {
        swTable_->setRsrcPtrs(wrapper, true);
    }
    ZET_TRACE(_defaultTraceHandle(), 3, className,
              "key: {}, isEntryDeleted: {}, isTableDeleted: {}, resolved: true", wrapper->key(),
              isEntryDeleted, resolverEntry->isTableDeleted());
    return true;
}

template <typename T>
template <typename EntryWrapper>
void OrderedSwTableAccessor<T>::fetchAhead(EntryWrapper const& wrapper,
                                           ResolverEntry::Ahead what) const noexcept {
    using enum ResolverEntry::Ahead;
    if (what == operation) {
        Ombra::prefetch(&wrapper, sizeof wrapper);
        return;
    }
    auto const& entryLog = *swTable_->entryLog();
    auto const configSlate = entryLog.tableConfigSlate(swTable_->unitId());
    if (!configSlate) {
        return;
    }
    auto const& entries = configSlate->swTableEntries();
    if (what == place) {
        Ombra::prefetch(wrapper.entryHandle().get(), sizeof(EntryHandle));
        entries.fetchPlace(wrapper.key());
    } else {
        entries.fetchRecord(wrapper.key());
    }
}

// What a commit works with, fixed at its start. It holds counted references, because a response
// handler may call back into the table.
template <typename T>
struct OrderedSwTableAccessor<T>::Commit {
    Table& swTable;
    DependencyPtr dependency; // may be null
    Ombra::Ptr<typename Family::EntryWrapper> wrapper;
    Ombra::Ptr<EntryHandle> entryHandle;
    EntryVersion entryConfVersion;
    EntryFlags flags;

    void addDependencyTo(NeededEntry& neededEntry) const {
        if (dependency) {
            neededEntry.add(dependency->entryTableVersion());
        }
    }

    // Takes the key's pending state away, unless a newer operation of the key has taken its place.
    void dropTransientIfCurrent(bool isAdd) const {
        auto const key = wrapper->key();
        auto const isCurrent = [&](auto const* pending) {
            return pending != nullptr &&
                   EntryVersion::isEq(pending->value()->entryHandle()->entryVersion(),
                                      entryConfVersion);
        };
        if (!(isAdd ? isCurrent(swTable.transientAddEntryColl()[key])
                    : isCurrent(swTable.transientRemoveEntryColl()[key]))) {
            return;
        }
        if (isAdd) {
            swTable.transientAddEntryDel(key);
        } else {
            swTable.transientRemoveEntryDel(key);
        }
        swTable.transientVersionForKeyDel(key);
    }
};

// The opening steps, the route, the closing steps. A route is refused before anything else is
// looked at; then remove-all, remove, write, asked in this order.
template <typename T>
template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper>
void OrderedSwTableAccessor<T>::commitEntry(Ombra::Ptr<Asic::ResolverEntry> const& resolvedEntry) {
    auto const resolverEntry = Ombra::staticCast<ResolverEntry>(resolvedEntry);
    auto const& wrapper = resolverEntry->entry();
    bool const isEntryDelete = resolverEntry->isEntryDeleted();
    bool const isTableDelete = resolverEntry->isTableDeleted();
    ZET_TRACE(_defaultTraceHandle(), 8, className,
              "Entry: {}, isEntryDeleted: {}, isTableDeleted: {}", wrapper->key(), isEntryDelete,
              isTableDelete);
    OMBRA_ASSERT(!(isEntryDelete && isTableDelete), "!( isEntryDelete && isTableDelete )");

    auto const entryHandle = EntryHandle::exactly(wrapper->entryHandle());
    OMBRA_ASSERT(entryHandle != nullptr, "entryHandle != NULL");
    EntryVersion const entryConfVersion = entryHandle->entryVersion();
    OMBRA_ASSERT(isTableDelete || entryConfVersion.valid(), "entryConfVersion.valid()");

    Commit commit{*swTable_,        resolverEntry->dependantEntryHandle(),
                  wrapper,          entryHandle,
                  entryConfVersion, resolverEntry->flags()};
    if (commit.dependency && SwTableBase::isFailure(commit.dependency->entryState())) {
        refuse(commit);
    } else if (isTableDelete) {
        commitRemoveAll(commit);
    } else if (isEntryDelete) {
        commitRemove(commit);
    } else {
        commitWrite<SwTableConstants>(commit);
    }
    closeCommit();
}

// Nothing but the handle changes. The pending state stays on purpose: readers go on seeing the
// operation, and `hasPendingHwWrites` goes on answering true, until a newer one of the key commits.
template <typename T>
void OrderedSwTableAccessor<T>::refuse(Commit const& commit) {
    if (flagHas(commit.flags, EntryFlags::flagTableDeleted)) {
        ZET_TRACE_AS("commitEntry", _defaultTraceHandle(), 1, className,
                     "Failed dependent entry for remove all");
        ZET_TRACE_AS("commitEntry", _defaultTraceHandle(), 1, className,
                     "Failed to commit entry remove all operation");
    } else {
        ZET_TRACE_AS("commitEntry", _defaultTraceHandle(), 1, className,
                     "Failed dependent entry for key: {}", commit.wrapper->key());
        ZET_TRACE_AS("commitEntry", _defaultTraceHandle(), 1, className,
                     "Failed to commit entry key: {}", commit.wrapper->key());
    }
    commit.entryHandle->entryStateIs(SwTableBase::EntryState::entryFailed);
    respond(commit.entryHandle);
}

// As `entryFromConfig`, for the report of damage: what is read is of no use here.
template <typename T>
void OrderedSwTableAccessor<T>::readFromConfig(typename Family::Key const& key) const {
    takeFromConfig(key, [](auto const&) {});
}

// The client's helper finishes the entry first; what it leaves in the wrapper is what is logged. A
// version that the hardware side has passed already (a suppressed write whose old record is
// trimmed) is done at once; any other waits for the table's status.
template <typename T>
template <typename SwTableConstants>
void OrderedSwTableAccessor<T>::commitWrite(Commit const& commit) {
    Ombra::Ptr<Table> const swTable{swTable_};
    commit.wrapper->finalizeOnSuccess(swTable, false);
    commit.dropTransientIfCurrent(true);
    auto const neededEntry = swTable_->getNeededEntrySet(commit.wrapper);
    auto const& entryLog = swTable_->entryLog();
    LogVersion const logVersion = [&] {
        auto const configSlate = entryLog->tableConfigSlate(swTable_->unitId());
        OrderedTable::ReadOnce const once{configSlate->swTableEntries()};
        readFromConfig(commit.wrapper->key());
        commit.addDependencyTo(*neededEntry);
        return entryLog->entryIs(commit.wrapper->logEntry(), commit.wrapper->rsrcKeys(),
                                 neededEntry, swTable_->unitId(), swTable_->stats(),
                                 flagHas(commit.flags, EntryFlags::flagSuppressIdenticalWrites));
    }();
    commit.entryHandle->logVersionIs(logVersion);
    if (entryLog->logCleanedVersion() < logVersion) {
        commit.entryHandle->entryStateIs(SwTableBase::EntryState::entryInLog);
        swTable_->entryHandleInLogEnq(commit.entryHandle);
    } else {
        commit.entryHandle->entryStateIs(SwTableBase::EntryState::entryApplied);
        respond(commit.entryHandle);
    }
}

// Unlike the write, it drops the pending state before the helper is called, and asks the log
// version only whether the log wrote anything: 0 means that the entry did not exist.
template <typename T>
void OrderedSwTableAccessor<T>::commitRemove(Commit const& commit) {
    auto const key = commit.wrapper->key();
    readFromConfig(key);
    auto const neededEntry = Ombra::ptrIs<NeededEntry>();
    commit.addDependencyTo(*neededEntry);
    commit.dropTransientIfCurrent(false);
    commit.wrapper->finalizeOnSuccess(Ombra::Ptr<Table>{swTable_}, true);

    LogVersion const logVersion =
        swTable_->entryLog()->entryDel(key, neededEntry, swTable_->unitId());
    commit.entryHandle->logVersionIs(logVersion);
    if (logVersion != 0) {
        commit.entryHandle->entryStateIs(SwTableBase::EntryState::entryInLog);
        swTable_->entryHandleInLogEnq(commit.entryHandle);
    } else {
        commit.entryHandle->entryStateIs(SwTableBase::EntryState::entryApplied);
        respond(commit.entryHandle);
    }
}

// The handle is neither queued nor answered: no completion signal exists for a remove-all that
// succeeds.
template <typename T>
void OrderedSwTableAccessor<T>::commitRemoveAll(Commit& commit) {
    MajorVersion const currRemoveAllVersion = swTable_->transientRemoveAllVersion();
    OMBRA_ASSERT(currRemoveAllVersion.valid(), "currRemoveAllVersion.valid()");
    ZET_TRACE_AS("commitEntry", _defaultTraceHandle(), 8, className,
                 "Committing table delete for version: {}", currRemoveAllVersion);
    auto const neededEntry = swTable_->getNeededEntrySet(commit.wrapper);
    commit.addDependencyTo(*neededEntry);
    delAllEntries<typename Family::EntryWrapper>(true, neededEntry, commit.entryHandle);
    // One less; from 0 the subtraction wraps to all ones, which is the invalid value.
    swTable_->transientRemoveAllVersionIs(MajorVersion{currRemoveAllVersion.number() - 1});
}

template <typename T>
void OrderedSwTableAccessor<T>::closeCommit() {
    noteQueued();
    auto& stats = *swTable_->stats();
    stats.lastCommitTime = Zet::System::currentTimeUtc();
    stats.commitCntInc(1);
}

template <typename T>
void OrderedSwTableAccessor<T>::respond(Ombra::Ptr<EntryHandle> const& entryHandle) {
    if (auto const& responseHandler = entryHandle->responseHandler()) {
        responseHandler(entryHandle);
    }
}

} // namespace Asic
