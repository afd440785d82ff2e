#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

// Calls when the content of a file may have changed: written in place, replaced by a rename, made
// anew, or led elsewhere by a symbolic link. The folder is watched, because a file that is replaced
// is another one; what happens to other files there leads to one look at ours and no more.
//
//     PolicyWatch watch{io, path, [] { ... }};    // from here on, on the loop's thread
//     watch.readNow();                            // the caller is about to read it anyway
//
// Somebody who writes a file writes more than once, so that the call comes when nothing has
// happened for a moment.
namespace LoamAgent {

class PolicyWatch {
  public:
    PolicyWatch(asio::io_context& io, std::string path, std::function<void()> changed);

    // Why changes are not seen; empty when they are.
    std::string const& trouble() const { return trouble_; }

    void readNow();

  private:
    // Which content it is; nothing while there is no file.
    struct Stamp {
        std::uint64_t device;
        std::uint64_t inode;
        std::uint64_t sizeBytes;
        std::int64_t seconds;
        std::int64_t nanoseconds;
        friend bool operator==(Stamp const&, Stamp const&) = default;
    };

    std::optional<Stamp> stampNow() const;
    void waitForEvents();
    void lookSoon();

    std::string path_;
    std::function<void()> changed_;
    std::string trouble_;
    std::optional<Stamp> stamp_;
    asio::posix::stream_descriptor events_;
    asio::steady_timer quiet_;
    std::array<std::byte, 4096> buffer_; // of events, whose content does not matter
};

} // namespace LoamAgent
