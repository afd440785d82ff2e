#pragma once

#include <Ombra/String.h>

#include <cstdint>

namespace ZetSlate {

// One collection of an entity that is to be mounted.
struct CollectionInfo {
    Ombra::String name;
    std::uint32_t capacity = 0; // records; a reader may leave it 0 and takes what the file says
    bool flag = false;          // reserved; false everywhere
};

} // namespace ZetSlate
