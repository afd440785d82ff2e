#pragma once

#include <Ombra/Assert.h>

#include <algorithm>
#include <apps/agent/AgentTable.h>

// The part of an `AgentTable` that is compiled for each table; `Family` as in
// LoamSystemAcl/XxxFamily.h.
namespace LoamAgent {

template <typename Family>
class TypedAgentTable final : public AgentTable {
    using Key = typename Family::Key;
    using Entry = typename Family::Entry;
    using SwTable = typename Family::SwTable;
    using Interface = typename Family::Interface;

  public:
    explicit TypedAgentTable(Ombra::Ptr<Asic::OrderedTableInterface> const& orderedTableIntf)
        : interface_{Interface::getIntf(orderedTableIntf)} {}

    std::string_view name() const override { return Family::Constants::tableName; }
    Asic::SwTableId tableId() const override { return Interface::tableId(); }

    void makeSwTables(std::vector<Asic::UnitId> const& units, bool reset) override {
        for (Asic::UnitId const unitId : units) {
            swTables_.push_back(interface_->makeSwTable(unitId, nullptr, reset));
        }
    }

    bool entryHas(std::size_t unit, std::uint32_t key) const override {
        return swTables_[unit]->entryHas(Key{key});
    }

    bool entryIsEqual(std::size_t unit, std::uint32_t key,
                      std::span<std::byte const> fields) const override {
        return swTables_[unit]->entryHas(Key{key}) &&
               swTables_[unit]->entryRead(Key{key}) == entryOf(key, fields);
    }

    std::uint32_t entrys(std::size_t unit) const override { return swTables_[unit]->entrys(); }

    std::vector<std::uint32_t> keys(std::size_t unit) const override {
        SwTable const& swTable = *swTables_[unit];
        std::vector<std::uint32_t> all;
        all.reserve(swTable.entrys());
        for (auto entry = swTable.entryIteratorConst(); entry; ++entry) {
            all.push_back(entry->key().number());
        }
        return all;
    }

    Handle entryWrite(std::size_t unit, std::uint32_t key, std::span<std::byte const> fields,
                      Handle const& dependency, ResponseHandler const& responseHandler) override {
        return swTables_[unit]->entryWriteWithResponseHandler(Key{key}, entryOf(key, fields),
                                                              dependency, responseHandler);
    }

    Handle entryRemove(std::size_t unit, std::uint32_t key, Handle const& dependency,
                       ResponseHandler const& responseHandler) override {
        return swTables_[unit]->entryRemoveWithResponseHandler(Key{key}, dependency,
                                                               responseHandler);
    }

    void entryRemoveAll(std::size_t unit, Handle const& dependency) override {
        swTables_[unit]->entryRemoveAll(dependency);
    }

    bool inMarkingState(std::size_t unit) const override {
        return swTables_[unit]->inMarkingState();
    }

    bool markedKeyHas(std::size_t unit, std::uint32_t key) const override {
        return swTables_[unit]->inMarkingState() && swTables_[unit]->markedKeyHas(Key{key});
    }

    std::uint64_t sweep(std::size_t unit) override {
        std::uint64_t const before = swTables_[unit]->stats()->entryRemoveCnt();
        swTables_[unit]->sweep();
        return swTables_[unit]->stats()->entryRemoveCnt() - before;
    }

    Asic::LogVersion loggedVersion() const override {
        return interface_->entryLog()->tableVersion();
    }

    Asic::LogVersion appliedVersion() const override {
        return interface_->entryLog()->logCleanedVersion();
    }

    bool hasPendingHwWrites() const override {
        return std::ranges::any_of(
            swTables_, [](auto const& swTable) { return swTable->hasPendingHwWrites(); });
    }

    std::uint64_t unappliedChanges() const override {
        auto const& entryLog = *interface_->entryLog();
        return entryLog.tableVersion() -
               std::min<Asic::LogVersion>(entryLog.logCleanedVersion(), entryLog.tableVersion());
    }

    Counts counts() const override {
        Counts all;
        for (auto const& swTable : swTables_) {
            all.writes += swTable->stats()->entryWriteCnt();
            all.removes += swTable->stats()->entryRemoveCnt();
            all.suppressedWrites += swTable->stats()->suppressedWriteCnt();
        }
        return all;
    }

  private:
    static Entry entryOf(std::uint32_t key, std::span<std::byte const> fields) {
        Entry entry{Key{key}};
        auto const target = entry.fields();
        OMBRA_ASSERT(fields.size() >= target.size(), "fields.size() >= target.size()");
        std::ranges::copy(fields.first(target.size()), target.begin());
        return entry;
    }

    Ombra::Ptr<Interface> interface_;
    std::vector<Ombra::Ptr<SwTable>> swTables_; // by the unit's place in the list
};

} // namespace LoamAgent
