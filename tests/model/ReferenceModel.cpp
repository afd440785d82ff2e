#include "ReferenceModel.h"

#include <algorithm>
#include <utility>

namespace model {

ReferenceModel::ReferenceModel() = default;

void ReferenceModel::take(Step const& step) {
    events.clear();
    fuel_ = fuel;
    committedLast = 0;
    try {
        switch (step.kind) {
        case Kind::act:
            if (tables[step.table]) {
                HandlePtr const dependency = step.depends == 0 || step.depends > handles.size()
                                                 ? nullptr
                                                 : handles[handles.size() - step.depends];
                act(step.act, step.table, step.key, step.value, dependency, step.reaction,
                    step.reaction.act != Act::none);
            }
            break;
        case Kind::foreign:
            if (tables[step.table]) {
                auto const handle = newHandle(step.table, step.key, 0, {}, false, true);
                handle->state = step.value;
            }
            break;
        case Kind::makeTable:
            makeTable(step.table, step.value % 2 != 0, step.value / 2 % 2 != 0);
            break;
        case Kind::helper:
            if (tables[step.table]) {
                at(step.table).helperMode = static_cast<HelperMode>(step.value);
                at(step.table).helperReaction = step.reaction;
            }
            break;
        case Kind::watch:
            if (tables[step.table]) {
                at(step.table).watched = step.value != 0;
                at(step.table).watchedField = step.value;
                at(step.table).watchReaction = step.reaction;
            }
            break;
        case Kind::commit:
            commitSome(step.value);
            break;
        case Kind::hardware:
            turnOfHardware(familyOf(step.table), step.value, step.key);
            break;
        case Kind::poll:
            poll();
            break;
        case Kind::acknowledge:
            if (tables[step.table]) {
                statusVersion(step.table, step.value);
            }
            break;
        case Kind::sweepAll:
            for (unsigned const table : std::vector{sweepable_}) {
                sweep(table);
            }
            break;
        case Kind::reconcile:
            reconcile();
            break;
        case Kind::restart:
            restart(step.value);
            break;
        case Kind::dieWithin:
            dieWithin(step);
            break;
        }
    } catch (HelperFailure const&) {
        committedLast = 0; // the caller is not told
        events.push_back({Event::failed});
    } catch (AgentDied const&) {
        committedLast = 0;
        restart(0);
        events = {{Event::died}};
    }
}

// --- what readers are told

std::map<Key, Record> const& ReferenceModel::config(unsigned table) const {
    return stored[familyOf(table)].config.at(unitOf(table));
}

std::optional<Value> ReferenceModel::committed(unsigned table, Key key) const {
    auto const found = config(table).find(key);
    return found == config(table).end() || found->second.inDeletion
               ? std::nullopt
               : std::optional{found->second.value};
}

std::optional<Value> ReferenceModel::read(unsigned table, Key key) const {
    if (auto const add = at(table).adds.find(key); add != at(table).adds.end()) {
        return add->second->value;
    }
    return at(table).removes.contains(key) ? std::nullopt : committed(table, key);
}

bool ReferenceModel::has(unsigned table, Key key) const {
    if (at(table).adds.contains(key)) {
        return true;
    }
    return !at(table).removes.contains(key) && !at(table).removeAlls &&
           committed(table, key).has_value();
}

std::map<Key, Value> ReferenceModel::visible(unsigned table) const {
    std::map<Key, Value> result;
    for (Key key = 0; key < keyCount; ++key) {
        if (has(table, key)) {
            result[key] = *read(table, key);
        }
    }
    return result;
}

// An overwrite adds none, and removing what was never committed takes none away. Who acts from
// within a write can leave a key pending in both ways; it counts in both.
std::uint32_t ReferenceModel::count(unsigned table) const {
    auto result = static_cast<std::uint32_t>(at(table).adds.size());
    if (at(table).removeAlls) {
        return result;
    }
    for (auto const& [key, record] : config(table)) {
        if (!record.inDeletion) {
            result += 1 - (at(table).adds.contains(key) ? 1U : 0U) -
                      (at(table).removes.contains(key) ? 1U : 0U);
        }
    }
    return result;
}

bool ReferenceModel::hasPendingHwWrites(unsigned table) const {
    auto const& family = *running[familyOf(table)];
    return !at(table).adds.empty() || !at(table).removes.empty() || at(table).removeAlls ||
           family.tableVersion != family.cleaned;
}

std::size_t ReferenceModel::queuedIn(unsigned family) const {
    auto const lane = std::ranges::find(lanes_, family, &Lane::family);
    return lane == lanes_.end() ? 0 : lane->queue.size();
}

// --- changes of attributes

void ReferenceModel::changed(unsigned table, unsigned field, std::uint64_t number) {
    if (!at(table).watched) {
        return;
    }
    events.push_back({Event::changed, table, field, number});
    if (quiet_ == 0 && field == at(table).watchedField) {
        react(at(table).watchReaction);
    }
}

void ReferenceModel::pendingIs(unsigned family, bool pending) {
    if (running[family]->pendingHwWrites != pending) {
        running[family]->pendingHwWrites = pending;
        events.push_back({Event::pending, family, 0, pending});
    }
}

void ReferenceModel::updatePending(unsigned family) {
    bool pending = false;
    for (unsigned unit = 0; unit < unitCount; ++unit) {
        unsigned const table = tableOf(family, unit);
        pending = pending || (tables[table] && hasPendingHwWrites(table));
    }
    pendingIs(family, pending);
}

void ReferenceModel::takeRemoved(unsigned table, Key key) {
    if (at(table).removes.erase(key) != 0) {
        changed(table, removeField, key);
    }
}

void ReferenceModel::takeAdded(unsigned table, Key key) {
    if (at(table).adds.erase(key) != 0) {
        changed(table, addField, key);
    }
}

} // namespace model
