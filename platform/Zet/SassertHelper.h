#pragma once

#include <Ombra/Assert.h>
#include <Ombra/Export.h>

#include <sstream>
#include <string_view>

// The report of a broken invariant that has more to say than its expression.
//
// The helper is built around the expression, takes the message by `<<`, and gives both to standard
// error and to syslog when it is destroyed. It doesn't end the process: the assertion around it
// does, with the expression in double quotes followed by " == nullptr", which is how such failures
// are known. Use the macro:
//
//     ZET_SASSERT(alignment == 8, "alignment == 8", "Unsupported alignment: " << alignment);
//
// Nothing behind the condition is evaluated while the invariant holds.
namespace Zet {

class LOAM_EXPORT SassertHelper {
  public:
    // `expression` outlives the helper.
    explicit SassertHelper(std::string_view expression);
    SassertHelper(SassertHelper const&) = delete;
    SassertHelper& operator=(SassertHelper const&) = delete;
    ~SassertHelper();

    template <typename Value>
    SassertHelper& operator<<(Value const& value) {
        message_ << value;
        return *this;
    }

  private:
    std::string_view expression_;
    std::ostringstream message_;
};

} // namespace Zet

// `text` is a string literal: the expression as it is to be known.
#define ZET_SASSERT(condition, text, ...)                                                          \
    do {                                                                                           \
        if (!static_cast<bool>(condition)) [[unlikely]] {                                          \
            { Zet::SassertHelper{text} << __VA_ARGS__; }                                           \
            __assert_fail("\"" text "\" == nullptr", __FILE__, __LINE__,                           \
                          static_cast<char const*>(__func__));                                     \
        }                                                                                          \
    } while (false)
