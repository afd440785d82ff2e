#include <Ombra/WriteAll.h>

#include <fmt/format.h>

#include <apps/hw/AtomicFile.h>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace LoamHw {

namespace {

constexpr std::size_t maxFileBytes = 1U << 20;

std::string trouble(std::string const& path, char const* what, int error) {
    return fmt::format("{}: can't be {}: {}", path, what, std::strerror(error));
}

} // namespace

std::string writeAtomically(std::string const& path, std::string_view text) {
    std::string const fresh = path + ".new";
    ::unlink(fresh.c_str()); // of one that died on the way; a link is not followed but removed
    int const fd =
        ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        return trouble(path, "written", errno);
    }
    bool const written = Ombra::writeAll(fd, text);
    int const error = errno;
    ::close(fd);
    if (!written) {
        ::unlink(fresh.c_str());
        return trouble(path, "written", error);
    }
    if (::rename(fresh.c_str(), path.c_str()) != 0) {
        return trouble(path, "replaced", errno);
    }
    return {};
}

bool readFile(std::string const& path, std::string& text, std::string& why) {
    why.clear();
    text.clear();
    int const fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        why = errno == ENOENT ? std::string{} : trouble(path, "read", errno);
        return false;
    }
    std::array<char, 4096> buffer{};
    for (;;) {
        auto const count = ::read(fd, buffer.data(), buffer.size());
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        if (count <= 0 || text.size() > maxFileBytes) {
            why = count < 0                    ? trouble(path, "read", errno)
                  : text.size() > maxFileBytes ? path + ": is larger than 1 MiB"
                                               : std::string{};
            ::close(fd);
            return why.empty();
        }
    }
}

} // namespace LoamHw
