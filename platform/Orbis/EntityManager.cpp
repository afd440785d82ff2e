#include <Orbis/EntityManager.h>
#include <Orbis/FileStore.h>
#include <Orbis/LocalStore.h>

#include <fmt/format.h>

#include <mutex>
#include <unistd.h>
#include <utility>

namespace Orbis {

namespace {

struct Root {
    std::mutex mutex;
    Ombra::String path = fmt::format("/dev/shm/loam-{}", ::geteuid());
};

Root& rootSlot() {
    static auto* const slot = new Root;
    return *slot;
}

constexpr std::size_t maxPathBytes = 500;

void checkPath(Ombra::String const& name, Ombra::String const& path) {
    if (path.empty() || path.size() > maxPathBytes) {
        throw StoreException{
            fmt::format("Entity '{}' of manager {}: the path has {} bytes; give one "
                        "of 1 to {} bytes.",
                        path, name, path.size(), maxPathBytes)};
    }
}

std::shared_ptr<Store> storeOf(Ombra::String const& name, bool local) {
    if (local) {
        return std::make_shared<LocalStore>();
    }
    return FileStore::open(root(), name);
}

} // namespace

void setRoot(Ombra::String const& path) {
    auto& slot = rootSlot();
    std::lock_guard const lock{slot.mutex};
    slot.path = path;
}

Ombra::String root() {
    auto& slot = rootSlot();
    std::lock_guard const lock{slot.mutex};
    return slot.path;
}

EntityManager::EntityManager(Ombra::String name, bool local)
    : name_{std::move(name)}, local_{local}, store_{storeOf(name_, local)} {}

EntityManager::~EntityManager() = default;

Ombra::Ptr<Entity> EntityManager::objectOf(Ombra::String const& path, std::string const& typeName) {
    Ombra::Ptr<EntityManager> self{this};
    if (auto const* type = Entity::type(typeName); type != nullptr) {
        return type->object(self, path);
    }
    return Ombra::ptrIs<Entity>(std::move(self), path, typeName);
}

Ombra::Ptr<Entity> EntityManager::getEntity(Ombra::String const& path) {
    checkPath(name_, path);
    auto const stored = store_->read(path);
    return stored ? objectOf(path, stored->typeName) : nullptr;
}

Ombra::Ptr<Entity> EntityManager::entityIs(Ombra::String const& path,
                                           Ombra::String const& typeName) {
    checkPath(name_, path);
    auto const* type = Entity::type(typeName);
    if (type == nullptr) {
        throw StoreException{
            fmt::format("Entity {} of manager {}: the type {} is not known in this "
                        "process. Register it before entities of it are made.",
                        path, name_, typeName)};
    }
    store_->modify(path, [&](std::optional<StoredEntity> const& stored) {
        if (stored && stored->typeName != typeName.str()) {
            throw StoreException{
                fmt::format("Entity {} of manager {}: is of the type {}, and {} was "
                            "to be made. Remove it or use another path.",
                            path, name_, stored->typeName, typeName)};
        }
        return stored ? std::nullopt
                      : std::optional{StoredEntity{typeName.str(), type->initialContent}};
    });
    return type->object(Ombra::Ptr<EntityManager>{this}, path);
}

bool EntityManager::entityDel(Ombra::String const& path) {
    checkPath(name_, path);
    return store_->remove(path);
}

std::vector<std::string> EntityManager::entityPaths(Ombra::String const& prefix) {
    return store_->paths(prefix);
}

} // namespace Orbis
