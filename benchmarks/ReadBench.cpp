// What readers pay, beside a flat map of the same entries in the process's own memory.
#include "Agent.h"
#include "Time.h"

#include <benchmark/benchmark.h>

#include <boost/unordered/unordered_flat_map.hpp>

namespace {

using namespace bench;

// `read(key)` for every key in turn.
template <typename Read>
void everyKey(benchmark::State& state, std::vector<Key> const& keys, Read const& read) {
    std::size_t next = 0;
    for (auto _ : state) {
        read(keys[next]);
        next = next + 1 == keys.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
}

std::vector<Key> firstKeys(std::size_t count) {
    auto const& keys = randomKeys();
    return {keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count)};
}

// Writes the first keys and leaves them in flight as long as the object lives.
class InFlight {
  public:
    InFlight() {
        for (auto const& key : keys) {
            Agent::get().table().entryWrite(key, Entry{key}, nullptr);
        }
    }
    InFlight(InFlight const&) = delete;
    InFlight& operator=(InFlight const&) = delete;
    ~InFlight() {
        Agent::get().resolve();
        Agent::get().acknowledgeAll();
    }

    std::vector<Key> const keys = firstKeys(inFlight);
};

void readCommitted(benchmark::State& state) {
    auto const& table = Agent::get().table();
    everyKey(state, randomKeys(),
             [&](Key const& key) { benchmark::DoNotOptimize(table.entryRead(key)); });
}
BENCHMARK(readCommitted);

void readInFlight(benchmark::State& state) {
    auto const& table = Agent::get().table();
    InFlight const pending;
    everyKey(state, pending.keys,
             [&](Key const& key) { benchmark::DoNotOptimize(table.entryRead(key)); });
}
BENCHMARK(readInFlight);

void hasCommitted(benchmark::State& state) {
    auto const& table = Agent::get().table();
    everyKey(state, randomKeys(),
             [&](Key const& key) { benchmark::DoNotOptimize(table.entryHas(key)); });
}
BENCHMARK(hasCommitted);

void hasInFlight(benchmark::State& state) {
    auto const& table = Agent::get().table();
    InFlight const pending;
    everyKey(state, pending.keys,
             [&](Key const& key) { benchmark::DoNotOptimize(table.entryHas(key)); });
}
BENCHMARK(hasInFlight);

void flatFindCopy(benchmark::State& state) {
    auto const keys = firstKeys(static_cast<std::size_t>(state.range(0)));
    boost::unordered_flat_map<std::uint32_t, Entry> map;
    for (auto const& key : keys) {
        map.try_emplace(key.number(), Entry{key});
    }
    everyKey(state, keys, [&](Key const& key) {
        Entry const copy{map.find(key.number())->second};
        benchmark::DoNotOptimize(copy);
    });
}
BENCHMARK(flatFindCopy)->Arg(64)->Arg(65'536);

// A whole walk per iteration.
void iteration(benchmark::State& state) {
    auto const& table = Agent::get().table();
    for (auto _ : state) {
        std::size_t seen = 0;
        for (auto i = table.entryIteratorConst(); i; ++i) {
            ++seen;
        }
        if (seen != keyCount) {
            state.SkipWithError("the walk has not seen every entry");
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * keyCount));
}
BENCHMARK(iteration);

// A sweep that finds every entry marked.
void sweep(benchmark::State& state) {
    auto& table = Agent::get().table();
    for (auto _ : state) {
        table.mark();
        for (auto const& key : randomKeys()) {
            table.markedKeyIs(key);
        }
        auto const start = threadSeconds();
        table.sweep();
        state.SetIterationTime(threadSeconds() - start);
        if (table.transientRemoveEntrys() != 0) {
            state.SkipWithError("a marked entry was removed");
        }
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * keyCount));
}
BENCHMARK(sweep)->UseManualTime();

// The set look-up of a sweep, in the order of its walk.
void flatSetLookup(benchmark::State& state) {
    boost::unordered_flat_map<std::uint32_t, bool> set;
    std::vector<std::uint32_t> walk;
    for (auto i = Agent::get().table().entryIteratorConst(); i; ++i) {
        walk.push_back(i->key().number());
    }
    for (auto const& key : randomKeys()) {
        set.try_emplace(key.number(), true);
    }
    for (auto _ : state) {
        std::size_t found = 0;
        for (auto const key : walk) {
            found += set.contains(key) ? 1 : 0;
        }
        benchmark::DoNotOptimize(found);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * keyCount));
}
BENCHMARK(flatSetLookup);

// The log is trimmed of 65,536 writes.
void trim(benchmark::State& state) {
    auto& agent = Agent::get();
    auto& table = agent.table();
    std::size_t number = 0;
    for (auto _ : state) {
        ++number;
        for (auto const& key : randomKeys()) {
            table.entryWrite(key, entryOf(key, number), nullptr);
        }
        agent.resolve();
        auto const start = threadSeconds();
        table.entryLog()->cleanupEntryLog(agent.logged());
        state.SetIterationTime(threadSeconds() - start);
        agent.acknowledgeAll();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * keyCount));
}
BENCHMARK(trim)->UseManualTime();

// A map of 65,536 versions, and they are deleted in the order of the log.
void flatDelete(benchmark::State& state) {
    for (auto _ : state) {
        boost::unordered_flat_map<std::uint64_t, LogRecord> map;
        for (std::uint64_t version = 1; version <= keyCount; ++version) {
            map.try_emplace(version);
        }
        auto const start = threadSeconds();
        for (std::uint64_t version = 1; version <= keyCount; ++version) {
            map.erase(version);
        }
        state.SetIterationTime(threadSeconds() - start);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * keyCount));
}
BENCHMARK(flatDelete)->UseManualTime();

} // namespace
