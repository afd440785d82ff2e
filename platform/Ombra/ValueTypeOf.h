#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Ombra/Uint64Align4.h>
#include <Ombra/ValueType.h>

#include <fmt/format.h>

#include <concepts>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

// The description of a type, made by the compiler.
//
// Numbers, bool, strings, counted pointers, handlers, and optionals and vectors of what has one
// have one by themselves. A record gets one by a specialisation of `ValueTraits` beside its class:
//
//     template <>
//     struct Ombra::ValueTraits<Asic::SwTableId> {
//         static constexpr char const* doc = "...";
//         static constexpr char const* expects = "...";
//         static void json(Asic::SwTableId const&, std::string& out);
//         static std::optional<Asic::SwTableId> parse(std::string_view text);
//         // where a number stands for a value:
//         static std::uint64_t toNumber(Asic::SwTableId const&);
//         static std::optional<Asic::SwTableId> fromNumber(std::uint64_t);
//     };
//
// Its text is what fmt makes of it, unless the traits have a `text`. Records and counted classes
// say by `TypeOf` where their module has them.
namespace Ombra {

// Which module describes the type, its place there, and the name that it has there. A described
// type specialises it.
template <typename T>
struct TypeOf {
    static constexpr std::string_view name{};
    static constexpr TypeData data{};
};
template <typename T>
LOAM_HIDDEN inline constexpr TypeData typeDataOf = TypeOf<T>::data;
template <typename T>
LOAM_HIDDEN inline constexpr std::string_view typeNameOf = TypeOf<T>::name;

template <typename T>
struct ValueTraits;

namespace Impl {

template <typename T>
inline constexpr std::int16_t builtinOf = 0;
template <>
inline constexpr std::int16_t builtinOf<void> = -4;
template <>
inline constexpr std::int16_t builtinOf<std::uint8_t> = -6;
template <>
inline constexpr std::int16_t builtinOf<std::uint16_t> = -8;
template <>
inline constexpr std::int16_t builtinOf<std::uint32_t> = -9;
template <>
inline constexpr std::int16_t builtinOf<std::int32_t> = -10;
template <>
inline constexpr std::int16_t builtinOf<std::uint64_t> = -11;
template <>
inline constexpr std::int16_t builtinOf<bool> = -13;
template <>
inline constexpr std::int16_t builtinOf<String> = -18;
inline constexpr std::int16_t builtinOptional = -20;
inline constexpr std::int16_t builtinList = -21;
inline constexpr std::int16_t builtinHandler = -22;

// What is common to all types whose values can be copied.
template <typename T>
constexpr ValueType storable(ValueKind kind) {
    ValueType type;
    type.kind = kind;
    type.builtin = builtinOf<T>;
    type.sizeBytes = sizeof(T);
    type.alignBytes = alignof(T);
    if constexpr (!std::is_trivially_destructible_v<T>) {
        type.destroy = [](void* value) { std::destroy_at(static_cast<T*>(value)); };
    }
    type.copy = [](void* to, void const* from) { new (to) T(*static_cast<T const*>(from)); };
    type.move = [](void* to, void* from) {
        new (to) T(std::move(*static_cast<T*>(from)));
        std::destroy_at(static_cast<T*>(from));
    };
    if constexpr (std::equality_comparable<T>) {
        type.isEq = [](void const* left, void const* right) {
            return *static_cast<T const*>(left) == *static_cast<T const*>(right);
        };
    }
    return type;
}

template <typename T>
constexpr ValueType unsignedType() {
    ValueType type = storable<T>(ValueKind::unsignedNumber);
    type.name = sizeof(T) == 1   ? "unsigned 8 bits"
                : sizeof(T) == 2 ? "unsigned 16 bits"
                : sizeof(T) == 4 ? "unsigned 32 bits"
                                 : "unsigned 64 bits";
    type.expects = sizeof(T) == 1   ? "a number from 0 to 255"
                   : sizeof(T) == 2 ? "a number from 0 to 65535"
                   : sizeof(T) == 4 ? "a number from 0 to 4294967295"
                                    : "a number from 0 to 18446744073709551615";
    type.text = [](void const* value, std::string& out) {
        fmt::format_to(std::back_inserter(out), "{}", +*static_cast<T const*>(value));
    };
    type.json = type.text;
    type.toNumber = [](void const* value) { return std::uint64_t{*static_cast<T const*>(value)}; };
    type.fromNumber = [](void* to, std::uint64_t number) {
        if (number > std::numeric_limits<T>::max()) {
            return false;
        }
        new (to) T(static_cast<T>(number));
        return true;
    };
    type.parse = [](void* to, std::string_view text) {
        std::uint64_t number = 0;
        if (!parseNumber(text, std::numeric_limits<T>::max(), number)) {
            return false;
        }
        new (to) T(static_cast<T>(number));
        return true;
    };
    return type;
}

constexpr ValueType makeBool() {
    ValueType type = storable<bool>(ValueKind::boolean);
    type.name = "bool";
    type.expects = "true or false";
    type.text = [](void const* value, std::string& out) {
        out += *static_cast<bool const*>(value) ? "true" : "false";
    };
    type.json = type.text;
    type.parse = [](void* to, std::string_view text) {
        bool value = false;
        bool const good = parseBool(text, value);
        if (good) {
            new (to) bool(value);
        }
        return good;
    };
    return type;
}

constexpr ValueType makeSigned() {
    ValueType type = storable<std::int32_t>(ValueKind::signedNumber);
    type.name = "signed 32 bits";
    type.expects = "a number from -2147483648 to 2147483647";
    type.text = [](void const* value, std::string& out) {
        fmt::format_to(std::back_inserter(out), "{}", *static_cast<std::int32_t const*>(value));
    };
    type.json = type.text;
    type.parse = [](void* to, std::string_view text) {
        std::int64_t number = 0;
        if (!parseSigned(text, number) || number != static_cast<std::int32_t>(number)) {
            return false;
        }
        new (to) std::int32_t(static_cast<std::int32_t>(number));
        return true;
    };
    return type;
}

constexpr ValueType makeString() {
    ValueType type = storable<String>(ValueKind::string);
    type.name = "Ombra::String";
    type.expects = "a text";
    type.text = [](void const* value, std::string& out) {
        out += static_cast<String const*>(value)->str();
    };
    type.json = [](void const* value, std::string& out) {
        jsonString(*static_cast<String const*>(value), out);
    };
    type.parse = [](void* to, std::string_view text) {
        std::string value;
        bool const good = parseString(text, value);
        if (good) {
            new (to) String(std::move(value));
        }
        return good;
    };
    return type;
}

constexpr ValueType makeNothing() {
    ValueType type;
    type.builtin = builtinOf<void>;
    type.name = "nothing";
    type.expects = "nothing";
    type.copy = [](void*, void const*) {};
    type.move = [](void*, void*) {};
    type.isEq = [](void const*, void const*) { return true; };
    type.text = [](void const*, std::string&) {};
    type.json = [](void const*, std::string& out) { out += "null"; };
    return type;
}

inline constexpr ValueType boolType = makeBool();
inline constexpr ValueType signedType = makeSigned();
inline constexpr ValueType stringType = makeString();
inline constexpr ValueType nothingType = makeNothing();

template <typename T>
constexpr ValueType recordType() {
    using Traits = ValueTraits<T>;
    ValueType type = storable<T>(ValueKind::record);
    type.name = typeNameOf<T>;
    type.expects = Traits::expects;
    type.type = typeDataOf<T>;
    type.text = [](void const* value, std::string& out) {
        if constexpr (requires(T const& of) { Traits::text(of, out); }) {
            Traits::text(*static_cast<T const*>(value), out);
        } else {
            fmt::format_to(std::back_inserter(out), "{}", *static_cast<T const*>(value));
        }
    };
    type.json = [](void const* value, std::string& out) {
        Traits::json(*static_cast<T const*>(value), out);
    };
    if constexpr (requires { Traits::parse(std::string_view{}); }) {
        type.parse = [](void* to, std::string_view text) {
            std::optional<T> const value = Traits::parse(text);
            if (value) {
                new (to) T(*value);
            }
            return value.has_value();
        };
    }
    if constexpr (requires { Traits::fromNumber(0); }) {
        type.toNumber = [](void const* value) {
            return std::uint64_t{Traits::toNumber(*static_cast<T const*>(value))};
        };
        type.fromNumber = [](void* to, std::uint64_t number) {
            std::optional<T> const value = Traits::fromNumber(number);
            if (value) {
                new (to) T(*value);
            }
            return value.has_value();
        };
    }
    if constexpr (requires(T const& value) { Traits::bytes(value); }) {
        type.bytes = [](void const* value) -> std::span<std::byte const> {
            return Traits::bytes(*static_cast<T const*>(value));
        };
        type.fromKeyAndBytes = [](void* to, std::uint64_t key, std::span<std::byte const> bytes) {
            std::optional<T> const value = Traits::fromKeyAndBytes(key, bytes);
            if (value) {
                new (to) T(*value);
            }
            return value.has_value();
        };
    }
    return type;
}

template <typename T> // Node-derived, perhaps const
constexpr ValueType pointerType() {
    using Class = std::remove_const_t<T>;
    ValueType type = storable<Ptr<T>>(ValueKind::pointer);
    type.constPointee = std::is_const_v<T>;
    type.name = typeNameOf<Class>;
    type.expects = "an object of the class, or none";
    type.type = typeDataOf<Class>;
    type.text = [](void const* value, std::string& out) {
        nodeText(static_cast<Ptr<T> const*>(value)->get(), typeNameOf<Class>, out);
    };
    type.json = [](void const* value, std::string& out) {
        if (Node const* node = static_cast<Ptr<T> const*>(value)->get(); node != nullptr) {
            std::string text;
            nodeText(node, typeNameOf<Class>, text);
            jsonString(text, out);
        } else {
            out += "null";
        }
    };
    type.node = [](void const* value) -> Node const* {
        return static_cast<Ptr<T> const*>(value)->get();
    };
    type.fromNode = [](void* to, Node const* node) {
        auto* const object = dynamic_cast<T*>(const_cast<Node*>(node));
        if (object == nullptr && node != nullptr) {
            return false;
        }
        new (to) Ptr<T>(object);
        return true;
    };
    return type;
}

} // namespace Impl

template <typename T>
struct ValueTypeOf {
    static constexpr ValueType value = [] {
        if constexpr (std::is_unsigned_v<T>) {
            return Impl::unsignedType<T>();
        } else {
            return Impl::recordType<T>();
        }
    }();
};
template <typename T>
struct ValueTypeOf<Ptr<T>> {
    static constexpr ValueType value = Impl::pointerType<T>();
};

// One description of each type in each library.
template <typename T>
LOAM_HIDDEN inline constexpr ValueType const* valueTypeOf = &ValueTypeOf<T>::value;
template <>
inline constexpr ValueType const* valueTypeOf<void> = &Impl::nothingType;
template <>
inline constexpr ValueType const* valueTypeOf<bool> = &Impl::boolType;
template <>
inline constexpr ValueType const* valueTypeOf<std::int32_t> = &Impl::signedType;
template <>
inline constexpr ValueType const* valueTypeOf<String> = &Impl::stringType;

// Nothing or a value.
template <typename T>
struct ValueTypeOf<std::optional<T>> {
    static constexpr ValueType value = [] {
        using Optional = std::optional<T>;
        ValueType type = Impl::storable<Optional>(ValueKind::optional);
        type.builtin = Impl::builtinOptional;
        type.inner = valueTypeOf<T>;
        type.name = "optional";
        type.count = [](void const* at) {
            return std::size_t{static_cast<Optional const*>(at)->has_value() ? 1U : 0U};
        };
        type.element = [](void const* at, std::size_t) -> void const* {
            auto const& optional = *static_cast<Optional const*>(at);
            return optional ? &*optional : nullptr;
        };
        type.text = [](void const* at, std::string& out) {
            auto const& optional = *static_cast<Optional const*>(at);
            optional ? valueTypeOf<T>->text(&*optional, out) : void(out += "none");
        };
        type.json = [](void const* at, std::string& out) {
            auto const& optional = *static_cast<Optional const*>(at);
            optional ? valueTypeOf<T>->json(&*optional, out) : void(out += "null");
        };
        return type;
    }();
};

template <typename T>
struct ValueTypeOf<std::vector<T>> {
    static constexpr ValueType value = [] {
        using List = std::vector<T>;
        ValueType type = Impl::storable<List>(ValueKind::list);
        type.builtin = Impl::builtinList;
        type.inner = valueTypeOf<T>;
        type.name = "list";
        type.count = [](void const* at) { return static_cast<List const*>(at)->size(); };
        type.element = [](void const* at, std::size_t index) -> void const* {
            return &(*static_cast<List const*>(at))[index];
        };
        type.text = [](void const* at, std::string& out) {
            char const* before = "[";
            for (auto const& each : *static_cast<List const*>(at)) {
                out += std::exchange(before, ", ");
                valueTypeOf<T>->text(&each, out);
            }
            out += *before == '[' ? "[]" : "]";
        };
        type.json = [](void const* at, std::string& out) {
            char const* before = "[";
            for (auto const& each : *static_cast<List const*>(at)) {
                out += std::exchange(before, ", ");
                valueTypeOf<T>->json(&each, out);
            }
            out += *before == '[' ? "[]" : "]";
        };
        return type;
    }();
};

// A function that is called with a pointer to a node of a class.
template <typename T>
struct ValueTypeOf<std::function<void(Ptr<T> const&)>> {
    static constexpr ValueType value = [] {
        using Function = std::function<void(Ptr<T> const&)>;
        ValueType type = Impl::storable<Function>(ValueKind::handler);
        type.builtin = Impl::builtinHandler;
        type.name = "handler";
        type.type = typeDataOf<std::remove_const_t<T>>;
        type.expects = "a function, or none";
        type.text = [](void const* at, std::string& out) {
            out += *static_cast<Function const*>(at) ? "a handler" : "none";
        };
        type.json = [](void const* at, std::string& out) {
            out += *static_cast<Function const*>(at) ? "\"a handler\"" : "null";
        };
        type.fromHandler = [](void* to, NodeHandler handler) {
            if (handler == nullptr) {
                new (to) Function{};
            } else {
                new (to)
                    Function([handler = std::move(handler)](Ptr<T> const& node) { handler(node); });
            }
        };
        return type;
    }();
};

// The type under which a result or an argument of the declared type `T` is held: itself without
// reference and const; a plain pointer to a node as a counted one.
template <typename T>
struct HeldAsImpl {
    using Type = T;
};
template <typename T>
requires std::derived_from<T, Node>
struct HeldAsImpl<T*> {
    using Type = Ptr<T>;
};
template <>
struct HeldAsImpl<Uint64Align4> {
    using Type = std::uint64_t;
};
template <typename T, std::size_t extent>
struct HeldAsImpl<std::span<T const, extent>> {
    using Type = std::vector<T>;
};
template <typename T>
struct HeldAsImpl<std::vector<T*>> {
    using Type = std::vector<Ptr<T>>;
};
template <typename T>
using HeldAs = typename HeldAsImpl<std::remove_cvref_t<T>>::Type;

} // namespace Ombra
