#pragma once

#include <Ombra/ModuleInspectData.h>
#include <Zet/HideMe.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// The tables of an inspection module, made by the compiler from the descriptions of its classes.
//
//     constinit Ombra::ModuleInspectData const xxxInfraTypesModule =
//         Zet::ModuleTables<XxxEntryWrapper, XxxResolverEntry>::module("XxxInfraTypes");
//
// A type of the list is a described class, or a plain value that has `Ombra::ValueTraits`. Its
// place in the list is that of its `Ombra::typeDataOf`.
namespace Zet {

namespace Impl {

template <typename T>
LOAM_HIDDEN inline constexpr bool isClass = std::derived_from<T, Ombra::Node>;

template <typename T>
constexpr std::span<FieldSpec const> linesOf() {
    if constexpr (isClass<T>) {
        return Described<T>::fields;
    } else {
        return {};
    }
}

template <typename T>
constexpr ConstructorSpec constructorOf() {
    if constexpr (requires { Described<T>::constructor; }) {
        return Described<T>::constructor;
    } else {
        return notConstructed;
    }
}

template <typename T>
LOAM_HIDDEN inline constinit void const* foundClass = nullptr;

template <typename T>
LOAM_HIDDEN inline constexpr Ombra::GenericIf genericIfOf = [] {
    using HideMe = Ombra::HideMe<T>;
    Ombra::GenericIf generic{};
    generic.inspectOperation = HideMe::inspectOperation;
    if constexpr (requires { Described<T>::constructor; }) {
        generic.constructFromCtorArgs = HideMe::genericIfConstructFromCtorArgs;
        generic.ctorArgumentTypes = Described<T>::constructor.argumentTypes.data();
    }
    generic.iterator = HideMe::genericIfIterator;
    generic.pointerType = Ombra::valueTypeOf<Ombra::Ptr<T>>;
    generic.found = &foundClass<T>;
    return generic;
}();

// The next of a list of argument names; takes it off the list.
constexpr std::string_view nextArgument(std::string_view& list) {
    auto const end = list.find(", ");
    auto const name = list.substr(0, end);
    list = end == list.npos ? std::string_view{} : list.substr(end + 2);
    return name;
}

constexpr std::size_t argumentCount(std::string_view list) {
    std::size_t count = 0;
    while (!list.empty()) {
        nextArgument(list);
        ++count;
    }
    return count;
}

constexpr std::string_view withoutMark(std::string_view name) {
    return name.ends_with('?') || name.ends_with('!') ? name.substr(0, name.size() - 1) : name;
}

} // namespace Impl

template <typename... Ts>
class ModuleTables {
    static constexpr auto lines = [] {
        constexpr std::size_t count = (0 + ... + Impl::linesOf<Ts>().size());
        std::array<FieldSpec, count> all{};
        std::size_t i = 0;
        (std::ranges::for_each(Impl::linesOf<Ts>(), [&](auto const& each) { all[i++] = each; }),
         ...);
        return all;
    }();
    static constexpr std::array<ConstructorSpec, sizeof...(Ts)> constructors{
        Impl::constructorOf<Ts>()...};

    struct Sizes {
        std::size_t fields = 0;
        std::size_t arguments = 0;
        std::size_t nameBytes = 0;
    };
    static constexpr Sizes sizes = [] {
        Sizes all;
        auto const addArguments = [&](std::string_view list, std::size_t types) {
            if (Impl::argumentCount(list) != types) {
                throw "a list of argument names is not as long as the function's list";
            }
            all.arguments += types;
            while (!list.empty()) {
                all.nameBytes += Impl::withoutMark(Impl::nextArgument(list)).size() + 1;
            }
        };
        for (FieldSpec const& each : lines) {
            if (!each.name.empty()) {
                ++all.fields;
                all.nameBytes += each.name.size() + 1;
                addArguments(each.arguments, each.argumentTypes.size());
            }
        }
        for (ConstructorSpec const& each : constructors) {
            addArguments(each.arguments, each.argumentTypes.size());
        }
        return all;
    }();

