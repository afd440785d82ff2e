#pragma once

#include <Asic/Constants.h>
#include <Asic/GenId.h>
#include <Asic/OrderedTableInterface.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Orbis/EntityManager.h>
#include <ZetSharedMem/EntityManager.h>
#include <ZetSlate/CollectionControl.h>
#include <ZetSlate/MountInfo.h>

#include <functional>

// Attaches a table's entity in shared memory, and turns a lost collection into a restart of the
// agent: `onWipedFn` reports it, and the generation at the agent's relaunch path rises by one,
// which is the order to restart. The mount itself goes on with the collection as it stands, and the
// mark is taken away, so that a loss is reported once.
//
// `T` is the slate's class and `typeName` its full name. Null when the entity isn't a `T`, if
// `collectionControlFn` survives that. An empty callable throws `std::bad_function_call`.
namespace Asic {

template <typename T>
typename T::Ptr checkAndwriteMountSlate(
    Ombra::Ptr<Orbis::EntityManager> const& entityManager, Ombra::String const& typeName,
    Ombra::String const& path, Ombra::String const& agentName,
    std::function<void(ZetSlate::MountInfo&)> const& mountInfoFn,
    std::function<Ombra::Ptr<ZetSlate::CollectionControl>(typename T::Ptr&)> const&
        collectionControlFn,
    std::function<void()> const& onWipedFn) {
    auto const sharedMem = sharedMemOf(*entityManager);
    auto const mountGroup = sharedMem->getMountGroup();
    ZetSlate::MountInfo mountInfo{ZetSlate::ZetSlateType::writer};
    mountInfoFn(mountInfo);
    mountGroup->mount(path, typeName, mountInfo);
    mountGroup->doClose();

    typename T::Ptr slate = Ombra::dynamicCast<T>(sharedMem->getEntity(path));
    auto const control = collectionControlFn(slate);
    if (!control->wiped()) {
        return slate;
    }
    onWipedFn();
    auto const relaunch = entityManager->getEntity(Constants::relaunchPath(agentName));
    if (auto const genId = Ombra::dynamicCast<GenId>(relaunch)) {
        genId->majorIdInc(1);
    }
    control->clearWiped();
    return slate;
}

} // namespace Asic
