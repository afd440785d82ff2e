#pragma once

#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <ZetSharedMem/EntityManager.h>
#include <ZetSlate/CollectionInfo.h>
#include <ZetSlate/MountInfo.h>

// Mounts one of the platform's own entities, which name their type and their collection themselves.
namespace Asic {

// Null when `type` is a reader's and the entity doesn't exist. Throws what the store throws.
template <typename T>
Ombra::Ptr<T> mountSlate(ZetSharedMem::EntityManager& manager, Ombra::String const& path,
                         ZetSlate::ZetSlateType type) {
    ZetSlate::MountInfo info{type};
    info.collectionInfoIs(ZetSlate::CollectionInfo{T::collectionName, T::capacity, false});
    auto const group = manager.getMountGroup();
    group->mount(path, T::typeName, info);
    group->doClose();
    return Ombra::dynamicCast<T>(manager.getEntity(path));
}

} // namespace Asic
