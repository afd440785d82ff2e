#include <RingScribe/Checksum.h>
#include <RingScribe/Clock.h>
#include <RingScribe/RingBuf.h>

#include <atomic>

namespace RingScribe {

namespace {

// Keeps what is stored before it before what is stored after it, as far as the compiler goes: that
// is all that a process killed between two instructions can show. Readers on a machine that
// reorders stores are kept safe by the check words.
void storesInOrder() noexcept {
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void publish(std::uint32_t& check, std::uint32_t value) noexcept {
    std::atomic_ref{check}.store(value, std::memory_order_release);
}

void withdraw(std::uint32_t& check) noexcept {
    std::atomic_ref{check}.store(0, std::memory_order_release);
    storesInOrder();
}

} // namespace

RingBuf::RingBuf(std::span<std::byte> blocks) noexcept : blocks_{blocks} {}

void RingBuf::blockBegin() noexcept {
    auto const count = blocks_.size() / Layout::blockBytes;
    auto const place = static_cast<std::size_t>((nextBlockNumber_ - 1) % count);
    std::byte* const begin = blocks_.data() + place * Layout::blockBytes;
    auto& header = *reinterpret_cast<Layout::BlockHeader*>(begin);

    withdraw(header.check);
    header.place = static_cast<std::uint32_t>(place);
    header.number = nextBlockNumber_++;
    header.firstSequence = nextSequence_;
    header.wallOffsetNs = wallOffsetNs();
    publish(header.check, blockCheck(header));

    msg_ = begin + sizeof header;
    blockEnd_ = begin + Layout::blockBytes;
}

void RingBuf::startMsg(TraceFile*, int msgId) noexcept {
    if (++depth_ != 1) [[unlikely]] {
        return;
    }
    storesInOrder();
    if (static_cast<std::size_t>(blockEnd_ - msg_) < Layout::maxMsgBytes) [[unlikely]] {
        blockBegin();
    }
    auto& header = *reinterpret_cast<Layout::MsgHeader*>(msg_);
    withdraw(header.check);
    header.msgId = static_cast<std::uint16_t>(msgId);
    header.sequence = nextSequence_;
    header.monotonicNs = monotonicNs();
    writePos_ = msg_ + sizeof header;
    writeEnd_ = writePos_ + Layout::maxArgBytes;
}

void RingBuf::endMsg() noexcept {
    if (depth_ == 1) [[likely]] {
        auto& header = *reinterpret_cast<Layout::MsgHeader*>(msg_);
        std::byte* const arguments = msg_ + sizeof header;
        auto const argBytes = static_cast<std::size_t>(writePos_ - arguments);
        header.argBytes = static_cast<std::uint16_t>(argBytes);
        publish(header.check, msgCheck(header, arguments));
        msg_ = arguments + Layout::roundUp8(argBytes);
        ++nextSequence_;
        storesInOrder();
    }
    --depth_;
}

} // namespace RingScribe
