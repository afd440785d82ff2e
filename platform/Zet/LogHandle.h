#pragma once

#include <Ombra/Duration.h>
#include <Ombra/Export.h>
#include <Zet/LogDescriptor.h>

#include <atomic>
#include <cstdint>
#include <vector>

// One place's right to raise one message of the structured log.
//
// A source unit makes its handles as static objects when its library is loaded; they are destroyed
// at exit. Each counts what was raised through it. Several handles may share a descriptor.
//
// The four values behind the descriptor belong to the form of the call and are kept as given. A
// duration of 0 stands for "never suppress", which is the only value in use: no message is ever
// held back, whatever the others say.
//
// Safe from every thread. Costs a few dozen bytes.
namespace Zet {

class LOAM_EXPORT LogHandle {
  public:
    // `descriptor` lives as long as the handle.
    LogHandle(LogDescriptor const* descriptor, Ombra::Duration interval, double rate,
              unsigned int first, unsigned int second);
    LogHandle(LogHandle const&) = delete;
    LogHandle& operator=(LogHandle const&) = delete;
    ~LogHandle();

    LogDescriptor const& descriptor() const noexcept { return *descriptor_; }
    Ombra::Duration interval() const noexcept { return interval_; }
    double rate() const noexcept { return rate_; }
    unsigned int first() const noexcept { return first_; }
    unsigned int second() const noexcept { return second_; }

    // How often this handle's message was raised.
    std::uint64_t raised() const noexcept { return raised_.load(std::memory_order_relaxed); }
    void raisedInc() noexcept { raised_.fetch_add(1, std::memory_order_relaxed); }

    struct State {
        LogDescriptor const* descriptor;
        std::uint64_t raised;
    };

    // Every handle that exists now, in the order of their making.
    static std::vector<State> all();

  private:
    LogDescriptor const* descriptor_;
    Ombra::Duration interval_;
    double rate_;
    unsigned int first_;
    unsigned int second_;
    std::atomic<std::uint64_t> raised_{0};
};

} // namespace Zet
