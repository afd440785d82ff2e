// What a look-up, an addition and a removal cost in a hash collection, beside the flat maps that a
// program would take instead. Keys are random 4-byte numbers, values are 12 bytes, like the
// versions of keys in flight. Additions start from an empty map and removals end with one, so
// growth and shrinking are in the figures; `Churn` is the steady state of operations in flight: the
// oldest key goes, a new one comes.
#include <Zet/HashMap2018.h>

#include <benchmark/benchmark.h>

#include <absl/container/flat_hash_map.h>
#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <ctime>
#include <random>
#include <vector>

namespace {

struct Value {
    std::uint32_t words[3];
};

struct HN_Version : Zet::Hm2018NE<0x5ee2b430, std::uint32_t, Value, Zet::HashMap2018Alloc{1}> {
    using Hm2018NE::Hm2018NE;
};

struct Ours {
    Zet::HashMap2018<HN_Version, std::uint32_t, Value> map;

    void add(std::uint32_t key) {
        auto const at = map.keyArg(key);
        if (map.find(at) == nullptr) {
            map.add(at, HN_Version{key, Value{{key, 0, 0}}});
        }
    }
    bool has(std::uint32_t key) const { return map[key] != nullptr; }
    bool del(std::uint32_t key) { return map.del(map.keyArg(key)); }
};

template <typename Map>
struct Flat {
    Map map;

    void add(std::uint32_t key) { map.try_emplace(key, Value{{key, 0, 0}}); }
    bool has(std::uint32_t key) const { return map.find(key) != map.end(); }
    bool del(std::uint32_t key) { return map.erase(key) != 0; }
};

using BoostFlat = Flat<boost::unordered_flat_map<std::uint32_t, Value>>;
using AbslFlat = Flat<absl::flat_hash_map<std::uint32_t, Value>>;

std::vector<std::uint32_t> randomKeys(std::size_t count) {
    std::mt19937 random{12345};
    std::vector<std::uint32_t> keys(count);
    std::ranges::generate(keys, random);
    return keys;
}

template <typename M>
void find(benchmark::State& state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    auto keys = randomKeys(count);
    M map;
    for (auto key : keys) {
        map.add(key);
    }
    std::ranges::shuffle(keys, std::mt19937{6789});
    for (auto _ : state) {
        for (auto key : keys) {
            benchmark::DoNotOptimize(map.has(key));
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// Of this thread, so that whatever else runs on the machine stays out of it.
double cpuSeconds() {
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Adds all keys to as many maps as give enough work to time, then removes them.
template <typename M, bool timeAdd>
void fillAndDrain(benchmark::State& state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    auto const keys = randomKeys(count);
    auto order = keys;
    std::ranges::shuffle(order, std::mt19937{6789});
    std::size_t const maps = std::max<std::size_t>(1, 16384 / count);
    for (auto _ : state) {
        std::vector<M> all(maps);
        auto const start = cpuSeconds();
        for (auto& map : all) {
            for (auto key : keys) {
                map.add(key);
            }
        }
        auto const full = cpuSeconds();
        for (auto& map : all) {
            for (auto key : order) {
                benchmark::DoNotOptimize(map.del(key));
            }
        }
        auto const end = cpuSeconds();
        state.SetIterationTime(timeAdd ? full - start : end - full);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(maps * count));
}

template <typename M>
void insert(benchmark::State& state) {
    fillAndDrain<M, true>(state);
}

template <typename M>
void remove(benchmark::State& state) {
    fillAndDrain<M, false>(state);
}

template <typename M>
void churn(benchmark::State& state) {
    auto const count = static_cast<std::size_t>(state.range(0));
    auto const keys = randomKeys(4 * 65536);
    M map;
    for (std::size_t i = 0; i != count; ++i) {
        map.add(keys[i]);
    }
    std::size_t oldest = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(map.del(keys[oldest]));
        map.add(keys[(oldest + count) % keys.size()]);
        oldest = (oldest + 1) % keys.size();
    }
    state.SetItemsProcessed(state.iterations());
}

#define FOR_ALL_MAPS(operation)                                                                    \
    BENCHMARK(operation<Ours>)->Apply(sizes);                                                      \
    BENCHMARK(operation<BoostFlat>)->Apply(sizes);                                                 \
    BENCHMARK(operation<AbslFlat>)->Apply(sizes)

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(64)->Arg(4096)->Arg(65536);
}
void timedSizes(benchmark::internal::Benchmark* bench) {
    sizes(bench);
    bench->UseManualTime();
}

FOR_ALL_MAPS(find);
FOR_ALL_MAPS(churn);
BENCHMARK(insert<Ours>)->Apply(timedSizes);
BENCHMARK(insert<BoostFlat>)->Apply(timedSizes);
BENCHMARK(insert<AbslFlat>)->Apply(timedSizes);
BENCHMARK(remove<Ours>)->Apply(timedSizes);
BENCHMARK(remove<BoostFlat>)->Apply(timedSizes);
BENCHMARK(remove<AbslFlat>)->Apply(timedSizes);

} // namespace
