#include <Ombra/Exception.h>

namespace Ombra {

Exception::Exception(String message) : message_{std::move(message)} {}
Exception::~Exception() = default;

char const* Exception::what() const noexcept {
    return message_.c_str();
}

CorruptionDetectedException::~CorruptionDetectedException() = default;
NullPointerException::~NullPointerException() = default;

} // namespace Ombra
