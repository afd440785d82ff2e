#pragma once

#include <Ombra/Export.h>

#include <cstdint>
#include <string>

// What kind of collection a store file holds. Fixed when the file is made; a file of another kind
// is never read as this one.
namespace Slate {

// How keys are laid out in the directory, and with that the order of a walk.
enum class Order : std::uint32_t {
    // Keys of up to 32 bits, spread by a bijective mix; a walk goes in the numeric order of the
    // mix.
    keyMix = 1,
    // Growing 64-bit versions. Seven consecutive versions share a bucket; a walk goes by bucket
    // and within a bucket by the low 32 bits of the version.
    version = 2,
};

struct StoreSpec {
    std::string typeName;       // full name of the owning class, at most 191 bytes
    std::string collectionName; // at most 63 bytes
    std::uint32_t recordBytes = 0;
    std::uint32_t keyBytes = 0; // 4 or 8
    std::uint32_t capacity = 0; // records; 0 when opening to read: whatever the file says
    Order order = Order::keyMix;

    // Changes whenever records of the same name and size must not be taken for each other.
    std::uint64_t layoutVersion = 0;

    // Accept a file whatever its layout hash: for tools that look at slots and not at records.
    bool anyLayout = false;

    // What the superblock holds to tell this layout from any other.
    LOAM_EXPORT std::uint64_t layoutHash() const;
};

// Limits that every file keeps, so that every number read from one can be checked against them.
inline constexpr std::uint32_t maxRecordBytes = 4064; // so that a slot lies in two extents at most
inline constexpr std::uint32_t maxCapacity = (1U << 21) - 256;

} // namespace Slate
