#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/TypeData.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

// What code that does not know a type can do with its values: make, copy and destroy them in raw
// memory, show them, and read them from text.
//
// `Ombra::valueTypeOf<T>` is the description of `T` (ValueTypeOf.h). Descriptions are constant data
// and live as long as the library that holds them; one type may have a description in each library,
// so compare with `isSame` and not by address.
namespace Ombra {

enum class ValueKind : std::uint8_t {
    nothing,        // what an operation without a result gives
    boolean,        //
    unsignedNumber, // of 8, 16, 32 or 64 bits
    signedNumber,   //
    string,         // Ombra::String
    record,         // a plain value with a text of its own; opaque
    optional,       // std::optional of another type
    list,           // std::vector of another type
    pointer,        // Ombra::Ptr to a node, which may be null
    handler,        // a function that is called with a pointer to a node; may be empty
};

// A function that is called with some node.
using NodeHandler = std::function<void(Ptr<Node const> const&)>;

struct ValueType {
    ValueKind kind = ValueKind::nothing;
    bool constPointee = false;    // of a pointer: what it points to may not be changed through it
    std::int16_t builtin = 0;     // negative for a type that belongs to no module
    std::uint32_t sizeBytes = 0;  //
    std::uint32_t alignBytes = 1; //
    std::string_view name;        // of the type; of a pointer, of the class that it points to
    char const* expects = "";     // what `parse` takes, for a person
    TypeData type; // of a type of a module; of a pointer and a handler, the class of the node
    ValueType const* inner = nullptr; // of an optional and of a list

    void (*destroy)(void* value) = nullptr;             // null when there is nothing to do
    void (*copy)(void* to, void const* from) = nullptr; // constructs
    void (*move)(void* to, void* from) = nullptr;       // constructs, and destroys what was moved
    bool (*isEq)(void const* left, void const* right) = nullptr;
    void (*text)(void const* value, std::string& out) = nullptr; // appends
    void (*json)(void const* value, std::string& out) = nullptr; // appends

    // Constructs a value from what `text` or `json` gave; false, and nothing is made, when the text
    // is no value of the type. Null for a type whose values have no text that could be read.
    bool (*parse)(void* to, std::string_view text) = nullptr;

    // A type whose values are numbers, or stand for one. `fromNumber` is false when there is no
    // such value.
    std::uint64_t (*toNumber)(void const* value) = nullptr;
    bool (*fromNumber)(void* to, std::uint64_t number) = nullptr;

    // A record that is a key with bytes behind it.
    std::span<std::byte const> (*bytes)(void const* value) = nullptr;
    bool (*fromKeyAndBytes)(void* to, std::uint64_t key,
                            std::span<std::byte const> bytes) = nullptr;

    // Of an optional: the value, null without one. Of a list: the element, and how many there are.
    void const* (*element)(void const* value, std::size_t index) = nullptr;
    std::size_t (*count)(void const* value) = nullptr;

    // Of a pointer. `fromNode` is false when the node is of another class; a null node is a null
    // pointer.
    Node const* (*node)(void const* value) = nullptr;
    bool (*fromNode)(void* to, Node const* node) = nullptr;

    // Of a handler.
    void (*fromHandler)(void* to, NodeHandler handler) = nullptr;
};

// Whether both describe one type.
LOAM_EXPORT bool isSame(ValueType const& left, ValueType const& right) noexcept;

// Appends the text in double quotes, as JSON has it. Bytes that are no UTF-8 become U+FFFD.
LOAM_EXPORT void jsonString(std::string_view text, std::string& out);

namespace Impl {

// The text of a number from 0 to `most`, decimal or hexadecimal behind "0x", in double quotes or
// not. False when it is none.
LOAM_EXPORT bool parseNumber(std::string_view text, std::uint64_t most, std::uint64_t& number);
LOAM_EXPORT bool parseSigned(std::string_view text, std::int64_t& number);
LOAM_EXPORT bool parseBool(std::string_view text, bool& value);

// A text as it stands; one in double quotes as JSON reads it. False when such a one is no JSON.
LOAM_EXPORT bool parseString(std::string_view text, std::string& value);

// The bytes that a text of two hexadecimal digits each stands for, in double quotes or not. False
// when it is none, or has more bytes than there is room; what it does not reach is made zero.
LOAM_EXPORT bool parseHex(std::string_view text, std::span<std::byte> bytes);
LOAM_EXPORT void hexText(std::span<std::byte const> bytes, std::string& out);

// The value of one member of "{name: value, ...}" or of the same in JSON; an empty view when there
// is none. No value holds a comma or a brace.
LOAM_EXPORT std::string_view memberOf(std::string_view record, std::string_view name);

// How many members the record has; -1 when the text is no record.
LOAM_EXPORT int memberCount(std::string_view record);

LOAM_EXPORT void nodeText(Node const* node, std::string_view className, std::string& out);

} // namespace Impl
} // namespace Ombra
