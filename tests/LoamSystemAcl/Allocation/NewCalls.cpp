#include <LoamSystemAcl/Allocation/NewCalls.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

// In a unit of its own: where the compiler sees one half of a pair, it takes the other for a
// mistake.
namespace {

std::atomic<std::uint64_t> calls = 0;

} // namespace

std::uint64_t LoamSystemAcl::newCalls() {
    return calls.load();
}

void* operator new(std::size_t sizeBytes) {
    ++calls;
    if (void* const memory = std::malloc(sizeBytes)) {
        return memory;
    }
    throw std::bad_alloc{};
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
