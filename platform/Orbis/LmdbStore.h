#pragma once

#include <Ombra/String.h>
#include <Orbis/Store.h>

#include <lmdb.h>

#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>

// The store that all processes of the switch share: an LMDB environment in `ROOT/NAME/.state`.
// Internal to the folder.
//
// What a kill at any instruction may leave is known and harmless. The environment is made in
// `.state.new` and renamed when it is whole. A change writes its pages beside the old ones and
// swings the root by one small write, so it is there or not; nothing is written through the memory
// map. The writer's lock is a robust mutex, which the next process takes over. Slots of dead
// readers, which would keep old pages alive, are freed when a process opens the store.
//
// There is no sync to disk: the promise ends with the kernel, like that of the memory under
// `/dev/shm`. The files are of the machine's word size, since LMDB's are; a process of the other
// word size is refused when it opens them.
//
// LMDB must not open a folder twice in a process, nor be used across a fork. `open` therefore hands
// out one environment per folder, and a forked child that uses its parent's is refused.
namespace Orbis {

class LmdbStore : public Store {
  public:
    // The store is closed with the last user's pointer.
    static std::shared_ptr<Store> open(Ombra::String const& root, Ombra::String const& name);

    ~LmdbStore() override;

    std::optional<StoredEntity> read(std::string_view path) override;
    void modify(std::string_view path, Modifier const& modifier) override;
    bool remove(std::string_view path) override;
    std::vector<std::string> paths(std::string_view prefix) override;

    static constexpr std::size_t mapBytes = std::size_t{16} << 20;

  private:
    class Transaction;

    explicit LmdbStore(std::string folder);
    bool isInherited() const noexcept;
    void checkSize() const;
    void freeDeadReaders() const;
    int change(std::function<int(Transaction&)> const& body);

    std::string folder_;
    pid_t owner_; // the process that opened it
    MDB_env* env_ = nullptr;
    MDB_dbi entities_ = 0;
};

} // namespace Orbis
