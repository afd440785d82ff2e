#pragma once

#include <Slate/Store.h>
#include <Slate/StoreSpec.h>

#include <memory>
#include <string>
#include <vector>

namespace ZetSharedMem {

// The entities of local managers: anonymous memory of this process, found again by the names of
// manager and path for as long as the process lives. Same promises as a FileTree, without files.
class LocalMemory {
  public:
    explicit LocalMemory(std::string manager) : manager_{std::move(manager)} {}

    std::shared_ptr<Slate::Store> openForWriting(std::string const& path,
                                                 Slate::StoreSpec const& spec) const;
    std::shared_ptr<Slate::Store> openForReading(std::string const& path,
                                                 Slate::StoreSpec const& spec) const;
    std::vector<std::string> list(std::string const& base) const;

    // Forgets all entities of the manager. Those that are open live on until they are closed.
    void discard() const;

  private:
    std::string manager_;
};

// Whether `path` is `base` or lies below it.
bool isAtOrBelow(std::string const& path, std::string const& base);

} // namespace ZetSharedMem
