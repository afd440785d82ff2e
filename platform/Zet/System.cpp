#include <Zet/System.h>

#include <chrono>
#include <time.h>

namespace Zet {

// Behind January 2038 too, in processes of both word sizes.
static_assert(sizeof(time_t) == 8);

Ombra::Time System::currentTimeUtc() noexcept {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return Ombra::Time{std::chrono::seconds{now.tv_sec} + std::chrono::nanoseconds{now.tv_nsec}};
}

} // namespace Zet
