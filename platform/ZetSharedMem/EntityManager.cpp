#include <ZetSharedMem/EntityManager.h>
#include <ZetSharedMem/Exceptions.h>
#include <ZetSharedMem/FileTree.h>
#include <ZetSharedMem/LocalMemory.h>

#include <fmt/format.h>

#include <unistd.h>
#include <utility>

namespace ZetSharedMem {

namespace {

std::string rootPath;
bool managerMade = false;

using Key = std::pair<Ombra::String, bool>;

std::map<Key, Ombra::Ptr<EntityManager>>& managers() {
    static auto& instance = *new std::map<Key, Ombra::Ptr<EntityManager>>; // as long as the process
    return instance;
}

} // namespace

void setRoot(Ombra::String const& path) {
    std::string text = path.str();
    while (text.size() > 1 && text.back() == '/') {
        text.pop_back();
    }
    if (managerMade) {
        throw MountException{fmt::format(
            "{}: the folder for shared memory is set before the first manager is made", text)};
    }
    if (text.size() < 2 || text.front() != '/') {
        throw MountException{fmt::format("'{}': expected an absolute path to a folder", text)};
    }
    rootPath = text;
}

Ombra::String root() {
    return rootPath.empty() ? fmt::format("/dev/shm/loam-{}", ::geteuid()) : rootPath;
}

Ombra::Ptr<EntityManager> EntityManager::getEntityManager(Ombra::String const& name, bool local) {
    auto& manager = managers()[{name, local}];
    if (!manager) {
        manager = Ombra::ptrIs<EntityManager>(name, local);
    }
    return manager;
}

EntityManager::EntityManager(Ombra::String name, bool local)
    : name_{std::move(name)}, local_{local}, group_{Ombra::ptrIs<MountGroup>(*this)} {
    checkName(name_.str());
    managerMade = true;
}

EntityManager::~EntityManager() {
    closeAll();
}

Ombra::Ptr<MountGroup> EntityManager::getMountGroup() {
    return group_;
}

Ombra::Ptr<Entity> EntityManager::getEntity(Ombra::String const& path) const {
    auto const found = entities_.find(path);
    return found == entities_.end() ? Ombra::Ptr<Entity>{} : found->second;
}

Ombra::Ptr<ShmemEntities> EntityManager::findEntities(Ombra::String const& base,
                                                      ZetSharedMemType type) const {
    auto result = Ombra::ptrIs<ShmemEntities>();
    if (type != ZetSharedMemType::slate) {
        return result;
    }
    checkPath(base.str());
    auto const paths = local_ ? LocalMemory{name_.str()}.list(base.str())
                              : FileTree{root().str(), name_.str()}.list(base.str());
    for (std::string const& path : paths) {
        result->count[path] = 1;
    }
    for (auto const& [path, entity] : entities_) {
        if (isAtOrBelow(path.str(), base.str())) {
            result->count[path] = 1;
        }
    }
    return result;
}

void EntityManager::forgetEntity(Ombra::String const& path) {
    auto const found = entities_.find(path);
    if (found != entities_.end()) {
        found->second->close();
        entities_.erase(found);
    }
}

void EntityManager::closeAll() {
    for (auto const& [path, entity] : std::exchange(entities_, {})) {
        entity->close();
    }
}

void EntityManager::discardLocal() {
    if (local_) {
        LocalMemory{name_.str()}.discard();
    }
}

} // namespace ZetSharedMem
