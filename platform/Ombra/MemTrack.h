#pragma once

#include <Ombra/Export.h>

#include <cstdint>
#include <string>
#include <typeinfo>
#include <vector>

// Counts of what is allocated, by type, in the layer below the object framework.
//
// A tracker is a static pointer of the type's, empty at first; the first allocation fills it. The
// counts are the process's own statistics: they move plainly, or atomically once
// `ThreadControl::tsp_` is set.
namespace Ombra::MemTrack {

struct Totals {
    std::string typeName;          // as a person writes it
    std::uint64_t live = 0;        // objects, or array slots, that exist now
    std::uint64_t allocated = 0;   // the same, ever made
    std::uint32_t sizeBytes = 0;   // of one
    std::uint32_t granularity = 0; // bytes: 8 or 4
};

// Every type that was ever tracked here, by name.
LOAM_EXPORT std::vector<Totals> dump();

struct LOAM_EXPORT Impl {
    // `count` objects of `sizeBytes` each were made.
    static void alloc(void** tracker, std::type_info const& type, unsigned int sizeBytes,
                      unsigned int count);
    static void dealloc(void* tracker, unsigned int count);

    // Objects that exist now; 0 for a tracker that is still empty.
    static std::uint64_t live(void const* tracker);
};

} // namespace Ombra::MemTrack
