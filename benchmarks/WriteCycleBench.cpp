// The whole life of an operation: `entryWrite` (or `entryRemove`), resolve, commit, acknowledge,
// `entryApplied` and the response handler, over 65,536 keys in random order, with so many
// operations in flight. And how flat its cost is against what lies about: changes in the log, chip
// units, operations queued.
#include "Agent.h"
#include "Time.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using namespace bench;

// Hands out keys, one after the other and round again.
class Round {
  public:
    std::size_t next() {
        std::size_t const index = next_;
        next_ = next_ + 1 == keyCount ? 0 : next_ + 1;
        return index;
    }

  private:
    std::size_t next_ = 0;
};

Round round;
std::size_t written = 0; // so that no write is of what is there

void mustBe(benchmark::State& state, std::uint64_t found, std::uint64_t expected,
            char const* what) {
    if (found != expected) {
        state.SkipWithError((std::string{what} + ": " + std::to_string(found) + ", expected " +
                             std::to_string(expected))
                                .c_str());
    }
}

void writeCycle(benchmark::State& state) {
    auto& agent = Agent::get();
    auto& table = agent.table();
    auto const& keys = randomKeys();
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    for (auto _ : state) {
        for (std::size_t i = 0; i < inFlight; ++i) {
            Key const& key = keys[round.next()];
            table.entryWriteWithResponseHandler(key, entryOf(key, ++written), nullptr, handler);
        }
        agent.resolve();
        agent.acknowledgeAll();
    }
    auto const operations = state.iterations() * inFlight;
    mustBe(state, answered, operations, "operations answered");
    state.SetItemsProcessed(static_cast<std::int64_t>(operations));
}
BENCHMARK(writeCycle);

// Removes of keys that exist; each round writes them again outside the time.
void removeCycle(benchmark::State& state) {
    auto& agent = Agent::get();
    auto& table = agent.table();
    auto const& keys = randomKeys();
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    std::vector<Key> removed(inFlight);
    for (auto _ : state) {
        for (auto& key : removed) {
            key = keys[round.next()];
        }
        auto const start = threadSeconds();
        for (auto const& key : removed) {
            table.entryRemoveWithResponseHandler(key, nullptr, handler);
        }
        agent.resolve();
        agent.acknowledgeAll();
        state.SetIterationTime(threadSeconds() - start);
        for (auto const& key : removed) {
            table.entryWrite(key, Entry{key}, nullptr);
        }
        agent.resolve();
        agent.acknowledgeAll();
    }
    auto const operations = state.iterations() * inFlight;
    mustBe(state, answered, operations, "operations answered");
    state.SetItemsProcessed(static_cast<std::int64_t>(operations));
}
BENCHMARK(removeCycle)->UseManualTime();

// What a restarted agent does with most of its entries: the table is marking and the entry is there
// as it is.
void suppressedWrite(benchmark::State& state) {
    auto& agent = Agent::get();
    auto& table = agent.table();
    auto const& keys = randomKeys();
    std::vector<Entry> stored;
    stored.reserve(keyCount);
    for (auto const& key : keys) {
        stored.push_back(table.entryFromConfig(key));
    }
    table.mark();
    auto const before = agent.logged();
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    for (auto _ : state) {
        for (std::size_t i = 0; i < inFlight; ++i) {
            auto const index = round.next();
            table.entryWriteWithResponseHandler(keys[index], stored[index], nullptr, handler);
        }
        agent.resolve();
        agent.acknowledgeAll();
    }
    table.inMarkingStateIs(false);
    table.markedKeyDelAll();
    mustBe(state, agent.logged() - before, 0, "changes logged");
    mustBe(state, answered, state.iterations() * inFlight, "operations answered");
    state.SetItemsProcessed(static_cast<std::int64_t>(answered));
}
BENCHMARK(suppressedWrite);

// The hardware side lags so many changes behind: each round acknowledges the oldest of them.
void writeCycleLogLength(benchmark::State& state) {
    auto& agent = Agent::get();
    auto& table = agent.table();
    auto const& keys = randomKeys();
    auto const length = static_cast<std::uint64_t>(state.range(0));
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    auto const write = [&] {
        for (std::size_t i = 0; i < inFlight; ++i) {
            Key const& key = keys[round.next()];
            table.entryWriteWithResponseHandler(key, entryOf(key, ++written), nullptr, handler);
        }
        agent.resolve();
    };
    auto const base = agent.logged();
    while (agent.logged() - base + inFlight <= length) {
        write();
    }
    for (auto _ : state) {
        write();
        agent.acknowledge(agent.logged() - length);
    }
    agent.acknowledgeAll();
    mustBe(state, answered, agent.logged() - base, "operations answered");
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * inFlight));
}
BENCHMARK(writeCycleLogLength)
    ->ArgName("records")
    ->Arg(1'000)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(999'000)
    ->Iterations(1'000);

// The same keys, dealt out to so many units, which are written in turn. All units share the log.
void writeCycleUnits(benchmark::State& state) {
    auto& agent = Agent::get();
    auto const& keys = randomKeys();
    auto const units = static_cast<std::size_t>(state.range(0));
    std::vector<Table*> tables;
    for (std::size_t unit = 0; unit < units; ++unit) {
        tables.push_back(&agent.table(static_cast<Asic::UnitId>(unit)));
    }
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    auto const cycle = [&] {
        for (std::size_t i = 0; i < inFlight; ++i) {
            auto const index = round.next();
            tables[index % units]->entryWriteWithResponseHandler(
                keys[index], entryOf(keys[index], ++written), nullptr, handler);
        }
        agent.resolve();
        agent.acknowledgeAll();
    };
    for (std::size_t i = 0; i < keyCount / inFlight; ++i) {
        cycle();
    }
    for (auto _ : state) {
        cycle();
    }
    agent.restart(); // the other benchmarks have one unit
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * inFlight));
}
BENCHMARK(writeCycleUnits)->ArgName("units")->Arg(1)->Arg(4)->Arg(16)->Arg(64)->Iterations(1'000);

// So many operations are queued before the resolver runs the first time; acknowledged is behind
// each run, as the agent's loop does it.
void writeCycleQueued(benchmark::State& state) {
    auto& agent = Agent::get();
    auto& table = agent.table();
    auto const& keys = randomKeys();
    auto const queued = static_cast<std::size_t>(state.range(0));
    std::uint64_t answered = 0;
    auto const handler = [&](auto const&) { ++answered; };
    for (auto _ : state) {
        for (std::size_t i = 0; i < queued; ++i) {
            Key const& key = keys[round.next()];
            table.entryWriteWithResponseHandler(key, entryOf(key, ++written), nullptr, handler);
        }
        for (bool more = true; more;) {
            more = agent.resolveOnce();
            agent.acknowledgeAll();
        }
    }
    auto const operations = state.iterations() * queued;
    mustBe(state, answered, operations, "operations answered");
    state.SetItemsProcessed(static_cast<std::int64_t>(operations));
}
BENCHMARK(writeCycleQueued)->ArgName("operations")->Arg(64)->Arg(1'024)->Iterations(1'000);
BENCHMARK(writeCycleQueued)->ArgName("operations")->Arg(16'384)->Iterations(8);
BENCHMARK(writeCycleQueued)->ArgName("operations")->Arg(1'000'000)->Iterations(1);

} // namespace
