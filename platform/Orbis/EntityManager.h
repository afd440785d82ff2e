#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Orbis/Entity.h>
#include <Orbis/Store.h>

#include <memory>
#include <string>
#include <vector>

// The way to the state store: small pieces of state, found by path, that every process of the
// switch sees and that survive each of them.
//
// A manager has a name and a local flag. A local manager keeps its entities in its own memory and
// loses them with it (dry runs, tests). The others share `ROOT/NAME/.state`, for every process and
// every manager of that name. An entity object is a view: it holds no state of its own, so two
// objects of one path, in one process or in two, always agree.
//
//     auto manager = Ombra::ptrIs<Orbis::EntityManager>("switch", false);
//     auto generation = Asic::GenId::create(manager, "hardware/.../LoamSystemAcl");
//     ...
//     if (auto entity = manager->getEntity(path)) { ... Ombra::dynamicCast<Asic::GenId>(entity) ...
//     }
//
// Every change is one transaction. A process that is killed inside one leaves the state before it,
// and the next process goes on without waiting. Written for a little state that changes seldom: a
// read costs a look at the file, a change writes the whole of it anew.
//
// A path is 1 to 500 bytes. All operations but `name` and `isLocal` throw `StoreException` when the
// store can't be reached. Safe from several threads. A manager works on in a forked child, unless
// another thread was using it at the fork.
namespace Orbis {

class LOAM_EXPORT EntityManager : public Ombra::Node {
  public:
    // Opens the store, and makes it at the first time. The name of a non-local manager is that of a
    // folder: letters, digits, '.', '_', '-', and no '.' first.
    EntityManager(Ombra::String name, bool local);
    ~EntityManager() override;
    Ombra::TypeData typeData() const override;

    Ombra::String const& name() const noexcept { return name_; }
    bool isLocal() const noexcept { return local_; }

    // The entity at the path, as an object of its type; of a type that this process does not know,
    // as a plain `Entity`. Null when there is none.
    Ombra::Ptr<Entity> getEntity(Ombra::String const& path);

    // The entity at the path, made when there is none. One of another type there is an error. The
    // type must be registered (see Entity.h).
    Ombra::Ptr<Entity> entityIs(Ombra::String const& path, Ombra::String const& typeName);

    // Whether there was one.
    bool entityDel(Ombra::String const& path);

    // The paths of all entities below `prefix`, in byte order.
    std::vector<std::string> entityPaths(Ombra::String const& prefix);

    Store& store() noexcept { return *store_; }

  private:
    Ombra::Ptr<Entity> objectOf(Ombra::String const& path, std::string const& typeName);

    Ombra::String name_;
    bool local_;
    std::shared_ptr<Store> store_;
};

// Where the folders of the managers lie: `/dev/shm/loam-UID` unless a program says otherwise before
// it makes its first manager. Managers that exist stay where they are.
LOAM_EXPORT void setRoot(Ombra::String const& path);
LOAM_EXPORT Ombra::String root();

} // namespace Orbis
