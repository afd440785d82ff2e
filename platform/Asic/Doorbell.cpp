#include <Asic/Doorbell.h>
#include <Ombra/Exception.h>
#include <ZetSharedMem/EntityManager.h>
#include <ZetSharedMem/FileTree.h>
#include <ZetSharedMem/SafeFile.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Asic {

namespace {

std::string folderName(Ombra::String const& managerName) {
    return fmt::format("{}/{}/doorbell", ZetSharedMem::root(), managerName);
}

[[noreturn]] void refuse(std::string const& path, char const* action, int error) {
    throw Ombra::Exception{fmt::format("{}: can't {} the doorbell: {} (the folder must be writable "
                                       "for this user and its file system not be full)",
                                       path, action, std::strerror(error))};
}

// A socket's address has room for some hundred bytes, a path may be longer: the socket is named
// through the open folder.
socklen_t addressIn(int folder, std::string const& name, sockaddr_un& address) noexcept {
    address = {};
    address.sun_family = AF_UNIX;
    int const length = std::snprintf(address.sun_path, sizeof address.sun_path,
                                     "/proc/self/fd/%d/%s", folder, name.c_str());
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) +
                                  static_cast<std::size_t>(length) + 1);
}

int openSocket(std::string const& path) {
    int const made = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (made < 0) {
        refuse(path, "open", errno);
    }
    return made;
}

// So that the whole of it fits into an address.
void checkDoorbellName(std::string const& name) {
    ZetSharedMem::checkName(name);
    if (constexpr std::size_t most = 64; name.size() > most) {
        throw Ombra::Exception{fmt::format("'{}': a doorbell's name has {} characters at most, "
                                           "this one has {}",
                                           name, most, name.size())};
    }
}

void closeIfOpen(int fd) noexcept {
    if (fd >= 0) {
        ::close(fd);
    }
}

// A number of its own, since the owning class closes what it is given.
int openDoorbellFolder(Ombra::String const& managerName) {
    using namespace ZetSharedMem;
    checkName(managerName.str());
    auto const name = folderName(managerName);
    auto const top = openRoot(root().str(), Missing::create);
    auto const manager =
        openFolder(top, managerName.str(), root().str() + "/" + managerName.str(), Missing::create);
    auto const folder = openFolder(manager, "doorbell", name, Missing::create);
    int const own = ::fcntl(folder.get(), F_DUPFD_CLOEXEC, 0);
    if (own < 0) {
        refuse(name, "open", errno);
    }
    return own;
}

} // namespace

DoorbellReceiver::DoorbellReceiver(Ombra::String const& managerName, Ombra::String const& name)
    : name_{name.str()} {
    checkDoorbellName(name_);
    auto const path = folderName(managerName) + "/" + name_;
    folder_ = openDoorbellFolder(managerName);
    try {
        socket_ = openSocket(path);
        sockaddr_un address;
        auto const length = addressIn(folder_, name_, address);
        ::unlinkat(folder_, name_.c_str(), 0);
        // The file takes its mode from the socket, so that it never has another.
        if (::fchmod(socket_, S_IRUSR | S_IWUSR) != 0 ||
            ::bind(socket_, reinterpret_cast<sockaddr const*>(&address), length) != 0) {
            refuse(path, "make", errno);
        }
        struct stat made = {};
        if (::fstatat(folder_, name_.c_str(), &made, AT_SYMLINK_NOFOLLOW) != 0) {
            refuse(path, "find", errno);
        }
        device_ = made.st_dev;
        inode_ = made.st_ino;
    } catch (...) {
        closeIfOpen(socket_);
        closeIfOpen(folder_);
        throw;
    }
}

DoorbellReceiver::~DoorbellReceiver() {
    struct stat present = {};
    if (::fstatat(folder_, name_.c_str(), &present, AT_SYMLINK_NOFOLLOW) == 0 &&
        present.st_dev == device_ && present.st_ino == inode_) {
        ::unlinkat(folder_, name_.c_str(), 0);
    }
    ::close(socket_);
    ::close(folder_);
}

bool DoorbellReceiver::drain() noexcept {
    bool any = false;
    char bytes[8];
    for (;;) {
        if (::recv(socket_, bytes, sizeof bytes, MSG_DONTWAIT) >= 0) {
            any = true;
        } else if (errno != EINTR) {
            return any;
        }
    }
}

DoorbellRinger::DoorbellRinger(Ombra::String const& managerName, Ombra::String const& name)
    : folderName_{folderName(managerName)}, name_{name.str()} {
    ZetSharedMem::checkName(managerName.str());
    checkDoorbellName(name_);
    socket_ = openSocket(folderName_ + "/" + name_);
}

DoorbellRinger::~DoorbellRinger() {
    closeIfOpen(socket_);
    closeIfOpen(folder_);
}

bool DoorbellRinger::send() noexcept {
    if (folder_ < 0) {
        folder_ = ::open(folderName_.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (folder_ < 0) {
            return false;
        }
    }
    sockaddr_un address;
    auto const length = addressIn(folder_, name_, address);
    return ::sendto(socket_, "", 1, MSG_DONTWAIT | MSG_NOSIGNAL,
                    reinterpret_cast<sockaddr const*>(&address), length) == 1;
}

bool DoorbellRinger::ring() noexcept {
    if (send()) {
        return true;
    }
    if (errno == EAGAIN || folder_ < 0) {
        return false;
    }
    // The folder itself may have been removed and made anew.
    ::close(folder_);
    folder_ = -1;
    return send();
}

} // namespace Asic
