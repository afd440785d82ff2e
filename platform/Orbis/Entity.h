#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Orbis/Store.h>

#include <functional>
#include <string>
#include <string_view>

// One entity of the state store: a view of what stands at a path.
//
// A type of entity derives from this, reads and writes its content by `content` and `modify`, and
// registers itself under its name, which is stored with every entity of the type:
//
//     bool const registered = Orbis::Entity::typeIs("Asic::GenId", {initialContent, makeObject});
namespace Orbis {

class EntityManager;

class LOAM_EXPORT Entity : public Ombra::Node {
  public:
    // `manager` is held by the entity.
    Entity(Ombra::Ptr<EntityManager> manager, Ombra::String path, Ombra::String typeName);
    ~Entity() override;

    Ombra::String const& path() const noexcept { return path_; }
    Ombra::String const& typeName() const noexcept { return typeName_; }

    struct Type {
        std::string initialContent; // of an entity that is made
        std::function<Ombra::Ptr<Entity>(Ombra::Ptr<EntityManager> const&, Ombra::String const&)>
            object;
    };

    // Registers a type, at load. Gives true.
    static bool typeIs(std::string_view typeName, Type type);

    // Null when no type of that name is registered. Stays valid.
    static Type const* type(std::string_view typeName);

  protected:
    // What is stored now. Throws `StoreException` when the entity was removed meanwhile or is of
    // another type now.
    std::string content() const;

    // One transaction: `change` gets the content and changes it in place.
    void modify(std::function<void(std::string&)> const& change);

  private:
    std::string const& checked(std::optional<StoredEntity> const& stored) const;

    Ombra::Ptr<EntityManager> manager_;
    Ombra::String path_;
    Ombra::String typeName_;
};

} // namespace Orbis
