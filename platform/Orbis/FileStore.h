#pragma once

#include <Ombra/String.h>
#include <Orbis/StateFile.h>
#include <Orbis/StateFolder.h>
#include <Orbis/Store.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/stat.h>

// The store that all processes of the switch share: the file `ROOT/NAME/.state/entities`, of the
// same bytes in processes of both word sizes. Internal to the folder.
//
// A change writes the whole file anew beside the one that stands and renames it, under a lock of
// the folder that the kernel drops with its holder. So it is there or not, wherever its process is
// killed, and a reader takes no lock: what it has opened is never written again. A reader keeps
// what it has read until another file stands at the path. Few and small entities are what this is
// for; all of them together have a limit.
//
// There is no sync to disk: the promise ends with the kernel, like that of the memory under
// `/dev/shm`.
namespace Orbis {

class FileStore : public Store {
  public:
    static std::shared_ptr<Store> open(Ombra::String const& root, Ombra::String const& name);

    explicit FileStore(std::string folder);

    std::optional<StoredEntity> read(std::string_view path) override;
    void modify(std::string_view path, Modifier const& modifier) override;
    bool remove(std::string_view path) override;
    std::vector<std::string> paths(std::string_view prefix) override;

    static constexpr std::size_t maxBytes = std::size_t{16} << 20;

  private:
    void refresh();
    void readFile();
    void replace(Entities next);
    std::optional<StoredEntity> find(std::string_view path) const;

    std::string folder_;
    std::string file_;
    std::mutex mutex_;
    Entities entities_;   // what stands in `open_`
    Descriptor open_;     // kept, so that no other file gets its inode number
    struct stat seen_ {}; // of `open_`, when it was read
};

} // namespace Orbis
