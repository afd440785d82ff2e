#pragma once

#include <Ombra/Export.h>
#include <Slate/Layout.h>
#include <Slate/StoreSpec.h>

#include <cstdint>
#include <string>

namespace Slate {

// The sizes and places of one store file. They follow from record size, key size, capacity and
// order alone, so a file whose superblock tells others is refused and no number of a file is used
// unchecked.
struct Geometry {
    std::uint32_t recordBytes = 0;
    std::uint32_t keyBytes = 0;
    std::uint32_t capacity = 0;
    Order order = Order::keyMix;
    std::uint32_t slotCount = 0;
    std::uint32_t slotStride = 0;
    std::uint32_t bucketCount = 0;
    std::uint32_t overflowCount = 0;
    std::uint32_t extentBytes = 0;
    std::uint32_t extentCount = 0;
    std::uint64_t directoryOffset = 0;
    std::uint64_t slotOffset = 0;
    std::uint64_t fileBytes = 0;

    // Raises `BadFileException` when a number is out of range; `name` is for its text.
    LOAM_EXPORT static Geometry of(StoreSpec const& spec, std::string const& name);

    friend bool operator==(Geometry const&, Geometry const&) = default;
};

} // namespace Slate
