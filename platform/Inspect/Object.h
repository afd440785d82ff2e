#pragma once

#include <Ombra/Node.h>
#include <Ombra/Ptr.h>

#include <Inspect/Class.h>
#include <Inspect/Iterator.h>
#include <Inspect/Value.h>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <type_traits>

// An object of some class, held by a counted pointer, and driven by the names of its attributes.
//
//     Inspect::Object table{swTable};
//     auto handle = table.call("entryWrite", {Inspect::Value{42U}, entry, Inspect::Value{}});
//     handle.asObject().get("entryState").text();
//     table.size("transientAddEntry");
//     for (auto i = table.iterate("transientAddEntry"); i; i.next()) { i.key(); i.value(); }
//
// Whatever can't be done throws `Inspect::Error`, which names it and what there is instead; nothing
// has changed then. What the object's own operations throw passes through. An object that is const
// is read, and its const operations are called. Attributes are named, or given as `Attribute` by
// those who look them up once.
//
// Used on the thread of the object.
namespace Inspect {

class LOAM_EXPORT Object {
  public:
    Object() noexcept = default; // no object
    // `knownAs` is the class when the object's own has no description.
    template <typename T>
    requires std::derived_from<T, Ombra::Node>
    explicit Object(Ombra::Ptr<T> const& node, Ombra::TypeData knownAs = {})
        : Object{Ombra::Ptr<Ombra::Node>{const_cast<std::remove_const_t<T>*>(node.get())},
                 std::is_const_v<T>, knownAs} {}

    explicit operator bool() const noexcept { return node_ != nullptr; }
    Ombra::Ptr<Ombra::Node> const& node() const noexcept { return node_; }
    bool isConst() const noexcept { return isConst_; }
    Class const& cls() const { return class_ == nullptr ? throwNoObject() : *class_; }

    Attribute const& attribute(std::string_view name) const { return cls().attribute(name); }
    Attribute const& attribute(std::uint16_t number) const { return cls().attribute(number); }

    // A single value, or the element of a key. An absent element is null, invalid or the default
    // entry, as the class says; ask `has`.
    Value get(std::string_view name) const;
    Value get(std::string_view name, Value const& key) const { return get(attribute(name), key); }
    Value get(Attribute const& attribute) const;
    Value get(Attribute const& attribute, Value const& key) const;

    // A single value; the element of a collection whose values bear their keys; a key of a set.
    void set(std::string_view name, Value const& value) const { set(attribute(name), value); }
    void set(Attribute const& attribute, Value const& value) const;
    // The element of a key; of a set, the key with true.
    void set(std::string_view name, Value const& key, Value const& value) const {
        set(attribute(name), key, value);
    }
    void set(Attribute const& attribute, Value const& key, Value const& value) const;
    // A pointer that is set by the constructor arguments of its object. Gives the object.
    Value construct(std::string_view name, std::span<Value const> arguments) const;

    // Deletes the element of a key, if there is one, and says whether there was.
    bool del(std::string_view name, Value const& key) const { return del(attribute(name), key); }
    bool del(Attribute const& attribute, Value const& key) const;
    // Clears a constructed pointer and gives what it was.
    Value del(std::string_view name) const;

    // Of a collection or the queue.
    std::uint32_t size(std::string_view name) const { return size(attribute(name)); }
    std::uint32_t size(Attribute const& attribute) const;
    std::uint32_t buckets(std::string_view name) const; // of a hash collection
    bool has(std::string_view name, Value const& key) const { return has(attribute(name), key); }
    bool has(Attribute const& attribute, Value const& key) const;

    // Of the queue; null when it is empty.
    Value front(std::string_view name) const;
    Value back(std::string_view name) const;
    Value deq(std::string_view name) const;
    void enq(std::string_view name, Value const& value) const;

    Value call(std::string_view name, std::initializer_list<Value> arguments = {}) const {
        return call(attribute(name), std::span{arguments.begin(), arguments.size()});
    }
    Value call(std::string_view name, std::span<Value const> arguments) const {
        return call(attribute(name), arguments);
    }
    Value call(Attribute const& attribute, std::span<Value const> arguments) const;

    // From the start, or from the element of a key; at the end when there is none.
    Iterator iterate(std::string_view name) const { return iterate(attribute(name)); }
    Iterator iterate(std::string_view name, Value const& key) const {
        return iterate(attribute(name), key);
    }
    Iterator iterate(Attribute const& attribute) const;
    Iterator iterate(Attribute const& attribute, Value const& key) const;

    friend bool operator==(Object const& left, Object const& right) noexcept {
        return left.node_ == right.node_;
    }

  private:
    Object(Ombra::Ptr<Ombra::Node> node, bool isConst, Ombra::TypeData knownAs);

    [[noreturn]] static Class const& throwNoObject();
    Value read(Attribute const& attribute, unsigned char op, Ombra::ValueType const& type,
               void const* key = nullptr) const;
    void change(Attribute const& attribute, unsigned char op, void const* key,
                void const* value) const;
    void mayChange(Attribute const& attribute) const;
    std::uint32_t count(Attribute const& attribute, unsigned char op) const;

    Ombra::Ptr<Ombra::Node> node_;
    Class const* class_ = nullptr;
    bool isConst_ = false;
};

} // namespace Inspect
