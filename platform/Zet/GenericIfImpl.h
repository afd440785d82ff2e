#pragma once

#include <Ombra/Exception.h>
#include <Ombra/Export.h>

#include <string_view>

namespace Zet {

// A value that its attribute can't hold was written through the inspection layer.
class LOAM_EXPORT BadAttributeValueException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~BadAttributeValueException() override;
};

// What the generated functions of all classes have in common.
struct LOAM_EXPORT GenericIfImpl {
    // A key was set to false in a set of that class: throws `BadAttributeValueException`.
    [[noreturn]] static void throwSetFalseValueException(std::string_view className);
};

} // namespace Zet
