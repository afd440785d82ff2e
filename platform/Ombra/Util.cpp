#include <Ombra/Util.h>

#include <cstdint>
#include <unistd.h>

namespace Ombra {

bool Util::isLargeMemorySystem() {
    static bool const large = [] {
        auto const pages = static_cast<std::int64_t>(::sysconf(_SC_PHYS_PAGES));
        auto const pageBytes = static_cast<std::int64_t>(::sysconf(_SC_PAGESIZE));
        constexpr std::int64_t fourGiB = std::int64_t{4} << 30;
        return pages * pageBytes > fourGiB;
    }();
    return large;
}

} // namespace Ombra
