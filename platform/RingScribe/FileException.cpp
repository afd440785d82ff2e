#include <RingScribe/FileException.h>

namespace RingScribe {

FileException::~FileException() = default;

} // namespace RingScribe
