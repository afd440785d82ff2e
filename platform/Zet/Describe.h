#pragma once

#include <Ombra/FieldId.h>
#include <Zet/Described.h>
#include <Zet/FieldIterators.h>
#include <Zet/FieldOperations.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

// How a class is described to the inspection layer: once, as a table of its attributes and
// operations, from which everything else is made.
//
//     template <>
//     struct Zet::Described<XxxResolverEntry> {
//         using T = XxxResolverEntry;
//         using Base = Asic::ResolverEntry;             // described too, or Ombra::Node
//         static constexpr char const* doc = "One operation in the resolver's queue.";
//         static constexpr auto fields = Zet::fieldsFrom(
//             0x102,
//             attribute<&T::swTable>("swTable").stored(offsetof(T, swTable_)),
//             attribute<&T::entry>("entry").stored(offsetof(T, entry_)).alsoNamed("swTableEntry"));
//         static constexpr auto constructor =
//             constructedBy<&T::XxxResolverEntryIs>("dependantEntryHandle, flags, swTable!,
//             entry!");
//     };
//
// The numbers count up from the base in the order of the lines; `unnamed()` skips one. In a list of
// arguments "?" marks one that may be left out, "!" one that can't be null. `Described<T>` is a
// friend of a class whose storage it tells.
//
// A class has `Ombra::Node` as its first base, and that of each base, so that one address is all of
// them.
namespace Zet {

// One line of a description.
struct FieldSpec {
    std::uint16_t number = 0;
    std::uint16_t flags = 0;
    std::uint16_t storage = Ombra::FieldRecord::notStored;
    std::uint16_t publishedAs = 0; // 0: not told
    std::string_view name;
    std::string_view arguments; // names, separated by ", "
    std::span<Ombra::ValueType const* const> argumentTypes;
    Ombra::FieldCode code;

