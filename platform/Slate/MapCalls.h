#pragma once

#include <Ombra/Export.h>

#include <cstddef>
#include <cstdint>

// The calls that put a part of a file into memory and take it away again. A test can set others:
// the thread sanitizer knows addresses and not files, so a reader that is to be seen beside its
// writer gets the writer's own.
namespace Slate {

struct MapCalls {
    // MAP_FAILED, and errno, as mmap.
    void* (*map)(int fd, std::uint64_t offset, std::size_t bytes, bool writable);
    void (*unmap)(void* at, std::size_t bytes);
};

LOAM_EXPORT void mapCallsAre(MapCalls const& calls);
LOAM_EXPORT MapCalls const& realMapCalls();

} // namespace Slate
