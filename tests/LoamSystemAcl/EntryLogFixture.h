#pragma once

#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <support/AgentInProcess.h>
#include <support/TraceCapture.h>
#include <utility>

// An entry log over shared memory of this process, with the means to look into its stores.
namespace LoamSystemAcl::entry_log_test {

using Family = Ipv4SystemPolicyTcamEntryFamily;
using Key = Family::Key;
using LogEntry = Family::LogEntry;
using ConfigSlateEntry = Family::ConfigSlateEntry;
using LogSlateEntry = Family::LogSlateEntry;
using ResourceKeys = Family::ResourceKeys;
using Constants = Family::Constants;
using Asic::LogVersion;
using Asic::UnitId;
using testing_support::TraceCapture;

inline constexpr char const* logHandle = "Ipv4SystemPolicyTcamEntryEntryLog";
inline constexpr char const* interfaceHandle = "Ipv4SystemPolicyTcamEntryInterface";

inline LogEntry logEntryOf(Key key, unsigned value) {
    LogEntry entry{key};
    entry.fields()[10] = std::byte(value);
    return entry;
}

inline unsigned valueOf(LogEntry const& entry) {
    return std::to_integer<unsigned>(entry.fields()[10]);
}

// An entry whose every byte follows from key and value, so that a mixture of two shows.
inline LogEntry patterned(Key key, unsigned value) {
    LogEntry entry{key};
    std::uint32_t word = key.number() * 2654435761U + value;
    for (std::byte& each : entry.fields()) {
        word = word * 1664525U + 1013904223U;
        each = std::byte(word >> 24);
    }
    std::memcpy(entry.fields().data(), &value, sizeof value);
    return entry;
}

class LogInUse {
  public:
    explicit LogInUse(Ombra::String name = "test", bool local = true)
        : agent{std::move(name), local} {
        up();
    }

    void up() {
        intf = agent.tableIntf<Family>();
        log = intf->entryLog();
        stats = Ombra::ptrIs<Asic::SwTableStats>();
    }

    void restart() {
        log = nullptr;
        intf = nullptr;
        agent.restart();
        up();
    }

    LogVersion write(Key key, unsigned value, bool suppress = false, UnitId unitId = 0) {
        return log->entryIs(logEntryOf(key, value), ResourceKeys{}, nullptr, unitId, stats,
                            suppress);
    }
    LogVersion remove(Key key, UnitId unitId = 0) { return log->entryDel(key, nullptr, unitId); }
    LogVersion removeAll(UnitId unitId = 0) { return log->tableDel(nullptr, unitId); }

    // The stored records, past the entry log.
    std::optional<ConfigSlateEntry> stored(Key key, UnitId unitId = 0) {
        return find<ConfigSlateEntry>(config(unitId), key);
    }
    std::optional<LogSlateEntry> logged(LogVersion version) {
        return find<LogSlateEntry>(changes(), version);
    }
    void storedIs(ConfigSlateEntry const& record, UnitId unitId = 0) {
        log->tableConfigSlate(unitId)->swTableEntriesIs(record);
    }
    void loggedIs(LogSlateEntry const& record) { log->tableEntryLog()->entryLogConfigIs(record); }

    Family::ConfigSlate::Map& config(UnitId unitId = 0) {
        return log->tableConfigSlate(unitId)->swTableEntries();
    }
    Family::EntryLogSlate::Map& changes() { return log->tableEntryLog()->entryLogConfig(); }
    LogVersion scratchpad() { return log->tableEntryLog()->control()->scratchpad(); }
    LogVersion announced() {
        return agent.group()->announcements().announcedVersion(Constants::tableId);
    }

    testing_support::AgentInProcess agent;
    Ombra::Ptr<Family::Interface> intf;
    Ombra::Ptr<Family::EntryLog> log;
    Ombra::Ptr<Asic::SwTableStats> stats;

  private:
    template <typename Record, typename Map, typename K>
    static std::optional<Record> find(Map& map, K const& key) {
        bool found = false;
        Record const record = map.lookup(key, &found, nullptr);
        return found ? std::optional{record} : std::nullopt;
    }
};

class EntryLogTest : public testing::Test, public LogInUse {};

// As above, with the configuration table of unit 0.
class MountedEntryLogTest : public EntryLogTest {
  public:
    MountedEntryLogTest() { log->mountSlateConfig(0, 0); }
};

} // namespace LoamSystemAcl::entry_log_test
