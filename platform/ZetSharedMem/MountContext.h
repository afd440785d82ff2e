#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Slate/StoreSpec.h>

#include <functional>
#include <memory>

namespace Slate {
class Store;
}

namespace ZetSharedMem {

class Entity;
class EntityManager;

// What an entity's factory is given when its mount is completed: where it belongs, and the means to
// open the collection's file there.
class LOAM_EXPORT MountContext {
  public:
    MountContext(EntityManager const& manager, Ombra::String path);

    Ombra::String const& path() const { return path_; }
    Ombra::String fileName() const; // of the collection; empty for a local manager

    // Opens the collection as its only writer and finishes what a former writer left half done.
    // Makes it when it is not there, marked wiped when it should have been. Raises
    // `WriterExistsException`, `UnsafePathException`, `Slate::NoSpaceException`.
    std::shared_ptr<Slate::Store> openForWriting(Slate::StoreSpec const& spec) const;

    // Opens it read-only. Null when there is no file. Raises `UnsafePathException`, and
    // `Slate::BadFileException` when the file is not a whole store of this kind.
    std::shared_ptr<Slate::Store> openForReading(Slate::StoreSpec const& spec) const;

  private:
    EntityManager const& manager_;
    Ombra::String path_;
};

// Completes one mount.
using EntityFactory = std::function<Ombra::Ptr<Entity>(MountContext const&)>;

} // namespace ZetSharedMem
