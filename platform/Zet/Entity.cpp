#include <Ombra/Assert.h>
#include <Ombra/ModuleInspectData.h>
#include <Zet/Entity.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Zet {

namespace {

struct Factory {
    ZetType type;
    Entity::SingletonFactory make;
};

struct Singleton {
    ZetType type;
    Ombra::Ptr<Entity> entity;
};

struct Registry {
    std::vector<Factory> factories;
    std::vector<Singleton> singletons; // in the order of their making
};

Registry& registry() {
    static auto* const known = new Registry; // factories register before main
    return *known;
}

bool isNamed(ZetType type, std::string_view name) {
    auto const index = static_cast<std::size_t>(type.index);
    return type.module != nullptr && index < type.module->typeNames.size() &&
           type.module->typeNames[index] == name;
}

} // namespace

Entity::~Entity() = default;

void Entity::handleParent() {}

Ombra::Ptr<Entity> Entity::singletonExists(Ombra::String const& typeName) {
    auto const& singletons = registry().singletons;
    auto const found = std::ranges::find_if(
        singletons, [&](Singleton const& each) { return isNamed(each.type, typeName); });
    return found == singletons.end() ? Ombra::Ptr<Entity>{} : found->entity;
}

Ombra::Ptr<Entity> Entity::singletonIs(ZetType type) {
    auto& known = registry();
    if (auto const found = std::ranges::find(known.singletons, type, &Singleton::type);
        found != known.singletons.end()) {
        return found->entity;
    }
    auto const factory = std::ranges::find(known.factories, type, &Factory::type);
    OMBRA_ASSERT(factory != known.factories.end(), "factory != known.factories.end()");
    auto entity = factory->make();
    known.singletons.push_back(Singleton{type, entity});
    return entity;
}

void Entity::singletonFactoryIs(ZetType type, SingletonFactory factory) {
    auto& known = registry();
    auto const found = std::ranges::find(known.factories, type, &Factory::type);
    if (found != known.factories.end()) {
        found->make = factory;
    } else {
        known.factories.push_back(Factory{type, factory});
    }
}

void Entity::singletonsDelAll() {
    auto& singletons = registry().singletons;
    while (!singletons.empty()) {
        // Out of the registry before its destructor runs, which might ask the registry.
        auto const last = std::move(singletons.back().entity);
        singletons.pop_back();
    }
}

} // namespace Zet
