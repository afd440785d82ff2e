#include <fmt/format.h>

#include <apps/policy/FileText.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace LoamPolicy {

namespace {

std::string tooLong(std::size_t maxSize) {
    return fmt::format("longer than {} bytes, the most that is read", maxSize);
}

} // namespace

FileText::FileText(std::filesystem::path const& path, std::size_t maxSize) : maxSize_(maxSize) {
    file_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file_ < 0) {
        failure_ =
            fmt::format("cannot be opened: {}; expected a policy file that this user can read",
                        std::strerror(errno));
        return;
    }
    struct stat info {};
    if (::fstat(file_, &info) != 0) {
        failure_ = fmt::format("cannot be examined: {}", std::strerror(errno));
    } else if (!S_ISREG(info.st_mode)) {
        failure_ = "not a regular file; expected a policy in JSON";
    } else if (static_cast<std::uintmax_t>(info.st_size) > maxSize) {
        failure_ = tooLong(maxSize);
    }
}

FileText::~FileText() {
    if (file_ >= 0) {
        ::close(file_);
    }
}

bool FileText::refill() {
    if (!failure_.empty()) {
        return false;
    }
    ssize_t size = 0;
    do {
        size = ::read(file_, block_.data(), block_.size());
    } while (size < 0 && errno == EINTR);
    if (size < 0) {
        failure_ = fmt::format("cannot be read: {}", std::strerror(errno));
        return false;
    }
    totalSize_ += static_cast<std::size_t>(size);
    if (totalSize_ > maxSize_) {
        failure_ = tooLong(maxSize_);
        return false;
    }
    next_ = block_.data();
    end_ = next_ + size;
    return size > 0;
}

} // namespace LoamPolicy
