// What the traces cost: text traces that are switched off, and a message of the ring trace.
#include "Agent.h"

#include <RingScribe/Clock.h>
#include <RingScribe/TraceHandle.h>
#include <RingScribe/Write.h>
#include <Zet/Trace.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <support/TraceCapture.h>

namespace {

using namespace bench;

Zet::TraceHandle const& _defaultTraceHandle() {
    static Zet::TraceHandle const handle{"TraceBench", false};
    return handle;
}

// How many traces a write cycle passes, by having them all told.
std::size_t tracesOfAWrite() {
    static std::size_t const count = [] {
        auto& agent = Agent::get();
        testing_support::TraceCapture const told;
        Key const& key = randomKeys().front();
        agent.table().entryWrite(key, Entry{key}, nullptr);
        agent.resolve();
        agent.acknowledgeAll();
        return told.lines.size();
    }();
    return count;
}

// As many traces as a write cycle has, all off. No argument may be evaluated.
void tracesOfAWriteOff(benchmark::State& state) {
    auto const count = tracesOfAWrite();
    std::size_t evaluated = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < count; ++i) {
            ZET_TRACE(_defaultTraceHandle(), 8, "TraceBench", " key: {}", ++evaluated);
            benchmark::ClobberMemory();
        }
    }
    if (evaluated != 0) {
        state.SkipWithError("an argument was evaluated");
    }
    state.counters["traces"] = static_cast<double>(count);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(tracesOfAWriteOff);

void traceOff(benchmark::State& state) {
    for (auto _ : state) {
        ZET_TRACE(_defaultTraceHandle(), 8, "TraceBench", " key: {}", 0);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(traceOff);

void ringMessage(benchmark::State& state) {
    RingScribe::open((folder() / "ring").string(), std::size_t{1} << 20);
    static int msgId = 0;
    std::uint32_t count = 0;
    for (auto _ : state) {
        RingScribe::write(msgId, __FILE__, __LINE__, "TraceBench", "ringMessage",
                          "Swept {} entries", ++count);
    }
    RingScribe::close();
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(ringMessage);

void timestampAndCopy(benchmark::State& state) {
    std::vector<std::array<std::byte, 32>> ring(32'768);
    std::array<std::byte, 32> message{};
    std::size_t next = 0;
    for (auto _ : state) {
        auto const now = RingScribe::monotonicNs();
        std::memcpy(message.data(), &now, sizeof now);
        std::memcpy(ring[next].data(), message.data(), sizeof message);
        benchmark::ClobberMemory();
        next = (next + 1) % ring.size();
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(timestampAndCopy);

} // namespace
