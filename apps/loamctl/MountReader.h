#pragma once

#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <ZetSharedMem/EntityManager.h>
#include <ZetSlate/MountInfo.h>

// Opens an entity read-only. Null when there is none.
namespace LoamCtl {

template <typename Slate>
Ombra::Ptr<Slate> mountReader(ZetSharedMem::EntityManager& manager, Ombra::String const& path) {
    auto const group = manager.getMountGroup();
    group->mount(path, Slate::typeName, ZetSlate::MountInfo{ZetSlate::ZetSlateType::reader});
    group->doClose();
    return Ombra::dynamicCast<Slate>(manager.getEntity(path));
}

} // namespace LoamCtl
