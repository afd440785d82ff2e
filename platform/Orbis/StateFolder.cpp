#include <Ombra/WriteAll.h>
#include <Orbis/StateFile.h>
#include <Orbis/StateFolder.h>
#include <Orbis/StoreException.h>

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

[[noreturn]] void refuseErrno(std::string_view path, std::string_view action, int error) {
    refuseState(path,
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
        refuseState(path, "is no folder. Remove it or set another root.");
    }
    if (state.st_uid != ::geteuid()) {
        refuseState(path,
                    fmt::format("belongs to user {}, and this process runs as {}. Run as that user "
                                "or set another root.",
                                state.st_uid, ::geteuid()));
    }
    if ((state.st_mode & forbidden) != 0) {
        refuseState(path, fmt::format("has the mode {:04o}, which lets others in. Set it to 0700.",
                                      state.st_mode & 07777));
    }
}

void removeUnfinished(std::string const& folder) {
    ::unlink((folder + "/" + stateFileName).c_str());
    if (::rmdir(folder.c_str()) != 0 && errno != ENOENT) {
        refuseErrno(folder, "removed, which a process left unfinished", errno);
    }
}

// Without entities. It takes its place by a rename when it is whole.
void makeFolder(std::string const& folder) {
    auto const unfinished = folder + ".new";
    removeUnfinished(unfinished);
    folderIs(unfinished, 0077);
    auto const path = unfinished + "/" + stateFileName;
    auto const text = stateTextOf({});
    Descriptor const file{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                 S_IRUSR | S_IWUSR)};
    if (!file) {
        refuseErrno(path, "made", errno);
    }
    if (!Ombra::writeAll(file.get(), text)) {
        refuseErrno(path, "written", errno);
    }
    if (::rename(unfinished.c_str(), folder.c_str()) != 0) {
        refuseErrno(folder, "made", errno);
    }
}

} // namespace

Descriptor::~Descriptor() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

FolderLock::FolderLock(std::string const& path)
    : folder_{::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)} {
    if (!folder_) {
        refuseErrno(path, "opened", errno);
    }
    while (::flock(folder_.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
            refuseErrno(path, "locked", errno);
        }
    }
}

std::string stateFolder(Ombra::String const& root, Ombra::String const& name) {
    if (!isFolderName(name)) {
        refuseState(
            fmt::format("of manager '{}'", name),
            "the name is no folder name. Use 1 to 100 letters, digits, '.', '_' and '-', and no "
            "'.' first.");
    }
    auto const mine = root.str() + "/" + name.str();
    auto folder = mine + "/.state";
    folderIs(root.str(), S_IWGRP | S_IWOTH);
    folderIs(mine, 0077);
    FolderLock const lock{mine};
    if (!exists(folder)) {
        makeFolder(folder);
    }
    folderIs(folder, 0077);
    return std::filesystem::canonical(folder).string();
}

void refuseState(std::string_view path, std::string_view reason) {
    throw StoreException{fmt::format("State store {}: {}", path, reason)};
}

} // namespace Orbis
