#pragma once

#include "TypedFamily.h"

#include <OrderedTable/SlateRead.h>

// The hardware side's turns, and deaths in the middle of a change: both work on the files alone.
namespace model {

template <typename F>
void TypedFamily<F>::turnOfHardware(unsigned most, unsigned refusedKey) {
    auto const slate = announcements();
    Version const announced = slate->control()->scratchpad();
    Version applied = world_.applied[family_].value_or(0);
    for (unsigned taken = 0; taken < most && applied < announced; ++taken) {
        bool found = false;
        auto const needed = slate->map().lookup(applied + 1, &found, nullptr);
        bool reached = true;
        for (std::uint32_t i = 0; found && i < needed.count; ++i) {
            auto const& place = needed.places[i];
            unsigned const other = place.tableId == tableId() ? family_ : 1 - family_;
            reached = reached && world_.applied[other].value_or(0) >= place.version;
        }
        if (!reached) {
            break;
        }
        LogRecord const change = log().entryLogConfig().lookup(applied + 1, &found, nullptr);
        if (!found) {
            world_.events.push_back({Event::hardwareGap, family_, 0, applied + 1});
            break;
        }
        bool const all = flagHas(change.logFlags, Asic::EntryFlags::flagTableDeleted);
        Key const key = change.logEntry.key().number();
        if (!all && key + 1 == refusedKey) {
            break;
        }
        auto& entries = world_.hardware[{family_, change.unitId}];
        if (all) {
            entries.clear();
        } else if (flagHas(change.logFlags, Asic::EntryFlags::flagEntryDeleted)) {
            entries.erase(key);
        } else {
            entries[key] = valueOf(change.logEntry);
        }
        ++applied;
    }
    world_.appliedIs(family_, applied);
}

template <typename F>
void TypedFamily<F>::dieWithin(Step const& step) {
    unsigned const unit = unitOf(step.table);
    unsigned const stores = step.depends % 4;
    Version const version = intf_->entryLog()->tableVersion() + 1;
    auto& entries = config(unit).swTableEntries();
    auto const unitId = static_cast<Asic::UnitId>(unit);
    LogRecord change;
    if (step.act == Act::write && stores != 0) {
        auto const entry = entryOf(step.key, step.value).logEntry();
        config(unit).swTableEntriesIs(
            ConfigRecord{entry, typename F::ResourceKeys{}, version, false});
        change = LogRecord{version, Asic::EntryFlags::none, unitId, entry};
    } else if (step.act == Act::remove && stores != 0) {
        bool found = false;
        ConfigRecord record = entries.lookup(EntryKey{step.key}, &found, nullptr);
        if (!found) {
            return;
        }
        record.deletedAt(version);
        config(unit).swTableEntriesIs(record);
        change = LogRecord{version, Asic::EntryFlags::flagEntryDeleted, unitId, record.logEntry()};
    } else if (step.act == Act::removeAll && stores != 0) {
        std::vector<ConfigRecord> live;
        for (OrderedTable::SlateWalk walk{entries}; walk.valid(); walk.next()) {
            if (!walk.record().inDeletion() && (stores > 1 || live.size() < step.value)) {
                live.push_back(walk.record());
            }
        }
        std::vector<Key> keys;
        for (ConfigRecord& record : live) {
            keys.push_back(record.key().number());
            record.deletedAt(version);
            config(unit).swTableEntriesIs(record);
        }
        world_.ordersPush(std::move(keys));
        change =
            LogRecord{version, Asic::EntryFlags::flagTableDeleted, unitId, typename F::LogEntry{}};
    } else if (step.act == Act::sweep) {
        std::optional<Version> first;
        for (OrderedTable::SlateWalk walk{log().entryLogConfig()}; walk.valid(); walk.next()) {
            first = std::min(first.value_or(walk.record().version), Version{walk.record().version});
        }
        if (first && world_.applied[family_] && *first <= *world_.applied[family_]) {
            log().entryLogConfigDel(*first);
        }
        return;
    } else {
        return;
    }
    if (stores >= 2) {
        log().entryLogConfigIs(change);
    }
    if (stores == 3) {
        log().control()->scratchpadIs(version);
    }
}

} // namespace model
