#include <Ombra/Assert.h>
#include <Orbis/Entity.h>
#include <Orbis/EntityManager.h>

#include <fmt/format.h>

#include <map>
#include <utility>

namespace Orbis {

namespace {

// Types register before main, on the one thread there is then; afterwards the map is only read.
std::map<std::string, Entity::Type, std::less<>>& types() {
    static auto* const known = new std::map<std::string, Entity::Type, std::less<>>;
    return *known;
}

} // namespace

Entity::Entity(Ombra::Ptr<EntityManager> manager, Ombra::String path, Ombra::String typeName)
    : manager_{std::move(manager)}, path_{std::move(path)}, typeName_{std::move(typeName)} {}

Entity::~Entity() = default;

bool Entity::typeIs(std::string_view typeName, Type type) {
    OMBRA_ASSERT(typeName.size() <= 255, "typeName.size() <= 255");
    types().insert_or_assign(std::string{typeName}, std::move(type));
    return true;
}

Entity::Type const* Entity::type(std::string_view typeName) {
    auto const found = types().find(typeName);
    return found == types().end() ? nullptr : &found->second;
}

std::string const& Entity::checked(std::optional<StoredEntity> const& stored) const {
    if (!stored) {
        throw StoreException{fmt::format("Entity {} of manager {}: was removed from the state "
                                         "store. Make it again before it is used.",
                                         path_, manager_->name())};
    }
    if (stored->typeName != typeName_.str()) {
        throw StoreException{fmt::format("Entity {} of manager {}: is of the type {} now, and {} "
                                         "was expected. Remove it or use another path.",
                                         path_, manager_->name(), stored->typeName, typeName_)};
    }
    return stored->content;
}

std::string Entity::content() const {
    return checked(manager_->store().read(path_));
}

void Entity::modify(std::function<void(std::string&)> const& change) {
    manager_->store().modify(path_, [&](std::optional<StoredEntity> const& stored) {
        StoredEntity next{typeName_.str(), checked(stored)};
        change(next.content);
        return std::optional{std::move(next)};
    });
}

} // namespace Orbis
