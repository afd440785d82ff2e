#pragma once

#include <apps/agent/AgentTable.h>
#include <apps/agent/record/Recorder.h>
#include <functional>
#include <memory>
#include <string>

// A table whose operations are recorded. It stands before the table only while something is
// recorded, so that otherwise nobody pays for it.
namespace LoamAgent {

class RecordingTable final : public AgentTable {
  public:
    // Gives the recorder; null when nothing is recorded any more.
    using Current = std::function<Recorder*()>;
    using NameOf = std::function<std::string(Asic::SwTableId)>;

    RecordingTable(AgentTable& table, std::vector<Asic::UnitId> units, Current current,
                   NameOf nameOf)
        : table_{table}, units_{std::move(units)}, current_{std::move(current)}, nameOf_{std::move(
                                                                                     nameOf)} {}

    std::string_view name() const override { return table_.name(); }
    Asic::SwTableId tableId() const override { return table_.tableId(); }
    void makeSwTables(std::vector<Asic::UnitId> const& units, bool reset) override {
        table_.makeSwTables(units, reset);
    }
    std::size_t fieldsBytes() const override { return table_.fieldsBytes(); }
    bool entryHas(std::size_t unit, std::uint32_t key) const override {
        return table_.entryHas(unit, key);
    }
    bool entryIsEqual(std::size_t unit, std::uint32_t key,
                      std::span<std::byte const> fields) const override {
        return table_.entryIsEqual(unit, key, fields);
    }
    std::vector<std::byte> fieldsOf(std::size_t unit, std::uint32_t key) const override {
        return table_.fieldsOf(unit, key);
    }
    std::uint32_t entrys(std::size_t unit) const override { return table_.entrys(unit); }
    std::vector<std::uint32_t> keys(std::size_t unit) const override { return table_.keys(unit); }

    Handle entryWrite(std::size_t unit, std::uint32_t key, std::span<std::byte const> fields,
                      Handle const& dependency, ResponseHandler const& responseHandler) override;
    Handle entryRemove(std::size_t unit, std::uint32_t key, Handle const& dependency,
                       ResponseHandler const& responseHandler) override;
    void entryRemoveAll(std::size_t unit, Handle const& dependency) override;
    std::uint64_t sweep(std::size_t unit) override;

    bool inMarkingState(std::size_t unit) const override { return table_.inMarkingState(unit); }
    bool markedKeyHas(std::size_t unit, std::uint32_t key) const override {
        return table_.markedKeyHas(unit, key);
    }
    Asic::LogVersion loggedVersion() const override { return table_.loggedVersion(); }
    Asic::LogVersion appliedVersion() const override { return table_.appliedVersion(); }
    bool hasPendingHwWrites() const override { return table_.hasPendingHwWrites(); }
    std::uint64_t unappliedChanges() const override { return table_.unappliedChanges(); }
    Counts counts() const override { return table_.counts(); }
    Inspect::Object swTable(std::size_t unit) const override { return table_.swTable(unit); }
    Inspect::Object interfaceObject() const override { return table_.interfaceObject(); }
    void forEachQueued(std::function<bool(Operation const&)> const& give) const override {
        table_.forEachQueued(give);
    }
    std::optional<Operation> refused(std::size_t unit, std::uint32_t key) const override;
    std::uint64_t queued() const override { return table_.queued(); }
    std::optional<std::uint32_t> keyOf(Handle const& handle) const override {
        return table_.keyOf(handle);
    }
    std::uint64_t logRecords() const override { return table_.logRecords(); }
    std::vector<Ombra::Subscription>
    watch(std::function<void(TableEvent const&)> const& tell) const override {
        return table_.watch(tell);
    }

  private:
    void note(RecordedOperation operation, Handle const& dependency, Handle const& handle) const;

    AgentTable& table_;
    std::vector<Asic::UnitId> units_;
    Current current_;
    NameOf nameOf_;
};

} // namespace LoamAgent
