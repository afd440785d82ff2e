// RocksDB without sync, in shared memory: for each write one batch that puts the configuration
// record, puts the log record and deletes the oldest log record. Its compaction runs on threads of
// its own, whose time is not counted.
#include "PeerRecords.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <rocksdb/db.h>
#include <rocksdb/options.h>
#include <rocksdb/write_batch.h>

namespace {

using namespace bench;

void require(rocksdb::Status const& status) {
    if (!status.ok()) {
        std::fprintf(stderr, "RocksDB: %s\n", status.ToString().c_str());
        std::exit(1);
    }
}

rocksdb::Slice sliceOf(std::string_view bytes) {
    return {bytes.data(), bytes.size()};
}

class Rocks {
  public:
    Rocks() {
        rocksdb::Options options;
        options.create_if_missing = true;
        rocksdb::DB* made = nullptr;
        require(rocksdb::DB::Open(options, (folder() / "rocksdb").string(), &made));
        db_.reset(made);
        for (std::size_t i = 0; i < keyCount; ++i) {
            write();
        }
    }

    void write() {
        records_.next();
        auto const key = configKey(records_.key());
        std::uint64_t const version = logKey(records_.version());
        batch_.Clear();
        require(batch_.Put(sliceOf(bytesOf(key)), sliceOf(bytesOf(records_.config()))));
        require(batch_.Put(sliceOf(bytesOf(version)), sliceOf(bytesOf(records_.log()))));
        if (records_.version() > inFlight) {
            std::uint64_t const oldest = logKey(records_.version() - inFlight);
            require(batch_.Delete(sliceOf(bytesOf(oldest))));
        }
        require(db_->Write(rocksdb::WriteOptions{}, &batch_)); // does not sync
    }

  private:
    static std::array<char, 5> configKey(std::uint32_t key) {
        std::array<char, 5> bytes{'c'};
        std::memcpy(bytes.data() + 1, &key, sizeof key);
        return bytes;
    }

    // In the order of the versions.
    static std::uint64_t logKey(std::uint64_t version) { return __builtin_bswap64(version); }

    std::unique_ptr<rocksdb::DB> db_;
    rocksdb::WriteBatch batch_;
    PeerRecords records_;
};

void rocksdbWrite(benchmark::State& state) {
    static Rocks rocks;
    for (auto _ : state) {
        rocks.write();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(rocksdbWrite);

} // namespace
