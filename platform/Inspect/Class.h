#pragma once

#include <Ombra/GenericIf.h>
#include <Ombra/ModuleInspectData.h>

#include <Inspect/Error.h>
#include <Inspect/Value.h>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Classes, their attributes and operations, as the inspection modules tell them: found by name or
// number, without knowing a class.
//
//     auto const& table = Inspect::Class::find("Ipv4SystemPolicyTcamEntrySwTable");
//     for (auto const& each : table.attributes()) { print(each.number, each.name, each.doc); }
//
// A class is read from its module at the first time that somebody asks for it, and kept to the end
// of the process. Used on one thread, the agent's.
namespace Inspect {

class Class;
class Object;

namespace Impl {

// A name's length, its first eight bytes and its last eight: all there is of a short one.
struct NameEnds {
    static constexpr std::size_t reach = 16;

    constexpr NameEnds() noexcept = default;
    explicit NameEnds(std::string_view name) noexcept : size{name.size()} {
        if (size >= 8) {
            std::memcpy(&first, name.data(), 8);
            std::memcpy(&last, name.data() + size - 8, 8);
        } else {
            for (char const each : name) {
                first = first << 8 | static_cast<unsigned char>(each);
            }
        }
    }

    std::uint64_t mixed(std::uint64_t multiplier) const noexcept {
        return ((first + (last << 7 | last >> 57)) * 0x9e3779b97f4a7c15U + size) * multiplier;
    }

    friend bool operator==(NameEnds const&, NameEnds const&) noexcept = default;

    std::uint64_t first = 0;
    std::uint64_t last = 0;
    std::size_t size = 0;
};

} // namespace Impl

enum class AttributeKind : std::uint8_t {
    scalar,
    pointer,
    constructedPointer, // set by the constructor arguments of its object, cleared by `del`
    collection,
    set,
    queue,
    operation,
};
LOAM_EXPORT std::string_view textOf(AttributeKind kind) noexcept;

struct Argument {
    std::string_view name;
    Ombra::ValueType const* type;
    bool optional; // may be left out; only the last one is
    bool nonNull;
};

// An attribute or an operation of a class.
struct LOAM_EXPORT Attribute {
    Class const* owner; // the class that declares it
    std::uint16_t number;
    AttributeKind kind;
    bool readOnly;
    bool callable;         // false for an operation that has a name and is not called from here
    bool ofClass;          // an operation that needs no object
    bool constant;         // an operation that leaves its object alone
    bool nonNull;          // null can't be written
    bool derived;          // computed when it is read
    bool hazardous;        // to change or call it carelessly takes away what others stand on
    std::uint16_t storage; // where in the object, in bytes; `Ombra::FieldRecord::notStored`
    std::string_view name;
    std::string_view otherName; // a second name; empty for none
    std::string_view doc;
    Ombra::ValueType const* type;        // of it or its elements; of the result of an operation
    Ombra::ValueType const* keyType;     // null when it has no keys
    std::span<Argument const> arguments; // of an operation, and of a constructed pointer
    Ombra::FieldCode const* code;

    bool keyInValue() const noexcept { return code->keyOf != nullptr; }

    // "entryWrite(key, entry, depEntryHandle, responseHandler?)"
    std::string signature() const;
};

class LOAM_EXPORT Class {
  public:
    // Each throws `Error`, with what there is, when there is none. `find` takes the name with or
    // without the namespace in front of it.
    static Class const& find(std::string_view name);
    static Class const& of(Ombra::TypeData type);

    // The class of the node, or, when that has no description, the class as which it is known.
    static Class const& of(Ombra::Node const& node, Ombra::TypeData knownAs = {});

    // Null when there is none.
    static Class const* maybeFind(std::string_view name);

    // All classes of all modules, in the order in which they were announced.
    static std::vector<Class const*> all();

    std::string_view name() const noexcept { return name_; }
    std::string_view moduleName() const noexcept { return module_; }
    std::string_view doc() const noexcept { return doc_; }
    Class const* base() const noexcept { return base_; } // null for none that is described
    bool derivesFrom(Class const& other) const noexcept; // or is it
    Ombra::ValueType const& pointerType() const noexcept { return *generic_->pointerType; }

    // With those of the bases, in the order of their numbers.
    std::span<Attribute const* const> attributes() const noexcept { return all_; }
    std::span<Attribute const> ownAttributes() const noexcept { return own_; }

    // Each throws `Error`, with the names there are, when there is none.
    Attribute const& attribute(std::string_view name) const {
        Attribute const* const found = maybeAttribute(name);
        return found == nullptr ? throwUnknown(name) : *found;
    }
    Attribute const& attribute(std::uint16_t number) const;

    Attribute const* maybeAttribute(std::string_view name) const noexcept {
        Impl::NameEnds const ends{name};
        Slot const& slot = slots_[static_cast<std::size_t>(ends.mixed(multiplier_) >> shift_)];
        bool const same =
            slot.ends == ends && (name.size() <= Impl::NameEnds::reach || slot.name == name);
        return same ? slot.attribute : nullptr;
    }
    Attribute const* maybeAttribute(std::uint16_t number) const noexcept {
        return number < byNumber_.size() ? byNumber_[number] : nullptr;
    }

    bool constructible() const noexcept { return generic_->constructFromCtorArgs != nullptr; }
    std::span<Argument const> constructorArguments() const noexcept { return constructor_; }

    // A new object. Throws `Error`, and what the constructor throws.
    Object construct(std::span<Value const> arguments) const;

    // Calls an operation that needs no object.
    Value call(std::string_view name, std::span<Value const> arguments) const;

    Class(Class const&) = delete;
    Class& operator=(Class const&) = delete;

  private:
    Class(Ombra::ModuleInspectData const& module, int index);
    static Class const& made(Ombra::ModuleInspectData const& module, int index);

    [[noreturn]] Attribute const& throwUnknown(std::string_view name) const;
    void makeOwn(Ombra::ModuleInspectData const& module, Ombra::TypeRecord const& type);
    void makeNames();

    std::string_view name_;
    std::string_view module_;
    std::string_view doc_;
    Class const* base_ = nullptr;
    Ombra::GenericIf const* generic_;
    std::vector<Argument> arguments_; // of all own operations, and of the constructor
    std::span<Argument const> constructor_;
    std::vector<Attribute> own_;
    std::vector<Attribute const*> all_;
    std::vector<Attribute const*> byNumber_;

    // A hash table without collisions: the multiplier was chosen so.
    struct Slot {
        Impl::NameEnds ends;
        std::string_view name;
        Attribute const* attribute = nullptr;
    };
    std::vector<Slot> slots_;
    std::uint64_t multiplier_ = 1;
    unsigned shift_ = 0;
};

} // namespace Inspect
