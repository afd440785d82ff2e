#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Ombra/ValueType.h>
#include <Ombra/ValueTypeOf.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

// A value of any described type, owned; what attributes give and take.
//
//     Inspect::Value key{std::uint64_t{42}};
//     Inspect::Value entry = Inspect::Value::parse(*attribute.type, "{key: 0x2a, fields: 0100}");
//     std::string const shown = entry.text();
//
// A value that is given where another type is declared is converted: a number to any type whose
// values numbers stand for, a text to any type that is read from text, an object to a pointer of
// its class or of a base, nothing to a null pointer, an empty handler or an empty optional. What
// does not fit is refused with the reason.
namespace Inspect {

class Object;

class LOAM_EXPORT Value {
  public:
    Value() noexcept = default; // nothing
    Value(bool value);
    Value(Ombra::String const& text);
    Value(char const* text) : Value{Ombra::String{text}} {}
    Value(std::string_view text) : Value{Ombra::String{text}} {}
    Value(Object const& object);
    Value(Ombra::NodeHandler const& handler);

    template <typename T>
    requires(std::is_unsigned_v<T> && !std::is_same_v<T, bool>) Value(T number)
        : Value{static_cast<std::uint64_t>(number), Number{}} {}

    // Of any type that has a description.
    template <typename T>
    static Value of(T const& value) {
        return make(*Ombra::valueTypeOf<T>, [&](void* room) {
            new (room) T(value);
            return true;
        });
    }

    // Throws `Error` when the text is none of that type.
    static Value parse(Ombra::ValueType const& type, std::string_view text);

    // A record that is a key with bytes behind it; throws `Error` when it is none, or the bytes are
    // not as many as it has.
    static Value record(Ombra::ValueType const& type, std::uint64_t key,
                        std::span<std::byte const> bytes);

    Value(Value const& other);
    Value(Value&& other) noexcept;
    Value& operator=(Value const& other);
    Value& operator=(Value&& other) noexcept;
    ~Value() { destroy(); }

    Ombra::ValueType const& type() const noexcept { return *type_; }
    Ombra::ValueKind kind() const noexcept { return type_->kind; }
    bool isNothing() const noexcept { return kind() == Ombra::ValueKind::nothing; }

    std::string text() const;
    std::string json() const;

    // The value, as what it is; each throws `Error` when it is something else.
    bool asBool() const;
    std::uint64_t asNumber() const; // of a type whose values stand for numbers
    std::string_view asString() const;
    Object asObject() const;                  // of a pointer; `Object{}` for a null one
    std::span<std::byte const> bytes() const; // behind the key of a record; valid while this lives

    bool hasNumber() const noexcept { return type_->toNumber != nullptr; }

    // Of an optional (0 or 1) and of a list.
    std::size_t count() const;
    Value element(std::size_t index) const;

    // The same value as one of that type. `what` tells in the error whose value it is.
    Value as(Ombra::ValueType const& type, std::string_view what) const;
    bool is(Ombra::ValueType const& type) const noexcept { return isSame(*type_, type); }

    // The value's memory, of `type().sizeBytes`.
    void const* data() const noexcept { return isLarge() ? large_ : room_; }

    friend LOAM_EXPORT bool operator==(Value const& left, Value const& right);

    // A value that `construct` makes in raw memory; nothing when it gives false.
    template <typename Construct>
    static Value make(Ombra::ValueType const& type, Construct&& construct) {
        Value value;
        Room room{value, type};
        if (construct(room.at)) {
            room.keep();
        }
        return value;
    }

  private:
    struct Number {};
    Value(std::uint64_t number, Number);

    static constexpr std::size_t roomBytes = 48;
    bool isLarge() const noexcept { return type_->sizeBytes > roomBytes; }
    void destroy() noexcept {
        if (type_->destroy != nullptr || isLarge()) {
            destroyHeld();
        }
        type_ = &Ombra::Impl::nothingType;
    }
    void destroyHeld() noexcept;

    // Memory for a value that is being constructed; given back unless the value is kept.
    struct Room {
        Room(Value& owner, Ombra::ValueType const& of)
            : value{owner}, type{of}, at{of.sizeBytes > roomBytes ? ::operator new(of.sizeBytes)
                                                                  : owner.room_} {}
        Room(Room const&) = delete;
        Room& operator=(Room const&) = delete;
        ~Room() {
            if (!kept && at != value.room_) {
                ::operator delete(at);
            }
        }
        void keep() noexcept {
            kept = true;
            value.type_ = &type;
            if (at != value.room_) {
                value.large_ = at;
            }
        }

        Value& value;
        Ombra::ValueType const& type;
        void* at;
        bool kept = false;
    };

    Ombra::ValueType const* type_ = &Ombra::Impl::nothingType;
    union {
        alignas(8) std::byte room_[roomBytes];
        void* large_;
    };
};

} // namespace Inspect
