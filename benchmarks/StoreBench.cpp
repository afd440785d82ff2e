// What the shared-memory store costs, beside copying the same bytes into mapped memory and beside a
// flat hash map in the process's own memory.
//
// Records are those of the largest common table: 152 bytes of configuration, 148 of log. Keys are
// 65,536 in random order. Each group runs with its floor or peer first; what counts is the ratio.
#include <Slate/Store.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::uint32_t keyCount = 65'536;
constexpr std::uint32_t logCapacity = 1'000'000;

template <std::size_t Bytes>
using Block = std::array<std::uint32_t, Bytes / 4>;

std::vector<std::uint32_t> const& shuffledKeys() {
    static auto const keys = [] {
        std::vector<std::uint32_t> result(keyCount);
        std::iota(result.begin(), result.end(), 1U);
        std::shuffle(result.begin(), result.end(), std::mt19937{1});
        return result;
    }();
    return keys;
}

std::unique_ptr<Slate::Store> makeStore(Slate::Order order, std::uint32_t capacity,
                                        std::uint32_t recordBytes) {
    Slate::StoreSpec spec;
    spec.typeName = "Bench";
    spec.recordBytes = recordBytes;
    spec.keyBytes = order == Slate::Order::keyMix ? 4 : 8;
    spec.capacity = capacity;
    spec.order = order;
    Slate::FileDescriptor fd{::memfd_create("bench", MFD_CLOEXEC)};
    Slate::Store::format(fd.get(), "bench", spec, false);
    return std::make_unique<Slate::Store>(std::move(fd), "bench", spec, Slate::Store::Mode::write);
}

struct MappedBlocks {
    explicit MappedBlocks(std::size_t bytes) : size{bytes} {
        int const fd = ::memfd_create("floor", MFD_CLOEXEC);
        if (::ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
            std::abort();
        }
        base = static_cast<char*>(
            ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0));
        ::close(fd);
    }
    ~MappedBlocks() { ::munmap(base, size); }
    char* base;
    std::size_t size;
};

