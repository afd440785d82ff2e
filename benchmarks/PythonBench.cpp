// What a script pays: `entryWrite` called from Python, beside the whole write cycle in C++, on one
// table of one process.
#include "Agent.h"
#include "Time.h"

#include <benchmark/benchmark.h>

#include <pybind11/embed.h>

namespace py = pybind11;

namespace {

using namespace bench;

// What a script would write. The table is the one that C++ made: a process has one of each unit.
constexpr char const* source = R"(
import loam

registry = loam.find("Asic::SwTableInterfacesSingleton").get()
table = registry.swTableIntf(registry_key).makeSwTable(0, None, False)

def write(keys, fields):
    for key in keys:
        table.entryWrite(key, (key, fields), None)
)";

class Script {
  public:
    // Behind the agent, so that what the interpreter holds of it goes first.
    static Script& get() {
        static_cast<void>(Agent::get());
        static Script script;
        return script;
    }

    py::object operator[](char const* name) { return names_[name]; }

    // The keys of one round, as Python's numbers.
    py::list keys(std::size_t round) {
        py::list keys;
        for (std::size_t i = 0; i < inFlight; ++i) {
            keys.append(randomKeys()[(round * inFlight + i) % keyCount].number());
        }
        return keys;
    }

  private:
    Script() {
        names_["registry_key"] = Family::Interface::registryKey;
        py::module_::import("sys").attr("path").attr("insert")(0, LOAM_PYTHON_PATH);
        py::exec(source, names_);
    }

    py::scoped_interpreter interpreter_;
    py::dict names_;
};

// No two rounds write the same.
py::bytes fieldsOf(std::size_t round) {
    auto const entry = entryOf(randomKeys().front(), round);
    auto const fields = entry.fields();
    return {reinterpret_cast<char const*>(fields.data()), fields.size()};
}

// Ends the measurement: all rounds are in the log.
void tellWrites(benchmark::State& state, Asic::LogVersion before) {
    auto const writes = static_cast<std::uint64_t>(state.iterations()) * inFlight;
    if (Agent::get().logged() - before != writes) {
        state.SkipWithError("not every write is in the log");
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(writes));
}

void commitAll() {
    Agent::get().resolve();
    Agent::get().acknowledgeAll();
}

std::size_t rounds = 0;

void writeCycleBesidePython(benchmark::State& state) {
    auto& table = Agent::get().table();
    auto const before = Agent::get().logged();
    for (auto _ : state) {
        auto const start = threadSeconds();
        ++rounds;
        for (std::size_t i = 0; i < inFlight; ++i) {
            Key const& key = randomKeys()[(rounds * inFlight + i) % keyCount];
            table.entryWrite(key, entryOf(key, rounds), nullptr);
        }
        commitAll();
        state.SetIterationTime(threadSeconds() - start);
    }
    tellWrites(state, before);
}
BENCHMARK(writeCycleBesidePython)->UseManualTime();

// The calls alone, or with what becomes of them.
void writeFromPython(benchmark::State& state, bool whole) {
    auto& script = Script::get();
    auto const write = script["write"];
    auto const before = Agent::get().logged();
    for (auto _ : state) {
        auto const keys = script.keys(++rounds);
        auto const fields = fieldsOf(rounds);
        auto const start = threadSeconds();
        write(keys, fields);
        if (whole) {
            commitAll();
        }
        state.SetIterationTime(threadSeconds() - start);
        commitAll();
    }
    tellWrites(state, before);
}

void pythonEntryWrite(benchmark::State& state) {
    writeFromPython(state, false);
}
BENCHMARK(pythonEntryWrite)->UseManualTime();

void pythonWriteCycle(benchmark::State& state) {
    writeFromPython(state, true);
}
BENCHMARK(pythonWriteCycle)->UseManualTime();

} // namespace
