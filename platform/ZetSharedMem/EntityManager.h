#pragma once

#include <Ombra/Export.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <ZetSharedMem/Entity.h>
#include <ZetSharedMem/MountGroup.h>
#include <ZetSharedMem/ShmemEntities.h>

#include <map>
#include <string>

// Hands out the shared-memory entities of one name space by their paths.
//
// A manager that is not local keeps each entity in a file below `<root>/<name>/`, at the entity's
// path with the suffix ".slate", so other processes of the same user find it and it survives this
// one for as long as the kernel runs. A local manager's entities are anonymous memory of this
// process: nobody else sees them, and they end with the process; within it a closed entity is found
// again by the next mount, as a restarted agent would find its file.
//
// Beside each file stands its ".owner" file. The writer of the collection holds a lock on it that
// the kernel releases when the process dies, and it tells that the collection once existed, so that
// a missing file is known to be a loss and not a first start.
//
// One thread uses a manager.
namespace ZetSharedMem {

// Where the files of all managers are: "/dev/shm/loam-<uid>" unless set. To be set before the first
// manager of the process is made; raises `MountException` afterwards, or if the path is not
// absolute. The folder itself is made on the first mount, if its parent exists.
LOAM_EXPORT void setRoot(Ombra::String const& path);
LOAM_EXPORT Ombra::String root();

class LOAM_EXPORT EntityManager : public Ombra::Node {
  public:
    // The process's manager of that name; made on the first call, and one for each pair of name and
    // flag.
    static Ombra::Ptr<EntityManager> getEntityManager(Ombra::String const& name, bool local);

    // A manager of its own, as another process would have one: what a reader that shares a process
    // with the writer uses.
    EntityManager(Ombra::String name, bool local);
    ~EntityManager() override;

    Ombra::String const& name() const { return name_; }
    bool local() const { return local_; }

    Ombra::Ptr<MountGroup> getMountGroup();

    // The mounted entity at the path, or null.
    Ombra::Ptr<Entity> getEntity(Ombra::String const& path) const;

    // The entities of `type` below the path `base` (or at it), mounted or not.
    Ombra::Ptr<ShmemEntities> findEntities(Ombra::String const& base, ZetSharedMemType type) const;

    // Closes the entity (see `Entity::close`) and drops the manager's reference, as if the process
    // had died: the next mount starts from what is in the file.
    void forgetEntity(Ombra::String const& path);
    void closeAll();

    // Forgets also what a local manager's closed entities hold. Files are never removed.
    void discardLocal();

  private:
    friend class MountContext;
    friend class MountGroup;

    Ombra::String name_;
    bool local_;
    std::map<Ombra::String, Ombra::Ptr<Entity>> entities_;
    Ombra::Ptr<MountGroup> group_;
};

} // namespace ZetSharedMem
