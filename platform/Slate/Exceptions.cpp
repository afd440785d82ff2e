#include <Slate/Exceptions.h>

namespace Slate {

FullException::~FullException() = default;
NoSpaceException::~NoSpaceException() = default;
BadFileException::~BadFileException() = default;
ReadOnlyException::~ReadOnlyException() = default;

} // namespace Slate
