#pragma once

#include <Ombra/Assert.h>

#include <algorithm>
#include <apps/agent/AgentTable.h>
#include <apps/agent/Operation.h>
#include <apps/agent/WatchTable.h>
#include <typeinfo>

// The part of an `AgentTable` that is compiled for each table; `Family` as in
// LoamSystemAcl/XxxFamily.h.
namespace LoamAgent {

template <typename Family>
class TypedAgentTable final : public AgentTable {
    using Key = typename Family::Key;
    using Entry = typename Family::Entry;
    using SwTable = typename Family::SwTable;
    using Interface = typename Family::Interface;
    using ResolverEntry = typename Family::ResolverEntry;

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

    std::size_t fieldsBytes() const override { return Entry{}.fields().size(); }

    std::vector<std::byte> fieldsOf(std::size_t unit, std::uint32_t key) const override {
        return bytesOf(swTables_[unit]->entryRead(Key{key}));
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
            all.commits += swTable->stats()->commitCnt();
        }
        return all;
    }

    Inspect::Object swTable(std::size_t unit) const override {
        return Inspect::Object{swTables_[unit]};
    }
    Inspect::Object interfaceObject() const override { return Inspect::Object{interface_}; }

    void forEachQueued(std::function<bool(Operation const&)> const& give) const override {
        std::uint64_t position = 0;
        resolver().forEachQueued(typeid(ResolverEntry), [&](Asic::ResolverEntry const& queued) {
            return give(operationOf(static_cast<ResolverEntry const&>(queued), position++));
        });
    }

    std::optional<Operation> refused(std::size_t unit, std::uint32_t key) const override {
        auto const& swTable = *swTables_[unit];
        for (auto const kind : {Operation::Kind::write, Operation::Kind::remove}) {
            auto const pending = kind == Operation::Kind::write
                                     ? swTable.transientAddEntry(Key{key})
                                     : swTable.transientRemoveEntry(Key{key});
            if (pending && Asic::SwTableBase::isFailure(pending->entryHandle()->entryState())) {
                return Operation{kind,
                                 Operation::Stage::refused,
                                 unit,
                                 key,
                                 pending->entryHandle()->entryVersion().major(),
                                 0,
                                 {},
                                 pending->entryHandle(),
                                 nullptr};
            }
        }
        return std::nullopt;
    }

    std::uint64_t queued() const override { return resolver().queuedIn(typeid(ResolverEntry)); }

    std::optional<std::uint32_t> keyOf(Handle const& handle) const override {
        auto const own = Ombra::dynamicCast<typename SwTable::EntryHandle const>(handle);
        return own ? std::optional{own->key().number()} : std::nullopt;
    }

    std::uint64_t logRecords() const override {
        return interface_->entryLog()->tableEntryLog()->entryLogConfig().memberCount();
    }

    std::vector<Ombra::Subscription>
    watch(std::function<void(TableEvent const&)> const& tell) const override {
        std::vector<Ombra::Subscription> subscriptions;
        for (std::size_t unit = 0; unit < swTables_.size(); ++unit) {
            subscriptions.push_back(watchTable<SwTable>(swTables_[unit], unit, tell));
        }
        return subscriptions;
    }

  private:
    Asic::GroupResolver const& resolver() const {
        return *interface_->entryLog()->groupInterface()->groupResolver();
    }

    Operation operationOf(ResolverEntry const& queued, std::uint64_t position) const {
        auto const kind = queued.isTableDeleted()   ? Operation::Kind::removeAll
                          : queued.isEntryDeleted() ? Operation::Kind::remove
                                                    : Operation::Kind::write;
        auto const place = std::ranges::find_if(
            swTables_, [&](auto const& swTable) { return swTable.get() == queued.swTable(); });
        return {kind,
                Operation::Stage::queued,
                static_cast<std::size_t>(place - swTables_.begin()),
                queued.entry()->key().number(),
                queued.entry()->entryHandle()->entryVersion().major(),
                position,
                kind == Operation::Kind::write ? bytesOf(queued.entry()->swTableEntry())
                                               : std::vector<std::byte>{},
                queued.entry()->entryHandle(),
                queued.dependantEntryHandle()};
    }

    static std::vector<std::byte> bytesOf(Entry const& entry) {
        auto const fields = entry.fields();
        return {fields.begin(), fields.end()};
    }

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
