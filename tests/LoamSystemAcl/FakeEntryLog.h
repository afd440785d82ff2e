#pragma once

#include "EntryLogFixture.h"

#include <OrderedTable/EntryLogQuery.h>
#include <OrderedTable/EntryLogTrim.h>
#include <OrderedTable/EntryLogWrite.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

// An entry log whose stores are in ordinary memory: it notes each call in order, and a test can let
// any call raise. For the algorithms of OrderedTable/EntryLog*.h alone.
namespace LoamSystemAcl::entry_log_test {

// What is called, as "STORE.OPERATION". A test's probe is asked before the operation is done.
struct Calls {
    std::vector<std::string> names;
    std::function<void(std::string const& name)> probe;

    void note(std::string name) {
        names.push_back(name);
        if (probe) {
            probe(name);
        }
    }
    std::size_t count(std::string const& name) const {
        return static_cast<std::size_t>(std::count(names.begin(), names.end(), name));
    }
};

template <typename RecordType, typename K, auto keyOfRecord>
struct FakeMap {
    using Record = RecordType;

    Calls& calls;
    std::string name;
    std::map<K, Record> records;
    std::vector<std::string> reported;
    Record handedOut{};

    static Record defaultRecord() { return Record{}; }
    static K keyOf(Record const& record) { return static_cast<K>(keyOfRecord(record)); }

    std::uint32_t memberCount() const { return static_cast<std::uint32_t>(records.size()); }
    Record const& lookup(K const& key, bool* found, void*) {
        if (found != nullptr) {
            *found = false;
        }
        calls.note(name + ".lookup");
        auto const at = records.find(key);
        handedOut = at == records.end() ? Record{} : at->second;
        if (found != nullptr) {
            *found = at != records.end();
        }
        return handedOut;
    }
    bool iterFirst(Record* record, Slate::IterHint*) {
        calls.note(name + ".iterFirst");
        return give(records.begin(), record);
    }
    bool iterNext(K const& previous, Record* record, Slate::IterHint*) {
        calls.note(name + ".iterNext");
        return give(records.upper_bound(previous), record);
    }
    void doCorruptionDetected(Ombra::String const& message) {
        reported.push_back(message.str());
        calls.note(name + ".doCorruptionDetected");
    }
    void is(Record const& record) {
        calls.note(name + ".is");
        records.insert_or_assign(keyOf(record), record);
    }
    bool del(K const& key) {
        calls.note(name + ".del");
        return records.erase(key) != 0;
    }

  private:
    bool give(typename std::map<K, Record>::const_iterator at, Record* record) const {
        if (at == records.end()) {
            return false;
        }
        *record = at->second;
        return true;
    }
};

class FakeEntryLog {
    static Key keyOfConfig(ConfigSlateEntry const& record) { return record.key(); }
    static LogVersion versionOf(LogSlateEntry const& record) { return record.version; }

  public:
    struct ConfigSlate {
        FakeMap<ConfigSlateEntry, Key, &keyOfConfig> map;

        auto& swTableEntries() { return map; }
        void swTableEntriesIs(ConfigSlateEntry const& record) { map.is(record); }
        bool swTableEntriesDel(Key const& key) { return map.del(key); }
    };
    struct Control {
        Calls& calls;
        LogVersion word = 0;

        void scratchpadIs(LogVersion value) {
            calls.note("scratchpad.is");
            word = value;
        }
    };
    struct EntryLogSlate {
        FakeMap<LogSlateEntry, LogVersion, &versionOf> map;
        Control controlOf;

        auto& entryLogConfig() { return map; }
        void entryLogConfigIs(LogSlateEntry const& record) { map.is(record); }
        bool entryLogConfigDel(LogVersion version) { return map.del(version); }
        Control* control() { return &controlOf; }
    };
    struct Group {
        Calls& calls;
        std::vector<LogVersion> told;

        void addLogEntry(Asic::SwTableId tableId, LogVersion version,
                         Ombra::Ptr<Asic::NeededEntry const> const&) {
            calls.note("group.addLogEntry");
            EXPECT_EQ(tableId, Constants::tableId);
            told.push_back(version);
        }
    };
    struct Family {
        using Key = entry_log_test::Key;
        using LogEntry = entry_log_test::LogEntry;
        using ResourceKeys = entry_log_test::ResourceKeys;
        using ConfigSlateEntry = entry_log_test::ConfigSlateEntry;
        using LogSlateEntry = entry_log_test::LogSlateEntry;
        using ConfigSlate = FakeEntryLog::ConfigSlate;
    };
    static constexpr char const* className = "FakeEntryLog";

    // Unit 0 is the only one.
    ConfigSlate* tableConfigSlate(UnitId unitId) const { return unitId == 0 ? &config : nullptr; }
    EntryLogSlate* tableEntryLog() const { return &log; }
    Group* groupInterface() const { return &group; }
    Asic::SwTableId tableId() const { return Constants::tableId; }
    LogVersion tableVersion() const { return version; }
    LogVersion tableVersionInc(LogVersion by) {
        calls.note("tableVersionInc");
        return version += by;
    }
    LogVersion logCleanedVersion() const { return cleaned; }
    void logCleanedVersionIs(LogVersion value) { cleaned = value; }
    std::uint32_t entrysInDeletion(UnitId unitId) const {
        return Asic::EntryLogAccessor<FakeEntryLog const>{this}.entrysInDeletion(unitId);
    }

    // Records as an operation leaves them, past the calls that are noted.
    void storedIs(Key key, unsigned value, LogVersion at, bool inDeletion = false) {
        config.map.records.insert_or_assign(
            key, ConfigSlateEntry{logEntryOf(key, value), ResourceKeys{}, at, inDeletion});
        version = std::max(version, at);
    }
    void loggedIs(LogVersion at, Asic::EntryFlags flags, Key key) {
        log.map.records.insert_or_assign(at, LogSlateEntry{at, flags, 0, logEntryOf(key, 1)});
        version = std::max(version, at);
    }

    mutable Calls calls;
    mutable ConfigSlate config{{calls, "config", {}, {}}};
    mutable EntryLogSlate log{{calls, "log", {}, {}}, {calls}};
    mutable Group group{calls, {}};
    LogVersion version = 0;
    LogVersion cleaned = 0;
};

} // namespace LoamSystemAcl::entry_log_test
