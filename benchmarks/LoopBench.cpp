// What the agent's loop may have to wait for: the longest time that one call holds the thread, and
// what an operation in flight takes of its memory.
#include "Agent.h"
#include "Time.h"

#include <Pallet/SlabAlloc.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <malloc.h>

namespace {

using namespace bench;

void writeAll(std::size_t count, std::size_t number) {
    for (std::size_t i = 0; i < count; ++i) {
        Key const& key = randomKeys()[i];
        Agent::get().table().entryWrite(key, entryOf(key, number), nullptr);
    }
}

std::size_t number = 0;

// The longest run of the resolver with 65,536 writes queued.
void resolverRun(benchmark::State& state) {
    auto& agent = Agent::get();
    for (auto _ : state) {
        writeAll(keyCount, ++number);
        double longest = 0;
        for (bool more = true; more;) {
            auto const start = threadSeconds();
            more = agent.resolveOnce();
            longest = std::max(longest, threadSeconds() - start);
        }
        agent.acknowledgeAll();
        state.SetIterationTime(longest);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(resolverRun)->UseManualTime()->Iterations(3);

void tableStatusVersionOf10000(benchmark::State& state) {
    auto& agent = Agent::get();
    for (auto _ : state) {
        writeAll(10'000, ++number);
        agent.resolve();
        auto const start = threadSeconds();
        agent.table().tableStatusVersion(agent.logged());
        state.SetIterationTime(threadSeconds() - start);
        agent.acknowledgeAll();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(tableStatusVersionOf10000)->UseManualTime()->Iterations(3);

// The one change of a remove-all, on a full table.
void tableDelOf65536(benchmark::State& state) {
    auto& agent = Agent::get();
    for (auto _ : state) {
        auto const start = threadSeconds();
        agent.table().entryLog()->tableDel(nullptr, 0);
        state.SetIterationTime(threadSeconds() - start);
        agent.acknowledgeAll();
        agent.fill(0, 0, keyCount);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(tableDelOf65536)->UseManualTime()->Iterations(3);

std::uint64_t bytesInUse() {
    auto const slabs = Pallet::slabStats();
    std::uint64_t bytes = ::mallinfo2().uordblks; // large objects of the slab allocator included
    for (auto const& each : slabs.classes) {
        bytes += each.liveBlocks * each.blockBytes;
    }
    return bytes;
}

// 65,536 writes queued, each of a key of its own and with a handler that takes a word.
void memoryInFlight(benchmark::State& state) {
    auto& agent = Agent::get();
    agent.resolve();
    double bytes = 0;
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    for (auto _ : state) {
        auto const before = bytesInUse();
        ++number;
        for (auto const& key : randomKeys()) {
            agent.table().entryWriteWithResponseHandler(key, entryOf(key, number), nullptr,
                                                        handler);
        }
        bytes = static_cast<double>(bytesInUse() - before) / keyCount;
        agent.resolve();
        agent.acknowledgeAll();
    }
    state.counters["bytes"] = bytes;
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(memoryInFlight)->Iterations(1);

} // namespace