template <std::size_t Bytes>
void copyToMapped(benchmark::State& state) {
    MappedBlocks const mapped{std::size_t{keyCount + 1} * Bytes};
    Block<Bytes> record{};
    auto const& keys = shuffledKeys();
    for (auto _ : state) {
        for (std::uint32_t const key : keys) {
            record[1] = key;
            std::memcpy(mapped.base + std::size_t{key} * Bytes, record.data(), Bytes);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * keyCount);
}

template <std::size_t Bytes>
void storeReplace(benchmark::State& state) {
    auto const store = makeStore(Slate::Order::keyMix, keyCount, Bytes);
    Block<Bytes> record{};
    auto const& keys = shuffledKeys();
    for (std::uint32_t const key : keys) {
        store->put(key, record.data());
    }
    for (auto _ : state) {
        for (std::uint32_t const key : keys) {
            record[1] = key;
            store->put(key, record.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * keyCount);
}

template <std::size_t Bytes>
void storeInsert(benchmark::State& state) {
    auto const store = makeStore(Slate::Order::keyMix, keyCount, Bytes);
    Block<Bytes> record{};
    auto const& keys = shuffledKeys();
    for (std::uint32_t const key : keys) {
        store->put(key, record.data());
    }
    for (auto _ : state) {
        state.PauseTiming();
        for (std::uint32_t const key : keys) {
            store->erase(key);
        }
        state.ResumeTiming();
        for (std::uint32_t const key : keys) {
            record[1] = key;
            store->put(key, record.data());
        }
    }
    state.SetItemsProcessed(state.iterations() * keyCount);
}

template <std::size_t Bytes>
void copyLogWindow(benchmark::State& state) {
    MappedBlocks const mapped{std::size_t{65} * Bytes};
    Block<Bytes> record{};
    std::uint64_t version = 0;
    for (auto _ : state) {
        ++version;
        record[1] = static_cast<std::uint32_t>(version);
        std::memcpy(mapped.base + (version % 64) * Bytes, record.data(), Bytes);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

template <std::size_t Bytes>
void storeLogAppend(benchmark::State& state) {
    auto const store = makeStore(Slate::Order::version, logCapacity, Bytes);
    Block<Bytes> record{};
    std::uint64_t version = 0;
    std::uint64_t trimmed = 0;
    for (auto _ : state) {
        ++version;
        record[1] = static_cast<std::uint32_t>(version);
        store->put(version, record.data());
        if (version - trimmed == 4096) {
            state.PauseTiming();
            while (trimmed < version - 64) {
                store->erase(++trimmed);
            }
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations());
}

template <std::size_t Bytes>
void storeLogAppendAndTrim(benchmark::State& state) {
    auto const store = makeStore(Slate::Order::version, logCapacity, Bytes);
    Block<Bytes> record{};
    std::uint64_t version = 0;
    for (auto _ : state) {
        ++version;
        record[1] = static_cast<std::uint32_t>(version);
        store->put(version, record.data());
        if (version > 64) {
            store->erase(version - 64);
        }
    }
    state.SetItemsProcessed(state.iterations());
}

template <std::size_t Bytes, typename Key>
void flatMapFind(benchmark::State& state, std::vector<Key> const& keys) {
    boost::unordered_flat_map<Key, Block<Bytes>> map;
    for (std::uint32_t const key : shuffledKeys()) {
        map[key] = {};
    }
    Block<Bytes> copy{};
    for (auto _ : state) {
        for (Key const key : keys) {
            copy = map.find(key)->second;
            benchmark::DoNotOptimize(copy);
        }
    }
    state.SetItemsProcessed(state.iterations() * keyCount);
}

template <std::size_t Bytes>
void flatMapRandom(benchmark::State& state) {
    auto keys = shuffledKeys();
    std::shuffle(keys.begin(), keys.end(), std::mt19937{2});
    flatMapFind<Bytes, std::uint32_t>(state, keys);
}

template <std::size_t Bytes>
void flatMapSequential(benchmark::State& state) {
    std::vector<std::uint64_t> keys(keyCount);
    std::iota(keys.begin(), keys.end(), 1ULL);
    flatMapFind<Bytes, std::uint64_t>(state, keys);
}

template <std::size_t Bytes>
void storeLookupRandom(benchmark::State& state) {
    auto const store = makeStore(Slate::Order::keyMix, keyCount, Bytes);
    Block<Bytes> record{};
    for (std::uint32_t const key : shuffledKeys()) {
        store->put(key, record.data());
    }
    auto keys = shuffledKeys();
    std::shuffle(keys.begin(), keys.end(), std::mt19937{2});
    for (auto _ : state) {
        for (std::uint32_t const key : keys) {
            std::memcpy(record.data(), store->lookup(key, nullptr), Bytes);
            benchmark::DoNotOptimize(record);
        }
    }
    state.SetItemsProcessed(state.iterations() * keyCount);
}

template <std::size_t Bytes>
void storeLookupSequential(benchmark::State& state) {
    auto const store = makeStore(Slate::Order::version, logCapacity, Bytes);
    Block<Bytes> record{};
    for (std::uint64_t version = 1; version <= keyCount; ++version) {
        store->put(version, record.data());
    }
    for (auto _ : state) {
        for (std::uint64_t version = 1; version <= keyCount; ++version) {
            std::memcpy(record.data(), store->lookup(version, nullptr), Bytes);
            benchmark::DoNotOptimize(record);
        }
    }
    state.SetItemsProcessed(state.iterations() * keyCount);
}

template <std::size_t Bytes>
void storeWalk(benchmark::State& state) {
    auto const store = makeStore(Slate::Order::keyMix, keyCount, Bytes);
    Block<Bytes> record{};
    for (std::uint32_t const key : shuffledKeys()) {
        record[0] = key;
        store->put(key, record.data());
    }
    for (auto _ : state) {
        std::uint32_t seen = 0;
        for (bool more = store->iterFirst(record.data(), nullptr); more;
             more = store->iterNext(record[0], record.data(), nullptr)) {
            ++seen;
        }
        if (seen != keyCount) {
            state.SkipWithError("walk is not complete");
        }
    }
    state.SetItemsProcessed(state.iterations() * keyCount);
}

void storeReopen(benchmark::State& state) {
    Slate::StoreSpec spec;
    spec.typeName = "Bench";
    spec.recordBytes = 148;
    spec.keyBytes = 8;
    spec.capacity = logCapacity;
    spec.order = Slate::Order::version;
    Slate::FileDescriptor const fd{::memfd_create("bench", MFD_CLOEXEC)};
    Slate::Store::format(fd.get(), "bench", spec, false);
    auto const open = [&] {
        return Slate::Store{Slate::FileDescriptor{::dup(fd.get())}, "bench", spec,
                            Slate::Store::Mode::write};
    };
    {
        auto store = open();
        Block<148> record{};
        for (std::uint64_t version = 1; version <= logCapacity; ++version) {
            store.put(version, record.data());
        }
    }
    for (auto _ : state) {
        auto store = open();
        benchmark::DoNotOptimize(store.memberCount());
    }
    state.SetItemsProcessed(state.iterations());
}

// The floor of a reopen: every byte of the slots read and summed once.
void sumOnce(benchmark::State& state) {
    constexpr std::size_t stride = 176;
    MappedBlocks const mapped{std::size_t{logCapacity} * stride};
    Slate::Crc32c const crc{stride};
    for (auto _ : state) {
        std::uint32_t sum = 0;
        for (std::size_t slot = 0; slot < logCapacity; ++slot) {
            sum ^= crc.sum({0, 0, 0, slot},
                           reinterpret_cast<std::uint64_t const*>(mapped.base + slot * stride));
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(copyToMapped<64>);
BENCHMARK(storeInsert<64>);
BENCHMARK(storeReplace<64>);
BENCHMARK(copyToMapped<152>);
BENCHMARK(storeInsert<152>);
BENCHMARK(storeReplace<152>);
BENCHMARK(copyToMapped<256>);
BENCHMARK(storeInsert<256>);
BENCHMARK(storeReplace<256>);
BENCHMARK(copyLogWindow<148>);
BENCHMARK(storeLogAppend<148>);
BENCHMARK(storeLogAppendAndTrim<148>);
BENCHMARK(flatMapRandom<152>);
BENCHMARK(storeLookupRandom<152>);
BENCHMARK(flatMapSequential<148>);
BENCHMARK(storeLookupSequential<148>);
BENCHMARK(storeWalk<152>);
BENCHMARK(sumOnce)->Unit(benchmark::kMillisecond);
BENCHMARK(storeReopen)->Unit(benchmark::kMillisecond);
