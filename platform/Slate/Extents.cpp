#include <Ombra/Exception.h>
#include <Slate/Exceptions.h>
#include <Slate/Extents.h>
#include <Slate/Shared.h>

#include <fmt/format.h>

#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace Slate {

namespace {

int realAllocate(int fd, std::uint64_t offset, std::uint64_t bytes) {
    int result = EINTR;
    while (result == EINTR) {
        result = ::posix_fallocate(fd, static_cast<off_t>(offset), static_cast<off_t>(bytes));
    }
    return result;
}

Extents::AllocateCall allocateCall = &realAllocate;

// What is used as one piece lies in one window: the pages in front of the directory, a slot, a
// bucket.
static_assert(extentTableOffset + (std::uint64_t{maxCapacity} * (maxRecordBytes + pageBytes) /
                                   pageBytes / 64 * 8) <=
              Mapping::window);
static_assert(sizeof(SlotHeader) + maxRecordBytes + sizeof(Bucket) <= Mapping::beyond);

} // namespace

void Extents::allocateCallIs(AllocateCall call) {
    allocateCall = call != nullptr ? call : &realAllocate;
}

int Extents::allocateRange(int fd, std::uint64_t offset, std::uint64_t bytes) {
    return allocateCall(fd, offset, bytes);
}

Extents::Extents(Mapping const& mapping, Geometry const& geometry, std::string const& name)
    : mapping_{mapping}, name_{name}, table_{mapping.as<std::uint64_t>(extentTableOffset)},
      origin_{geometry.directoryOffset}, shift_{static_cast<std::uint32_t>(
                                             std::countr_zero(geometry.extentBytes))},
      known_(geometry.extentCount) {}

bool Extents::ask(std::uint32_t extent) {
    if (known_[extent] != 0) {
        return true;
    }
    std::uint64_t const word = own_ ? 0 : loadAcquire(table_ + extent);
    if (word == 0) {
        return false;
    }
    if (word != extentWord(extent)) {
        throw Ombra::CorruptionDetectedException{
            fmt::format("{}: extent {}: expected {:016x} or 0 in the extent table, found {:016x}",
                        name_, extent, extentWord(extent), word)};
    }
    take(extent);
    return true;
}

std::uint64_t Extents::knownUpTo(std::uint64_t offset) const {
    auto extent = static_cast<std::uint32_t>((offset - origin_) >> shift_);
    std::uint64_t end = offset;
    for (; extent < known_.size() && known_[extent] != 0; ++extent) {
        end = origin_ + ((std::uint64_t{extent} + 1) << shift_);
    }
    return end;
}

void Extents::take(std::uint32_t extent) {
    mapping_.reach(origin_ + (std::uint64_t{extent} << shift_), std::uint64_t{1} << shift_);
    known_[extent] = 1;
}

void Extents::allocate(std::uint32_t extent) {
    if (known_[extent] != 0) {
        return;
    }
    std::uint64_t const bytes = std::uint64_t{1} << shift_;
    int const error = allocateRange(mapping_.fd(), origin_ + extent * bytes, bytes);
    if (error != 0) {
        throw NoSpaceException{fmt::format("{}: no memory for {} more bytes: {}. Nothing was "
                                           "changed; make room on the file system",
                                           name_, bytes, std::strerror(error))};
    }
    take(extent);
    storeRelease(table_ + extent, extentWord(extent));
}

std::uint32_t Extents::recover() {
    std::uint32_t damaged = 0;
    for (std::uint32_t extent = 0; extent < known_.size(); ++extent) {
        std::uint64_t const word = loadAcquire(table_ + extent);
        bool const noted = word == extentWord(extent);
        if (own_) {
            std::uint64_t const expected = known_[extent] != 0 ? extentWord(extent) : 0;
            damaged += word != expected ? 1 : 0;
            storeRelease(table_ + extent, expected);
        } else if (noted) {
            take(extent);
        } else if (word != 0) {
            ++damaged;
            allocate(extent);
        }
    }
    own_ = true;
    return damaged;
}

} // namespace Slate
