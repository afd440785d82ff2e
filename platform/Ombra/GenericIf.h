#pragma once

#include <Ombra/FieldDescriptor.h>
#include <Ombra/ModuleInspectData.h>
#include <Ombra/ValueType.h>

#include <cstdint>

// What the generated functions of a class are called with, and where they stand.
namespace Ombra {

// What `inspectOperation` is asked to do.
namespace InspectOp {
inline constexpr unsigned char read = 0;  // an attribute, or the element of `key`
inline constexpr unsigned char write = 1; // a value, a pointer's constructor arguments, an element
inline constexpr unsigned char del = 2;   // a pointer, or the element of `key`
inline constexpr unsigned char size = 3;
inline constexpr unsigned char otherCount = 4; // of a hash collection: its buckets
inline constexpr unsigned char has = 5; // a set: whether it has `key`; others: the element, if any
inline constexpr unsigned char front = 6;
inline constexpr unsigned char back = 7;
inline constexpr unsigned char enq = 8;
inline constexpr unsigned char deq = 9;
inline constexpr unsigned char call = 10;
} // namespace InspectOp

// What `inspectOperation` answers.
namespace InspectResult {
inline constexpr int done = 0;
inline constexpr int notAllowed = 1;   // the attribute does not allow that operation
inline constexpr int unknownField = 2; // the class has no field of that number
} // namespace InspectResult

// `inspectOperation`, and with the same arguments each field's share of it, so that the one jumps
// to the other.
//
// `object` is the object. `result` is raw memory in which the result is constructed; null drops a
// result that is not asked for. `key` and `value` point to values of the declared types, a plain
// pointer to a node standing as an `Ombra::Ptr`. To `call` and to write a pointer that is set by
// its constructor arguments, `value` is a `void* const*` with a pointer per argument, in order; for
// an optional argument that is left out, null.
using FieldOperation = int (*)(void* result, void* object, FieldDescriptor field, unsigned char op,
                               void* key, void* value);

// The methods of an iterator over one attribute. `obj` and `key` construct in `result`.
struct IteratorMethods {
    void* (*make)(void* object, void const* key); // null key: at the start
    bool (*nonnull)(void* iterator);
    void (*key)(void* iterator, void* result);
    void (*obj)(void* iterator, void* result);
    void (*inc)(void* iterator);
    void (*del)(void* iterator);
};

// Whether an operation may be called with these arguments now: null, or what stands against it.
// Asked by those who can't know, before they call what would stop the process.
using FieldCheck = char const* (*)(void* object, void* const* arguments);

// The code behind a field record.
struct FieldCode {
    ValueType const* type = nullptr;    // of the attribute or its elements; of the result
    ValueType const* key = nullptr;     // of a collection
    ValueType const* indexed = nullptr; // of a collection: what `has` gives
    ValueType const* const* argumentTypes = nullptr;
    FieldOperation operation = nullptr;
    IteratorMethods const* iterator = nullptr;
    FieldCheck check = nullptr;
    // Of a collection whose values bear their keys: constructs the key of a value in `key`.
    void (*keyOf)(void const* value, void* key) = nullptr;
    char const* doc = "";
    char const* otherName = nullptr; // a second name by which a look-up finds it
};

// The generated functions of a class (Zet/HideMe.h).
struct GenericIf {
    FieldOperation inspectOperation = nullptr;
    // Constructs an `Ombra::Ptr` to the new object in `result`. Null when the class is not made so.
    void (*constructFromCtorArgs)(void* result, void* const* args) = nullptr;
    ValueType const* const* ctorArgumentTypes = nullptr;
    void* (*iterator)(void* object, void** key, FieldDescriptor, void const** methods) = nullptr;
    ValueType const* pointerType = nullptr; // of an `Ombra::Ptr` to the class
    void const** found = nullptr; // where a reader of the tables keeps what it made of them
};

} // namespace Ombra
