#include <Orbis/LmdbStore.h>
#include <Orbis/StateFolder.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Orbis {

namespace {

// A value, in bytes: 1 format (1), 1 length of the type's name, the name, the content.
constexpr char valueFormat = 1;
constexpr std::size_t valueHeaderBytes = 2;

std::string valueOf(StoredEntity const& entity) {
    std::string value{valueFormat, static_cast<char>(entity.typeName.size())};
    return value + entity.typeName + entity.content;
}

std::optional<StoredEntity> entityOf(std::string_view value) {
    if (value.size() < valueHeaderBytes || value[0] != valueFormat) {
        return std::nullopt;
    }
    auto const nameBytes = std::size_t{static_cast<unsigned char>(value[1])};
    if (value.size() < valueHeaderBytes + nameBytes) {
        return std::nullopt;
    }
    return StoredEntity{std::string{value.substr(valueHeaderBytes, nameBytes)},
                        std::string{value.substr(valueHeaderBytes + nameBytes)}};
}

std::string_view viewOf(MDB_val const& bytes) {
    return {static_cast<char const*>(bytes.mv_data), bytes.mv_size};
}

// LMDB takes a pointer to what it only reads.
MDB_val valOf(std::string_view bytes) {
    return {bytes.size(), const_cast<char*>(bytes.data())};
}

struct Registry {
    struct Open {
        LmdbStore* store;
        int users;
    };
    std::mutex mutex;
    std::map<std::string, Open> open;  // by folder
    std::vector<LmdbStore*> inherited; // of the process that this one was forked from: left alone
};

Registry& registry() {
    static auto* const stores = new Registry;
    return *stores;
}

} // namespace

// Aborts when it dies uncommitted.
class LmdbStore::Transaction {
  public:
    Transaction(LmdbStore const& store, unsigned flags) : store_{store} {
        if (store.isInherited()) {
            throw StoreException{fmt::format("State store {}: was opened before this process was "
                                             "forked. Make an entity manager in the child.",
                                             store.folder_)};
        }
        check(::mdb_txn_begin(store.env_, nullptr, flags, &txn_), "begin a transaction");
    }
    Transaction(Transaction const&) = delete;
    Transaction& operator=(Transaction const&) = delete;
    ~Transaction() {
        if (txn_ != nullptr) {
            ::mdb_txn_abort(txn_);
        }
    }

    MDB_txn* get() const noexcept { return txn_; }

    int commit() { return ::mdb_txn_commit(std::exchange(txn_, nullptr)); }

    void check(int code, std::string_view action) const {
        if (code != 0) {
            refuseState(store_.folder_, action, code);
        }
    }

    std::optional<StoredEntity> find(std::string_view path) const {
        MDB_val key = valOf(path);
        MDB_val value{};
        int const code = ::mdb_get(txn_, store_.entities_, &key, &value);
        if (code == MDB_NOTFOUND) {
            return std::nullopt;
        }
        check(code, "read");
        auto entity = entityOf(viewOf(value));
        if (!entity) {
            throw StoreException{fmt::format("State store {}: what stands at {} was written by "
                                             "another program. Remove that entity.",
                                             store_.folder_, path)};
        }
        return entity;
    }

    int put(std::string_view path, StoredEntity const& entity) const {
        auto const bytes = valueOf(entity);
        MDB_val key = valOf(path);
        MDB_val value = valOf(bytes);
        return ::mdb_put(txn_, store_.entities_, &key, &value, 0);
    }

    int del(std::string_view path) const {
        MDB_val key = valOf(path);
        return ::mdb_del(txn_, store_.entities_, &key, nullptr);
    }

  private:
    LmdbStore const& store_;
    MDB_txn* txn_ = nullptr;
};

std::shared_ptr<Store> LmdbStore::open(Ombra::String const& root, Ombra::String const& name) {
    auto& stores = registry();
    std::lock_guard const lock{stores.mutex};
    auto const folder = stateFolder(root, name);
    auto found = stores.open.find(folder);
    if (found != stores.open.end() && found->second.store->isInherited()) {
        stores.inherited.push_back(found->second.store);
        stores.open.erase(found);
        found = stores.open.end();
    }
    if (found == stores.open.end()) {
        found = stores.open.emplace(folder, Registry::Open{new LmdbStore{folder}, 0}).first;
    }
    ++found->second.users;
    return {found->second.store, [](LmdbStore* store) {
                auto& all = registry();
                std::lock_guard const closing{all.mutex};
                auto const place = all.open.find(store->folder_);
                if (place == all.open.end() || place->second.store != store) {
                    return; // inherited
                }
                if (--place->second.users == 0 && !store->isInherited()) {
                    all.open.erase(place);
                    delete store;
                }
            }};
}

