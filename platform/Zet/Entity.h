#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Ombra/TypeData.h>

// A node that has a place in the process's object tree, and the registry of those that exist once.
//
// A singleton is found by the name of its type (`singletonExists`) and made by its type
// (`singletonIs`), through a factory that the unit of the class registers when its library is
// loaded:
//
//     auto existing = Zet::Entity::singletonExists(module.typeNames[7]);
//     auto singleton = existing ? existing : Zet::Entity::singletonIs(Zet::ZetType{&module, 7});
//
// A singleton lives from its making to the end of the process; it is not destroyed at exit, when
// what it refers to may be gone already. Used on the agent's thread.
namespace Zet {

// A class, by the inspection module of its unit and its place therein.
using ZetType = Ombra::TypeData;

class LOAM_EXPORT Entity : public Ombra::Node {
  public:
    Entity() = default;
    ~Entity() override;

    // The entity was put under another parent, or under none.
    virtual void handleParent();

    // Null when no singleton of a type of that name was made.
    static Ombra::Ptr<Entity> singletonExists(Ombra::String const& typeName);

    // The singleton of that type; made at the first call. Asserts that a factory is registered.
    static Ombra::Ptr<Entity> singletonIs(ZetType type);

    using SingletonFactory = Ombra::Ptr<Entity> (*)();

    // Says how the singleton of `type` is made. A later call for the same type replaces the
    // factory.
    static void singletonFactoryIs(ZetType type, SingletonFactory factory);

    // Lets all singletons go, the last made first. For tests and for the teardown of a process
    // whose last client has gone; factories stay.
    static void singletonsDelAll();
};

} // namespace Zet
