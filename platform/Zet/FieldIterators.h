#pragma once

#include <Ombra/GenericIf.h>
#include <Ombra/RQueueBase.h>
#include <Pallet/SlabAlloc.h>
#include <Zet/FieldOperations.h>

#include <cstdint>
#include <memory>
#include <new>
#include <typeinfo>

// The iterators of collection attributes. They survive every change of the collection between their
// steps, as the collections' own do, and must not outlive the object.
namespace Zet::Impl {

template <auto coll>
struct HashIterator {
    using Coll = CollectionOf<coll>;
    using Key = typename Coll::Node::Key;
    using Iterator = typename Coll::IteratorConst;

    static void* make(void* object, void const* key) {
        void* const memory = Pallet::slabAllocOrStdMalloc(
            sizeof(Iterator), Pallet::SlabAllocationPattern::perOperation);
        if (memory == nullptr) {
            throw std::bad_alloc{};
        }
        auto const& elements = collectionOf<coll>(object);
        return key == nullptr ? new (memory) Iterator{elements}
                              : new (memory) Iterator{elements, *static_cast<Key const*>(key)};
    }
    static bool nonnull(void* iterator) { return static_cast<bool>(as<Iterator>(iterator)); }
    static void key(void* iterator, void* result) {
        give<Key>(result, as<Iterator>(iterator)->fwkKey());
    }
    static void obj(void* iterator, void* result) {
        if constexpr (Coll::Node::isSet) {
            give<bool>(result, true);
        } else {
            give<ElementOf<Coll>>(result, as<Iterator>(iterator)->value());
        }
    }
    static void inc(void* iterator) { ++as<Iterator>(iterator); }
    static void del(void* iterator) {
        std::destroy_at(static_cast<Iterator*>(iterator));
        Pallet::slabFreeOrStdFree(iterator, typeid(Iterator));
    }

    static constexpr Ombra::IteratorMethods methods{make, nonnull, key, obj, inc, del};
};

// Walks the queue from the oldest element. It has no keys, for which -1 stands; an element that was
// dequeued while the iterator stood on it is null.
template <auto queue, typename Element>
struct QueueIterator {
    using Iterator = Ombra::RQueueBaseConstIter;

    static void* make(void* object, void const*) {
        return new Iterator{collectionOf<queue>(object)};
    }
    static bool nonnull(void* iterator) { return !as<Iterator>(iterator).atEnd(); }
    static void key(void*, void* result) { give<std::int32_t>(result, -1); }
    static void obj(void* iterator, void* result) {
        void* const* slot = as<Iterator>(iterator).slot();
        give<Element>(result, slot == nullptr
                                  ? Element{}
                                  : *std::launder(reinterpret_cast<Element const*>(slot)));
    }
    static void inc(void* iterator) { as<Iterator>(iterator).increment(); }
    static void del(void* iterator) { delete static_cast<Iterator*>(iterator); }

    static constexpr Ombra::IteratorMethods methods{make, nonnull, key, obj, inc, del};
};

} // namespace Zet::Impl
