#include <Asic/Announcements.h>
#include <Asic/Constants.h>
#include <Asic/MountSlate.h>
#include <Ombra/Exception.h>
#include <Zet/Trace.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace Asic {

namespace {

Zet::TraceHandle const& _defaultTraceHandle() {
    static Zet::TraceHandle const handle{"GroupInterface", false};
    return handle;
}

[[maybe_unused]] bool const listed = (_defaultTraceHandle(), true); // from load on

// The scratchpad of a collection whose both copies of the word are damaged counts as 0: the changes
// that are still in the log are then announced again, and applying them twice does no harm.
LogVersion announcedIn(AnnouncementSlate& slate) {
    try {
        return slate.control()->scratchpad();
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        slate.map().doCorruptionDetected(corruption.msg());
        return 0;
    }
}

std::deque<LogVersion> storedVersions(AnnouncementSlate& slate) {
    std::deque<LogVersion> versions;
    try {
        for (AnnouncementSlate::Map::IteratorConst i{&slate.map()}; i; ++i) {
            versions.push_back(i->version);
        }
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        slate.map().doCorruptionDetected(corruption.msg());
    }
    std::ranges::sort(versions);
    return versions;
}

} // namespace

Announcements::Announcements(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager,
                             Ombra::String const& canonicalGroup)
    : manager_{manager}, canonicalGroup_{canonicalGroup} {
    auto const base = Constants::announcementSlatePathBase(canonicalGroup);
    auto const found = manager->findEntities(base, ZetSharedMem::ZetSharedMemType::slate);
    for (auto const& [path, count] : found->count) {
        if (auto const tableId = Constants::getTableIdFromAnnouncementPath(path)) {
            mount(*tableId);
        }
    }
}

Announcements::Table& Announcements::mount(SwTableId tableId) {
    auto slate = mountSlate<AnnouncementSlate>(
        *manager_, Constants::announcementSlatePath(canonicalGroup_, tableId),
        ZetSlate::ZetSlateType::writer);
    slate->control()->clearWiped();
    auto const announced = announcedIn(*slate);
    auto versions = storedVersions(*slate);
    return tables_.emplace_back(Table{tableId, std::move(slate), announced, std::move(versions)});
}

Announcements::Table& Announcements::tableOf(SwTableId tableId) {
    for (auto& table : tables_) {
        if (table.tableId == tableId) {
            return table;
        }
    }
    return mount(tableId);
}

void Announcements::storeNeeded(Table& table, LogVersion version, NeededEntry const& neededEntry) {
    NeededRecord record;
    record.version = version;
    for (auto const& place : neededEntry.places()) {
        if (place.tableId == table.tableId) {
            continue; // order inside a table is the version
        }
        if (record.count == NeededRecord::maxPlaces) {
            throw Ombra::Exception{fmt::format(
                "table {}, version {}: a change may need places in at most {} tables, and this one "
                "needs more",
                table.tableId, version, NeededRecord::maxPlaces)};
        }
        record.places[record.count++] = place;
    }
    if (record.count != 0) {
        table.slate->recordIs(record);
        table.withNeeded.push_back(version);
    }
}

void Announcements::announce(SwTableId tableId, LogVersion version,
                             NeededEntry const* neededEntry) {
    auto& table = tableOf(tableId);
    if (neededEntry != nullptr && !neededEntry->empty()) {
        storeNeeded(table, version, *neededEntry);
    }
    table.slate->control()->scratchpadIs(version);
    table.announced = version;
    announcedAny_ = true;
}

void Announcements::loggedVersionIs(SwTableId tableId, LogVersion version) {
    auto& table = tableOf(tableId);
    if (table.announced > version) {
        ZET_TRACE(_defaultTraceHandle(), 2, "GroupInterface",
                  "Table {} was announced up to version {}, its log stands at {}", tableId,
                  table.announced, version);
        std::erase_if(table.withNeeded, [&](LogVersion stored) {
            return stored > version && (table.slate->recordDel(stored), true);
        });
        table.slate->control()->scratchpadIs(version);
        table.announced = version;
        return;
    }
    if (table.announced < version) {
        ZET_TRACE(_defaultTraceHandle(), 2, "GroupInterface",
                  "Announcing table {} from version {} to {}, which a former run had logged",
                  tableId, table.announced + 1, version);
        NeededEntry everything;
        for (auto const& other : tables_) {
            everything.add(TableVersion{other.tableId, other.announced});
        }
        // One set at the first of them holds back the rest: a table is applied in order.
        storeNeeded(table, table.announced + 1, everything);
        announce(tableId, version, nullptr);
    }
}

void Announcements::appliedVersionIs(SwTableId tableId, LogVersion version) {
    auto& table = tableOf(tableId);
    while (!table.withNeeded.empty() && table.withNeeded.front() <= version) {
        table.slate->recordDel(table.withNeeded.front());
        table.withNeeded.pop_front();
    }
}

LogVersion Announcements::announcedVersion(SwTableId tableId) {
    return tableOf(tableId).announced;
}

bool Announcements::takeAnnounced() noexcept {
    return std::exchange(announcedAny_, false);
}

} // namespace Asic
