#include <Orbis/LocalStore.h>

#include <utility>

namespace Orbis {

std::optional<StoredEntity> LocalStore::read(std::string_view path) {
    std::lock_guard const lock{mutex_};
    auto const found = entities_.find(path);
    return found == entities_.end() ? std::nullopt : std::optional{found->second};
}

void LocalStore::modify(std::string_view path, Modifier const& modifier) {
    std::lock_guard const lock{mutex_};
    auto const found = entities_.find(path);
    auto next = modifier(found == entities_.end() ? std::nullopt : std::optional{found->second});
    if (next) {
        entities_.insert_or_assign(std::string{path}, std::move(*next));
    }
}

bool LocalStore::remove(std::string_view path) {
    std::lock_guard const lock{mutex_};
    auto const found = entities_.find(path);
    if (found == entities_.end()) {
        return false;
    }
    entities_.erase(found);
    return true;
}

std::vector<std::string> LocalStore::paths(std::string_view prefix) {
    std::lock_guard const lock{mutex_};
    std::vector<std::string> result;
    for (auto at = entities_.lower_bound(prefix);
         at != entities_.end() && at->first.starts_with(prefix); ++at) {
        result.push_back(at->first);
    }
    return result;
}

} // namespace Orbis
