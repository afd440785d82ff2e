#include "ReferenceModel.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

// The resolver, and the commit of an operation.
namespace model {

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
    callHelper(operation);
    dropIfNewest(operation);
    Version const version =
        logWrite(operation.table, operation.wrapper->key, operation.wrapper->value,
                 neededOf(operation.dependency), operation.suppressIdentical);
    committedAs(operation, version, run(operation.table).cleaned < version);
}

void ReferenceModel::commitRemove(Operation const& operation) {
    dropIfNewest(operation);
    callHelper(operation);
    Version const version =
        logRemove(operation.table, operation.wrapper->key, neededOf(operation.dependency));
    committedAs(operation, version, version != 0);
}

// The operation has its place in the log, or nothing of it is left to wait for.
void ReferenceModel::committedAs(Operation const& operation, Version version, bool inLog) {
    auto const& handle = operation.wrapper->handle;
    handle->logVersion = version;
    if (inLog) {
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

} // namespace model
