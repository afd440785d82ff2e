// What an allocation and its free cost for the three objects that every write makes, beside
// mimalloc. `inFlight` objects of each size are live all the time; the oldest goes when a new one
// comes, as with operations that wait for the hardware.
#include <Pallet/SlabAlloc.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <mimalloc.h>
#include <vector>

namespace {

constexpr std::array<unsigned, 3> sizes{168, 48, 104}; // bytes: handle, wrapper, resolver entry

struct Slab {
    static void* alloc(unsigned size) {
        return Pallet::slabAlloc(size, Pallet::SlabAllocationPattern::perOperation);
    }
    static void free(void* memory) { Pallet::slabFree(memory, typeid(int)); }
};

struct Mimalloc {
    static void* alloc(unsigned size) { return mi_malloc(size); }
    static void free(void* memory) { mi_free(memory); }
};

using Operation = std::array<void*, sizes.size()>;

template <typename Allocator>
Operation make() {
    Operation made;
    for (std::size_t i = 0; i != sizes.size(); ++i) {
        made[i] = Allocator::alloc(sizes[i]);
        *static_cast<std::size_t*>(made[i]) = i; // a constructor writes something
    }
    return made;
}

template <typename Allocator>
void end(Operation const& operation) {
    for (void* memory : operation) {
        Allocator::free(memory);
    }
}

template <typename Allocator>
void threeObjects(benchmark::State& state) {
    std::vector<Operation> inFlight(static_cast<std::size_t>(state.range(0)));
    for (auto& operation : inFlight) {
        operation = make<Allocator>();
    }
    std::size_t oldest = 0;
    for (auto _ : state) {
        end<Allocator>(inFlight[oldest]);
        inFlight[oldest] = make<Allocator>();
        oldest = oldest + 1 == inFlight.size() ? 0 : oldest + 1;
    }
    for (auto& operation : inFlight) {
        end<Allocator>(operation);
    }
    state.SetItemsProcessed(state.iterations());
}

// A burst: all are made, then all go.
template <typename Allocator>
void burst(benchmark::State& state) {
    std::vector<Operation> inFlight(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        for (auto& operation : inFlight) {
            operation = make<Allocator>();
        }
        for (auto& operation : inFlight) {
            end<Allocator>(operation);
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(threeObjects<Slab>)->Arg(1)->Arg(64)->Arg(4096)->Arg(65536);
BENCHMARK(threeObjects<Mimalloc>)->Arg(1)->Arg(64)->Arg(4096)->Arg(65536);
BENCHMARK(burst<Slab>)->Arg(64)->Arg(65536);
BENCHMARK(burst<Mimalloc>)->Arg(64)->Arg(65536);

} // namespace
