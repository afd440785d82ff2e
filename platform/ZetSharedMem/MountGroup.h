#pragma once

#include <Ombra/Export.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <ZetSharedMem/MountContext.h>

#include <vector>

namespace ZetSlate {
class MountInfo;
}

namespace ZetSharedMem {

class EntityManager;

// Collects mounts and completes them together.
//
//     auto group = manager->getMountGroup();
//     group->mount(path, "LoamSystemAcl::FooConfigSlate", info);
//     group->doClose();
//     auto slate = Ombra::dynamicCast<FooConfigSlate>(manager->getEntity(path));
class LOAM_EXPORT MountGroup : public Ombra::Node {
  public:
    explicit MountGroup(EntityManager& manager) : manager_{manager} {}
    ~MountGroup() override;

    // Notes a mount for `doClose`. True when the entity is already mounted, which then stays as it
    // is. Raises `MountException` for an unknown type name or an impossible path.
    virtual bool mount(Ombra::String const& path, Ombra::String const& typeName,
                       ZetSlate::MountInfo const& info);

    // Completes the mounts in the order in which they were noted. The first that fails ends it with
    // its exception; those before it stand, those after it are dropped.
    void doClose();

  private:
    struct Pending {
        Ombra::String path;
        EntityFactory factory;
    };

    EntityManager& manager_;
    std::vector<Pending> pending_;
};

} // namespace ZetSharedMem
