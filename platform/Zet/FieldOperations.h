#pragma once

#include <Ombra/GenericIf.h>
#include <Ombra/ValueTypeOf.h>
#include <Zet/GenericIfImpl.h>
#include <Zet/MemberTraits.h>

#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

// What each kind of attribute answers to each `op` of `inspectOperation` (Ombra/GenericIf.h), made
// from the class's own accessors. One template per kind; what a kind does not allow is
// `notAllowed`, and has no case.
namespace Zet::Impl {

namespace Op = Ombra::InspectOp;
using namespace Ombra::InspectResult;

template <typename T>
T& as(void* value) noexcept {
    return *static_cast<T*>(value);
}

// Constructs the result, unless nobody asks for it.
template <typename T, typename From>
void give(void* result, From&& from) {
    if (result != nullptr) {
        if constexpr (std::is_constructible_v<T, From&&>) {
            new (result) T(std::forward<From>(from));
        } else {
            new (result) T(from.begin(), from.end()); // a range, held as a vector
        }
    }
}

template <typename F>
using ResultOf = Ombra::HeldAs<typename MemberTraits<F>::Result>;

// An argument of the declared type `Arg`, from the place where a `HeldAs<Arg>` stands; a
// default-made one from none.
template <typename Arg>
auto argument(void* at) -> std::conditional_t<std::is_pointer_v<std::remove_cvref_t<Arg>>,
                                              std::remove_cvref_t<Arg>, Ombra::HeldAs<Arg> const&> {
    using Held = Ombra::HeldAs<Arg>;
    if constexpr (std::is_pointer_v<std::remove_cvref_t<Arg>>) {
        return at == nullptr ? nullptr : as<Held>(at).get();
    } else {
        if (at == nullptr) {
            static Held const absent{};
            return absent;
        }
        return static_cast<Held const&>(as<Held>(at));
    }
}

// Calls a member function, or a function of the class, with a pointer per argument.
template <auto function>
decltype(auto) invoke(void* object, void* const* arguments) {
    using Traits = MemberTraits<decltype(function)>;
    return [&]<std::size_t... I>(std::index_sequence<I...>)->decltype(auto) {
        if constexpr (std::is_void_v<typename Traits::Class>) {
            return function(
                argument<std::tuple_element_t<I, typename Traits::Arguments>>(arguments[I])...);
        } else {
            return (as<typename Traits::Class>(object).*function)(
                argument<std::tuple_element_t<I, typename Traits::Arguments>>(arguments[I])...);
        }
    }
    (std::make_index_sequence<Traits::argumentCount>{});
}

template <auto function>
void invokeInto(void* result, void* object, void* const* arguments) {
    using Result = typename MemberTraits<decltype(function)>::Result;
    if constexpr (std::is_void_v<Result>) {
        invoke<function>(object, arguments);
    } else {
        give<Ombra::HeldAs<Result>>(result, invoke<function>(object, arguments));
    }
}

// A single value. `set` null: it is only read.
template <auto get, auto set>
int attributeOperation(void* result, void* object, Ombra::FieldDescriptor, unsigned char op, void*,
                       void* value) {
    if (op == Op::read) {
        give<ResultOf<decltype(get)>>(result, invoke<get>(object, nullptr));
        return done;
    }
    if constexpr (!std::is_null_pointer_v<decltype(set)>) {
        if (op == Op::write && value != nullptr) {
            void* const arguments[] = {value};
            invoke<set>(object, arguments);
            return done;
        }
    }
    return notAllowed;
}

// A pointer that is set by its object's constructor arguments.
template <auto get, auto is, auto delete_>
int constructedOperation(void* result, void* object, Ombra::FieldDescriptor, unsigned char op,
                         void*, void* value) {
    switch (op) {
    case Op::read:
        give<ResultOf<decltype(get)>>(result, invoke<get>(object, nullptr));
        return done;
    case Op::write:
        if (value == nullptr) {
            return notAllowed;
        }
        invokeInto<is>(result, object, static_cast<void* const*>(value));
        return done;
    case Op::del:
        invokeInto<delete_>(result, object, nullptr);
        return done;
    default:
        return notAllowed;
    }
}

template <auto coll>
using CollectionOf = ResultOf<decltype(coll)>;

template <auto coll>
auto const& collectionOf(void* object) {
    return invoke<coll>(object, nullptr);
}

// The value of a key: what `has` gives. A set says whether it has it; a collection of pointers
// gives null for an absent one.
template <typename Coll>
struct CollectionValue {
    using Node = typename Coll::Node;
    using Value = std::conditional_t<Node::isSet, bool, typename Node::Value>;
};
template <typename T>
LOAM_HIDDEN inline constexpr bool isPtr = false;
template <typename T>
LOAM_HIDDEN inline constexpr bool isPtr<Ombra::Ptr<T>> = true;

template <typename Coll>
using ElementOf = typename CollectionValue<Coll>::Value;
template <typename Coll>
using IndexedOf = std::conditional_t<Coll::Node::isSet || isPtr<ElementOf<Coll>>, ElementOf<Coll>,
                                     std::optional<ElementOf<Coll>>>;

template <typename Coll>
IndexedOf<Coll> indexed(Coll const& coll, typename Coll::Node::Key const& key) {
    auto const* node = coll[key];
    if constexpr (Coll::Node::isSet) {
        return node != nullptr;
    } else {
        return node == nullptr ? IndexedOf<Coll>{} : IndexedOf<Coll>{node->value()};
    }
}

template <typename Coll>
ElementOf<Coll> elementOrDefault(Coll const& coll, typename Coll::Node::Key const& key) {
    auto const* node = coll[key];
    if constexpr (Coll::Node::isSet) {
        return node != nullptr;
    } else {
        return node == nullptr ? ElementOf<Coll>{} : node->value();
    }
}

// Adds an element: by its value alone where the value bears its key, otherwise with its key.
template <auto coll, auto is>
int addElement(void* object, void* key, void* value) {
    using Coll = CollectionOf<coll>;
    using Traits = MemberTraits<decltype(is)>;
    if constexpr (Coll::Node::isSet) {
        if (key == nullptr || value == nullptr) {
            return notAllowed;
        }
        if (!as<bool>(value)) {
            GenericIfImpl::throwSetFalseValueException(Ombra::typeNameOf<typename Traits::Class>);
        }
        void* const arguments[] = {key};
        invoke<is>(object, arguments);
    } else if constexpr (Traits::argumentCount == 1) {
        if (value == nullptr) {
            return notAllowed;
        }
        void* const arguments[] = {value};
        invoke<is>(object, arguments);
    } else {
        if (key == nullptr || value == nullptr) {
            return notAllowed;
        }
        void* const arguments[] = {key, value};
        invoke<is>(object, arguments);
    }
    return done;
}

// A hash collection. `is` and `delete_` null: it is only read.
template <auto coll, auto is, auto delete_>
int collectionOperation(void* result, void* object, Ombra::FieldDescriptor, unsigned char op,
                        void* key, void* value) {
    using Coll = CollectionOf<coll>;
    using Key = typename Coll::Node::Key;
    auto const& elements = collectionOf<coll>(object);
    bool const needsKey = op == Op::read || op == Op::del || op == Op::has;
    if (needsKey && key == nullptr) {
        return notAllowed;
    }
    switch (op) {
    case Op::read:
        give<ElementOf<Coll>>(result, elementOrDefault(elements, as<Key>(key)));
        return done;
    case Op::has:
        give<IndexedOf<Coll>>(result, indexed(elements, as<Key>(key)));
        return done;
    case Op::size:
        give<std::uint32_t>(result, elements.size());
        return done;
    case Op::otherCount:
        give<std::uint32_t>(result, elements.footprint(Coll::vt_).buckets);
        return done;
    case Op::write:
        if constexpr (!std::is_null_pointer_v<decltype(is)>) {
            return addElement<coll, is>(object, key, value);
        }
        return notAllowed;
    case Op::del:
        if constexpr (!std::is_null_pointer_v<decltype(delete_)>) {
            void* const arguments[] = {key};
            invokeInto<delete_>(nullptr, object, arguments);
            return done;
        }
        return notAllowed;
    default:
        return notAllowed;
    }
}

// The queue.
template <auto queue, auto enqueue, auto dequeue>
int queueOperation(void* result, void* object, Ombra::FieldDescriptor, unsigned char op, void* key,
                   void* value) {
    auto const& elements = collectionOf<queue>(object);
    using Element = decltype(elements.front());
    switch (op) {
    case Op::size:
        give<std::uint32_t>(result, elements.size());
        return done;
    case Op::front:
        give<Element>(result, elements.front());
        return done;
    case Op::back:
        give<Element>(result, elements.back());
        return done;
    case Op::enq: {
        if (value == nullptr) {
            return notAllowed;
        }
        void* const arguments[] = {value};
        invoke<enqueue>(object, arguments);
        return done;
    }
    case Op::deq:
        if (key != nullptr) {
            return notAllowed;
        }
        invokeInto<dequeue>(result, object, nullptr);
        return done;
    default:
        return notAllowed;
    }
}

template <auto function>
int callOperation(void* result, void* object, Ombra::FieldDescriptor, unsigned char op, void*,
                  void* value) {
    bool const hasArguments = MemberTraits<decltype(function)>::argumentCount != 0;
    if (op != Op::call || (hasArguments && value == nullptr)) {
        return notAllowed;
    }
    invokeInto<function>(result, object, static_cast<void* const*>(value));
    return done;
}

// An operation with a form that takes one argument more, at the end, which is optional.
template <auto plain, auto extended>
int callOperationWithOption(void* result, void* object, Ombra::FieldDescriptor, unsigned char op,
                            void*, void* value) {
    if (op != Op::call || value == nullptr) {
        return notAllowed;
    }
    auto* const arguments = static_cast<void* const*>(value);
    if (arguments[MemberTraits<decltype(plain)>::argumentCount] == nullptr) {
        invokeInto<plain>(result, object, arguments);
    } else {
        invokeInto<extended>(result, object, arguments);
    }
    return done;
}

inline int noOperation(void*, void*, Ombra::FieldDescriptor, unsigned char, void*, void*) {
    return notAllowed;
}

inline int noField(void*, void*, Ombra::FieldDescriptor, unsigned char, void*, void*) {
    return unknownField;
}

} // namespace Zet::Impl
