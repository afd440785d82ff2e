#include <fmt/format.h>

#include <Inspect/Call.h>
#include <Inspect/Object.h>

namespace Inspect {

namespace InspectOp = Ombra::InspectOp;
using Impl::fieldOf;
using Impl::nameOf;

namespace {

bool isKeyed(Attribute const& attribute) {
    return attribute.kind == AttributeKind::collection || attribute.kind == AttributeKind::set;
}

[[noreturn]] void throwNotAllowed(Attribute const& attribute, char const* what) {
    throw Error{Error::Code::notAllowed,
                fmt::format("{} is a {} and {}.", nameOf(attribute), textOf(attribute.kind), what)};
}

void allowIf(bool allowed, Attribute const& attribute, char const* what) {
    if (!allowed) {
        throwNotAllowed(attribute, what);
    }
}

// The value as one of the declared type; `room` holds it when it had to be made.
Value const& fitting(Value const& value, Ombra::ValueType const& type, Attribute const& attribute,
                     char const* role, Value& room) {
    if (value.is(type)) {
        return value;
    }
    return room = value.as(type, fmt::format("{} {}", role, nameOf(attribute)));
}

Value const& fittingKey(Value const& key, Attribute const& attribute, Value& room) {
    allowIf(isKeyed(attribute), attribute, "has no keys");
    return fitting(key, *attribute.keyType, attribute, "The key of", room);
}

} // namespace

Object::Object(Ombra::Ptr<Ombra::Node> node, bool isConst, Ombra::TypeData knownAs)
    : node_{std::move(node)}, class_{node_ == nullptr ? nullptr : &Class::of(*node_, knownAs)},
      isConst_{isConst} {}

Class const& Object::throwNoObject() {
    throw Error{Error::Code::noObject, "Something was asked of an object where there is none."};
}

namespace {

Value valueOf(Ombra::Node* node, Attribute const& attribute, unsigned char op,
              Ombra::ValueType const& type, void const* key = nullptr) {
    return Value::make(type, [&](void* room) {
        attribute.code->operation(room, node, fieldOf(attribute), op, Impl::memoryOf(key), nullptr);
        return true;
    });
}

Value singleValueOf(Ombra::Node* node, Attribute const& attribute) {
    if (attribute.kind > AttributeKind::constructedPointer) [[unlikely]] {
        throwNotAllowed(attribute, "not a single value that could be read");
    }
    return valueOf(node, attribute, InspectOp::read, *attribute.type);
}

} // namespace

Value Object::read(Attribute const& attribute, unsigned char op, Ombra::ValueType const& type,
                   void const* key) const {
    return valueOf(node_.get(), attribute, op, type, key);
}

Value Object::get(std::string_view name) const {
    return singleValueOf(node_.get(), attribute(name));
}

Value Object::get(Attribute const& attribute) const {
    return singleValueOf(node_.get(), attribute);
}

Value Object::get(Attribute const& attribute, Value const& key) const {
    Value room;
    return read(attribute, InspectOp::read, *attribute.type,
                fittingKey(key, attribute, room).data());
}

void Object::mayChange(Attribute const& attribute) const {
    if (attribute.readOnly) {
        throw Error{Error::Code::readOnly, fmt::format("{} is read only.", nameOf(attribute))};
    }
    if (isConst_) {
        throw Error{Error::Code::readOnly,
                    fmt::format("{} can't be changed: the object was given for reading only.",
                                nameOf(attribute))};
    }
}

void Object::change(Attribute const& attribute, unsigned char op, void const* key,
                    void const* value) const {
    attribute.code->operation(nullptr, node_.get(), fieldOf(attribute), op, Impl::memoryOf(key),
                              Impl::memoryOf(value));
}

namespace {

void mayHold(Attribute const& attribute, Value const& value) {
    if (value.kind() == Ombra::ValueKind::pointer && value.type().node(value.data()) == nullptr &&
        (attribute.nonNull || attribute.keyInValue())) {
        throw Error{Error::Code::wrongValue,
                    fmt::format("{} can't hold none; expected an object of {}.", nameOf(attribute),
                                attribute.type->name)};
    }
}

} // namespace

void Object::set(Attribute const& attribute, Value const& value) const {
    if (attribute.kind == AttributeKind::set) {
        return set(attribute, value, Value{true});
    }
    bool const single =
        attribute.kind == AttributeKind::scalar || attribute.kind == AttributeKind::pointer;
    if (!single && !attribute.keyInValue()) {
        throwNotAllowed(attribute, attribute.kind == AttributeKind::collection
                                       ? "needs a key to set a value"
                                       : "can't be set to a value");
    }
    mayChange(attribute);
    Value room;
    Value const& fits = fitting(value, *attribute.type, attribute, "The value for", room);
    mayHold(attribute, fits);
    change(attribute, InspectOp::write, nullptr, fits.data());
}

void Object::set(Attribute const& attribute, Value const& key, Value const& value) const {
    Value keyRoom;
    Value const& fitsKey = fittingKey(key, attribute, keyRoom);
    mayChange(attribute);
    Value room;
    Value const& fits = fitting(value, *attribute.type, attribute, "The value for", room);
    mayHold(attribute, fits);
    if (attribute.keyInValue()) {
        Value const borne = Value::make(*attribute.keyType, [&](void* at) {
            attribute.code->keyOf(fits.data(), at);
            return true;
        });
        if (!(borne == fitsKey)) {
            throw Error{Error::Code::wrongValue,
                        fmt::format("The value for {} bears the key {} and was given for the key "
                                    "{}.",
                                    nameOf(attribute), borne.text(), fitsKey.text())};
        }
    }
    change(attribute, InspectOp::write, fitsKey.data(), fits.data());
}

Value Object::construct(std::string_view name, std::span<Value const> arguments) const {
    Attribute const& pointer = attribute(name);
    allowIf(pointer.kind == AttributeKind::constructedPointer, pointer,
            "not set by constructor arguments");
    mayChange(pointer);
    Impl::Arguments const converted{pointer, arguments};
    return Value::make(*pointer.type, [&](void* room) {
        pointer.code->operation(room, node_.get(), fieldOf(pointer), InspectOp::write, nullptr,
                                Impl::memoryOf(converted.pointers()));
        return true;
    });
}

bool Object::del(Attribute const& attribute, Value const& key) const {
    Value room;
    Value const& fits = fittingKey(key, attribute, room);
    mayChange(attribute);
    bool const was = has(attribute, fits);
    change(attribute, InspectOp::del, fits.data(), nullptr);
    return was;
}

Value Object::del(std::string_view name) const {
    Attribute const& pointer = attribute(name);
    allowIf(pointer.kind == AttributeKind::constructedPointer, pointer, "can't be cleared");
    mayChange(pointer);
    return read(pointer, InspectOp::del, *pointer.type);
}

std::uint32_t Object::count(Attribute const& attribute, unsigned char op) const {
    std::uint32_t result = 0;
    attribute.code->operation(&result, node_.get(), fieldOf(attribute), op, nullptr, nullptr);
    return result;
}

std::uint32_t Object::size(Attribute const& attribute) const {
    allowIf(isKeyed(attribute) || attribute.kind == AttributeKind::queue, attribute, "has no size");
    return count(attribute, InspectOp::size);
}

std::uint32_t Object::buckets(std::string_view name) const {
    Attribute const& collection = attribute(name);
    allowIf(isKeyed(collection), collection, "has no buckets");
    return count(collection, InspectOp::otherCount);
}

bool Object::has(Attribute const& attribute, Value const& key) const {
    Value room;
    void const* const fits = fittingKey(key, attribute, room).data();
    if (attribute.code->indexed->kind == Ombra::ValueKind::boolean) {
        return read(attribute, InspectOp::has, *attribute.code->indexed, fits).asBool();
    }
    Value const found = read(attribute, InspectOp::has, *attribute.code->indexed, fits);
    return found.kind() == Ombra::ValueKind::pointer ? found.type().node(found.data()) != nullptr
                                                     : found.count() != 0;
}

Value Object::front(std::string_view name) const {
    Attribute const& queue = attribute(name);
    allowIf(queue.kind == AttributeKind::queue, queue, "not a queue");
    return read(queue, InspectOp::front, *queue.type);
}

Value Object::back(std::string_view name) const {
    Attribute const& queue = attribute(name);
    allowIf(queue.kind == AttributeKind::queue, queue, "not a queue");
    return read(queue, InspectOp::back, *queue.type);
}

Value Object::deq(std::string_view name) const {
    Attribute const& queue = attribute(name);
    allowIf(queue.kind == AttributeKind::queue, queue, "not a queue");
    mayChange(queue);
    return read(queue, InspectOp::deq, *queue.type);
}

void Object::enq(std::string_view name, Value const& value) const {
    Attribute const& queue = attribute(name);
    allowIf(queue.kind == AttributeKind::queue, queue, "not a queue");
    mayChange(queue);
    Value room;
    Value const& fits = fitting(value, *queue.type, queue, "The value for", room);
    mayHold(queue, fits);
    change(queue, InspectOp::enq, nullptr, fits.data());
}

Value Object::call(Attribute const& attribute, std::span<Value const> arguments) const {
    if (isConst_ && !attribute.constant && attribute.kind == AttributeKind::operation) {
        throw Error{Error::Code::readOnly,
                    fmt::format("{} can't be called: the object was given for reading only.",
                                nameOf(attribute))};
    }
    return Impl::call(node_.get(), attribute, arguments);
}

Iterator Object::iterate(Attribute const& attribute) const {
    allowIf(attribute.code->iterator != nullptr, attribute, "has nothing to iterate over");
    return Iterator{node_, attribute, nullptr};
}

Iterator Object::iterate(Attribute const& attribute, Value const& key) const {
    Value room;
    return Iterator{node_, attribute, fittingKey(key, attribute, room).data()};
}

} // namespace Inspect
