#pragma once

#include <Slate/Mapping.h>

#include <string>

// Opening folders and files so that nobody but this user can have put them there.
//
// Every folder on the way is opened by itself, relative to the one before and without following
// symbolic links, and must belong to this user and be closed to others. A file must be a regular
// one of this user with mode 0600 and no second name. What is not so raises `UnsafePathException`,
// which names the path, what was found and what was expected.
namespace ZetSharedMem {

using Slate::FileDescriptor;

enum class Missing { create, accept };

// The folder at an absolute path: the parent is taken as the system has it, the folder itself must
// be this user's with mode 0700. Without it and with `accept`, the result is closed.
FileDescriptor openRoot(std::string const& path, Missing missing);

// A folder in `parent`; `name` is for messages.
FileDescriptor openFolder(FileDescriptor const& parent, std::string const& entry,
                          std::string const& name, Missing missing);

// An existing file in `folder`; closed when there is none.
FileDescriptor openFile(FileDescriptor const& folder, std::string const& entry,
                        std::string const& name, bool writable);

// A new file in `folder`, with mode 0600. Raises `UnsafePathException` when something is there.
FileDescriptor createFile(FileDescriptor const& folder, std::string const& entry,
                          std::string const& name);

} // namespace ZetSharedMem
