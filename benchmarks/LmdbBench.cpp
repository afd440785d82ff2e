// LMDB without sync, in shared memory: for each write one transaction that puts the configuration
// record, appends the log record and deletes the oldest log record.
#include "PeerRecords.h"

#include <benchmark/benchmark.h>
#include <lmdb.h>

#include <cstdio>
#include <cstdlib>

namespace {

using namespace bench;

void require(int result, char const* what) {
    if (result != MDB_SUCCESS) {
        std::fprintf(stderr, "LMDB: %s: %s\n", what, ::mdb_strerror(result));
        std::exit(1);
    }
}

template <typename Value>
MDB_val valueOf(Value const& value) {
    return {sizeof value, const_cast<void*>(static_cast<void const*>(&value))};
}

class Lmdb {
  public:
    explicit Lmdb(std::string const& name) {
        auto const path = folder() / name;
        require(::mdb_env_create(&environment_), "create");
        require(::mdb_env_set_maxdbs(environment_, 2), "maxdbs");
        require(::mdb_env_set_mapsize(environment_, std::size_t{1} << 30), "mapsize");
        require(::mdb_env_open(environment_, path.c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_WRITEMAP,
                               0600),
                "open");
        MDB_txn* const change = begin(0);
        require(::mdb_dbi_open(change, "config", MDB_CREATE | MDB_INTEGERKEY, &config_), "config");
        require(::mdb_dbi_open(change, "log", MDB_CREATE | MDB_INTEGERKEY, &log_), "log");
        require(::mdb_txn_commit(change), "commit");
        for (std::size_t i = 0; i < keyCount; ++i) {
            write(inFlight);
        }
    }
    Lmdb(Lmdb const&) = delete;
    Lmdb& operator=(Lmdb const&) = delete;
    ~Lmdb() { ::mdb_env_close(environment_); }

    // Leaves so many changes in the log.
    void write(std::uint64_t logLength) {
        records_.next();
        MDB_txn* const change = begin(0);
        std::uint32_t const key = records_.key();
        put(change, config_, valueOf(key), valueOf(records_.config()), 0);
        std::size_t const version = records_.version();
        put(change, log_, valueOf(version), valueOf(records_.log()), MDB_APPEND);
        for (; oldest_ + logLength <= version; ++oldest_) {
            MDB_val oldest = valueOf(oldest_);
            require(::mdb_del(change, log_, &oldest, nullptr), "del");
        }
        require(::mdb_txn_commit(change), "commit");
    }

    // A transaction for reading, to be renewed for each read as a reader has to that wants to see
    // what is new.
    MDB_txn* begin(unsigned flags) const {
        MDB_txn* transaction = nullptr;
        require(::mdb_txn_begin(environment_, nullptr, flags, &transaction), "begin");
        return transaction;
    }

    ConfigRecord read(MDB_txn* transaction, std::uint32_t key) const {
        MDB_val at = valueOf(key);
        MDB_val found{};
        require(::mdb_get(transaction, config_, &at, &found), "get");
        ConfigRecord record;
        std::memcpy(static_cast<void*>(&record), found.mv_data, sizeof record);
        return record;
    }

    std::uint64_t sumOfAll(MDB_txn* transaction) const {
        std::uint64_t sum = 0;
        for (MDB_dbi const which : {config_, log_}) {
            MDB_cursor* cursor = nullptr;
            require(::mdb_cursor_open(transaction, which, &cursor), "cursor");
            MDB_val key{};
            MDB_val value{};
            while (::mdb_cursor_get(cursor, &key, &value, MDB_NEXT) == MDB_SUCCESS) {
                sum += *static_cast<std::uint32_t const*>(value.mv_data);
            }
            ::mdb_cursor_close(cursor);
        }
        return sum;
    }

  private:
    static void put(MDB_txn* change, MDB_dbi which, MDB_val key, MDB_val value, unsigned flags) {
        require(::mdb_put(change, which, &key, &value, flags), "put");
    }

    MDB_env* environment_ = nullptr;
    MDB_dbi config_ = 0;
    MDB_dbi log_ = 0;
    std::size_t oldest_ = 1;
    PeerRecords records_;
};

Lmdb& lmdb() {
    static Lmdb made{"lmdb"};
    return made;
}

void lmdbWrite(benchmark::State& state) {
    auto& environment = lmdb(); // made before the time counts
    for (auto _ : state) {
        environment.write(inFlight);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(lmdbWrite);

void lmdbWriteLogLength(benchmark::State& state) {
    static Lmdb other{"lmdb-log"};
    auto const length = static_cast<std::uint64_t>(state.range(0));
    for (std::uint64_t i = 0; i < length; ++i) {
        other.write(length);
    }
    for (auto _ : state) {
        other.write(length);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(lmdbWriteLogLength)
    ->ArgName("records")
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Iterations(5'000);

void lmdbGet(benchmark::State& state) {
    auto const& keys = randomKeys();
    std::size_t next = 0;
    auto const& environment = lmdb();
    MDB_txn* const reading = environment.begin(MDB_RDONLY);
    for (auto _ : state) {
        ::mdb_txn_reset(reading);
        require(::mdb_txn_renew(reading), "renew");
        benchmark::DoNotOptimize(environment.read(reading, keys[next].number()));
        next = next + 1 == keys.size() ? 0 : next + 1;
    }
    ::mdb_txn_abort(reading);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(lmdbGet);

} // namespace
