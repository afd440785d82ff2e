#pragma once

#include <Asic/Constants.h>

#include <algorithm>
#include <apps/hw/SlateReader.h>
#include <apps/hw/TableView.h>

// A table's view with the table's own types: the part that is compiled for each table.
namespace LoamHw {

// `Table` as in LoamSystemAcl/XxxTable.h.
template <typename Table>
class TypedTableView final : public TableView {
    using Constants = typename Table::Constants;
    using Key = typename Table::EntryKey;
    using ConfigSlate = typename Table::ConfigSlate;

  public:
    explicit TypedTableView(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager)
        : TableView{manager, Constants::tableId, Constants::tableName, group()} {}

    static Ombra::String group() {
        return Asic::Constants::canonicalizeGroupName(Constants::agentName, Constants::groupName);
    }

    Read change(Asic::LogVersion version, Change& change) override {
        auto const& map = log_->map();
        auto const read = guarded(map, [&] {
            bool found = false;
            change_ = &map.lookup(version, &found, nullptr);
            return found;
        });
        if (read == Read::found) {
            change = Change{change_->version, change_->logFlags, change_->unitId,
                            change_->logEntry.key().number(), constFields(change_->logEntry)};
        }
        return read;
    }

    std::optional<Asic::LogVersion> nextInLog(Asic::LogVersion version) override {
        std::optional<Asic::LogVersion> least;
        guarded(log_->map(), [&] {
            for (typename Table::EntryLogSlate::Map::IteratorConst i{&log_->map()}; i; ++i) {
                Asic::LogVersion const present = i->version;
                if (present > version && (!least || present < *least)) {
                    least = present;
                }
            }
            return true;
        });
        return least;
    }

    std::vector<Asic::UnitId> units() override {
        auto const base = Asic::Constants::canonicalGroupTableConfigSlatePathBase(
            group(), Constants::tableNamespace, Constants::tableName);
        auto const present = manager().findEntities(base, ZetSharedMem::ZetSharedMemType::slate);
        dropStaleUnits();
        std::vector<Asic::UnitId> found;
        for (auto const& [path, count] : present->count) {
            if (auto const unitId = unitOf(path); unitId && mountUnit(*unitId)) {
                found.push_back(*unitId);
            }
        }
        std::ranges::sort(found);
        return found;
    }

    Read stored(Asic::UnitId unitId, std::uint32_t key, Stored& stored) override {
        auto* const slate = mountUnit(unitId);
        if (slate == nullptr) {
            return Read::damaged;
        }
        auto const& map = slate->map();
        auto const read = guarded(map, [&] {
            bool found = false;
            record_ = map.lookup(Key{key}, &found, nullptr);
            return found;
        });
        return handOut(read, stored);
    }

    Read next(Asic::UnitId unitId, std::optional<std::uint32_t> previous, Stored& stored) override {
        auto* const slate = mountUnit(unitId);
        if (slate == nullptr) {
            return Read::damaged;
        }
        auto const& map = slate->map();
        auto const read = guarded(map, [&] {
            return previous ? map.iterNext(Key{*previous}, &record_, &walk_)
                            : map.iterFirst(&record_, &walk_);
        });
        return handOut(read, stored);
    }

  protected:
    bool mountLog() override {
        if (!log_) {
            log_ = mountReader<typename Table::EntryLogSlate>(Constants::tableEntryLogSlatePath(),
                                                              "entryLogConfig");
        }
        return static_cast<bool>(log_);
    }

    bool dropStaleTables() override {
        dropStaleUnits();
        return dropIfStale(log_);
    }

  private:
    template <typename LogEntry>
    static std::span<std::byte const> constFields(LogEntry const& entry) {
        return entry.fields();
    }

    Read handOut(Read read, Stored& stored) const {
        if (read == Read::found) {
            stored = Stored{record_.key().number(), record_.logVersion(), record_.inDeletion(),
                            constFields(record_.logEntry())};
        }
        return read;
    }

    // Nothing for a path that no unit has.
    static std::optional<Asic::UnitId> unitOf(Ombra::String const& path) {
        try {
            return Asic::Constants::getUnitIdFromConfigPath(path);
        } catch (Ombra::Exception const&) {
            return std::nullopt;
        }
    }

    void dropStaleUnits() {
        for (auto& [unitId, slate] : units_) {
            dropIfStale(slate);
        }
    }

    ConfigSlate* mountUnit(Asic::UnitId unitId) {
        auto& slate = units_[unitId];
        if (!slate) {
            slate = mountReader<ConfigSlate>(Constants::configSlatePath(unitId), "swTableEntries");
        }
        return slate.get();
    }

    Ombra::Ptr<typename Table::EntryLogSlate> log_;
    std::map<Asic::UnitId, Ombra::Ptr<ConfigSlate>> units_;
    typename Table::LogSlateEntry const* change_ = nullptr; // behind the last `Change`
    typename Table::ConfigSlateEntry record_;               // behind the last `Stored`
    Slate::IterHint walk_;
};

} // namespace LoamHw
