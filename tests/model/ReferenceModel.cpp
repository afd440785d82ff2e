#include "ReferenceModel.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace model {

namespace {

// The numbers under which changes are published.
enum Field : unsigned {
    helperField = 0x302,
    addField = 0x303,
    removeField = 0x304,
    versionField = 0x305,
    removeAllField = 0x306,
    inLogField = 0x316,
    markedField = 0x31f,
    markingField = 0x320,
};

unsigned numberOf(State state) {
    return static_cast<unsigned>(state);
}

} // namespace

// While it lives, subscribers do not act: the order in which they are told is not a rule.
struct ReferenceModel::Quiet {
    explicit Quiet(unsigned& depth) : depth_{++depth} {}
    ~Quiet() { --depth_; }
    unsigned& depth_;
};

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

// --- acts of a client

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

// --- the resolver and the commit

// The families take turns of 32 operations; within one, the order is that of the calls, and the
// first of them waits until what it depends on is no longer pending.
void ReferenceModel::commitSome(std::size_t budget) {
    std::size_t idle = 0;
    while (committedLast < budget && idle < lanes_.size()) {
        std::size_t const lane = nextLane_++ % lanes_.size();
        std::size_t const turn = std::min<std::size_t>(32, budget - committedLast);
        std::size_t done = 0;
        while (done < turn && !lanes_[lane].queue.empty()) {
            auto const& head = lanes_[lane].queue.front();
            if (head.dependency && head.dependency->state == numberOf(State::pending)) {
                break;
            }
            auto const operation = std::move(lanes_[lane].queue.front());
            lanes_[lane].queue.pop_front();
            try {
                commit(operation);
            } catch (HelperFailure const&) {
                ++failedCommits;
                throw;
            }
            ++done;
        }
        committedLast += done;
        idle = done == 0 ? idle + 1 : 0;
    }
}

void ReferenceModel::commit(Operation const& operation) {
    auto const& handle = operation.wrapper->handle;
    if (operation.dependency && isFailure(operation.dependency->state)) {
        handle->state = numberOf(State::failed);
        respond(handle);
    } else if (operation.act == Act::removeAll) {
        auto const pending = at(operation.table).removeAlls;
        if (!pending) {
            throw std::logic_error{"a remove-all commits that nobody counted"};
        }
        clear(operation.table, handle, operation.dependency);
        at(operation.table).removeAlls = *pending == 0 ? std::nullopt : std::optional{*pending - 1};
        changed(operation.table, removeAllField, 0);
    } else if (operation.act == Act::remove) {
        commitRemove(operation);
    } else {
        commitWrite(operation);
    }
    updatePending(familyOf(operation.table));
    ++at(operation.table).counts.commits;
}

void ReferenceModel::commitWrite(Operation const& operation) {
    auto const& handle = operation.wrapper->handle;
    callHelper(operation);
    dropIfNewest(operation);
    Version const version =
        logWrite(operation.table, operation.wrapper->key, operation.wrapper->value,
                 neededOf(operation.dependency), operation.suppressIdentical);
    handle->logVersion = version;
    if (run(operation.table).cleaned < version) {
        handle->state = numberOf(State::inLog);
        at(operation.table).inLog.push_back(handle);
        changed(operation.table, inLogField, at(operation.table).nextNumber++);
    } else {
        handle->state = numberOf(State::applied);
        respond(handle);
    }
}

void ReferenceModel::commitRemove(Operation const& operation) {
    auto const& handle = operation.wrapper->handle;
    dropIfNewest(operation);
    callHelper(operation);
    Version const version =
        logRemove(operation.table, operation.wrapper->key, neededOf(operation.dependency));
    handle->logVersion = version;
    if (version != 0) {
        handle->state = numberOf(State::inLog);
        at(operation.table).inLog.push_back(handle);
        changed(operation.table, inLogField, at(operation.table).nextNumber++);
    } else {
        handle->state = numberOf(State::applied);
        respond(handle);
    }
}

// Newest is told by the version, not by the object.
void ReferenceModel::dropIfNewest(Operation const& operation) {
    Key const key = operation.wrapper->key;
    bool const add = operation.act == Act::write;
    auto const& pending = add ? at(operation.table).adds : at(operation.table).removes;
    auto const found = pending.find(key);
    if (found == pending.end() ||
        found->second->handle->entryVersion != operation.wrapper->handle->entryVersion) {
        return;
    }
    if (add) {
        takeAdded(operation.table, key);
    } else {
        takeRemoved(operation.table, key);
    }
    if (at(operation.table).versions.erase(key) != 0) {
        changed(operation.table, versionField, key);
    }
}

