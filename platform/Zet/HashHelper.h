#pragma once

#include <Ombra/Export.h>

#include <compare>
#include <concepts>
#include <cstdint>
#include <type_traits>

// How the keys of the hash collections are hashed and compared.
//
// A collection's hash of a key is `key.hash(seed)`, or `hashSingleAttr(seed, key)` for a key that
// is one number, with seed = `HashHelper::hashSeed32()` XOR the collection's own constant. The
// process draws its seed at random when it starts, so that nobody outside can prepare keys that
// collide; the order in which a collection is walked follows from the hashes and so differs between
// processes. The collections choose a bucket by the top bits of a hash: a hash must be well mixed
// in all bits.
namespace Zet {

class LOAM_EXPORT HashHelper {
  public:
    // A key and its hash, computed once by the caller.
    struct KeyAndRhashSeedArg {
        void const* key;
        std::uint32_t hash;
    };

    // One load.
    static std::uint32_t hashSeed32() noexcept { return seed_; }

    // Makes the order of walks repeatable. While every hash collection of the process is empty.
    static void hashSeed32Is(std::uint32_t seed) noexcept { seed_ = seed; }

  private:
    static std::uint32_t seed_;
};

// A well-mixed hash of 32 bits: the folded product with the 64-bit golden ratio, twice, since one
// product leaves patterns of strided values in the top bits.
constexpr std::uint32_t hashMix32(std::uint32_t seed, std::uint32_t bits) noexcept {
    std::uint64_t product = std::uint64_t{bits ^ seed} * 0x9e3779b97f4a7c15U;
    product ^= product >> 32;
    product *= 0xd6e8feb86659fd93U;
    return static_cast<std::uint32_t>(product >> 32);
}

// The hash of a key that is a single number of at most 32 bits, or converts to one.
template <typename T>
constexpr std::uint32_t hashSingleAttr(std::uint32_t seed, T const& value) noexcept {
    if constexpr (std::is_enum_v<T>) {
        return hashSingleAttr(seed, static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::integral<T>) {
        static_assert(sizeof(T) <= 4);
        return hashMix32(seed, static_cast<std::uint32_t>(value));
    } else {
        return hashMix32(seed, static_cast<std::uint32_t>(value.value()));
    }
}

namespace Impl {

template <typename Key>
constexpr std::uint32_t keyHash(std::uint32_t seed, Key const& key) noexcept {
    if constexpr (requires { key.hash(seed); }) {
        return key.hash(seed);
    } else {
        return hashSingleAttr(seed, key);
    }
}

template <typename Key>
constexpr bool keyIsEq(Key const& left, Key const& right) noexcept {
    if constexpr (requires { left.isEq(right); }) {
        return left.isEq(right);
    } else {
        return left == right;
    }
}

// In the form in which the publisher hands it to subscribers.
template <typename Key>
bool untypedKeyIsEq(void const* left, void const* right) {
    return keyIsEq(*static_cast<Key const*>(left), *static_cast<Key const*>(right));
}

} // namespace Impl

} // namespace Zet
