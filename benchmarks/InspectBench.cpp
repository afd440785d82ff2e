// What the inspection layer adds to a read: the call itself, the same by the number of the
// attribute through the generated functions, and by an attribute's name or number through the
// class-independent side.
#include "Agent.h"

#include <Ombra/GenericIf.h>

#include <benchmark/benchmark.h>

#include <Inspect/Object.h>
#include <new>

namespace {

using namespace bench;
namespace Op = Ombra::InspectOp;

// A call that the compiler can't see through, as from another library.
template <typename Result, typename... Args>
Result opaque(Result (*function)(Args...), Args... args) {
    benchmark::DoNotOptimize(function);
    return function(args...);
}

bool flagOf(Table const* table) {
    return table->inMarkingState();
}
Ombra::Ptr<Family::EntryLog> logOf(Table const* table) {
    return table->entryLog();
}

// The generated function of the table's class.
Ombra::FieldOperation inspectOperation() {
    auto const type = Agent::get().table().typeData();
    return type.module->types[static_cast<std::size_t>(type.index)].generic->inspectOperation;
}

// Reads by number as who knows the type would: into memory of its own.
template <typename T>
T byNumber(Ombra::FieldOperation inspect, Table* table, std::uint16_t number, void* key = nullptr) {
    alignas(T) std::byte room[sizeof(T)];
    inspect(room, table, Ombra::FieldDescriptor{number}, Op::read, key, nullptr);
    T& made = *std::launder(reinterpret_cast<T*>(room));
    T result{std::move(made)};
    std::destroy_at(&made);
    return result;
}

Inspect::Object tableObject() {
    return Inspect::Object{Ombra::Ptr<Table>{&Agent::get().table()}};
}

void attributeFlagDirect(benchmark::State& state) {
    auto const* table = &Agent::get().table();
    for (auto _ : state) {
        benchmark::DoNotOptimize(opaque(flagOf, table));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributeFlagDirect);

void attributeFlagByNumber(benchmark::State& state) {
    auto const inspect = inspectOperation();
    auto* const table = &Agent::get().table();
    for (auto _ : state) {
        benchmark::DoNotOptimize(byNumber<bool>(inspect, table, 800));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributeFlagByNumber);

void attributeFlagByName(benchmark::State& state) {
    auto const table = tableObject();
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.get("inMarkingState"));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributeFlagByName);

void attributePointerDirect(benchmark::State& state) {
    auto const* table = &Agent::get().table();
    for (auto _ : state) {
        benchmark::DoNotOptimize(opaque(logOf, table));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributePointerDirect);

void attributePointerByNumber(benchmark::State& state) {
    auto const inspect = inspectOperation();
    auto* const table = &Agent::get().table();
    for (auto _ : state) {
        benchmark::DoNotOptimize(byNumber<Ombra::Ptr<Family::EntryLog>>(inspect, table, 787));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributePointerByNumber);

void attributePointerByName(benchmark::State& state) {
    auto const table = tableObject();
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.get("entryLog"));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributePointerByName);

void attributeOfKeyDirect(benchmark::State& state) {
    auto const& table = Agent::get().table();
    auto const key = randomKeys().front();
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.transientVersionForKey(key));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributeOfKeyDirect);

void attributeOfKeyByNumber(benchmark::State& state) {
    auto const inspect = inspectOperation();
    auto* const table = &Agent::get().table();
    auto key = randomKeys().front();
    for (auto _ : state) {
        benchmark::DoNotOptimize(byNumber<Asic::EntryVersion>(inspect, table, 773, &key));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributeOfKeyByNumber);

void attributeOfKeyByName(benchmark::State& state) {
    auto const table = tableObject();
    auto const key =
        Inspect::Value{randomKeys().front().number()}.as(*table.attribute(773).keyType, "the key");
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.get("transientVersionForKey", key));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(attributeOfKeyByName);

void entryReadByName(benchmark::State& state) {
    auto const table = tableObject();
    Inspect::Value const arguments[] = {
        Inspect::Value{randomKeys().front().number()}.as(*table.attribute(773).keyType, "the key")};
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.call("entryRead", arguments));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(entryReadByName);

void entryReadDirect(benchmark::State& state) {
    auto const& table = Agent::get().table();
    auto const key = randomKeys().front();
    for (auto _ : state) {
        benchmark::DoNotOptimize(table.entryRead(key));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(entryReadDirect);

} // namespace
