#pragma once

#include <Ombra/Assert.h>
#include <OrderedTable/CheckAndwriteMountSlate.h>
#include <OrderedTable/EntryLogAccessor.h>
#include <OrderedTable/SlateRead.h>
#include <ZetSlate/CollectionInfo.h>

// Attaching to shared memory at start: the table's change log once, and the configuration table of
// each unit when a client asks for the unit.
namespace Asic {

inline constexpr std::uint32_t entryLogConfigCapacity = 1000000; // records
inline constexpr std::uint32_t swTableEntriesCapacity = 65536;   // records

template <typename E>
void EntryLogAccessor<E>::mountSlateChangeLog() {
    using EntryLogSlate = typename Family::EntryLogSlate;
    ZET_TRACE(_defaultTraceHandle(), 8, className(), "");
    auto const path = Family::Constants::tableEntryLogSlatePath();
    auto const log = checkAndwriteMountSlate<EntryLogSlate>(
        entryLog_->entityManager(), EntryLogSlate::typeName, path, entryLog_->agentName(),
        [](ZetSlate::MountInfo& mountInfo) {
            mountInfo.collectionInfoIs(
                ZetSlate::CollectionInfo{"entryLogConfig", entryLogConfigCapacity, false});
        },
        [](Ombra::Ptr<EntryLogSlate>& slate) { return slate->control(); },
        [] {
            EntryLog::reportWiped(fmt::format("{}::{}", "entryLog", Family::Constants::tableName));
        });
    entryLog_->tableEntryLogIs(log);
    entryLog_->tableVersionIs(log->control()->scratchpad());
    ZET_TRACE(_defaultTraceHandle(), 2, className(), " Mounted entryLog: {}, tableVersion: {}",
              path, entryLog_->tableVersion());
}

// `tableVersion` is what the hardware side has acknowledged of the table, 0 for nothing. The
// deletes up to it were trimmed from the log while the unit was not mounted, or by an agent that
// died between the two removals of a trim: what they had marked goes now.
template <typename E>
void EntryLogAccessor<E>::mountSlateConfig(UnitId unitId, LogVersion tableVersion) {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " unitId:{}, logVersion: {}", unitId,
              tableVersion);
    auto const path = Family::Constants::configSlatePath(unitId);
    auto const cfgSlate = checkAndwriteMountSlate<ConfigSlate>(
        entryLog_->entityManager(), ConfigSlate::typeName, path, entryLog_->agentName(),
        [](ZetSlate::MountInfo& mountInfo) {
            mountInfo.collectionInfoIs(
                ZetSlate::CollectionInfo{"swTableEntries", swTableEntriesCapacity, false});
        },
        [](Ombra::Ptr<ConfigSlate>& slate) {
            OMBRA_ASSERT(slate != nullptr, "cfgSlate"); // an entity of another class stands there
            return slate->control();
        },
        [] {
            EntryLog::reportWiped(fmt::format("{}::{}", "entryCfg", Family::Constants::tableName));
        });
    entryLog_->tableConfigSlateIs(unitId, cfgSlate);
    ZET_TRACE(_defaultTraceHandle(), 2, className(), " Mounted config for unitId: {} at {}", unitId,
              path);
    if (tableVersion == 0) {
        return;
    }
    for (OrderedTable::SlateWalk walk{cfgSlate->swTableEntries()}; walk.valid(); walk.next()) {
        if (walk.record().inDeletion() && walk.record().logVersion() <= tableVersion) {
            cfgSlate->swTableEntriesDel(walk.record().key());
        }
    }
}

} // namespace Asic
