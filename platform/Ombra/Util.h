#pragma once

#include <Ombra/Export.h>

namespace Ombra {

struct LOAM_EXPORT Util {
    // Whether the machine has more than 4 GiB of memory. Constant for the life of the process.
    static bool isLargeMemorySystem();
};

} // namespace Ombra
