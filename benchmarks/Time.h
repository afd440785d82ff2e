#pragma once

#include <ctime>

// Time for benchmarks that measure by hand.
namespace bench {

inline double secondsOf(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Of this thread, so that whatever else runs on the machine stays out of it.
inline double threadSeconds() {
    return secondsOf(CLOCK_THREAD_CPUTIME_ID);
}

} // namespace bench
