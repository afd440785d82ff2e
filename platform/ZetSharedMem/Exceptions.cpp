#include <ZetSharedMem/Exceptions.h>

namespace ZetSharedMem {

WriterExistsException::~WriterExistsException() = default;
UnsafePathException::~UnsafePathException() = default;
MountException::~MountException() = default;

} // namespace ZetSharedMem
