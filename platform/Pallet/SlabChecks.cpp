#include <Pallet/SlabChecks.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>

#if PALLET_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#include <sanitizer/lsan_interface.h>
#endif

namespace Pallet::Impl {

namespace {

constexpr std::uint32_t liveMark = 0x11fe11fe;
constexpr std::uint32_t freeMark = 0xf4eef4ee;
constexpr std::byte redByte{0xfd};
constexpr std::byte poisonByte{0xdb};

struct Front {
    std::uint32_t state;
    std::uint32_t size; // bytes
    std::type_info const* freedAs;
};
static_assert(sizeof(Front) <= checkedFrontBytes);

std::uint32_t markAt(std::uint32_t mark, void const* block) noexcept {
    return mark ^ static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(block));
}

bool all(std::byte const* from, std::byte const* to, std::byte value) noexcept {
    return std::all_of(from, to, [=](std::byte each) { return each == value; });
}

} // namespace

#if PALLET_ADDRESS_SANITIZER
void poison(void const* memory, std::size_t bytes) noexcept {
    __asan_poison_memory_region(memory, bytes);
}
void unpoison(void const* memory, std::size_t bytes) noexcept {
    __asan_unpoison_memory_region(memory, bytes);
}
void leakCheckerSees(void const* slab) noexcept {
    __lsan_register_root_region(slab, slabBytes);
}
#else
void poison(void const*, std::size_t) noexcept {}
void unpoison(void const*, std::size_t) noexcept {}
void leakCheckerSees(void const*) noexcept {}
#endif

void checkFailed(char const* what, void const* object, std::type_info const* type) noexcept {
    char const* name = "an object";
    if (type != nullptr) {
        int status = 0;
        char const* const readable = abi::__cxa_demangle(type->name(), nullptr, nullptr, &status);
        name = status == 0 ? readable : type->name();
    }
    std::fprintf(stderr, "Pallet: %s of %s at %p\n", what, name, object);
    std::abort();
}

FreeBlock& checkedLink(Slab& slab, std::byte* block) noexcept {
    return *reinterpret_cast<FreeBlock*>(block + slab.blockBytes - 8);
}

std::byte* checkedBlockOf(Slab& slab, FreeBlock& link) noexcept {
    return reinterpret_cast<std::byte*>(&link) + 8 - slab.blockBytes;
}

void* checkedMakeLive(Slab& slab, std::byte* block, unsigned size, bool reused) noexcept {
    unpoison(block, slab.blockBytes);
    auto& front = *reinterpret_cast<Front*>(block);
    std::byte* const object = block + checkedFrontBytes;
    std::byte* const end = block + slab.blockBytes - 8;
    if (reused && (front.state != markAt(freeMark, block) || !all(object, end, poisonByte))) {
        checkFailed("write after the free", object, front.freedAs);
    }
    front = Front{markAt(liveMark, block), size, nullptr};
    std::fill(object, object + size, poisonByte);
    std::fill(object + size, end, redByte);
    poison(block, checkedFrontBytes);
    poison(object + size, static_cast<std::size_t>(end + 8 - (object + size)));
    return object;
}

std::byte* checkedMakeFree(Slab& slab, void* object, std::type_info const* type) noexcept {
    auto* const block = static_cast<std::byte*>(object) - checkedFrontBytes;
    auto const offset = slab.offsetOf(block);
    if (slab.magic != Slab::magicOfSlab || offset < sizeof(Slab) ||
        (offset - sizeof(Slab)) % slab.blockBytes != 0 || offset >= slab.fresh) {
        checkFailed("free of an address that is no object's,", object, type);
    }
    unpoison(block, slab.blockBytes);
    auto& front = *reinterpret_cast<Front*>(block);
    if (front.state == markAt(freeMark, block)) {
        checkFailed("second free", object, type != nullptr ? type : front.freedAs);
    }
    std::byte* const end = block + slab.blockBytes - 8;
    if (front.state != markAt(liveMark, block) ||
        front.size > slab.blockBytes - checkedExtraBytes) {
        checkFailed("write in front", object, type);
    }
    std::byte* const first = block + checkedFrontBytes;
    if (!all(first + front.size, end, redByte)) {
        checkFailed("write behind the end", object, type);
    }
    front = Front{markAt(freeMark, block), front.size, type};
    std::fill(first, end, poisonByte);
    return block;
}

} // namespace Pallet::Impl
