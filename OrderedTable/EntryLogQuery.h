#pragma once

#include <OrderedTable/EntryLogAccessor.h>
#include <OrderedTable/SlateRead.h>

// What the configuration table of a unit says about a key. None of these looks at the change log.
//
// A key in deletion is out of sight from the moment of its delete, though its record stays until
// the log is trimmed; only `entryLogVersion` looks through a deletion. All require the unit to be
// mounted.
namespace Asic {

template <typename E>
auto EntryLogAccessor<E>::entry(Key const& key, UnitId unitId) const -> LogEntry {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " key: {} unitId:{}", key, unitId);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    return OrderedTable::fromRecordOf(
        configSlate->swTableEntries(), key, [](ConfigSlateEntry const& stored) {
            return stored.inDeletion() ? LogEntry{} : stored.logEntry();
        });
}

// Two reads, the first for the found flag: a record whose second read finds it damaged counts as
// there.
template <typename E>
bool EntryLogAccessor<E>::entryHas(Key const& key, UnitId unitId) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " key: {} unitId:{}", key, unitId);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    auto& entries = configSlate->swTableEntries();
    OrderedTable::ReadOnce const once{entries};
    return OrderedTable::recordHas(entries, key) &&
           !OrderedTable::fromRecordOf(
               entries, key, [](ConfigSlateEntry const& stored) { return stored.inDeletion(); });
}

// The keys carry nothing; the read is for its report of corruption.
template <typename E>
auto EntryLogAccessor<E>::entryRsrcKeys(Key const& key, UnitId unitId) const -> ResourceKeys {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " key: {} unitId:{}", key, unitId);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    static_cast<void>(OrderedTable::recordHas(configSlate->swTableEntries(), key));
    return ResourceKeys{};
}

template <typename E>
LogVersion EntryLogAccessor<E>::entryLogVersion(Key const& key, UnitId unitId) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " key: {} unitId:{}", key, unitId);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    return OrderedTable::fromRecordOf(
        configSlate->swTableEntries(), key,
        [](ConfigSlateEntry const& stored) { return stored.logVersion(); });
}

// Costs a walk; not for a hot path.
template <typename E>
std::uint32_t EntryLogAccessor<E>::entrys(UnitId unitId) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " unitId:{}", unitId);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    return configSlate->swTableEntries().memberCount() - entryLog_->entrysInDeletion(unitId);
}

template <typename E>
std::uint32_t EntryLogAccessor<E>::entrysInDeletion(UnitId unitId) const {
    ZET_TRACE(_defaultTraceHandle(), 8, className(), " unitId:{}", unitId);
    auto const configSlate = entryLog_->tableConfigSlate(unitId);
    std::uint32_t count = 0;
    for (OrderedTable::SlateWalk walk{configSlate->swTableEntries()}; walk.valid(); walk.next()) {
        count += walk.record().inDeletion() ? 1 : 0;
    }
    return count;
}

} // namespace Asic
