#include <ZetSharedMem/EntityManager.h>
#include <ZetSharedMem/Exceptions.h>
#include <ZetSharedMem/FileTree.h>
#include <ZetSharedMem/MountGroup.h>
#include <ZetSharedMem/TypeRegistration.h>

#include <fmt/format.h>

#include <utility>

namespace ZetSharedMem {

MountGroup::~MountGroup() = default;

bool MountGroup::mount(Ombra::String const& path, Ombra::String const& typeName,
                       ZetSlate::MountInfo const& info) {
    checkPath(path.str());
    if (manager_.entities_.contains(path)) {
        return true;
    }
    PrepareMount const prepare = registeredType(typeName);
    if (prepare == nullptr) {
        throw MountException{fmt::format("{}: no class {} is registered in this process; is its "
                                         "library loaded?",
                                         path, typeName)};
    }
    pending_.push_back({path, prepare(typeName, info)});
    return false;
}

void MountGroup::doClose() {
    for (Pending const& pending : std::exchange(pending_, {})) {
        if (auto entity = pending.factory(MountContext{manager_, pending.path})) {
            manager_.entities_.insert_or_assign(pending.path, std::move(entity));
        }
    }
}

} // namespace ZetSharedMem
