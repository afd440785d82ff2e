#include <Orbis/LmdbStore.h>
#include <Orbis/StateFolder.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Orbis {

namespace {

// Room for the locks and the reader slots. All of it is taken when the store is made: LMDB writes
// into it through a map, which on a full file system would be a signal.
constexpr off_t lockFileBytes = 16384;

[[noreturn]] void refuse(std::string_view path, std::string_view reason) {
    throw StoreException{fmt::format("State store {}: {}", path, reason)};
}

[[noreturn]] void refuseErrno(std::string_view path, std::string_view action, int error) {
    refuse(path,
           fmt::format("can't be {}: {}. Check the owner, the mode and the room of the folder "
                       "above, or set another root.",
                       action, std::strerror(error)));
}

bool isFolderName(std::string_view name) {
    auto const isAllowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '_' || c == '-';
    };
    return !name.empty() && name.size() <= 100 && name.front() != '.' &&
           std::ranges::all_of(name, isAllowed);
}

bool exists(std::string const& path) {
    struct stat state {};
    return ::lstat(path.c_str(), &state) == 0;
}

// Makes the folder, or checks that the one that is there can be trusted: `forbidden` are the mode
// bits that it must not have.
void folderIs(std::string const& path, mode_t forbidden) {
    if (::mkdir(path.c_str(), S_IRWXU) == 0) {
        return;
    }
    if (errno != EEXIST) {
        refuseErrno(path, "made", errno);
    }
    struct stat state {};
    if (::lstat(path.c_str(), &state) != 0) {
        refuseErrno(path, "examined", errno);
    }
    if (!S_ISDIR(state.st_mode)) {
        refuse(path, "is no folder. Remove it or set another root.");
    }
    if (state.st_uid != ::geteuid()) {
        refuse(path,
               fmt::format("belongs to user {}, and this process runs as {}. Run as that user "
                           "or set another root.",
                           state.st_uid, ::geteuid()));
    }
    if ((state.st_mode & forbidden) != 0) {
        refuse(path, fmt::format("has the mode {:04o}, which lets others in. Set it to 0700.",
                                 state.st_mode & 07777));
    }
}

void checkFile(std::string const& path) {
    struct stat state {};
    if (::lstat(path.c_str(), &state) != 0) {
        refuse(path,
               fmt::format("can't be examined: {}. Move the folder away; a new store is made.",
                           std::strerror(errno)));
    }
    if (!S_ISREG(state.st_mode) || state.st_uid != ::geteuid()) {
        refuse(path, "is no regular file of this user. Move the folder away; a new store is made.");
    }
}

// Held while the environment is made. The kernel lets go of it when the process dies.
class FolderLock {
  public:
    explicit FolderLock(std::string const& path)
        : fd_{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)} {
        if (fd_ < 0) {
            refuseErrno(path, "opened", errno);
        }
        while (::flock(fd_, LOCK_EX) != 0) {
            if (errno != EINTR) {
                int const error = errno;
                ::close(fd_);
                refuseErrno(path, "locked", error);
            }
        }
    }
    FolderLock(FolderLock const&) = delete;
    FolderLock& operator=(FolderLock const&) = delete;
    ~FolderLock() { ::close(fd_); }

  private:
    int fd_;
};

void removeUnfinished(std::string const& folder) {
    ::unlink((folder + "/data.mdb").c_str());
    ::unlink((folder + "/lock.mdb").c_str());
    if (::rmdir(folder.c_str()) != 0 && errno != ENOENT) {
        refuseErrno(folder, "removed, which a process left unfinished", errno);
    }
}

void makeLockFile(std::string const& path) {
    int const fd =
        ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0) {
        refuseErrno(path, "made", errno);
    }
    int const error = ::posix_fallocate(fd, 0, lockFileBytes);
    ::close(fd);
    if (error != 0) {
        refuseErrno(path, "allocated", error);
    }
}

void makeEnvironment(std::string const& folder) {
    auto const unfinished = folder + ".new";
    removeUnfinished(unfinished);
    folderIs(unfinished, 0077);
    makeLockFile(unfinished + "/lock.mdb");
    ::mdb_env_close(openEnvironment(unfinished));
    if (::rename(unfinished.c_str(), folder.c_str()) != 0) {
        refuseErrno(folder, "made", errno);
    }
}

} // namespace

std::string stateFolder(Ombra::String const& root, Ombra::String const& name) {
    if (!isFolderName(name)) {
        refuse(fmt::format("of manager '{}'", name),
               "the name is no folder name. Use 1 to 100 letters, digits, '.', '_' and '-', and no "
               "'.' first.");
    }
    auto const mine = root.str() + "/" + name.str();
    auto folder = mine + "/.state";
    folderIs(root.str(), S_IWGRP | S_IWOTH);
    folderIs(mine, 0077);
    FolderLock const lock{mine};
    if (!exists(folder)) {
        makeEnvironment(folder);
    }
    folderIs(folder, 0077);
    checkFile(folder + "/data.mdb");
    checkFile(folder + "/lock.mdb");
    return std::filesystem::canonical(folder).string();
}

MDB_env* openEnvironment(std::string const& folder) {
    MDB_env* env = nullptr;
    if (int const code = ::mdb_env_create(&env); code != 0) {
        refuseState(folder, "open", code);
    }
    int code = ::mdb_env_set_mapsize(env, LmdbStore::mapBytes);
    if (code == 0) {
        code = ::mdb_env_open(env, folder.c_str(), MDB_NOSYNC | MDB_NOTLS, S_IRUSR | S_IWUSR);
    }
    if (code != 0) {
        ::mdb_env_close(env);
        refuseState(folder, "open", code);
    }
    return env;
}

void refuseState(std::string_view folder, std::string_view action, int code) {
    auto const because = [&]() -> std::string {
        switch (code) {
        case MDB_MAP_FULL:
            return fmt::format("its {} bytes are full. Remove entities that are not used any more.",
                               LmdbStore::mapBytes);
        case MDB_INVALID:
        case MDB_VERSION_MISMATCH:
        case MDB_CORRUPTED:
        case MDB_PAGE_NOTFOUND:
        case MDB_PANIC:
            return fmt::format("it is damaged, foreign, or of a process of another word size ({}). "
                               "Move the folder away; a new store is made.",
                               ::mdb_strerror(code));
        case MDB_READERS_FULL:
            return "too many processes read at once. Try again.";
        case ENOSPC:
            return "the file system is full. Make room on it.";
        default:
            return fmt::format("{}. Check the folder's owner, mode and room.",
                               ::mdb_strerror(code));
        }
    }();
    throw StoreException{fmt::format("State store {}: can't {}: {}", folder, action, because)};
}

} // namespace Orbis
