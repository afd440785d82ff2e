#include <RingScribe/FileException.h>
#include <RingScribe/Layout.h>
#include <RingScribe/OpenFile.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace RingScribe {

namespace {

[[noreturn]] void refuse(Ombra::String const& path, std::string_view reason) {
    throw FileException{fmt::format("Ring file {}: {}", path, reason)};
}

class Descriptor {
  public:
    explicit Descriptor(int fd) noexcept : fd_{fd} {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    int get() const noexcept { return fd_; }
    int release() noexcept { return std::exchange(fd_, -1); }

  private:
    int fd_;
};

// The lock belongs to the open file, not to the process: it ends with the last descriptor of it.
bool lockForWriting(int fd) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return ::fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

enum class Content { none, ring, foreign };

// A file whose superblock page is all zero, or that is empty, was left by a process that died while
// it made it.
Content contentOf(int fd) {
    std::array<char, Layout::superblockBytes> page{};
    auto const got = ::pread(fd, page.data(), page.size(), 0);
    if (got < 0) {
        return Content::foreign;
    }
    auto const end = page.begin() + got;
    if (std::all_of(page.begin(), end, [](char c) { return c == 0; })) {
        return Content::none;
    }
    auto const isRing = static_cast<std::size_t>(got) >= sizeof Layout::magic &&
                        std::memcmp(page.data(), Layout::magic, sizeof Layout::magic) == 0;
    return isRing ? Content::ring : Content::foreign;
}

bool isSameFile(int fd, Ombra::String const& path) {
    struct stat byDescriptor {};
    struct stat byPath {};
    return ::fstat(fd, &byDescriptor) == 0 && ::lstat(path.c_str(), &byPath) == 0 &&
           byDescriptor.st_dev == byPath.st_dev && byDescriptor.st_ino == byPath.st_ino;
}

// What `O_NOFOLLOW` and the rest may say, in words of what to do.
[[noreturn]] void refuseOpen(Ombra::String const& path, int error) {
    switch (error) {
    case ELOOP:
        refuse(path,
               "is a symbolic link, which is not followed. Remove it or choose another path.");
    case ENOENT:
        refuse(path, "its folder does not exist. Make the folder or choose another path.");
    default:
        refuse(path,
               fmt::format("can't be opened: {}. Check the folder's owner and mode, or choose "
                           "another path.",
                           std::strerror(error)));
    }
}

// Moves a former ring aside. The path is free afterwards, unless another process was faster.
void makeWay(Ombra::String const& path) {
    Descriptor const former{
        ::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY)};
    if (former.get() < 0) {
        if (errno == ENOENT) {
            return;
        }
        refuseOpen(path, errno);
    }
    struct stat state {};
    if (::fstat(former.get(), &state) != 0 || !S_ISREG(state.st_mode) ||
        state.st_uid != ::geteuid()) {
        refuse(path, "is there and is no regular file of this user. Remove it or choose another "
                     "path.");
    }
    auto const content = contentOf(former.get());
    if (content == Content::foreign) {
        refuse(path, "is there and is no ring file. Remove it or choose another path.");
    }
    if (!lockForWriting(former.get())) {
        refuse(path,
               "is being written by a live process. Stop that process or choose another path.");
    }
    if (!isSameFile(former.get(), path)) {
        return;
    }
    auto const aside = path + ".old";
    int const moved =
        content == Content::ring ? ::rename(path.c_str(), aside.c_str()) : ::unlink(path.c_str());
    if (moved != 0) {
        refuse(path, fmt::format("a former ring can't be moved to {}: {}. Remove it.", aside,
                                 std::strerror(errno)));
    }
}

void takeMemory(Ombra::String const& path, int fd, std::size_t sizeBytes) {
    int const error = ::posix_fallocate(fd, 0, static_cast<off_t>(sizeBytes));
    if (error != 0) {
        ::unlink(path.c_str());
        refuse(path, fmt::format("{} bytes can't be allocated: {}. Make room on the file system or "
                                 "ask for a smaller ring.",
                                 sizeBytes, std::strerror(error)));
    }
}

} // namespace

int makeFile(Ombra::String const& path, std::size_t sizeBytes) {
    constexpr int attempts = 3; // another process may make its file between our two steps
    for (int attempt = 0; attempt < attempts; ++attempt) {
        makeWay(path);
        Descriptor made{::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                               S_IRUSR | S_IWUSR)};
        if (made.get() < 0) {
            if (errno == EEXIST) {
                continue;
            }
            refuseOpen(path, errno);
        }
        if (!lockForWriting(made.get()) || !isSameFile(made.get(), path)) {
            continue;
        }
        takeMemory(path, made.get(), sizeBytes);
        return made.release();
    }
    refuse(path, "another process makes a ring at the same path. Choose another path.");
}

} // namespace RingScribe
