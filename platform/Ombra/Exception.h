#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>

#include <exception>

// What the system throws. `msg` is a whole sentence for a person: it names the object, the value,
// what was expected and what to do.
namespace Ombra {

class LOAM_EXPORT Exception : public std::exception {
  public:
    explicit Exception(String message);
    ~Exception() override;

    String const& msg() const noexcept { return message_; }
    char const* what() const noexcept override;

  private:
    String message_;
};

// Shared memory was found inconsistent at a read. Readers catch it, report it to the map, and go on
// with the answer for "nothing there".
class LOAM_EXPORT CorruptionDetectedException : public Exception {
  public:
    using Exception::Exception;
    ~CorruptionDetectedException() override;
};

// A setter was given a null pointer where the attribute can't be null.
class LOAM_EXPORT NullPointerException : public Exception {
  public:
    using Exception::Exception;
    ~NullPointerException() override;
};

} // namespace Ombra
