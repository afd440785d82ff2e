#pragma once

#include "TypedFamily.h"

// Every answer of a family, compared with the model's.
namespace model {

template <typename Seen, typename Expected>
std::string differ(std::string_view what, Seen const& seen, Expected const& expected) {
    return seen == expected
               ? std::string{}
               : fmt::format("{}: the library says {}, the model {}\n", what, seen, expected);
}

template <typename F>
std::string TypedFamily<F>::differences(ReferenceModel const& model) const {
    std::string result = differ("family is up", up(), model.running[family_].has_value());
    for (unsigned unit = 0; result.empty() && unit < unitCount; ++unit) {
        result +=
            differ("table is made", made(unit), model.tables[tableOf(family_, unit)].has_value());
        if (result.empty() && made(unit)) {
            result += readDifferences(unit, model);
            result += tableDifferences(unit, model);
        }
        if (!result.empty()) {
            result = fmt::format("table {}: {}", tableOf(family_, unit), result);
        }
    }
    if (result.empty() && up()) {
        result += storedDifferences(model);
    }
    return result;
}

// What readers are told. Nothing is told by the default entry, whose last byte is 0.
template <typename F>
std::string TypedFamily<F>::readDifferences(unsigned unit, ReferenceModel const& model) const {
    std::string result;
    auto const& table = std::as_const(*units_[unit].table);
    unsigned const number = tableOf(family_, unit);
    for (Key key = 0; key < keyCount; ++key) {
        EntryKey const entryKey{key};
        auto const is = [&](char const* what, Entry const& seen, std::optional<Value> expected) {
            Entry const entry = expected ? entryOf(key, *expected) : Entry{};
            if (!(seen == entry)) {
                result += fmt::format("{}({}): the library says {}, the model {}\n", what, key,
                                      seen, entry);
            }
        };
        is("entryRead", table.entryRead(entryKey), model.read(number, key));
        is("entryFromConfig", table.entryFromConfig(entryKey), model.committed(number, key));
        result += differ("entryHas", table.entryHas(entryKey), model.has(number, key));
        auto const record = model.config(number).find(key);
        result +=
            differ("entryLogVersion",
                   table.entryLog()->entryLogVersion(entryKey, static_cast<Asic::UnitId>(unit)),
                   record == model.config(number).end() ? 0 : record->second.version);
    }
    auto const visible = model.visible(number);
    std::map<Key, Value> iterated;
    for (auto i = table.entryIteratorConst(); i; ++i) {
        if (!iterated.emplace(i->key().number(), valueOf(*i)).second) {
            result += fmt::format("the iteration gives key {} twice\n", i->key());
            break;
        }
    }
    if (iterated != visible) {
        result += fmt::format("the iteration gives {} entries, the model has {}, or others\n",
                              iterated.size(), visible.size());
    }
    result += differ("entrys", table.entrys(), model.count(number));
    return result;
}

// What a table of this run of the agent has.
template <typename F>
std::string TypedFamily<F>::tableDifferences(unsigned unit, ReferenceModel const& model) const {
    std::string result;
    auto const& table = std::as_const(*units_[unit].table);
    unsigned const number = tableOf(family_, unit);
    auto const& expected = *model.tables[number];
    result +=
        differ("hasPendingHwWrites", table.hasPendingHwWrites(), model.hasPendingHwWrites(number));
    result += differ("inMarkingState", table.inMarkingState(), expected.marking);
    result += differ("transientAddEntrys", table.transientAddEntrys(), expected.adds.size());
    result +=
        differ("transientRemoveEntrys", table.transientRemoveEntrys(), expected.removes.size());
    result +=
        differ("entryHandleInLog", table.entryHandleInLogQueue().size(), expected.inLog.size());
    auto const removeAlls = table.transientRemoveAllVersion();
    result += differ("remove-all pending", removeAlls.valid(), expected.removeAlls.has_value());
    result += differ("remove-alls", removeAlls.valid() ? removeAlls.number() : 0,
                     expected.removeAlls.value_or(0));
    for (Key key = 0; key < keyCount; ++key) {
        EntryKey const entryKey{key};
        result +=
            differ("markedKeyHas", table.markedKeyHas(entryKey), expected.marked.contains(key));
        auto const version = table.transientVersionForKeyGet(entryKey);
        auto const found = expected.versions.find(key);
        result += differ("transientVersionForKeyHas", version.has_value(),
                         found != expected.versions.end());
        if (version && found != expected.versions.end()) {
            result += differ("transientVersionForKey", version->major(), found->second);
        }
        result += differ("transientRemoveEntryHas", table.transientRemoveEntryHas(entryKey),
                         expected.removes.contains(key));
    }
    auto const& stats = *table.stats();
    Counts const counts{stats.entryWriteCnt(),       stats.entryRemoveCnt(),
                        stats.commitCnt(),           stats.updateCnt(),
                        stats.tableClearCnt(),       stats.suppressedWriteCnt(),
                        stats.suppressCheckDiffCnt()};
    if (!(counts == expected.counts)) {
        result += "the statistics differ\n";
    }
    return result;
}

// What the files hold, and the counters that lead into them.
template <typename F>
std::string TypedFamily<F>::storedDifferences(ReferenceModel const& model) const {
    std::string result;
    auto const& running = *model.running[family_];
    auto const& stored = model.stored[family_];
    result += differ("tableVersion", intf_->entryLog()->tableVersion(), running.tableVersion);
    result += differ("logCleanedVersion", intf_->entryLog()->logCleanedVersion(), running.cleaned);
    result += differ("pendingHwWrites", intf_->swTableStatus()->pendingHwWrites(),
                     running.pendingHwWrites);
    result += differ("scratchpad", log().control()->scratchpad(), stored.scratchpad);
    result += differ("log records", log().entryLogConfig().memberCount(), stored.log.size());
    for (auto const& [version, change] : stored.log) {
        bool found = false;
        LogRecord const record = log().entryLogConfig().lookup(version, &found, nullptr);
        Change const seen{static_cast<What>(record.logFlags), record.unitId,
                          record.logEntry.key().number(), valueOf(record.logEntry)};
        if (!found || !(seen == change)) {
            result += fmt::format("log record {} is {}\n", version, found ? "another" : "missing");
        }
    }
    for (unsigned const unit : running.mounted) {
        auto const& records = stored.config.at(unit);
        auto& entries = config(unit).swTableEntries();
        result += differ("configuration records", entries.memberCount(), records.size());
        for (auto const& [key, expected] : records) {
            bool found = false;
            ConfigRecord const record = entries.lookup(EntryKey{key}, &found, nullptr);
            Record const seen{valueOf(record.logEntry()), record.logVersion(), record.inDeletion()};
            if (!found || !(seen == expected)) {
                result +=
                    fmt::format("configuration record of key {} on unit {} differs\n", key, unit);
            }
        }
    }
    auto const slate = announcements();
    result += differ("announced version", slate->control()->scratchpad(), stored.announced);
    result +=
        differ("changes with needed places", slate->map().memberCount(), stored.needed.size());
    for (auto const& [version, expected] : stored.needed) {
        auto const record = slate->map().lookup(version, nullptr, nullptr);
        Needed seen;
        for (std::uint32_t i = 0; i < record.count; ++i) {
            seen[record.places[i].tableId == tableId() ? family_ : 1 - family_] =
                record.places[i].version;
        }
        if (seen != expected) {
            result += fmt::format("change {} needs other places\n", version);
        }
    }
    return result;
}

} // namespace model
