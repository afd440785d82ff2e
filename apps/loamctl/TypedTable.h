#pragma once

#include <Asic/Constants.h>

#include <algorithm>
#include <apps/loamctl/MountReader.h>
#include <apps/loamctl/Table.h>
#include <map>

// The part of a `Table` that is compiled for each table; `Types` as in LoamSystemAcl/XxxTable.h.
namespace LoamCtl {

template <typename Types>
class TypedTable final : public Table {
    using Constants = typename Types::Constants;
    using Key = typename Types::EntryKey;
    using LogEntry = typename Types::LogEntry;
    using ConfigSlate = typename Types::ConfigSlate;
    using EntryLogSlate = typename Types::EntryLogSlate;

  public:
    explicit TypedTable(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager)
        : manager_{manager} {}

    std::string_view name() const override { return Constants::tableName; }
    Asic::SwTableId tableId() const override { return Constants::tableId; }
    std::string_view policy() const override { return Constants::row.policy; }
    std::string_view holds() const override { return Constants::row.holds; }

    std::vector<Asic::UnitId> units() override {
        auto const base = Asic::Constants::canonicalGroupTableConfigSlatePathBase(
            Asic::Constants::canonicalizeGroupName(Constants::agentName, Constants::groupName),
            Constants::tableNamespace, Constants::tableName);
        std::vector<Asic::UnitId> units;
        auto const found = manager_->findEntities(base, ZetSharedMem::ZetSharedMemType::slate);
        for (auto const& [path, count] : found->count) {
            units.push_back(Asic::Constants::getUnitIdFromConfigPath(path));
        }
        std::ranges::sort(units);
        return units;
    }

    void forEachEntry(Asic::UnitId unitId,
                      std::function<void(StoredEntry const&)> const& give) override {
        if (auto const slate =
                mountReader<ConfigSlate>(*manager_, Constants::configSlatePath(unitId))) {
            for (typename ConfigSlate::Map::IteratorConst i{&slate->map()}; i; ++i) {
                give(stored(*i));
            }
        }
    }

    bool withEntry(Asic::UnitId unitId, std::uint32_t key,
                   std::function<void(StoredEntry const&)> const& give) override {
        auto const slate = mountReader<ConfigSlate>(*manager_, Constants::configSlatePath(unitId));
        if (!slate) {
            return false;
        }
        bool found = false;
        auto const& record = slate->map().lookup(Key{key}, &found);
        if (found) {
            give(stored(record));
        }
        return found;
    }

    LogState logState() override {
        auto const log = mountReader<EntryLogSlate>(*manager_, Constants::tableEntryLogSlatePath());
        if (!log) {
            return {};
        }
        return {true, log->map().memberCount(), log->control()->scratchpad()};
    }

    void forEachChange(std::function<void(LoggedChange const&)> const& give) override {
        auto const log = mountReader<EntryLogSlate>(*manager_, Constants::tableEntryLogSlatePath());
        if (!log) {
            return;
        }
        std::vector<Asic::LogVersion> versions;
        for (typename EntryLogSlate::Map::IteratorConst i{&log->map()}; i; ++i) {
            versions.push_back(i->version);
        }
        std::ranges::sort(versions);
        for (Asic::LogVersion const version : versions) {
            bool found = false;
            auto const& record = log->map().lookup(version, &found);
            if (found) { // else it was trimmed meanwhile
                give({record.version, record.logFlags, record.unitId,
                      record.logEntry.key().number(), paddedFields(record.logEntry)});
            }
        }
    }

  private:
    static std::span<std::byte const> paddedFields(LogEntry const& entry) {
        return std::as_bytes(std::span{&entry, 1}).subspan(sizeof(Key));
    }

    static StoredEntry stored(typename Types::ConfigSlateEntry const& record) {
        LogEntry const& entry = record.logEntry();
        return {record.key().number(), record.logVersion(), record.inDeletion(), entry.fields(),
                paddedFields(entry)};
    }

    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
};

} // namespace LoamCtl
