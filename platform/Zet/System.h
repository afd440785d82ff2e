#pragma once

#include <Ombra/Duration.h>
#include <Ombra/Export.h>

namespace Zet {

struct LOAM_EXPORT System {
    // The wall clock, to the kernel's tick (1 to 10 ms). It stands in every commit and so takes the
    // tick's time, about 5 ns, and not the exact one, about 25 ns. Safe from every thread.
    static Ombra::Time currentTimeUtc() noexcept;
};

} // namespace Zet
