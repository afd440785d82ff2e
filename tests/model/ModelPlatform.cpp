#include "ReferenceModel.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

// Starts, acknowledgements, the hardware side, and deaths.
namespace model {

// What was logged and never announced is announced behind all that was announced before.
void ReferenceModel::startFamily(unsigned family) {
    if (running[family]) {
        return;
    }
    auto& durable = stored[family];
    running[family] = Running{};
    running[family]->tableVersion = durable.scratchpad;
    if (durable.announced < durable.scratchpad) {
        Needed everything;
        for (unsigned other = 0; other < familyCount; ++other) {
            if (other != family && stored[other].announced != 0) {
                everything[other] = stored[other].announced;
            }
        }
        if (!everything.empty()) {
            durable.needed[durable.announced + 1] = everything;
        }
        durable.announced = durable.scratchpad;
    }
    if (durable.applied) {
        trim(family, *durable.applied);
        if (*durable.applied < running[family]->tableVersion) {
            running[family]->pendingHwWrites = true; // nobody can have subscribed yet
        }
    }
}

void ReferenceModel::makeTable(unsigned table, bool reset, bool ownHelper) {
    unsigned const family = familyOf(table);
    startFamily(family);
    if (tables[table]) {
        if (ownHelper) {
            at(table).ownHelper = true;
            changed(table, helperField, 0);
        }
        if (reset) {
            clear(table, nullptr, nullptr);
        }
        return;
    }
    Version const applied = stored[family].applied.value_or(0);
    running[family]->mounted.insert(unitOf(table));
    auto& records = stored[family].config[unitOf(table)];
    std::erase_if(records, [&](auto const& each) {
        return applied != 0 && each.second.inDeletion && each.second.version <= applied;
    });
    tables[table].emplace();
    at(table).ownHelper = ownHelper;
    if (reset) {
        clear(table, nullptr, nullptr);
    }
    statusVersion(table, applied);
    sweepable_.push_back(table);
    if (!reset) {
        mark(table);
    }
}

void ReferenceModel::statusVersion(unsigned table, Version version) {
    trim(familyOf(table), version);
    auto& inLog = at(table).inLog;
    while (!inLog.empty() && inLog.front()->logVersion <= version) {
        auto const handle = inLog.front();
        inLog.pop_front();
        changed(table, inLogField,
                at(table).nextNumber - static_cast<std::uint32_t>(inLog.size()) - 1);
        handle->state = numberOf(State::applied);
        respond(handle);
    }
    updatePending(familyOf(table));
}

void ReferenceModel::poll() {
    std::vector<std::pair<unsigned, Version>> moved;
    for (unsigned const family : familyOrder) {
        auto const& applied = stored[family].applied;
        if (applied && (!told_.contains(family) || told_[family] != *applied)) {
            moved.emplace_back(family, *applied);
        }
    }
    for (auto const& [family, version] : moved) {
        told_[family] = version;
        for (unsigned const unit : unitOrder[family]) {
            statusVersion(tableOf(family, unit), version);
        }
        std::erase_if(stored[family].needed,
                      [&](auto const& each) { return each.first <= version; });
    }
}

// A change is applied when all that it needs is; one that is refused is tried again next time.
void ReferenceModel::turnOfHardware(unsigned family, unsigned most, unsigned refusedKey) {
    auto& durable = stored[family];
    if (!running[family] || most == 0) {
        return;
    }
    Version applied = durable.applied.value_or(0);
    for (unsigned taken = 0; taken < most && applied < durable.announced; ++taken) {
        if (auto const needed = durable.needed.find(applied + 1); needed != durable.needed.end()) {
            if (std::ranges::any_of(needed->second, [&](auto const& place) {
                    return stored[place.first].applied.value_or(0) < place.second;
                })) {
                break;
            }
        }
        auto const found = durable.log.find(applied + 1);
        if (found == durable.log.end()) {
            events.push_back({Event::hardwareGap, family, 0, applied + 1});
            break;
        }
        auto const& change = found->second;
        if (change.what != What::tableDeleted && change.key + 1 == refusedKey) {
            break;
        }
        auto& entries = hardware[{family, change.unit}];
        if (change.what == What::written) {
            entries[change.key] = change.value;
        } else if (change.what == What::deleted) {
            entries.erase(change.key);
        } else {
            entries.clear();
        }
        ++applied;
    }
    durable.applied = applied;
}

void ReferenceModel::audit() {
    hardware.clear();
    for (unsigned family = 0; family < familyCount; ++family) {
        for (auto const& [unit, records] : stored[family].config) {
            for (auto const& [key, record] : records) {
                if (!record.inDeletion) {
                    hardware[{family, unit}][key] = record.value;
                }
            }
        }
    }
}

void ReferenceModel::reconcile() {
    for (unsigned family = 0; family < familyCount; ++family) {
        for (unsigned unit = 0; running[family] && unit < unitCount; ++unit) {
            if (stored[family].config.contains(unit) && !tables[tableOf(family, unit)]) {
                makeTable(tableOf(family, unit), true, false);
            }
        }
    }
}

// Two bits of `choices` per table: made and kept, made and reset, kept with a helper, not made.
void ReferenceModel::restart(unsigned choices) {
    running = {};
    tables = {};
    handles.clear();
    lanes_.clear();
    nextLane_ = 0;
    told_.clear();
    sweepable_.clear();
    failedCommits = 0;
    quiet_ = 0;
    for (unsigned table = 0; table < tableCount; ++table) {
        unsigned const choice = choices >> table * 2 & 3;
        if (choice != 3) {
            makeTable(table, choice == 1, choice == 2);
        }
    }
    events.clear();
}

// The agent dies within a change, `depends` stores in: configuration table, log, scratchpad.
void ReferenceModel::dieWithin(Step const& step) {
    unsigned const family = familyOf(step.table);
    if (!tables[step.table]) {
        return;
    }
    auto& durable = stored[family];
    auto& records = durable.config[unitOf(step.table)];
    Version const version = running[family]->tableVersion + 1;
    unsigned const stores = step.depends % 4;
    Change change{What::written, unitOf(step.table), step.key, step.value};
    bool happens = stores != 0;
    if (step.act == Act::write && happens) {
        records[step.key] = {step.value, version, false};
    } else if (step.act == Act::remove) {
        auto const found = records.find(step.key);
        happens = happens && found != records.end();
        if (happens) {
            found->second = {found->second.value, version, true};
            change = {What::deleted, unitOf(step.table), step.key, found->second.value};
        }
    } else if (step.act == Act::removeAll && happens) {
        change = {What::tableDeleted, unitOf(step.table), 0, 0};
        if (orders.empty()) {
            throw std::logic_error{"the library did not walk"};
        }
        for (Key const key : orders.front()) { // all, or those that the agent came to
            records.at(key) = {records.at(key).value, version, true};
        }
        orders.pop_front();
    } else if (step.act == Act::sweep) { // within a trim: the log record has gone
        happens = false;
        if (!durable.log.empty() && durable.applied &&
            durable.log.begin()->first <= *durable.applied) {
            durable.log.erase(durable.log.begin());
        }
    } else {
        happens = false;
    }
    if (happens) {
        hardwareIsTold_ = hardwareIsTold_ && stores == 3;
        if (stores >= 2) {
            durable.log[version] = change;
        }
        if (stores == 3) {
            durable.scratchpad = version;
        }
    }
    restart(0);
    events = {{Event::died}};
}

} // namespace model
