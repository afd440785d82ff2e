#pragma once

#include <Ombra/Export.h>
#include <Ombra/TypeData.h>

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

// The inspection module of one source unit: what code that knows none of its classes finds out
// about them. Constant data, made by the compiler from one description per class (Zet/Describe.h),
// and announced once, when the library is loaded; tools find it by name afterwards. Inspect/Class.h
// is the comfortable way to read it.
namespace Ombra {

struct ValueType;
struct FieldCode;
struct GenericIf;

// What a field is and what may be done with it.
namespace FieldFlag {
inline constexpr std::uint16_t readOnly = 0x0001;
inline constexpr std::uint16_t derived = 0x0002; // computed; has no storage
inline constexpr std::uint16_t pointer = 0x0004;
inline constexpr std::uint16_t constructed = 0x0008; // set by its object's constructor arguments
inline constexpr std::uint16_t collection = 0x0010;  // has keys
inline constexpr std::uint16_t set = 0x0020;         // a collection of keys alone
inline constexpr std::uint16_t queue = 0x0040;
inline constexpr std::uint16_t operation = 0x0080;
inline constexpr std::uint16_t notCallable = 0x0100; // an operation that is not called from here
inline constexpr std::uint16_t ofClass = 0x0200;     // an operation that needs no object
inline constexpr std::uint16_t constant = 0x0400;    // an operation that leaves its object alone
inline constexpr std::uint16_t nonNull = 0x0800;     // an attribute that can't hold null
inline constexpr std::uint16_t hazardous = 0x1000;   // careless use takes away what others stand on
} // namespace FieldFlag

namespace ArgumentFlag {
inline constexpr std::uint16_t optional = 0x0001;
inline constexpr std::uint16_t nonNull = 0x0002;
} // namespace ArgumentFlag

// An attribute or an operation. A type is an index: positive for a type of the module's reference
// table, from 1; negative for a built-in one (-18 `Ombra::String`, -13 `bool`, -9 an unsigned
// count, -4 nothing).
struct FieldRecord {
    std::uint16_t number;  // within the class
    std::uint16_t flags;   // of FieldFlag
    std::uint16_t name;    // where its name stands in the name table
    std::int16_t type;     // of the attribute or of its elements; of the operation's result
    std::uint16_t storage; // where in the object it is stored, in bytes; `notStored`
    std::uint16_t firstArgument;
    std::uint16_t argumentCount;

    static constexpr std::uint16_t notStored = 0xffff;
};

struct ArgumentRecord {
    std::uint16_t name;
    std::int16_t type;
    std::uint16_t flags; // of ArgumentFlag
};

// A class, or a value type.
struct TypeRecord {
    std::uint16_t firstField = 0;
    std::uint16_t fieldCount = 0;
    std::uint16_t firstArgument = 0; // of the constructor
    std::uint16_t argumentCount = 0;
    TypeData base;                      // the class that it derives from; null for none
    GenericIf const* generic = nullptr; // the generated functions of a class; null for a value
    ValueType const* value = nullptr;   // of a value; null for a class
    char const* doc = "";
};

struct LOAM_EXPORT ModuleInspectData {
    std::string_view name;
    std::span<std::string_view const> typeNames; // in the order that `TypeData::index` counts
    std::span<TypeRecord const> types = {};      // in the same order; empty when none is described
    std::span<FieldRecord const> fields = {};    // class by class, in the order of the numbers
    std::span<FieldCode const> codes = {};       // in the same order
    std::span<ArgumentRecord const> arguments = {};
    std::string_view names = {};               // of fields and arguments, each ended by a zero
    std::span<TypeData const> references = {}; // the types of modules that it refers to

    std::string_view nameAt(std::uint16_t place) const { return names.data() + place; }

    // Called at load, before any thread exists. The module lives to the end of the process.
    static void loaded(ModuleInspectData const& module);

    // All modules announced so far, in the order of their announcement.
    static std::vector<ModuleInspectData const*> const& all();

    // Null when no module of that name was announced.
    static ModuleInspectData const* find(std::string_view name);
};

} // namespace Ombra
