#include <Slate/Exceptions.h>
#include <ZetSharedMem/Exceptions.h>
#include <ZetSharedMem/SafeFile.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ZetSharedMem {

namespace {

constexpr mode_t permissionBits = 07777;

[[noreturn]] void refuse(std::string const& name, std::string const& reason) {
    throw UnsafePathException{fmt::format("{}: {}", name, reason)};
}

// Another error than "unsafe": no room, no permission, a limit.
[[noreturn]] void fail(std::string const& name, char const* what) {
    int const error = errno;
    std::string const text = fmt::format("{}: {}: {}", name, what, std::strerror(error));
    if (error == ENOSPC || error == EDQUOT) {
        throw Slate::NoSpaceException{text};
    }
    if (error == ELOOP || error == ENOTDIR) {
        throw UnsafePathException{text + "; symbolic links are not followed here"};
    }
    throw MountException{text};
}

void checkOwner(std::string const& name, struct stat const& status) {
    if (status.st_uid != ::geteuid()) {
        refuse(name,
               fmt::format("it belongs to user {}, expected user {}; remove it or choose another "
                           "folder",
                           status.st_uid, ::geteuid()));
    }
}

void checkFolder(FileDescriptor const& folder, std::string const& name) {
    struct stat status {};
    if (::fstat(folder.get(), &status) != 0) {
        fail(name, "can't be looked at");
    }
    checkOwner(name, status);
    if ((status.st_mode & permissionBits) != 0700) {
        refuse(name,
               fmt::format("its mode is {:04o}, expected 0700; chmod 0700 it if its content can "
                           "be trusted",
                           status.st_mode & permissionBits));
    }
}

void checkFile(std::string const& name, struct stat const& status) {
    if (S_ISLNK(status.st_mode)) {
        refuse(name, "it is a symbolic link, expected a regular file");
    }
    if (!S_ISREG(status.st_mode)) {
        refuse(name, "it is no regular file; remove it");
    }
    checkOwner(name, status);
    if ((status.st_mode & permissionBits) != 0600) {
        refuse(name,
               fmt::format("its mode is {:04o}, expected 0600; chmod 0600 it if its content can "
                           "be trusted",
                           status.st_mode & permissionBits));
    }
    if (status.st_nlink != 1) {
        refuse(name, fmt::format("it has {} names, expected 1; remove the other hard links",
                                 status.st_nlink));
    }
}

// A folder that can't be opened. Where that is because another user was first, the owner is what
// the operator needs to know.
[[noreturn]] void failToOpen(int parent, std::string const& entry, std::string const& name) {
    int const error = errno;
    struct stat status {};
    if (error == EACCES && ::fstatat(parent, entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        checkOwner(name, status);
    }
    errno = error;
    fail(name, "the folder can't be opened");
}

FileDescriptor openOrMakeFolder(int parent, std::string const& entry, std::string const& name,
                                Missing missing) {
    int const flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor folder{::openat(parent, entry.c_str(), flags)};
    if (!folder && errno == ENOENT) {
        if (missing == Missing::accept) {
            return folder;
        }
        if (::mkdirat(parent, entry.c_str(), 0700) != 0 && errno != EEXIST) {
            fail(name, "the folder can't be made");
        }
        folder = FileDescriptor{::openat(parent, entry.c_str(), flags)};
    }
    if (!folder) {
        failToOpen(parent, entry, name);
    }
    checkFolder(folder, name);
    return folder;
}

} // namespace

FileDescriptor openRoot(std::string const& path, Missing missing) {
    auto const slash = path.find_last_of('/');
    std::string const parentPath = slash == 0 ? "/" : path.substr(0, slash);
    FileDescriptor const parent{::open(parentPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!parent) {
        if (errno == ENOENT && missing == Missing::accept) {
            return FileDescriptor{};
        }
        if (errno == ENOENT) {
            throw MountException{fmt::format(
                "{}: there is no such folder; make it, or choose another one for shared "
                "memory",
                parentPath)};
        }
        fail(parentPath, "the folder for shared memory can't be opened");
    }
    return openOrMakeFolder(parent.get(), path.substr(slash + 1), path, missing);
}

FileDescriptor openFolder(FileDescriptor const& parent, std::string const& entry,
                          std::string const& name, Missing missing) {
    return openOrMakeFolder(parent.get(), entry, name, missing);
}

FileDescriptor openFile(FileDescriptor const& folder, std::string const& entry,
                        std::string const& name, bool writable) {
    struct stat status {};
    if (::fstatat(folder.get(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        if (errno == ENOENT) {
            return FileDescriptor{};
        }
        fail(name, "can't be looked at");
    }
    checkFile(name, status); // before the open, which for a device or pipe is not without effect
    int const flags = (writable ? O_RDWR : O_RDONLY) | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    FileDescriptor file{::openat(folder.get(), entry.c_str(), flags)};
    if (!file) {
        fail(name, "can't be opened");
    }
    if (::fstat(file.get(), &status) != 0) {
        fail(name, "can't be looked at");
    }
    checkFile(name, status);
    return file;
}

FileDescriptor createFile(FileDescriptor const& folder, std::string const& entry,
                          std::string const& name) {
    int const flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor file{::openat(folder.get(), entry.c_str(), flags, 0600)};
    if (!file) {
        if (errno == EEXIST) {
            refuse(name, "something is there already, expected nothing");
        }
        fail(name, "the file can't be made");
    }
    if (::fchmod(file.get(), 0600) != 0) {
        fail(name, "its mode can't be set");
    }
    return file;
}

} // namespace ZetSharedMem
