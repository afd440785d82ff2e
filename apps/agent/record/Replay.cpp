#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/Programmer.h>
#include <apps/agent/record/Replay.h>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace LoamAgent {

namespace {

std::string noTable(std::string const& name, Platform const& platform) {
    std::string there;
    for (auto const& table : platform.tables()) {
        there += fmt::format("{}{}", there.empty() ? "" : ", ", table->name());
    }
    return fmt::format("there is no table {}; there is: {}", name, there);
}

// Operations are numbered from 1.
std::size_t placeOf(std::uint64_t operation) {
    return static_cast<std::size_t>(operation - 1);
}

} // namespace

std::string Replay::fault(std::vector<RecordedOperation> const& operations,
                          Platform const& platform, std::vector<std::uint16_t> const& units) {
    for (std::size_t i = 0; i < operations.size(); ++i) {
        auto const& operation = operations[i];
        auto const* const table = platform.table(operation.table);
        auto const place = fmt::format("operation {}: ", i + 1);
        if (table == nullptr) {
            return place + noTable(operation.table, platform);
        }
        if (!operation.dependencyTable.empty() &&
            platform.table(operation.dependencyTable) == nullptr) {
            return place + noTable(operation.dependencyTable, platform);
        }
        if (std::ranges::find(units, operation.unitId) == units.end()) {
            return fmt::format("{}the agent has no unit {}; start it with --unit {}", place,
                               operation.unitId, operation.unitId);
        }
        if (operation.kind == RecordedOperation::Kind::write &&
            operation.fields.size() != table->fieldsBytes()) {
            return fmt::format("{}an entry of {} has {} bytes behind its key, and {} are recorded",
                               place, operation.table, table->fieldsBytes(),
                               operation.fields.size());
        }
    }
    return {};
}

void Replay::start(std::vector<RecordedOperation> operations) {
    operations_ = std::move(operations);
    handles_.assign(operations_.size(), nullptr);
    dependedOn_.assign(operations_.size(), false);
    for (auto const& operation : operations_) {
        if (operation.dependency != 0) {
            dependedOn_[placeOf(operation.dependency)] = true;
        }
    }
    next_ = 0;
    answered_ = silent_ = failed_ = 0;
    ++job_;
}

void Replay::stop() {
    next_ = operations_.size();
    handles_.clear();
}

Task::Amount Replay::amount() const {
    return {answered_ + silent_, operations_.size()};
}

std::string Replay::summary(std::uint64_t, std::uint64_t suppressed) const {
    return fmt::format("replayed: {} operations, {} writes suppressed", operations_.size(),
                       suppressed);
}

bool Replay::feed(std::size_t budget) {
    for (std::size_t asked = 0; asked < budget && !fed(); ++asked) {
        if (platform_.resolver().queued() >= Programmer::maxQueued || !ask(operations_[next_])) {
            return false;
        }
        ++next_;
    }
    return !fed();
}

ResponseHandler Replay::answering() {
    ++outstanding_;
    return [this, job = job_](auto const& handle) {
        --outstanding_;
        if (job == job_) {
            ++(Asic::SwTableBase::isFailure(handle->entryState()) ? failed_ : answered_);
        }
    };
}

bool Replay::ask(RecordedOperation const& operation) {
    auto& table = *platform_.table(operation.table);
    std::size_t const unit = platform_.placeOfUnit(operation.unitId);
    Handle dependency;
    if (operation.dependency != 0) {
        dependency = handles_[placeOf(operation.dependency)];
    } else if (!operation.dependencyTable.empty()) {
        auto const& other = *platform_.table(operation.dependencyTable);
        if (other.queued() != 0) {
            return false; // its place is known when all of it is in the log
        }
        dependency = other.loggedPlace();
    }
    Handle handle;
    switch (operation.kind) {
    case RecordedOperation::Kind::write:
        handle = table.entryWrite(unit, operation.key, operation.fields, dependency, answering());
        break;
    case RecordedOperation::Kind::remove:
        handle = table.entryRemove(unit, operation.key, dependency, answering());
        break;
    case RecordedOperation::Kind::removeAll:
        table.entryRemoveAll(unit, dependency);
        ++silent_;
        break;
    }
    if (dependedOn_[next_]) {
        handles_[next_] = handle;
    }
    return true;
}

} // namespace LoamAgent
