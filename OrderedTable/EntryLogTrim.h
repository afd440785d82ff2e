#pragma once

#include <OrderedTable/EntryLogAccessor.h>
#include <OrderedTable/SlateRead.h>

#include <algorithm>

// Trimming: the log records up to an acknowledged version go, and with each delete among them the
// entry that it had marked. The log record goes first; should the agent die between the two, the
// purge at the next mount of the unit removes the entry.
namespace Asic {

// In a process that has trimmed before, the version numbers are stepped through one by one, which
// costs nothing for the length of the log. The first trim of a process doesn't know where the log
// starts and walks all of it.
template <typename E>
void EntryLogAccessor<E>::cleanupEntryLog(LogVersion tableVersion) {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " version {}", tableVersion);
    auto& changes = entryLog_->tableEntryLog()->entryLogConfig();
    if (LogVersion const cleaned = entryLog_->logCleanedVersion(); cleaned != 0) {
        // No record lies further than one above the counter (one that a crash left behind), however
        // far above it an acknowledgement claims to be.
        LogVersion const last = std::min(tableVersion, entryLog_->tableVersion() + 1);
        for (LogVersion version = cleaned; version <= last; ++version) {
            removeLogRecord(version);
        }
    } else {
        for (OrderedTable::SlateWalk walk{changes}; walk.valid(); walk.next()) {
            if (walk.record().version <= tableVersion) {
                Trimmed const change{walk.record()};
                entryLog_->tableEntryLog()->entryLogConfigDel(change.version);
                applyTrimmed(change);
            }
        }
    }
    entryLog_->logCleanedVersionIs(tableVersion);
}

template <typename E>
void EntryLogAccessor<E>::removeLogRecord(LogVersion version) {
    auto& log = *entryLog_->tableEntryLog();
    auto& changes = log.entryLogConfig();
    OrderedTable::ReadOnce const once{changes};
    if (!OrderedTable::recordHas(changes, version)) {
        return;
    }
    auto const change = OrderedTable::fromRecordOf(
        changes, version, [](LogSlateEntry const& record) { return Trimmed{record}; });
    log.entryLogConfigDel(version);
    applyTrimmed(change);
}

// A record belongs to the delete whose version it bears; one that was written or deleted again
// since belongs to the later change and stays.
template <typename E>
void EntryLogAccessor<E>::applyTrimmed(Trimmed const& change) {
    auto const configSlate = entryLog_->tableConfigSlate(change.unitId);
    if (!configSlate) {
        ZET_TRACE_AS("cleanupEntryLog", _defaultTraceHandle(), 3, className(),
                     " configSlate not found for unitId: {}", change.unitId);
        return;
    }
    auto& entries = configSlate->swTableEntries();
    if (flagHas(change.logFlags, EntryFlags::flagEntryDeleted)) {
        auto const stored =
            OrderedTable::fromRecordOf(entries, change.key, [](ConfigSlateEntry const& record) {
                return record.logVersion();
            });
        if (stored == change.version) {
            configSlate->swTableEntriesDel(change.key);
        }
    } else if (flagHas(change.logFlags, EntryFlags::flagTableDeleted)) {
        ZET_TRACE_AS("cleanupEntryLog", _defaultTraceHandle(), 3, className(),
                     " deleteing all entries for unitId: {}", change.unitId);
        for (OrderedTable::SlateWalk walk{entries}; walk.valid(); walk.next()) {
            if (walk.record().logVersion() == change.version) {
                configSlate->swTableEntriesDel(walk.record().key());
            }
        }
    }
}

} // namespace Asic
