#include <Slate/Exceptions.h>
#include <ZetSharedMem/Exceptions.h>
#include <ZetSharedMem/OwnerFile.h>

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace ZetSharedMem {

namespace {

constexpr std::size_t lineBytes = 32;
constexpr char neverCompleted[] = "known=0";

std::string readLine(int fd) {
    std::array<char, lineBytes> line{};
    ssize_t const bytes = ::pread(fd, line.data(), line.size(), 0);
    return std::string{line.data(), bytes > 0 ? static_cast<std::size_t>(bytes) : 0};
}

std::string holder(int fd) {
    std::string const line = readLine(fd);
    auto const at = line.find("pid=");
    return at == std::string::npos ? "unknown"
                                   : line.substr(at + 4, line.find_first_of(" \n", at) - at - 4);
}

} // namespace

OwnerFile::OwnerFile(FileDescriptor file, std::string name)
    : file_{std::move(file)}, name_{std::move(name)} {}

OwnerFile OwnerFile::lock(FileDescriptor const& folder, std::string const& entry,
                          std::string const& name, std::string const& collection) {
    FileDescriptor file = openFile(folder, entry, name, true);
    if (!file) {
        try {
            file = createFile(folder, entry, name);
        } catch (UnsafePathException const&) {
            file = openFile(folder, entry, name, true); // another process was faster
        }
    }
    struct flock request {};
    request.l_type = F_WRLCK;
    request.l_whence = SEEK_SET;
    if (::fcntl(file.get(), F_OFD_SETLK, &request) != 0) {
        if (errno == EAGAIN || errno == EACCES) {
            throw WriterExistsException{
                fmt::format("{}: process {} writes this collection; stop that process first",
                            collection, holder(file.get()))};
        }
        throw MountException{fmt::format("{}: can't be locked: {}", name, std::strerror(errno))};
    }
    OwnerFile result{std::move(file), name};
    std::string const line = readLine(result.file_.get());
    result.knownIs(!line.empty() && line.find(neverCompleted) == std::string::npos);
    return result;
}

// One write of the whole line, which is all there is of the file.
void OwnerFile::knownIs(bool value) {
    std::string const line = fmt::format("known={} pid={:<18}\n", value ? 1 : 0, ::getpid());
    static_assert(lineBytes == 8 + 4 + 18 + 1 + 1);
    if (::pwrite(file_.get(), line.data(), line.size(), 0) != static_cast<ssize_t>(line.size())) {
        throw Slate::NoSpaceException{
            fmt::format("{}: writing {} bytes: {}", name_, line.size(), std::strerror(errno))};
    }
    known_ = value;
}

} // namespace ZetSharedMem
