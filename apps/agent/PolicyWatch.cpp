#include <asio/buffer.hpp>
#include <fmt/format.h>

#include <apps/agent/PolicyWatch.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace LoamAgent {

namespace {

using namespace std::chrono_literals;

constexpr auto quietTime = 200ms;

} // namespace

PolicyWatch::PolicyWatch(asio::io_context& io, std::string path, std::function<void()> changed)
    : path_{std::move(path)}, changed_{std::move(changed)}, stamp_{stampNow()}, events_{io},
      quiet_{io} {
    auto folder = std::filesystem::path{path_}.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    int const file = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (file < 0 || ::inotify_add_watch(file, folder.c_str(),
                                        IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE |
                                            IN_ONLYDIR) < 0) {
        trouble_ = fmt::format("changes of the policy file are not seen by themselves, send SIGHUP "
                               "instead: {} can't be watched: {}",
                               folder.string(), std::strerror(errno));
        if (file >= 0) {
            ::close(file);
        }
        return;
    }
    events_.assign(file);
    waitForEvents();
}

void PolicyWatch::readNow() {
    stamp_ = stampNow();
}

std::optional<PolicyWatch::Stamp> PolicyWatch::stampNow() const {
    struct stat status {};
    if (::stat(path_.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return Stamp{status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
                 status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

void PolicyWatch::waitForEvents() {
    events_.async_read_some(asio::buffer(buffer_), [this](std::error_code error, std::size_t) {
        if (!error) {
            lookSoon();
            waitForEvents();
        }
    });
}

// A file that has gone is no policy: what is programmed stays, without a word.
void PolicyWatch::lookSoon() {
    quiet_.expires_after(quietTime);
    quiet_.async_wait([this](std::error_code error) {
        if (error) {
            return;
        }
        auto const now = stampNow();
        if (now && now != stamp_) {
            stamp_ = now;
            changed_();
        }
    });
}

} // namespace LoamAgent