    // Where the attribute is stored. What is not is derived.
    constexpr FieldSpec stored(std::size_t offset) const {
        FieldSpec spec = *this;
        spec.storage = static_cast<std::uint16_t>(offset);
        spec.flags = static_cast<std::uint16_t>(spec.flags & ~Ombra::FieldFlag::derived);
        return spec;
    }
    // The number must be that under which changes are published.
    constexpr FieldSpec published(Ombra::FieldId fieldId) const {
        FieldSpec spec = *this;
        spec.publishedAs = static_cast<std::uint16_t>(fieldId);
        return spec;
    }
    constexpr FieldSpec nonNull() const { return flagged(Ombra::FieldFlag::nonNull); }
    constexpr FieldSpec hazardous() const { return flagged(Ombra::FieldFlag::hazardous); }
    constexpr FieldSpec alsoNamed(char const* other) const {
        FieldSpec spec = *this;
        spec.code.otherName = other;
        return spec;
    }
    constexpr FieldSpec doc(char const* text) const {
        FieldSpec spec = *this;
        spec.code.doc = text;
        return spec;
    }
    constexpr FieldSpec checkedBy(Ombra::FieldCheck check) const {
        FieldSpec spec = *this;
        spec.code.check = check;
        return spec;
    }
    constexpr FieldSpec flagged(std::uint16_t flag) const {
        FieldSpec spec = *this;
        spec.flags = static_cast<std::uint16_t>(spec.flags | flag);
        return spec;
    }
};

namespace Impl {

template <typename Arguments>
LOAM_HIDDEN inline constexpr std::array<Ombra::ValueType const*, 0> argumentTypesOf{};
template <typename First, typename... Rest>
inline constexpr std::array<Ombra::ValueType const*, 1 + sizeof...(Rest)>
    argumentTypesOf<std::tuple<First, Rest...>>{Ombra::valueTypeOf<Ombra::HeldAs<First>>,
                                                Ombra::valueTypeOf<Ombra::HeldAs<Rest>>...};

template <auto function>
LOAM_HIDDEN inline constexpr std::span<Ombra::ValueType const* const> argumentTypesFor{
    argumentTypesOf<typename MemberTraits<decltype(function)>::Arguments>};

template <auto function>
constexpr FieldSpec functionSpec(std::string_view name, std::string_view arguments) {
    using Traits = MemberTraits<decltype(function)>;
    FieldSpec spec;
    spec.name = name;
    spec.arguments = arguments;
    spec.argumentTypes = argumentTypesFor<function>;
    spec.flags = Ombra::FieldFlag::operation;
    if (Traits::isConst) {
        spec = spec.flagged(Ombra::FieldFlag::constant);
    }
    if (std::is_void_v<typename Traits::Class>) {
        spec = spec.flagged(Ombra::FieldFlag::ofClass);
    }
    spec.code.type = Ombra::valueTypeOf<ResultOf<decltype(function)>>;
    return spec;
}

} // namespace Impl

// A single value: read by `get`, written by `set`; without that it is read only.
template <auto get, auto set = nullptr>
constexpr FieldSpec attribute(std::string_view name) {
    using Value = Impl::ResultOf<decltype(get)>;
    FieldSpec spec;
    spec.name = name;
    spec.flags = Ombra::FieldFlag::derived;
    if (std::is_null_pointer_v<decltype(set)>) {
        spec = spec.flagged(Ombra::FieldFlag::readOnly);
    }
    if (Impl::isPtr<Value>) {
        spec = spec.flagged(Ombra::FieldFlag::pointer);
    }
    spec.code.type = Ombra::valueTypeOf<Value>;
    spec.code.operation = Impl::attributeOperation<get, set>;
    return spec;
}

// A pointer that is set by the constructor arguments of its object, and cleared by `del`.
template <auto get, auto is, auto del>
constexpr FieldSpec constructedPointer(std::string_view name, std::string_view arguments) {
    FieldSpec spec;
    spec.name = name;
    spec.arguments = arguments;
    spec.argumentTypes = Impl::argumentTypesFor<is>;
    spec.flags = Ombra::FieldFlag::pointer | Ombra::FieldFlag::constructed;
    spec.code.type = Ombra::valueTypeOf<Impl::ResultOf<decltype(get)>>;
    spec.code.operation = Impl::constructedOperation<get, is, del>;
    return spec;
}

// A hash collection. `coll` gives it, `is` adds (a value that bears its key, or a key and a value),
// `del` deletes by key; without those two it is read only. A set has no values.
template <auto coll, auto is = nullptr, auto del = nullptr>
constexpr FieldSpec collection(std::string_view name) {
    using Coll = Impl::CollectionOf<coll>;
    using Value = Impl::ElementOf<Coll>;
    FieldSpec spec;
    spec.name = name;
    spec.flags = Ombra::FieldFlag::collection;
    if (Coll::Node::isSet) {
        spec = spec.flagged(Ombra::FieldFlag::set);
    }
    if (std::is_null_pointer_v<decltype(is)>) {
        spec = spec.flagged(Ombra::FieldFlag::readOnly);
    }
    if (Impl::isPtr<Value>) {
        spec = spec.flagged(Ombra::FieldFlag::pointer);
    }
    spec.code.type = Ombra::valueTypeOf<Value>;
    spec.code.key = Ombra::valueTypeOf<typename Coll::Node::Key>;
    spec.code.indexed = Ombra::valueTypeOf<Impl::IndexedOf<Coll>>;
    spec.code.operation = Impl::collectionOperation<coll, is, del>;
    spec.code.iterator = &Impl::HashIterator<coll>::methods;
    if constexpr (requires(Value const& value) { Coll::Node::keyOf(value); }) {
        spec.code.keyOf = [](void const* value, void* key) {
            Impl::give<typename Coll::Node::Key>(
                key, Coll::Node::keyOf(*static_cast<Value const*>(value)));
        };
    }
    return spec;
}

template <auto queueOf, auto enq, auto deq>
constexpr FieldSpec queue(std::string_view name) {
    using Element = decltype(Impl::CollectionOf<queueOf>{}.front());
    FieldSpec spec;
    spec.name = name;
    spec.flags = Ombra::FieldFlag::queue | Ombra::FieldFlag::pointer | Ombra::FieldFlag::nonNull;
    spec.code.type = Ombra::valueTypeOf<Element>;
    spec.code.operation = Impl::queueOperation<queueOf, enq, deq>;
    spec.code.iterator = &Impl::QueueIterator<queueOf, Element>::methods;
    return spec;
}

template <auto function>
constexpr FieldSpec operation(std::string_view name, std::string_view arguments = {}) {
    FieldSpec spec = Impl::functionSpec<function>(name, arguments);
    spec.code.operation = Impl::callOperation<function>;
    return spec;
}

// `extended` takes one argument more than `plain`, which may be left out.
template <auto plain, auto extended>
constexpr FieldSpec operationWithOption(std::string_view name, std::string_view arguments) {
    FieldSpec spec = Impl::functionSpec<extended>(name, arguments);
    spec.code.operation = Impl::callOperationWithOption<plain, extended>;
    return spec;
}

// An operation that has a number, a name and arguments, and is not called from here.
template <auto function>
constexpr FieldSpec notCallable(std::string_view name, std::string_view arguments = {}) {
    FieldSpec spec = Impl::functionSpec<function>(name, arguments);
    spec.code.operation = Impl::noOperation;
    return spec.flagged(Ombra::FieldFlag::notCallable);
}

// A number that names nothing.
constexpr FieldSpec unnamed() {
    return {};
}

// Numbers the lines from `base` on. Those without a name stay, and are left out of the tables.
template <typename... Specs>
consteval auto fieldsFrom(std::uint16_t base, Specs... specs) {
    std::array<FieldSpec, sizeof...(Specs)> fields{specs...};
    for (FieldSpec& each : fields) {
        each.number = base++;
        if (each.publishedAs != 0 && each.publishedAs != each.number) {
            throw "an attribute's place in the description is not the number it is published under";
        }
    }
    return fields;
}

inline constexpr std::array<FieldSpec, 0> noFields{};

// How an object is made from outside: by a function that gives an `Ombra::Ptr` to it.
struct ConstructorSpec {
    std::string_view arguments;
    std::span<Ombra::ValueType const* const> argumentTypes;
    void (*construct)(void* result, void* const* args) = nullptr;
};

template <auto is>
constexpr ConstructorSpec constructedBy(std::string_view arguments) {
    return {arguments, Impl::argumentTypesFor<is>,
            [](void* result, void* const* args) { Impl::invokeInto<is>(result, nullptr, args); }};
}
inline constexpr ConstructorSpec notConstructed{};

} // namespace Zet
