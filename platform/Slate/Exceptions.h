#pragma once

#include <Ombra/Exception.h>
#include <Ombra/Export.h>

// What the store throws. Every text names the file, what was found, what was expected and, where a
// person can do something, what to do. Damage found by a read is an
// `Ombra::CorruptionDetectedException` and is not listed here.
namespace Slate {

// A new key does not fit: the collection holds as many records as its capacity. Nothing changed.
class LOAM_EXPORT FullException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~FullException() override;
};

// The file system has no room for the memory that a store needs. Nothing changed.
class LOAM_EXPORT NoSpaceException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~NoSpaceException() override;
};

// A file is no store, or not the store that was asked for.
class LOAM_EXPORT BadFileException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~BadFileException() override;
};

// A store or removal on a collection that this process may not change: mounted for reading, or
// closed.
class LOAM_EXPORT ReadOnlyException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~ReadOnlyException() override;
};

} // namespace Slate
