#include <Slate/Control.h>
#include <Slate/Crc32c.h>
#include <Slate/Exceptions.h>
#include <Slate/Extents.h>
#include <Slate/Store.h>
#include <Slate/StoreFile.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Slate {

namespace {

std::uint32_t checksumOf(Superblock const& superblock) {
    return Crc32c::ofBytes(0xffffffff, &superblock, offsetof(Superblock, checksum));
}

template <std::size_t Size>
void textIs(char (&field)[Size], std::string const& text, std::string const& name) {
    if (text.size() >= Size) {
        throw BadFileException{fmt::format("{}: the name {} has {} bytes, expected at most {}",
                                           name, text, text.size(), Size - 1)};
    }
    std::copy(text.begin(), text.end(), field);
}

template <std::size_t Size>
std::string textOf(char const (&field)[Size]) {
    return std::string{field, ::strnlen(field, Size)};
}

template <typename T>
void writeAt(int fd, std::string const& name, std::uint64_t offset, T const& what) {
    if (::pwrite(fd, &what, sizeof what, static_cast<off_t>(offset)) !=
        static_cast<ssize_t>(sizeof what)) {
        throw NoSpaceException{
            fmt::format("{}: writing {} bytes: {}", name, sizeof what, std::strerror(errno))};
    }
}

Superblock superblockOf(Geometry const& geometry, StoreSpec const& spec, std::string const& name) {
    Superblock result{};
    std::copy(std::begin(storeMagic), std::end(storeMagic), result.magic);
    result.formatVersion = formatVersion;
    result.endianMark = endianMark;
    result.recordBytes = geometry.recordBytes;
    result.keyBytes = geometry.keyBytes;
    result.capacity = geometry.capacity;
    result.order = static_cast<std::uint32_t>(geometry.order);
    result.slotCount = geometry.slotCount;
    result.slotStride = geometry.slotStride;
    result.bucketCount = geometry.bucketCount;
    result.overflowCount = geometry.overflowCount;
    result.extentBytes = geometry.extentBytes;
    result.extentCount = geometry.extentCount;
    result.directoryOffset = geometry.directoryOffset;
    result.slotOffset = geometry.slotOffset;
    result.fileBytes = geometry.fileBytes;
    result.layoutHash = spec.layoutHash();
    if (::getrandom(result.uuid, sizeof result.uuid, 0) !=
        static_cast<ssize_t>(sizeof result.uuid)) {
        throw BadFileException{fmt::format("{}: no random number: {}", name, std::strerror(errno))};
    }
    textIs(result.typeName, spec.typeName, name);
    textIs(result.collectionName, spec.collectionName, name);
    result.checksum = checksumOf(result);
    return result;
}

template <typename T>
std::optional<std::string> differs(char const* what, T const& found, T const& expected) {
    if (found == expected) {
        return std::nullopt;
    }
    return fmt::format("{}: expected {}, found {}", what, expected, found);
}

std::optional<std::string> notAStore(Superblock const& superblock) {
    if (std::memcmp(superblock.magic, storeMagic, sizeof storeMagic) != 0) {
        return "it is no store file: its first 8 bytes are not " +
               std::string{storeMagic, sizeof storeMagic};
    }
    if (auto reason = differs("byte order mark", superblock.endianMark, endianMark)) {
        return reason;
    }
    if (auto reason = differs("format version", superblock.formatVersion, formatVersion)) {
        return reason;
    }
    return differs("checksum of the superblock", superblock.checksum, checksumOf(superblock));
}

std::optional<std::string> anotherKind(Superblock const& superblock, StoreSpec const& spec) {
    if (auto reason = differs("type", textOf(superblock.typeName), spec.typeName)) {
        return reason;
    }
    if (!spec.collectionName.empty()) {
        if (auto reason =
                differs("collection", textOf(superblock.collectionName), spec.collectionName)) {
            return reason;
        }
    }
    if (auto reason = differs("record size in bytes", superblock.recordBytes, spec.recordBytes)) {
        return reason;
    }
    if (spec.capacity != 0) {
        if (auto reason = differs("capacity in records", superblock.capacity, spec.capacity)) {
            return reason;
        }
    }
    if (spec.anyLayout) {
        return std::nullopt;
    }
    return differs("layout hash", superblock.layoutHash, spec.layoutHash());
}

bool tells(Superblock const& superblock, Geometry const& geometry) {
    return superblock.slotCount == geometry.slotCount &&
           superblock.slotStride == geometry.slotStride &&
           superblock.bucketCount == geometry.bucketCount &&
           superblock.overflowCount == geometry.overflowCount &&
           superblock.extentBytes == geometry.extentBytes &&
           superblock.extentCount == geometry.extentCount &&
           superblock.directoryOffset == geometry.directoryOffset &&
           superblock.slotOffset == geometry.slotOffset &&
           superblock.fileBytes == geometry.fileBytes;
}

// A writer may be at work while a reader looks, so a page that does not fit is read again.
std::optional<std::string> controlUnfit(int fd) {
    std::optional<std::string> reason;
    for (int tries = 0; tries < 100; ++tries) {
        ControlPage page{};
        if (::pread(fd, &page, sizeof page, controlOffset) != static_cast<ssize_t>(sizeof page)) {
            return "its control page can't be read";
        }
        reason = Control::unfit(page);
        if (!reason) {
            break;
        }
    }
    return reason;
}

} // namespace

