#include <fmt/format.h>

#include <crash/View.h>
#include <cstring>

namespace crash_test {

namespace {

unsigned patternValue(LogEntry const& entry) {
    unsigned value = 0;
    std::memcpy(&value, entry.fields().data(), sizeof value);
    return value;
}

// An entry of mixed bytes is told as such, so that it equals nothing that is expected.
std::string valueText(LogEntry const& entry) {
    unsigned const value = patternValue(entry);
    return entry == patterned(entry.key(), value) ? std::to_string(value) : "MIXED";
}

std::string textOf(LogSlateEntry const& change) {
    if (flagHas(change.logFlags, Asic::EntryFlags::flagTableDeleted)) {
        return tableDelete;
    }
    auto const* const what =
        flagHas(change.logFlags, Asic::EntryFlags::flagEntryDeleted) ? "delete" : "write";
    return fmt::format("{} {} {}", what, change.logEntry.key().number(),
                       valueText(change.logEntry));
}

} // namespace

std::string live(LogVersion version, unsigned value) {
    return fmt::format("{} live {}", version, value);
}

std::string deleted(LogVersion version, unsigned value) {
    return fmt::format("{} deleted {}", version, value);
}

std::string write(unsigned key, unsigned value) {
    return fmt::format("write {} {}", key, value);
}

std::string remove(unsigned key, unsigned value) {
    return fmt::format("delete {} {}", key, value);
}

std::string configItem(unsigned key) {
    return fmt::format("config/{}", key);
}

std::string logItem(LogVersion version) {
    return fmt::format("log/{}", version);
}

std::string neededItem(LogVersion version) {
    return fmt::format("needed/{}", version);
}

std::string textOf(View const& view) {
    std::string text = "{";
    for (auto const& [item, value] : view) {
        text += fmt::format(" {}: {};", item, value);
    }
    return text + " }";
}

struct Onlooker::Mounted {
    explicit Mounted(std::string const& name) : manager{name, false} {}

    template <typename T>
    void find(Ombra::Ptr<T>& slate, Ombra::String const& path) {
        if (!slate) {
            auto const group = manager.getMountGroup();
            group->mount(path, T::typeName, ZetSlate::MountInfo{ZetSlate::ZetSlateType::reader});
            group->doClose();
            slate = Ombra::dynamicCast<T>(manager.getEntity(path));
        }
    }

    ZetSharedMem::EntityManager manager;
    Ombra::Ptr<Family::EntryLogSlate> log;
    Ombra::Ptr<Family::ConfigSlate> config;
    Ombra::Ptr<Asic::AnnouncementSlate> announcements;
    Ombra::Ptr<Asic::TableVersionMap> applied;
};

Onlooker::Onlooker(std::string const& manager) : mounted_{std::make_unique<Mounted>(manager)} {}
Onlooker::~Onlooker() = default;

View Onlooker::look() {
    Mounted& in = *mounted_;
    auto const group = testing_support::AgentInProcess::canonicalGroup();
    in.find(in.log, Constants::tableEntryLogSlatePath());
    in.find(in.config, Constants::configSlatePath(0));
    in.find(in.announcements, Asic::Constants::announcementSlatePath(group, Constants::tableId));
    in.find(in.applied, Asic::Constants::tableVersionMapPath(group));
    View view;
    if (in.config) {
        for (Family::ConfigSlate::Map::IteratorConst i{&in.config->swTableEntries()}; i; ++i) {
            auto const& entry = i->logEntry();
            view[configItem(entry.key().number())] =
                fmt::format("{} {} {}", i->logVersion(), i->inDeletion() ? "deleted" : "live",
                            valueText(entry));
        }
    }
    if (in.log) {
        for (Family::EntryLogSlate::Map::IteratorConst i{&in.log->entryLogConfig()}; i; ++i) {
            view[logItem(i->version)] = textOf(*i);
        }
        view["scratchpad"] = std::to_string(in.log->control()->scratchpad());
    }
    if (in.announcements) {
        for (Asic::AnnouncementSlate::Map::IteratorConst i{&in.announcements->map()}; i; ++i) {
            Asic::NeededRecord const record = *i;
            std::string places;
            for (std::uint32_t place = 0; place < record.count; ++place) {
                places += fmt::format("{} ", record.places[place]);
            }
            view[neededItem(record.version)] = places;
        }
        view["announced"] = std::to_string(in.announcements->control()->scratchpad());
    }
    if (in.applied) {
        bool found = false;
        auto const record = in.applied->map().lookup(Constants::tableId, &found, nullptr);
        if (found) {
            view["applied"] = std::to_string(record.version);
        }
    }
    return view;
}

} // namespace crash_test
