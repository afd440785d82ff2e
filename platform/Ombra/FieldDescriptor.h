#pragma once

#include <Ombra/FieldId.h>

// Names an attribute or operation of a class to the generated functions of that class, by the
// number that it has there.
namespace Ombra {

class FieldDescriptor {
  public:
    constexpr explicit FieldDescriptor(FieldId number) noexcept : number_{number} {}
    constexpr explicit FieldDescriptor(std::uint16_t number) noexcept : number_{number} {}

    constexpr FieldId fieldId() const noexcept { return number_; }
    constexpr std::uint16_t number() const noexcept { return static_cast<std::uint16_t>(number_); }

    friend constexpr bool operator==(FieldDescriptor, FieldDescriptor) noexcept = default;

  private:
    FieldId number_;
};

} // namespace Ombra
