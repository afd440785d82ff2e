#pragma once

#include <Ombra/Exception.h>
#include <Ombra/Export.h>

namespace Inspect {

// What went wrong when something was asked of an object by name or number. The text names what was
// asked for and what was expected, and lists what there is. Nothing has changed.
class LOAM_EXPORT Error : public Ombra::Exception {
  public:
    enum class Code {
        unknownClass,     // or a name that is a plain value's
        unknownAttribute, //
        notAllowed,       // the attribute does not allow what was asked
        readOnly,         //
        wrongArguments,   // too few or too many
        wrongValue,       // of another type, or not in its range
        noObject,         // something was asked of none
        refused,          // it is allowed, and would do harm now
    };

    Error(Code code, Ombra::String message) : Exception{std::move(message)}, code_{code} {}
    ~Error() override;

    Code code() const noexcept { return code_; }

  private:
    Code code_;
};

} // namespace Inspect
