#include "ReferenceModel.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

// What a client does.
namespace model {

void ReferenceModel::act(Act act, unsigned table, Key key, Value value, HandlePtr const& dependency,
                         Reaction const& reaction, bool answers) {
    switch (act) {
    case Act::none:
        break;
    case Act::write:
        write(table, key, value, dependency, reaction, answers);
        break;
    case Act::remove:
        remove(table, key, dependency, reaction, answers);
        break;
    case Act::removeAll:
        removeAll(table, dependency, reaction, answers);
        break;
    case Act::update:
        update(table, key);
        break;
    case Act::clear:
        clear(table, nullptr, nullptr);
        break;
    case Act::mark:
        mark(table);
        break;
    case Act::sweep:
        sweep(table);
        break;
    case Act::die:
        throw AgentDied{};
    }
}

// What code that is called back does; its own operations are answered, and it reacts alike.
void ReferenceModel::react(Reaction const& reaction) {
    if (fuel_ == 0 || reaction.act == Act::none || !tables[reaction.table]) {
        return;
    }
    --fuel_;
    act(reaction.act, reaction.table, reaction.key, reaction.value, nullptr, reaction, true);
}

Version ReferenceModel::nextVersion(unsigned table, Key key) const {
    auto const found = at(table).versions.find(key);
    return found == at(table).versions.end() ? 0 : found->second + 1;
}

HandlePtr ReferenceModel::newHandle(unsigned table, Key key, Version version,
                                    Reaction const& reaction, bool answers, bool kept) {
    auto handle = std::make_shared<Handle>(
        Handle{table, key, version, numberOf(State::pending), 0, std::nullopt, reaction, answers});
    if (kept) {
        handle->number = handles.size();
        handles.push_back(handle);
    }
    return handle;
}

void ReferenceModel::enqueue(Operation operation) {
    unsigned const family = familyOf(operation.table);
    auto lane = std::ranges::find(lanes_, family, &Lane::family);
    if (lane == lanes_.end()) {
        lane = lanes_.insert(lane, Lane{family, {}});
    }
    lane->queue.push_back(std::move(operation));
}

// A client holds a handle from the moment that the call returns, so that the operations of those
// who are called back within it come first among the kept ones.
void ReferenceModel::write(unsigned table, Key key, Value value, HandlePtr const& dependency,
                           Reaction const& reaction, bool answers) {
    Version const version = nextVersion(table, key);
    at(table).versions[key] = version;
    changed(table, versionField, key);
    if (at(table).marking && at(table).marked.insert(key).second) {
        changed(table, markedField, key);
    }
    auto const handle = newHandle(table, key, version, reaction, answers, false);
    auto const wrapper = std::make_shared<Wrapper>(Wrapper{key, value, handle});
    takeRemoved(table, key);
    at(table).adds[key] = wrapper;
    changed(table, addField, key);
    enqueue({Act::write, table, at(table).marking, dependency, wrapper});
    ++at(table).counts.writes;
    updatePending(familyOf(table));
    handle->number = handles.size();
    handles.push_back(handle);
}

void ReferenceModel::remove(unsigned table, Key key, HandlePtr const& dependency,
                            Reaction const& reaction, bool answers, bool kept) {
    Version const version = nextVersion(table, key);
    at(table).versions[key] = version;
    changed(table, versionField, key);
    auto const handle = newHandle(table, key, version, reaction, answers, false);
    auto const wrapper = std::make_shared<Wrapper>(Wrapper{key, 0, handle});
    takeAdded(table, key);
    at(table).removes[key] = wrapper;
    changed(table, removeField, key);
    enqueue({Act::remove, table, false, dependency, wrapper});
    ++at(table).counts.removes;
    updatePending(familyOf(table));
    if (kept) {
        handle->number = handles.size();
        handles.push_back(handle);
    }
}

void ReferenceModel::removeAll(unsigned table, HandlePtr const& dependency,
                               Reaction const& reaction, bool answers) {
    Quiet const quiet{quiet_};
    auto const handle = newHandle(table, 0, 0, reaction, answers, false);
    for (auto* const pending : {&at(table).adds, &at(table).removes}) {
        unsigned const field = pending == &at(table).adds ? addField : removeField;
        for (auto const& [key, wrapper] : std::exchange(*pending, {})) {
            changed(table, field, key);
        }
    }
    auto& removeAlls = at(table).removeAlls;
    removeAlls = removeAlls ? *removeAlls + 1 : 0;
    changed(table, removeAllField, 0);
    enqueue({Act::removeAll, table, false, dependency,
             std::make_shared<Wrapper>(Wrapper{0, 0, handle})});
    updatePending(familyOf(table));
}

// Past the resolver. A helper of the client's own that changes the entry has it logged again.
void ReferenceModel::update(unsigned table, Key key) {
    auto const present = committed(table, key);
    if (!present) {
        return;
    }
    bool const changes = at(table).ownHelper && at(table).helperMode == HelperMode::change;
    if (at(table).ownHelper) {
        events.push_back({Event::helperAsked, table, 0, key, *present});
    }
    auto const handle = newHandle(table, key, 0, {}, false, true);
    if (changes) {
        handle->logVersion = logWrite(table, key, *present ^ 8, {}, false);
        ++at(table).counts.updates;
    } else {
        handle->logVersion = config(table).at(key).version;
    }
    handle->state = numberOf(State::inLog);
}

// Gives false when the unit's configuration table is empty, and nothing is done then.
bool ReferenceModel::clear(unsigned table, HandlePtr const& handle, HandlePtr const& dependency) {
    if (config(table).empty()) {
        return false;
    }
    Version const version = logClear(table, neededOf(dependency));
    if (handle) {
        handle->logVersion = version;
        handle->state = numberOf(State::inLog);
    }
    ++at(table).counts.clears;
    return true;
}

void ReferenceModel::mark(unsigned table) {
    if (!at(table).marking) {
        at(table).marking = true;
        changed(table, markingField, 0);
    }
}

void ReferenceModel::sweep(unsigned table) {
    if (!at(table).marking) {
        return;
    }
    Quiet const quiet{quiet_};
    if (orders.empty()) {
        throw std::logic_error{"the library did not sweep"};
    }
    auto const order = orders.front();
    orders.pop_front();
    auto const toSee = visible(table);
    if (std::set<Key>(order.begin(), order.end()).size() != toSee.size() ||
        order.size() != toSee.size() ||
        !std::ranges::all_of(order, [&](Key key) { return toSee.contains(key); })) {
        throw std::logic_error{"the sweep walked over other keys than the visible ones"};
    }
    for (Key const key : order) {
        if (!at(table).marked.contains(key)) {
            remove(table, key, nullptr, {}, false, false);
        }
    }
    at(table).marking = false;
    changed(table, markingField, 0);
    for (Key const key : std::exchange(at(table).marked, {})) {
        changed(table, markedField, key);
    }
}

} // namespace model
