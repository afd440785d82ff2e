#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>
#include <RingScribe/FileException.h>
#include <RingScribe/RingBuf.h>

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

// One ring file, open for writing, and the table of the messages that are described in it.
//
// The file is made anew, mode 0600, whole and with all its memory taken, so that a full file system
// is an exception here and never a signal later. A ring file that a former process left at the path
// is kept beside it, as PATH.old; anything else at the path is refused, and so is a ring that a
// live process writes: a lock of the open file, which the kernel drops when the writer dies, tells.
//
// The content outlives the process. Used by one thread at a time.
namespace RingScribe {

class LOAM_EXPORT TraceFile {
  public:
    // `sizeBytes` is that of the file; it is rounded down to whole blocks, and a size without room
    // for four of them, or above 1 GiB, is refused. Throws `FileException`.
    TraceFile(Ombra::String path, std::size_t sizeBytes);
    TraceFile(TraceFile const&) = delete;
    TraceFile& operator=(TraceFile const&) = delete;
    ~TraceFile();

    Ombra::String const& path() const noexcept { return path_; }
    RingBuf& ringBuf() noexcept { return ringBuf_; }

    // Whether the message's description stands in this file. Asserts "msgId_ >= 0".
    bool msgIsInitialized(int msgId_) const noexcept {
        if (msgId_ < 0) [[unlikely]] {
            msgIdIsNegative();
        }
        auto const index = static_cast<std::size_t>(msgId_);
        return msgId_ != 0 && index < initializedMsgs_.size() && initializedMsgs_[index] != 0;
    }

    struct Description {
        std::string_view file;
        int line;
        std::string_view className;
        std::string_view function;
        std::string_view text;
        std::string_view format; // a character per argument
    };

    // Puts the description into the file and marks the message as initialised. When the description
    // area is full, the message is marked all the same, so that it is not tried again and again;
    // its arguments are then written, and readers show them without a text.
    void describe(int msgId, Description const& description);

  private:
    [[noreturn]] static void msgIdIsNegative() noexcept;
    bool append(int msgId, Description const& description);
    Layout::Superblock& superblock() noexcept;

    Ombra::String path_;
    int fd_;
    std::span<std::byte> map_;
    RingBuf ringBuf_;
    std::vector<unsigned char> initializedMsgs_; // a byte per message number
};

} // namespace RingScribe
