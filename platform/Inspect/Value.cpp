#include <Inspect/Error.h>
#include <Inspect/Object.h>
#include <Inspect/Value.h>
#include <cstring>

namespace Inspect {

using Ombra::ValueKind;
using Ombra::ValueType;

void Value::destroyHeld() noexcept {
    void* const at = const_cast<void*>(data());
    if (type_->destroy != nullptr) {
        type_->destroy(at);
    }
    if (isLarge()) {
        ::operator delete(at);
    }
    type_ = &Ombra::Impl::nothingType;
}

Value::Value(bool value) : Value{of(value)} {}
Value::Value(Ombra::String const& text) : Value{of(text)} {}
Value::Value(std::uint64_t number, Number) : Value{of(number)} {}
Value::Value(Ombra::NodeHandler const& handler) : Value{of(handler)} {}

Value::Value(Object const& object)
    : Value{object.isConst() ? of(Ombra::Ptr<Ombra::Node const>{object.node()})
                             : of(object.node())} {}

Value Value::parse(ValueType const& type, std::string_view text) {
    Value value = type.parse == nullptr
                      ? Value{}
                      : make(type, [&](void* room) { return type.parse(room, text); });
    if (value.isNothing()) {
        throw Error{Error::Code::wrongValue,
                    fmt::format("\"{}\" is no {}; expected {}.", text, type.name, type.expects)};
    }
    return value;
}

Value Value::record(ValueType const& type, std::uint64_t key, std::span<std::byte const> bytes) {
    Value value = type.fromKeyAndBytes == nullptr ? Value{} : make(type, [&](void* room) {
        return type.fromKeyAndBytes(room, key, bytes);
    });
    if (value.isNothing()) {
        throw Error{Error::Code::wrongValue,
                    fmt::format("The key {} with {} bytes is no {}; expected {}.", key,
                                bytes.size(), type.name, type.expects)};
    }
    return value;
}

Value::Value(Value const& other)
    : Value{make(*other.type_, [&](void* room) {
          other.type_->copy(room, other.data());
          return true;
      })} {}

Value::Value(Value&& other) noexcept : type_{other.type_} {
    if (isLarge()) {
        large_ = other.large_;
    } else {
        type_->move(room_, other.room_);
    }
    other.type_ = &Ombra::Impl::nothingType;
}

Value& Value::operator=(Value const& other) {
    return *this = Value{other};
}

Value& Value::operator=(Value&& other) noexcept {
    if (this != &other) {
        destroy();
        new (this) Value{std::move(other)};
    }
    return *this;
}

std::string Value::text() const {
    std::string out;
    type_->text(data(), out);
    return out;
}

std::string Value::json() const {
    std::string out;
    type_->json(data(), out);
    return out;
}

namespace {

[[noreturn]] void throwIsNo(Value const& value, char const* wanted) {
    throw Error{Error::Code::wrongValue, fmt::format("\"{}\" is of the type {}, and {} is needed.",
                                                     value.text(), value.type().name, wanted)};
}

} // namespace

bool Value::asBool() const {
    if (kind() != ValueKind::boolean) {
        throwIsNo(*this, "true or false");
    }
    return *static_cast<bool const*>(data());
}

std::uint64_t Value::asNumber() const {
    if (!hasNumber()) {
        throwIsNo(*this, "a number");
    }
    return type_->toNumber(data());
}

std::string_view Value::asString() const {
    if (kind() != ValueKind::string) {
        throwIsNo(*this, "a text");
    }
    return *static_cast<Ombra::String const*>(data());
}

Object Value::asObject() const {
    if (kind() != ValueKind::pointer) {
        throwIsNo(*this, "an object");
    }
    Ombra::Ptr<Ombra::Node const> const node{type_->node(data())};
    return type_->constPointee
               ? Object{node, type_->type}
               : Object{Ombra::Ptr<Ombra::Node>{const_cast<Ombra::Node*>(node.get())}, type_->type};
}

std::span<std::byte const> Value::bytes() const {
    if (type_->bytes == nullptr) {
        throwIsNo(*this, "a record with bytes");
    }
    return type_->bytes(data());
}

std::size_t Value::count() const {
    if (type_->count == nullptr) {
        throwIsNo(*this, "an optional or a list");
    }
    return type_->count(data());
}

Value Value::element(std::size_t index) const {
    if (index >= count()) {
        throw Error{Error::Code::wrongValue,
                    fmt::format("There is no element {}: there are {}.", index, count())};
    }
    return make(*type_->inner, [&](void* room) {
        type_->inner->copy(room, type_->element(data(), index));
        return true;
    });
}

Value Value::as(ValueType const& type, std::string_view what) const {
    if (is(type)) {
        return *this;
    }
    Value converted = make(type, [&](void* room) {
        if (type.kind == ValueKind::pointer && (kind() == ValueKind::pointer || isNothing())) {
            Ombra::Node const* const node = isNothing() ? nullptr : type_->node(data());
            bool const dropsConst = node != nullptr && type_->constPointee && !type.constPointee;
            return !dropsConst && type.fromNode(room, node);
        }
        if (type.kind == ValueKind::handler && (kind() == ValueKind::handler || isNothing())) {
            if (!isNothing() && !is(*Ombra::valueTypeOf<Ombra::NodeHandler>)) {
                return false; // of nodes of another class
            }
            type.fromHandler(room, isNothing() ? Ombra::NodeHandler{}
                                               : *static_cast<Ombra::NodeHandler const*>(data()));
            return true;
        }
        if (type.fromNumber != nullptr && kind() == ValueKind::unsignedNumber) {
            return type.fromNumber(room, type_->toNumber(data()));
        }
        return type.parse != nullptr && kind() == ValueKind::string && type.parse(room, asString());
    });
    if (converted.isNothing()) {
        throw Error{Error::Code::wrongValue,
                    fmt::format("{} is \"{}\", of the type {}{}; expected a {}: {}.", what, text(),
                                type_->constPointee ? "const " : "", type_->name, type.name,
                                type.expects)};
    }
    return converted;
}

bool operator==(Value const& left, Value const& right) {
    if (!left.is(right.type())) {
        return false;
    }
    auto* const isEq = left.type().isEq;
    return isEq != nullptr ? isEq(left.data(), right.data()) : left.data() == right.data();
}

} // namespace Inspect