    struct Built {
        std::array<Ombra::TypeRecord, sizeof...(Ts)> types{};
        std::array<Ombra::FieldRecord, sizes.fields> fields{};
        std::array<Ombra::FieldCode, sizes.fields> codes{};
        std::array<Ombra::ArgumentRecord, sizes.arguments> arguments{};
        std::array<char, sizes.nameBytes> names{};
        std::array<Ombra::TypeData, sizes.fields + sizes.arguments> references{};
        std::size_t argumentCount = 0;
        std::size_t nameBytes = 0;
        std::size_t referenceCount = 0;

        constexpr std::uint16_t nameIs(std::string_view name) {
            auto const place = static_cast<std::uint16_t>(nameBytes);
            std::ranges::copy(name, names.begin() + static_cast<std::ptrdiff_t>(nameBytes));
            nameBytes += name.size() + 1;
            return place;
        }

        constexpr std::int16_t typeIs(Ombra::ValueType const& type) {
            if (type.builtin != 0) {
                return type.builtin;
            }
            for (std::size_t i = 0; i < referenceCount; ++i) {
                if (references[i] == type.type) {
                    return static_cast<std::int16_t>(i + 1);
                }
            }
            references[referenceCount++] = type.type;
            return static_cast<std::int16_t>(referenceCount);
        }

        constexpr void argumentsAre(std::string_view list,
                                    std::span<Ombra::ValueType const* const> argumentTypes) {
            for (auto const* type : argumentTypes) {
                auto const name = Impl::nextArgument(list);
                std::uint16_t const flags = name.ends_with('?')   ? Ombra::ArgumentFlag::optional
                                            : name.ends_with('!') ? Ombra::ArgumentFlag::nonNull
                                                                  : 0;
                arguments[argumentCount++] = {nameIs(Impl::withoutMark(name)), typeIs(*type),
                                              flags};
            }
        }
    };

    template <typename T>
    static constexpr void add(Built& built, std::size_t index, std::size_t& field) {
        Ombra::TypeRecord& type = built.types[index];
        type.firstField = static_cast<std::uint16_t>(field);
        for (FieldSpec const& line : Impl::linesOf<T>()) {
            if (line.name.empty()) {
                continue;
            }
            auto const firstArgument = static_cast<std::uint16_t>(built.argumentCount);
            built.argumentsAre(line.arguments, line.argumentTypes);
            built.fields[field] = {line.number,
                                   line.flags,
                                   built.nameIs(line.name),
                                   built.typeIs(*line.code.type),
                                   line.storage,
                                   firstArgument,
                                   static_cast<std::uint16_t>(line.argumentTypes.size())};
            built.codes[field] = line.code;
            built.codes[field].argumentTypes = line.argumentTypes.data();
            ++field;
        }
        type.fieldCount = static_cast<std::uint16_t>(field - type.firstField);
        if constexpr (Impl::isClass<T>) {
            type.firstArgument = static_cast<std::uint16_t>(built.argumentCount);
            built.argumentsAre(constructors[index].arguments, constructors[index].argumentTypes);
            type.argumentCount =
                static_cast<std::uint16_t>(constructors[index].argumentTypes.size());
            type.base = Ombra::typeDataOf<typename Described<T>::Base>;
            type.generic = &Impl::genericIfOf<T>;
            type.doc = Described<T>::doc;
        } else {
            type.value = Ombra::valueTypeOf<T>;
            type.doc = Ombra::ValueTraits<T>::doc;
        }
    }

    static constexpr Built tables = [] {
        Built result;
        std::size_t index = 0;
        std::size_t field = 0;
        (add<Ts>(result, index++, field), ...);
        return result;
    }();

    static constexpr std::array<std::string_view, sizeof...(Ts)> typeNames{
        Ombra::typeNameOf<Ts>...};

  public:
    static constexpr Ombra::ModuleInspectData module(std::string_view name) {
        return {name,
                typeNames,
                tables.types,
                tables.fields,
                tables.codes,
                tables.arguments,
                {tables.names.data(), tables.names.size()},
                std::span{tables.references}.first(tables.referenceCount)};
    }
};

} // namespace Zet
