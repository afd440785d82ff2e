#pragma once

#include <Inspect/Class.h>
#include <Inspect/Value.h>
#include <array>
#include <cstddef>
#include <span>

// How the class-independent side calls an operation: arguments checked against what it declares,
// and converted where they are of another type. What is checked is checked before anything happens.
namespace Inspect::Impl {

// A pointer per declared argument; null for an optional one that was left out. Throws `Error` when
// the arguments are not as declared. The given values must outlive it.
class Arguments {
  public:
    Arguments(Attribute const& operation, std::span<Value const> given);

    void* const* pointers() const noexcept { return pointers_.data(); }

  private:
    static constexpr std::size_t most = 8;

    std::array<void*, most> pointers_{};
    std::array<Value, most> converted_;
};

Value call(Ombra::Node* object, Attribute const& operation, std::span<Value const> arguments);

// Memory of a value, for the functions that take what they only read as plain pointers.
inline void* memoryOf(void const* value) noexcept {
    return const_cast<void*>(value);
}

inline Ombra::FieldDescriptor fieldOf(Attribute const& attribute) noexcept {
    return Ombra::FieldDescriptor{attribute.number};
}

// "transientAddEntry of Ipv4SystemPolicyTcamEntrySwTable"
std::string nameOf(Attribute const& attribute);

} // namespace Inspect::Impl
