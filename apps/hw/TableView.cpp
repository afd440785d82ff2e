#include <Asic/Constants.h>

#include <apps/hw/SlateReader.h>
#include <apps/hw/TableView.h>

namespace LoamHw {

TableView::TableView(Ombra::Ptr<ZetSharedMem::EntityManager> manager, Asic::SwTableId tableId,
                     std::string name, Ombra::String const& canonicalGroup)
    : manager_{std::move(manager)}, tableId_{tableId}, name_{std::move(name)},
      announcementPath_{Asic::Constants::announcementSlatePath(canonicalGroup, tableId)} {}

TableView::~TableView() = default;

bool TableView::mount() {
    if (announcement_ && mountLog()) {
        return true;
    }
    trouble_.clear();
    if (!announcement_) {
        announcement_ = mountReader<Asic::AnnouncementSlate>(
            announcementPath_, Asic::AnnouncementSlate::collectionName);
    }
    if (!announcement_) {
        return false;
    }
    if (!mountLog()) {
        if (trouble_.empty() && announced().value_or(0) != 0) {
            trouble_ = "changes are announced, but the change log is not there; restart the agent";
        }
        return false;
    }
    return true;
}

bool TableView::dropStale() {
    dropIfStale(announcement_);
    return dropStaleTables();
}

std::optional<Asic::LogVersion> TableView::announced() {
    if (!announcement_) {
        return std::nullopt;
    }
    Asic::LogVersion version = 0;
    auto const read = guarded(announcement_->map(), [&] {
        version = announcement_->control()->scratchpad();
        return true;
    });
    return read == Read::found ? std::optional{version} : std::nullopt;
}

Read TableView::needed(Asic::LogVersion version, Asic::NeededRecord& record) {
    auto const& map = announcement_->map();
    return guarded(map, [&] {
        bool found = false;
        record = map.lookup(version, &found, nullptr);
        return found;
    });
}

} // namespace LoamHw
