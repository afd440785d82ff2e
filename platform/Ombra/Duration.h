#pragma once

#include <chrono>
#include <cstdint>

// Lengths of time and points on the wall clock, in the standard library's own types. Nanoseconds in
// 64 bits reach from 1678 to 2262.
namespace Ombra {

using Duration = std::chrono::duration<std::int64_t, std::nano>;

// UTC, without leap seconds, as the system clock counts it.
using Time = std::chrono::time_point<std::chrono::system_clock, Duration>;

} // namespace Ombra
