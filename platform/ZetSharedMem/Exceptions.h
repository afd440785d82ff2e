#pragma once

#include <Ombra/Exception.h>
#include <Ombra/Export.h>

namespace ZetSharedMem {

// Another process writes this collection. The text names the file and the process.
class LOAM_EXPORT WriterExistsException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~WriterExistsException() override;
};

// A folder or file is not what this user made: a symbolic link, another kind of file, another
// owner, a mode that lets others in, a second hard link. Nothing was opened or changed.
class LOAM_EXPORT UnsafePathException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~UnsafePathException() override;
};

// An entity path or a type name that can't be mounted.
class LOAM_EXPORT MountException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~MountException() override;
};

} // namespace ZetSharedMem