Superblock readSuperblock(int fd) {
    Superblock result{};
    if (::pread(fd, &result, sizeof result, 0) != static_cast<ssize_t>(sizeof result)) {
        return Superblock{};
    }
    return result;
}

Geometry geometryOf(Superblock const& superblock, std::string const& name) {
    StoreSpec spec;
    spec.recordBytes = superblock.recordBytes;
    spec.keyBytes = superblock.keyBytes;
    spec.capacity = superblock.capacity;
    spec.order = static_cast<Order>(superblock.order);
    return Geometry::of(spec, name);
}

std::optional<FileKind> kindOf(int fd) {
    Superblock const superblock = readSuperblock(fd);
    if (notAStore(superblock)) {
        return std::nullopt;
    }
    return FileKind{textOf(superblock.typeName), textOf(superblock.collectionName),
                    superblock.recordBytes,      superblock.keyBytes,
                    superblock.capacity,         static_cast<Order>(superblock.order),
                    superblock.layoutHash};
}

void Store::format(int fd, std::string const& name, StoreSpec const& spec, bool wiped) {
    Geometry const geometry = Geometry::of(spec, name);
    Superblock const superblock = superblockOf(geometry, spec, name);
    if (::ftruncate(fd, static_cast<off_t>(geometry.fileBytes)) != 0) {
        throw NoSpaceException{fmt::format("{}: a length of {} bytes: {}", name, geometry.fileBytes,
                                           std::strerror(errno))};
    }
    if (int const error = Extents::allocateRange(fd, 0, geometry.directoryOffset); error != 0) {
        throw NoSpaceException{fmt::format("{}: no memory for its first {} bytes: {}", name,
                                           geometry.directoryOffset, std::strerror(error))};
    }
    // Written, and not only given memory, so that SEEK_HOLE can tell.
    std::array<char, pageBytes> const zeros{};
    for (std::uint64_t offset = 0; offset < geometry.directoryOffset; offset += pageBytes) {
        writeAt(fd, name, offset, zeros);
    }
    writeAt(fd, name, controlOffset, Control::fresh(wiped));
    writeAt(fd, name, 0, superblock);
}

std::optional<std::string> Store::unfit(int fd, StoreSpec const& spec) {
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        return std::strerror(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return "it is no regular file";
    }
    Superblock const superblock = readSuperblock(fd);
    if (auto reason = notAStore(superblock)) {
        return reason;
    }
    if (auto reason = anotherKind(superblock, spec)) {
        return reason;
    }
    try {
        Geometry const geometry = geometryOf(superblock, "the superblock");
        if (!tells(superblock, geometry)) {
            return "the places in the superblock do not follow from its sizes";
        }
    } catch (BadFileException const& exception) {
        return exception.msg().str();
    }
    if (auto reason = differs("length in bytes", static_cast<std::uint64_t>(status.st_size),
                              superblock.fileBytes)) {
        return reason;
    }
    // What is read without asking the extent table has its memory.
    if (::lseek(fd, 0, SEEK_HOLE) < static_cast<off_t>(superblock.directoryOffset)) {
        return "its first pages have no memory";
    }
    return controlUnfit(fd);
}

} // namespace Slate
