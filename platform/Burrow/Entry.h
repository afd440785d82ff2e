#pragma once

#include <Ombra/Export.h>

#include <cstddef>

// Alignment of buffers in shared memory.
namespace Burrow {

struct LOAM_EXPORT Entry {
    // The alignment in bytes, found on the first call and the same for the life of the process.
    static std::size_t runtimeBufferAlignment();

    // Finds it anew: 8, unless BURROW_BUFFER_ALIGNMENT_OVERRIDE in the environment is a number
    // other than 0 and 8, which stops the process.
    static std::size_t calculateRuntimeBufferAlignment();

    // Set when a library that uses it is loaded; 0 before.
    static std::size_t BUFFER_ALIGNMENT;
};

} // namespace Burrow
