#pragma once

#include <Slate/StoreSpec.h>

#include <cstdint>
#include <type_traits>

// How a map deals with the keys and values of one record type: a bundle of small classes without
// data, named in the map's type.
//
//   Slate::Ops<Slate::KeyOps<Slate::KeyRetrieval<&Wrap::fwkKey>, Slate::Hash<Key, false>>,
//              Slate::ValueOps<Slate::Marshall<Wrap>, Slate::AllocBase<Wrap>>,
//              Slate::SlotAllocator>
namespace Slate {

class SlotAllocator;

// Takes the key out of a wrapped record.
template <auto Member>
struct KeyRetrieval {
    template <typename Wrap>
    static auto key(Wrap const& wrap) {
        return (wrap.*Member)();
    }
};

// A key as the number by which the store knows it, and the order that its width asks for: 32-bit
// keys are spread by a mix, 64-bit keys are versions.
template <typename Key, bool Flag>
struct Hash {
    static_assert(sizeof(Key) == 4 || sizeof(Key) == 8, "a key is 4 or 8 bytes wide");
    using Number = std::conditional_t<sizeof(Key) == 8, std::uint64_t, std::uint32_t>;

    static constexpr Order order = sizeof(Key) == 8 ? Order::version : Order::keyMix;
    static std::uint64_t number(Key const& key) { return static_cast<Number>(key); }
};

template <typename Retrieval, typename KeyHash>
struct KeyOps {
    using KeyRetrievalType = Retrieval;
    using HashType = KeyHash;
};

// A record goes into shared memory and out of it as its bytes.
template <typename Wrap>
struct Marshall {
    static_assert(std::is_trivially_copyable_v<Wrap>, "records are plain bytes");
    static constexpr std::uint32_t recordBytes = sizeof(Wrap);
};

// The default record of a type: what a read answers with when there is nothing to give.
template <typename Wrap>
struct AllocBase {
    static Wrap const type_default;
};

template <typename Wrap>
inline Wrap const AllocBase<Wrap>::type_default = Wrap::defaultWrap();

template <typename MarshallType, typename AllocType>
struct ValueOps {
    using Marshaller = MarshallType;
    using Alloc = AllocType;
};

template <typename KeyOpsType, typename ValueOpsType, typename Allocator>
struct Ops {
    using Keys = KeyOpsType;
    using Values = ValueOpsType;
    using SlotAllocatorType = Allocator;
};

} // namespace Slate
