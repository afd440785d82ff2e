#pragma once

#include <Ombra/Export.h>
#include <Ombra/Node.h>
#include <Ombra/String.h>
#include <ZetSharedMem/MountContext.h>

#include <memory>

namespace ZetSharedMem {

// Something in shared memory that a manager hands out by its path. Derived classes hold the typed
// view; what they have in common is the store under them.
class LOAM_EXPORT Entity : public Ombra::Node {
  public:
    Entity(MountContext const& context, std::shared_ptr<Slate::Store> store);
    ~Entity() override;

    Ombra::String const& path() const { return path_; }
    bool writable() const;

    // The file that this entity maps is no longer the one at its path: it was removed, or set aside
    // and made anew. What is mapped stays readable but does not change any more; a reader drops the
    // entity and mounts again. Costs one system call. Never true for a local manager's entity.
    bool stale() const;

    // Gives up writing: releases the lock and refuses further changes. What is mapped stays
    // readable until the last reference goes. A reader's entity is not changed by it.
    void close();

    std::shared_ptr<Slate::Store> const& store() const { return store_; }

  private:
    Ombra::String path_;
    Ombra::String fileName_;
    std::shared_ptr<Slate::Store> store_;
};

} // namespace ZetSharedMem
