#pragma once

#include <cstdint>
#include <time.h>

namespace RingScribe {

inline std::int64_t clockNs(clockid_t clock) noexcept {
    timespec now{};
    ::clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// Never steps back, so that the differences of a ring's messages are true.
inline std::int64_t monotonicNs() noexcept {
    return clockNs(CLOCK_MONOTONIC);
}

// What turns monotonic time into time since 1970, UTC, as the system clock stands now.
inline std::int64_t wallOffsetNs() noexcept {
    return clockNs(CLOCK_REALTIME) - monotonicNs();
}

} // namespace RingScribe
