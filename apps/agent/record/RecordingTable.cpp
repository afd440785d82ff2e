#include <apps/agent/Operation.h>
#include <apps/agent/record/RecordingTable.h>

namespace LoamAgent {

namespace {

using Kind = RecordedOperation::Kind;

} // namespace

void RecordingTable::note(RecordedOperation operation, Handle const& dependency,
                          Handle const& handle) const {
    if (auto* const recorder = current_()) {
        operation.table = name();
        recorder->note(std::move(operation), dependency,
                       dependency ? nameOf_(dependency->tableId()) : std::string{}, handle);
    }
}

Handle RecordingTable::entryWrite(std::size_t unit, std::uint32_t key,
                                  std::span<std::byte const> fields, Handle const& dependency,
                                  ResponseHandler const& responseHandler) {
    auto const handle = table_.entryWrite(unit, key, fields, dependency, responseHandler);
    auto const held = fields.first(table_.fieldsBytes());
    note({Kind::write, {}, units_[unit], key, 0, {}, {held.begin(), held.end()}}, dependency,
         handle);
    return handle;
}

Handle RecordingTable::entryRemove(std::size_t unit, std::uint32_t key, Handle const& dependency,
                                   ResponseHandler const& responseHandler) {
    auto const handle = table_.entryRemove(unit, key, dependency, responseHandler);
    note({Kind::remove, {}, units_[unit], key}, dependency, handle);
    return handle;
}

void RecordingTable::entryRemoveAll(std::size_t unit, Handle const& dependency) {
    table_.entryRemoveAll(unit, dependency);
    note({Kind::removeAll, {}, units_[unit]}, dependency, nullptr);
}

// A sweep's removes are its own; they are recorded one by one, since the tables that a record is
// replayed into don't mark.
std::uint64_t RecordingTable::sweep(std::size_t unit) {
    if (current_() != nullptr && table_.inMarkingState(unit)) {
        for (auto const key : table_.keys(unit)) {
            if (!table_.markedKeyHas(unit, key)) {
                note({Kind::remove, {}, units_[unit], key}, nullptr, nullptr);
            }
        }
    }
    return table_.sweep(unit);
}

std::optional<Operation> RecordingTable::refused(std::size_t unit, std::uint32_t key) const {
    return table_.refused(unit, key);
}

} // namespace LoamAgent
