#pragma once

#include <Ombra/Exception.h>
#include <Ombra/Export.h>

// A ring file can't be made or read. The sentence names the file, the reason, and what to do.
namespace RingScribe {

class LOAM_EXPORT FileException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~FileException() override;
};

} // namespace RingScribe
