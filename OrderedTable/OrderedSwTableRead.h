#pragma once

#include <OrderedTable/OrderedSwTableAccessor.h>
#include <OrderedTable/SlateRead.h>

// What readers see, and what the hardware's progress ends.
//
// Two layers answer: the pending operations, from the moment that a write, remove or remove-all
// returns, and behind them what is committed. A client therefore reads its own writes. What there
// is nothing to say about is answered by the default entry, which bears the all-zero key.
//
// A read counts a reference of its own to the entry log, and the log's queries count one to the
// unit's table, so that neither can go while it lasts: a trace or a report of damage may run code
// that lets go of them.
namespace Asic {

// The newest pending write, then a pending remove, then the committed entry. A pending remove-all
// takes no part here, although `entryHas` and iteration heed it; the difference is on purpose.
template <typename T>
template <typename Key, typename Entry>
Entry OrderedSwTableAccessor<T>::entryReadGeneric(Key const& key) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "key: {}", key);
    if (auto const* const pending = swTable_->transientAddEntryColl()[key]) {
        return pending->value()->swTableEntry();
    }
    if (swTable_->transientRemoveEntryHas(key)) {
        return Entry{};
    }
    auto const entryLog = swTable_->entryLog();
    auto const configSlate = entryLog->tableConfigSlate(swTable_->unitId());
    OrderedTable::ReadOnce const once{configSlate->swTableEntries()};
    if (entryLog->entryHas(key, swTable_->unitId())) {
        return swTable_->entryFromConfig(key);
    }
    ZET_TRACE(_defaultTraceHandle(), 1, className, "Failed to find entry for key: {}", key);
    return Entry{};
}

// The committed entry alone. Requires the unit's configuration table to be mounted.
template <typename T>
template <typename Key, typename Entry>
Entry OrderedSwTableAccessor<T>::entryFromConfig(Key const& key) const {
    using Record = typename Family::ConfigSlateEntry;
    return takeFromConfig(key, [](Record const& record) {
        static Record const none{};
        return Record::isEq(&record, &none) || record.inDeletion() ? Entry{} : record.entry();
    });
}

template <typename T>
template <typename Take>
auto OrderedSwTableAccessor<T>::takeFromConfig(typename Family::Key const& key,
                                               Take const& take) const {
    ZET_TRACE_AS("entryFromConfig", _defaultTraceHandle(), 8, className, "key: {}", key);
    auto const entryLog = swTable_->entryLog();
    auto const configSlate = entryLog->tableConfigSlate(swTable_->unitId());
    return OrderedTable::fromRecordOf(configSlate->swTableEntries(), key, take);
}

template <typename T>
template <typename Key>
bool OrderedSwTableAccessor<T>::entryHas(Key const& key) const {
    if (swTable_->transientAddEntryHas(key)) {
        return true;
    }
    if (swTable_->transientRemoveEntryHas(key) || swTable_->transientRemoveAllVersion().valid()) {
        return false;
    }
    auto const entryLog = swTable_->entryLog();
    return entryLog->entryHas(key, swTable_->unitId());
}

// The number of visible entries: an overwrite adds none, and removing what was never committed
// takes none away. One question to the log per pending key, and a walk over the configuration
// table.
template <typename T>
std::uint32_t OrderedSwTableAccessor<T>::entrys() const {
    if (swTable_->transientRemoveAllVersion().valid()) {
        return swTable_->transientAddEntrys();
    }
    auto const entryLog = swTable_->entryLog();
    auto const unitId = swTable_->unitId();
    std::uint32_t adds = swTable_->transientAddEntrys();
    std::uint32_t removes = swTable_->transientRemoveEntrys();
    std::uint32_t const logged = entryLog->entrys(unitId);
    using AddIterator = typename Table::TransientAddEntry::IteratorConst;
    for (AddIterator i{swTable_->transientAddEntryColl()}; i; ++i) {
        adds -= entryLog->entryHas(i->fwkKey(), unitId) ? 1 : 0;
    }
    using RemoveIterator = typename Table::TransientRemoveEntry::IteratorConst;
    for (RemoveIterator i{swTable_->transientRemoveEntryColl()}; i; ++i) {
        removes -= entryLog->entryHas(i->fwkKey(), unitId) ? 0 : 1;
    }
    return adds + logged - removes;
}

// True while the table holds something that the hardware has not confirmed: something pending, or
// something committed and not yet acknowledged.
template <typename T>
bool OrderedSwTableAccessor<T>::hasPendingHwWrites() const {
    auto const& entryLog = *swTable_->entryLog();
    bool const pending = swTable_->transientAddEntrys() != 0 ||
                         swTable_->transientRemoveEntrys() != 0 ||
                         swTable_->transientRemoveAllVersion().valid() ||
                         entryLog.tableVersion() != entryLog.logCleanedVersion();
    ZET_TRACE(_defaultTraceHandle(), 3, className,
              " pendingHwWrites for swTable: tableId: {}, unitId{} is {}", swTable_->tableId(),
              swTable_->unitId(), pending);
    return pending;
}

// The log is trimmed, and the handles that `version` covers are done, in the order of the log. The
// queue is ordered by log version, so the walk stops at the first handle behind it.
template <typename T>
void OrderedSwTableAccessor<T>::tableStatusVersion(LogVersion version) {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "tableVersion: {}", version);
    swTable_->entryLog()->cleanupEntryLog(version);
    swTable_->groupResolver()->updateGenId();
    while (auto const front = swTable_->entryHandleInLogFront()) {
        if (version < front->logVersion()) {
            break;
        }
        auto const entryHandle = swTable_->entryHandleInLogDeq();
        ZET_TRACE(_defaultTraceHandle(), 3, className, "Processing version: {}, key: {}",
                  entryHandle->logVersion(), entryHandle->key());
        entryHandle->entryStateIs(SwTableBase::EntryState::entryApplied);
        respond(entryHandle);
    }
    swTable_->swTableSet()->maybeUpdatePendingHwWritesOf(*swTable_);
}

} // namespace Asic
