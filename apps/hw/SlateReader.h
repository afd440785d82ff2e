#pragma once

#include <Ombra/Exception.h>
#include <ZetSlate/CollectionInfo.h>
#include <ZetSlate/MountInfo.h>

#include <apps/hw/TableView.h>

// The bodies of `TableView`'s templates, for the two files that need them.
namespace LoamHw {

template <typename Slate>
Ombra::Ptr<Slate> TableView::mountReader(Ombra::String const& path, char const* collection) {
    try {
        ZetSlate::MountInfo info{ZetSlate::ZetSlateType::reader};
        info.collectionInfoIs(ZetSlate::CollectionInfo{collection, 0, false});
        auto const group = manager_->getMountGroup();
        group->mount(path, Slate::typeName, info);
        group->doClose();
        return Ombra::dynamicCast<Slate>(manager_->getEntity(path));
    } catch (Ombra::Exception const& failure) {
        trouble_ = failure.msg().str();
        return nullptr;
    }
}

template <typename Slate>
bool TableView::dropIfStale(Ombra::Ptr<Slate>& slate) {
    if (!slate || !slate->stale()) {
        return false;
    }
    manager_->forgetEntity(slate->path());
    slate = nullptr;
    return true;
}

template <typename Map, typename Reading>
Read TableView::guarded(Map const& map, Reading const& read) {
    try {
        return read() ? Read::found : Read::absent;
    } catch (Ombra::CorruptionDetectedException const& corruption) {
        map.doCorruptionDetected(corruption.msg());
        ++damagedReads_;
        return Read::damaged;
    }
}

} // namespace LoamHw
