#pragma once

#include <Asic/GroupInterface.h>
#include <OrderedTable/EntryLogAccessor.h>
#include <OrderedTable/SlateRead.h>
#include <Zet/SassertHelper.h>

// The three changes of a table's durable memory: entry written, entry deleted, all entries of a
// unit deleted.
//
// Each takes a new version and stores in this order: configuration table, change log, scratchpad;
// then the group is told. An agent that dies on the way leaves, after
//
//     the version was taken      nothing; the counter resumes at the last published value
//     the configuration table    a record with a version above the scratchpad, and no log record
//     the change log             both records; the next change takes the same version again, and
//                                its log record replaces this one
//     the scratchpad             everything stored; only the group was not told
//
// A delete doesn't remove the record of its key: it marks it `inDeletion`, and the record goes when
// the log is trimmed past the delete (EntryLogTrim.h).
namespace Asic {

// Suppressed is a write of what is stored already, and only if asked for: it takes no version and
// gives the stored one.
template <typename E>
LogVersion EntryLogAccessor<E>::entryIs(LogEntry const& tableEntry, ResourceKeys const& rsrcKeys,
                                        NeededPtr const& neededEntry, UnitId unitId,
                                        Ombra::Ptr<SwTableStats> const& stats,
                                        bool suppressIdenticalWrites) {
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    ZET_SASSERT(configSlate, "tableConfigSlateHas( unitId )",
                "Config slate for unitId:" << unitId << " is not created yet!");
    if (suppressIdenticalWrites) {
        if (LogVersion const stored = suppressedVersion(tableEntry, *configSlate, stats);
            stored != 0) {
            return stored;
        }
    }
    LogVersion const version = entryLog_->tableVersionInc(1);
    ZET_TRACE(_defaultTraceHandle(), 8, className(),
              " logEntry: {} neededEntry: {} version: {} unitId: {} suppressIdenticalWrites: {}",
              tableEntry, neededEntry, version, unitId, suppressIdenticalWrites);
    configSlate->swTableEntriesIs(ConfigSlateEntry{tableEntry, rsrcKeys, version, false});
    return record(version, EntryFlags::none, unitId, tableEntry, neededEntry);
}

// The version that stands for an identical entry; 0 when the write is to go on. Counts only what it
// compares.
template <typename E>
LogVersion EntryLogAccessor<E>::suppressedVersion(LogEntry const& tableEntry,
                                                  ConfigSlate& configSlate,
                                                  Ombra::Ptr<SwTableStats> const& stats) const {
    struct Stored {
        bool present;
        bool identical;
        LogVersion version;
    };
    auto const stored = OrderedTable::fromRecordOf(
        configSlate.swTableEntries(), tableEntry.key(), [&](ConfigSlateEntry const& record) {
            static ConfigSlateEntry const empty{};
            return Stored{!ConfigSlateEntry::isEq(&record, &empty) && !record.inDeletion(),
                          LogEntry::isEq(&record.logEntry(), &tableEntry), record.logVersion()};
        });
    if (!stored.present) {
        return 0;
    }
    if (!stored.identical) {
        ZET_TRACE_AS("entryIs", _defaultTraceHandle(), 3, className(),
                     "Not Suppressing write because entry or resource key is different  for key: "
                     "{}",
                     tableEntry.key());
        stats->suppressCheckDiffCntInc(1);
        return 0;
    }
    stats->suppressedWriteCntInc(1);
    ZET_TRACE_AS("entryIs", _defaultTraceHandle(), 3, className(),
                 "Suppressing identical write for key: {}", tableEntry.key());
    return stored.version;
}

// The rest of every change, behind the configuration table.
template <typename E>
LogVersion EntryLogAccessor<E>::record(LogVersion version, EntryFlags logFlags, UnitId unitId,
                                       LogEntry const& logEntry, NeededPtr const& neededEntry) {
    auto& log = *entryLog_->tableEntryLog();
    log.entryLogConfigIs(LogSlateEntry{version, logFlags, unitId, logEntry});
    log.control()->scratchpadIs(version);
    entryLog_->groupInterface()->addLogEntry(entryLog_->tableId(), version, neededEntry);
    return version;
}

// Gives 0 and takes no version when the key has no record. A key that is in deletion has one, and
// is deleted again: it takes a new version, unlike in `tableDel`, on purpose.
template <typename E>
LogVersion EntryLogAccessor<E>::entryDel(Key const& key, NeededPtr const& neededEntry,
                                         UnitId unitId) {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " key:{} neededEntry: {} unitId: {}", key,
              neededEntry, unitId);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    auto& entries = configSlate->swTableEntries();
    OrderedTable::ReadOnce const once{entries};
    if (!OrderedTable::recordHas(entries, key)) {
        ZET_TRACE(_defaultTraceHandle(), 3, className(),
                  " key: {} entry does not exist. So ignoring delete", key);
        return 0;
    }
    LogVersion const version = entryLog_->tableVersionInc(1);
    auto stored = OrderedTable::recordOf(entries, key);
    stored.deletedAt(version);
    configSlate->swTableEntriesIs(stored);
    return record(version, EntryFlags::flagEntryDeleted, unitId, stored.logEntry(), neededEntry);
}

// One version covers the whole table, and one log record. Records that are in deletion already keep
// their version.
template <typename E>
LogVersion EntryLogAccessor<E>::tableDel(NeededPtr const& neededEntry, UnitId unitId) {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " neededEntry:{}, unitId: {}", neededEntry,
              unitId);
    LogVersion const version = entryLog_->tableVersionInc(1);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    auto& entries = configSlate->swTableEntries();
    for (OrderedTable::SlateWalk walk{entries}; walk.valid(); walk.next()) {
        if (!walk.record().inDeletion()) {
            auto stored = OrderedTable::recordOf(entries, walk.record().key());
            stored.deletedAt(version);
            configSlate->swTableEntriesIs(stored);
        }
    }
    return record(version, EntryFlags::flagTableDeleted, unitId, LogEntry{}, neededEntry);
}

} // namespace Asic
