#pragma once

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <unistd.h>

namespace Ombra {

// Writes the whole text, in as many calls as the kernel makes of it. False when one fails; errno
// tells why then, and how much was written stays open.
inline bool writeAll(int fd, std::string_view text) {
    while (!text.empty()) {
        auto const written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace Ombra
