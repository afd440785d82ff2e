#pragma once

#include <Asic/Constants.h>
#include <Asic/GroupSlates.h>
#include <Asic/MountSlate.h>
#include <LoamSystemAcl/AllTables.h>
#include <ZetSlate/MountInfo.h>

#include <cstring>
#include <map>
#include <vector>

namespace LoamHw {

// One table of an agent that is written by hand: stores what an agent stores, step by step, so that
// a test can stop between any two steps as a crash would.
template <typename Table>
class AgentTable {
    using Constants = typename Table::Constants;
    using Key = typename Table::EntryKey;
    using LogEntry = typename Table::LogEntry;
    using Config = typename Table::ConfigSlateEntry;
    using Log = typename Table::LogSlateEntry;

  public:
    explicit AgentTable(Ombra::Ptr<ZetSharedMem::EntityManager> manager)
        : manager_{std::move(manager)} {
        log_ = mount<typename Table::EntryLogSlate>(Constants::tableEntryLogSlatePath(),
                                                    "entryLogConfig", 1000000);
        announcement_ = Asic::mountSlate<Asic::AnnouncementSlate>(
            *manager_, Asic::Constants::announcementSlatePath(group(), Constants::tableId),
            ZetSlate::ZetSlateType::writer);
        version_ = log_->control()->scratchpad();
    }

    static Ombra::String group() {
        return Asic::Constants::canonicalizeGroupName(Constants::agentName, Constants::groupName);
    }

    static LogEntry entry(std::uint32_t key, std::uint32_t value) {
        LogEntry made{Key{key}};
        // The priority word is the second one behind the key.
        std::memcpy(made.fields().data() + 4, &value, sizeof value);
        return made;
    }

    Asic::LogVersion version() const { return version_; }

    Asic::TableVersion place(Asic::LogVersion version) const {
        Asic::TableVersion made;
        made.tableId = Constants::tableId;
        made.version = version;
        return made;
    }

    // Whole changes.
    Asic::LogVersion write(std::uint32_t key, std::uint32_t value,
                           std::vector<Asic::TableVersion> const& needed = {},
                           Asic::UnitId unitId = 0) {
        store(key, value, version_ + 1, unitId);
        logWrite(key, value, unitId);
        return announce(needed);
    }
    Asic::LogVersion remove(std::uint32_t key, std::vector<Asic::TableVersion> const& needed = {},
                            Asic::UnitId unitId = 0) {
        storeDeleted(key, version_ + 1, unitId);
        log_->recordIs(
            Log{version_ + 1, Asic::EntryFlags::flagEntryDeleted, unitId, LogEntry{Key{key}}});
        return announce(needed);
    }
    Asic::LogVersion removeAll(std::vector<std::uint32_t> const& keys, Asic::UnitId unitId = 0) {
        for (auto const key : keys) {
            storeDeleted(key, version_ + 1, unitId);
        }
        log_->recordIs(Log{version_ + 1, Asic::EntryFlags::flagTableDeleted, unitId, LogEntry{}});
        return announce({});
    }

    // Their steps.
    void store(std::uint32_t key, std::uint32_t value, Asic::LogVersion version,
               Asic::UnitId unitId = 0) {
        config(unitId).recordIs(Config{entry(key, value), {}, version, false});
    }
    void storeDeleted(std::uint32_t key, Asic::LogVersion version, Asic::UnitId unitId = 0) {
        bool found = false;
        Config record = config(unitId).map().lookup(Key{key}, &found, nullptr);
        record.deletedAt(version);
        config(unitId).recordIs(record);
    }
    void logWrite(std::uint32_t key, std::uint32_t value, Asic::UnitId unitId = 0) {
        log_->recordIs(Log{version_ + 1, Asic::EntryFlags::none, unitId, entry(key, value)});
    }
    Asic::LogVersion announce(std::vector<Asic::TableVersion> const& needed) {
        log_->control()->scratchpadIs(++version_);
        if (!needed.empty()) {
            Asic::NeededRecord record;
            record.version = version_;
            for (auto const& place : needed) {
                record.places[record.count++] = place;
            }
            announcement_->recordIs(record);
        }
        announcedIs(version_);
        return version_;
    }
    void announcedIs(Asic::LogVersion version) { announcement_->control()->scratchpadIs(version); }

    // What the agent does when versions are acknowledged.
    void dropFromLog(Asic::LogVersion version) { log_->recordDel(version); }
    void dropFromConfig(std::uint32_t key) { config(0).recordDel(Key{key}); }

    typename Table::ConfigSlate& config(Asic::UnitId unitId) {
        auto& slate = configs_[unitId];
        if (!slate) {
            slate = mount<typename Table::ConfigSlate>(Constants::configSlatePath(unitId),
                                                       "swTableEntries", 65536);
        }
        return *slate;
    }
    typename Table::EntryLogSlate& log() { return *log_; }

  private:
    template <typename Slate>
    Ombra::Ptr<Slate> mount(Ombra::String const& path, char const* collection,
                            std::uint32_t capacity) {
        ZetSlate::MountInfo info{ZetSlate::ZetSlateType::writer};
        info.collectionInfoIs(ZetSlate::CollectionInfo{collection, capacity, false});
        auto const mounts = manager_->getMountGroup();
        mounts->mount(path, Slate::typeName, info);
        mounts->doClose();
        return Ombra::dynamicCast<Slate>(manager_->getEntity(path));
    }

    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    Ombra::Ptr<typename Table::EntryLogSlate> log_;
    Ombra::Ptr<Asic::AnnouncementSlate> announcement_;
    std::map<Asic::UnitId, Ombra::Ptr<typename Table::ConfigSlate>> configs_;
    Asic::LogVersion version_ = 0;
};

using Ipv4Actions = LoamSystemAcl::Ipv4SystemPolicyTcamActionTable;
using Ipv4Entries = LoamSystemAcl::Ipv4SystemPolicyTcamEntryTable;
using MacEntries = LoamSystemAcl::MacSystemPolicyTcamEntryTable;

} // namespace LoamHw
