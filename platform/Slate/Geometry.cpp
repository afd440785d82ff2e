#include <Slate/Exceptions.h>
#include <Slate/Geometry.h>

#include <fmt/format.h>

#include <bit>

namespace Slate {

namespace {

// A replacement needs one slot beyond the capacity; the rest stands in for slots that were found
// damaged and are not used again.
constexpr std::uint32_t spareSlots = 64;

// Buckets of keys that are spread by a mix are about half full on average, so that few chains
// overflow.
constexpr std::uint32_t keysPerMixBucket = 4;

std::uint64_t roundUp(std::uint64_t value, std::uint64_t unit) {
    return (value + unit - 1) / unit * unit;
}

void check(bool good, std::string const& name, char const* what, std::uint64_t value,
           std::uint64_t low, std::uint64_t high) {
    if (!good) {
        throw BadFileException{
            fmt::format("{}: {} is {}, expected {} to {}", name, what, value, low, high)};
    }
}

// Small files take their memory page by page, large ones in pieces that keep the calls few.
std::uint32_t extentFor(std::uint64_t bytes) {
    constexpr std::uint64_t largest = 256 * 1024;
    std::uint64_t extent = pageBytes;
    while (extent < largest && extent * 64 < bytes) {
        extent *= 2;
    }
    return static_cast<std::uint32_t>(extent);
}

// Slots start on a cache line where that costs little memory, so that a record lies in as few lines
// as it can.
std::uint32_t strideFor(std::uint32_t recordBytes) {
    constexpr std::uint64_t line = 64;
    std::uint64_t const needed = sizeof(SlotHeader) + roundUp(recordBytes, 8);
    std::uint64_t const lines = roundUp(needed, line);
    return static_cast<std::uint32_t>(lines - needed <= needed / 8 ? lines : needed);
}

} // namespace

Geometry Geometry::of(StoreSpec const& spec, std::string const& name) {
    check(spec.recordBytes >= 1 && spec.recordBytes <= maxRecordBytes, name, "record size in bytes",
          spec.recordBytes, 1, maxRecordBytes);
    check(spec.keyBytes == 4 || spec.keyBytes == 8, name, "key size in bytes", spec.keyBytes, 4, 8);
    check(spec.capacity >= 1 && spec.capacity <= maxCapacity, name, "capacity in records",
          spec.capacity, 1, maxCapacity);
    bool const orderFits = (spec.order == Order::keyMix && spec.keyBytes == 4) ||
                           (spec.order == Order::version && spec.keyBytes == 8);
    check(orderFits, name, "order of keys of this size", static_cast<std::uint64_t>(spec.order), 1,
          2);

    Geometry result;
    result.recordBytes = spec.recordBytes;
    result.keyBytes = spec.keyBytes;
    result.capacity = spec.capacity;
    result.order = spec.order;
    result.slotCount = spec.capacity + spareSlots;
    result.slotStride = strideFor(spec.recordBytes);
    std::uint32_t const perBucket = spec.order == Order::keyMix ? keysPerMixBucket : bucketEntries;
    result.bucketCount = std::bit_ceil((spec.capacity + perBucket - 1) / perBucket);
    result.overflowCount = spec.capacity / bucketEntries + 2;

    std::uint64_t const directoryBytes = roundUp(
        (std::uint64_t{result.bucketCount} + result.overflowCount) * sizeof(Bucket), pageBytes);
    std::uint64_t const slotBytes = std::uint64_t{result.slotCount} * result.slotStride;
    result.extentBytes = extentFor(directoryBytes + slotBytes);
    std::uint64_t const bodyBytes = roundUp(directoryBytes + slotBytes, result.extentBytes);
    result.extentCount = static_cast<std::uint32_t>(bodyBytes / result.extentBytes);
    result.directoryOffset =
        extentTableOffset + roundUp(std::uint64_t{result.extentCount} * 8, pageBytes);
    result.slotOffset = result.directoryOffset + directoryBytes;
    result.fileBytes = result.directoryOffset + bodyBytes;
    return result;
}

} // namespace Slate
