#pragma once

#include <Orbis/Store.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>

// The store of a local manager: the process's own memory. Internal to the folder.
namespace Orbis {

class LocalStore : public Store {
  public:
    std::optional<StoredEntity> read(std::string_view path) override;
    void modify(std::string_view path, Modifier const& modifier) override;
    bool remove(std::string_view path) override;
    std::vector<std::string> paths(std::string_view prefix) override;

  private:
    std::mutex mutex_;
    std::map<std::string, StoredEntity, std::less<>> entities_;
};

} // namespace Orbis