LmdbStore::LmdbStore(std::string folder)
    : folder_{std::move(folder)}, owner_{::getpid()}, env_{openEnvironment(folder_)} {
    try {
        checkSize();
        freeDeadReaders();
        Transaction transaction{*this, MDB_RDONLY};
        transaction.check(::mdb_dbi_open(transaction.get(), nullptr, 0, &entities_), "open");
        transaction.check(transaction.commit(), "open");
    } catch (...) {
        ::mdb_env_close(env_);
        throw;
    }
}

LmdbStore::~LmdbStore() {
    ::mdb_env_close(env_);
}

bool LmdbStore::isInherited() const noexcept {
    return owner_ != ::getpid();
}

// A file that was cut would be a signal at the first page that is missing.
void LmdbStore::checkSize() const {
    MDB_envinfo info{};
    MDB_stat pages{};
    int fd = -1;
    struct stat state {};
    if (::mdb_env_info(env_, &info) != 0 || ::mdb_env_stat(env_, &pages) != 0 ||
        ::mdb_env_get_fd(env_, &fd) != 0 || ::fstat(fd, &state) != 0 ||
        static_cast<std::uint64_t>(state.st_size) <
            (std::uint64_t{info.me_last_pgno} + 1) * pages.ms_psize) {
        refuseState(folder_, "open", MDB_CORRUPTED);
    }
}

std::optional<StoredEntity> LmdbStore::read(std::string_view path) {
    return Transaction{*this, MDB_RDONLY}.find(path);
}

// A reader that was killed keeps the pages that it saw, until its slot is freed.
void LmdbStore::freeDeadReaders() const {
    int dead = 0;
    ::mdb_reader_check(env_, &dead);
}

// Runs `body` in a transaction and commits it, when it gives 0. When the store is full, once more,
// with the pages that dead readers held.
int LmdbStore::change(std::function<int(Transaction&)> const& body) {
    auto const once = [&] {
        Transaction transaction{*this, 0};
        int const code = body(transaction);
        return code == 0 ? transaction.commit() : code;
    };
    int const code = once();
    if (code != MDB_MAP_FULL) {
        return code;
    }
    freeDeadReaders();
    return once();
}

void LmdbStore::modify(std::string_view path, Modifier const& modifier) {
    int const code = change([&](Transaction& transaction) {
        auto const next = modifier(transaction.find(path));
        return next ? transaction.put(path, *next) : 0;
    });
    if (code != 0) {
        refuseState(folder_, "write", code);
    }
}

bool LmdbStore::remove(std::string_view path) {
    int const code = change([&](Transaction& transaction) { return transaction.del(path); });
    if (code != 0 && code != MDB_NOTFOUND) {
        refuseState(folder_, "remove", code);
    }
    return code == 0;
}

std::vector<std::string> LmdbStore::paths(std::string_view prefix) {
    Transaction const transaction{*this, MDB_RDONLY};
    MDB_cursor* cursor = nullptr;
    transaction.check(::mdb_cursor_open(transaction.get(), entities_, &cursor), "list");
    std::unique_ptr<MDB_cursor, decltype(&::mdb_cursor_close)> const closing{cursor,
                                                                             &::mdb_cursor_close};
    std::vector<std::string> result;
    MDB_val key = valOf(prefix);
    MDB_val value{};
    int code = ::mdb_cursor_get(cursor, &key, &value, prefix.empty() ? MDB_FIRST : MDB_SET_RANGE);
    while (code == 0 && viewOf(key).starts_with(prefix)) {
        result.emplace_back(viewOf(key));
        code = ::mdb_cursor_get(cursor, &key, &value, MDB_NEXT);
    }
    if (code != MDB_NOTFOUND) {
        transaction.check(code, "list");
    }
    return result;
}

} // namespace Orbis
