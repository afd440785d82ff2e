#pragma once

#include <Asic/EntryLogBase.h>
#include <Asic/NeededEntry.h>
#include <Asic/SwTableStats.h>
#include <Ombra/Ptr.h>
#include <OrderedTable/TypeName.h>
#include <Zet/Trace.h>

#include <type_traits>

// The algorithms of a table's durable memory, once for all tables. `E` is the entry log class, or
// its const form for the queries.
//
//     EntryLogWrite.h    the three changes, and what a crash between their stores leaves
//     EntryLogQuery.h    what the configuration table of a unit says about a key
//     EntryLogTrim.h     trimming to what the hardware side has acknowledged
//     EntryLogMount.h    attaching to shared memory at start
//
// All on the agent's thread; no lock.
namespace Asic {

template <typename E>
class EntryLogAccessor {
  public:
    using EntryLog = std::remove_const_t<E>;
    using Family = typename EntryLog::Family;
    using Key = typename Family::Key;
    using LogEntry = typename Family::LogEntry;
    using ResourceKeys = typename Family::ResourceKeys;
    using ConfigSlate = typename Family::ConfigSlate;
    using ConfigSlateEntry = typename Family::ConfigSlateEntry;
    using LogSlateEntry = typename Family::LogSlateEntry;
    using NeededPtr = Ombra::Ptr<NeededEntry const>;

    explicit EntryLogAccessor(E* entryLog) noexcept : entryLog_{entryLog} {}

    // EntryLogWrite.h
    LogVersion entryIs(LogEntry const& tableEntry, ResourceKeys const& rsrcKeys,
                       NeededPtr const& neededEntry, UnitId unitId,
                       Ombra::Ptr<SwTableStats> const& stats, bool suppressIdenticalWrites);
    LogVersion entryDel(Key const& key, NeededPtr const& neededEntry, UnitId unitId);
    LogVersion tableDel(NeededPtr const& neededEntry, UnitId unitId);

    // EntryLogQuery.h
    LogEntry entry(Key const& key, UnitId unitId) const;
    bool entryHas(Key const& key, UnitId unitId) const;
    ResourceKeys entryRsrcKeys(Key const& key, UnitId unitId) const;
    LogVersion entryLogVersion(Key const& key, UnitId unitId) const;
    std::uint32_t entrys(UnitId unitId) const;
    std::uint32_t entrysInDeletion(UnitId unitId) const;

    // EntryLogTrim.h
    void cleanupEntryLog(LogVersion tableVersion);

    // EntryLogMount.h
    void mountSlateChangeLog();
    void mountSlateConfig(UnitId unitId, LogVersion tableVersion);

    static Zet::TraceHandle const& _defaultTraceHandle() {
        static Zet::TraceHandle const handle{
            Ombra::String{OrderedTable::lastComponentOfTypeName<EntryLog>()}, false};
        return handle;
    }

  private:
    // What traces call the class: the entry log's own name.
    static char const* className() noexcept { return EntryLog::className; }

    LogVersion suppressedVersion(LogEntry const& tableEntry, ConfigSlate& configSlate,
                                 Ombra::Ptr<SwTableStats> const& stats) const;
    LogVersion record(LogVersion version, EntryFlags logFlags, UnitId unitId,
                      LogEntry const& logEntry, NeededPtr const& neededEntry);

    // What trimming needs of a log record, which is gone by then.
    struct Trimmed {
        explicit Trimmed(LogSlateEntry const& record)
            : version{record.version}, logFlags{record.logFlags}, unitId{record.unitId},
              key{record.logEntry.key()} {}

        LogVersion version;
        EntryFlags logFlags;
        UnitId unitId;
        Key key;
    };
    void removeLogRecord(LogVersion version);
    void applyTrimmed(Trimmed const& change);

    E* entryLog_;
};

} // namespace Asic
