#pragma once

#include <Ombra/Export.h>
#include <RingScribe/Layout.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

// The ring of one file, as its one writer sees it.
//
//     ring.startMsg(file, msgId);
//     if (ring.writePosIsUsable()) {
//         ring.store(unitId); // each argument in its native width
//     }
//     ring.endMsg();
//
// A message becomes visible as a whole, by the last store of `endMsg`; a process that dies before
// it leaves nothing. A message never spans two blocks: one that might not fit goes into the next
// block, whose former messages are lost with that. Nothing waits, allocates or calls the kernel
// beyond reading the clock.
//
// One thread writes. A message that is started while another is open (from a signal handler) finds
// the write position not usable and is dropped.
namespace RingScribe {

class TraceFile;

class LOAM_EXPORT RingBuf {
  public:
    // `blocks` is the mapped ring, a whole number of blocks, all zero or left by this ring alone.
    explicit RingBuf(std::span<std::byte> blocks) noexcept;
    RingBuf(RingBuf const&) = delete;
    RingBuf& operator=(RingBuf const&) = delete;

    void startMsg(TraceFile* file, int msgId) noexcept;
    void endMsg() noexcept;

    bool writePosIsUsable() const noexcept { return depth_ == 1; }

    // Puts `value` at the write position and moves on by its width. An argument for which the
    // message has no room left is dropped. Only while the write position is usable.
    template <typename Value>
    void store(Value const& value) noexcept {
        static_assert(std::is_trivially_copyable_v<Value>);
        if (static_cast<std::size_t>(writeEnd_ - writePos_) >= sizeof value) {
            std::memcpy(writePos_, &value, sizeof value);
            writePos_ += sizeof value;
        }
    }

  private:
    void blockBegin() noexcept;

    std::span<std::byte> blocks_;
    std::byte* msg_ = nullptr;      // where the open message begins, else the next one
    std::byte* blockEnd_ = nullptr; // of the current block
    std::byte* writePos_ = nullptr;
    std::byte* writeEnd_ = nullptr; // the open message's arguments end here at the latest
    std::uint64_t nextSequence_ = 1;
    std::uint64_t nextBlockNumber_ = 1;
    int depth_ = 0; // messages open; only the outermost is written
};

} // namespace RingScribe