void ReferenceModel::callHelper(Operation const& operation) {
    if (!at(operation.table).ownHelper) {
        return;
    }
    bool const isDelete = operation.act == Act::remove;
    auto& wrapper = *operation.wrapper;
    events.push_back({Event::helperCalled, operation.table, 0, wrapper.key,
                      (isDelete ? 0 : wrapper.value) * 2 + (isDelete ? 1 : 0)});
    switch (at(operation.table).helperMode) {
    case HelperMode::nothing:
        break;
    case HelperMode::change:
        wrapper.value ^= 8;
        break;
    case HelperMode::react:
        react(at(operation.table).helperReaction);
        break;
    case HelperMode::fail:
        throw HelperFailure{};
    case HelperMode::die:
        throw AgentDied{};
    }
}

void ReferenceModel::respond(HandlePtr const& handle) {
    if (handle->answers) {
        events.push_back({Event::response, handle->table, 0,
                          handle->number.value_or(~std::size_t{0}), handle->state});
        react(handle->reaction);
    }
}

Needed ReferenceModel::neededOf(HandlePtr const& dependency) const {
    return dependency && dependency->logVersion != 0
               ? Needed{{familyOf(dependency->table), dependency->logVersion}}
               : Needed{};
}

// --- the log

Version ReferenceModel::logWrite(unsigned table, Key key, Value value, Needed needed,
                                 bool suppressIdentical) {
    unsigned const family = familyOf(table);
    auto& records = stored[family].config[unitOf(table)];
    if (auto const found = records.find(key);
        suppressIdentical && found != records.end() && !found->second.inDeletion) {
        if (found->second.value == value) {
            ++at(table).counts.suppressed;
            return found->second.version;
        }
        ++at(table).counts.differed;
    }
    Version const version = ++running[family]->tableVersion;
    records[key] = {value, version, false};
    record(family, version, {What::written, unitOf(table), key, value}, std::move(needed));
    return version;
}

Version ReferenceModel::logRemove(unsigned table, Key key, Needed needed) {
    unsigned const family = familyOf(table);
    auto& records = stored[family].config[unitOf(table)];
    auto const found = records.find(key);
    if (found == records.end()) {
        return 0;
    }
    Version const version = ++running[family]->tableVersion;
    found->second.version = version;
    found->second.inDeletion = true;
    record(family, version, {What::deleted, unitOf(table), key, found->second.value},
           std::move(needed));
    return version;
}

Version ReferenceModel::logClear(unsigned table, Needed needed) {
    unsigned const family = familyOf(table);
    Version const version = ++running[family]->tableVersion;
    for (auto& [key, each] : stored[family].config[unitOf(table)]) {
        if (!each.inDeletion) {
            each = {each.value, version, true};
        }
    }
    record(family, version, {What::tableDeleted, unitOf(table), 0, 0}, std::move(needed));
    return version;
}

void ReferenceModel::record(unsigned family, Version version, Change const& change, Needed needed) {
    stored[family].log[version] = change;
    stored[family].scratchpad = version;
    needed.erase(family); // order inside a table is the version
    if (!needed.empty()) {
        stored[family].needed[version] = std::move(needed);
    }
    stored[family].announced = version;
}

void ReferenceModel::trim(unsigned family, Version version) {
    auto& log = stored[family].log;
    auto const first =
        running[family]->cleaned != 0 ? log.lower_bound(running[family]->cleaned) : log.begin();
    for (auto each = first; each != log.end() && each->first <= version;) {
        auto const [number, change] = *each;
        each = log.erase(each);
        applyTrimmed(family, number, change);
    }
    running[family]->cleaned = version;
}

void ReferenceModel::applyTrimmed(unsigned family, Version version, Change const& change) {
    if (!running[family]->mounted.contains(change.unit)) {
        return;
    }
    auto& records = stored[family].config[change.unit];
    if (change.what == What::deleted) {
        if (auto const found = records.find(change.key);
            found != records.end() && found->second.version == version) {
            records.erase(found);
        }
    } else if (change.what == What::tableDeleted) {
        std::erase_if(records, [&](auto const& each) { return each.second.version == version; });
    }
}

// --- the platform

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
