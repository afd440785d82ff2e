#include <Ombra/Assert.h>
#include <RingScribe/Checksum.h>
#include <RingScribe/Clock.h>
#include <RingScribe/OpenFile.h>
#include <RingScribe/TraceFile.h>

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace RingScribe {

namespace {

constexpr std::size_t ringOffset = Layout::superblockBytes + Layout::descriptionAreaBytes;

std::uint32_t blockCountFor(Ombra::String const& path, std::size_t sizeBytes) {
    constexpr std::size_t least = ringOffset + Layout::minBlockCount * Layout::blockBytes;
    constexpr std::size_t most =
        ringOffset + std::size_t{Layout::maxBlockCount} * Layout::blockBytes;
    if (sizeBytes < least || sizeBytes > most) {
        throw FileException{
            fmt::format("Ring file {}: a size of {} bytes was asked for; give {} to "
                        "{} bytes.",
                        path, sizeBytes, least, most)};
    }
    return static_cast<std::uint32_t>((sizeBytes - ringOffset) / Layout::blockBytes);
}

Layout::Superblock newSuperblock(std::uint32_t blockCount) {
    Layout::Superblock block{};
    std::memcpy(block.magic, Layout::magic, sizeof block.magic);
    block.version = Layout::version;
    block.byteOrder = Layout::byteOrderMark;
    block.superblockBytes = Layout::superblockBytes;
    block.descriptionAreaBytes = Layout::descriptionAreaBytes;
    block.blockBytes = Layout::blockBytes;
    block.blockCount = blockCount;
    block.fileBytes = ringOffset + std::uint64_t{blockCount} * Layout::blockBytes;
    block.startMonotonicNs = monotonicNs();
    block.startWallOffsetNs = wallOffsetNs();
    block.pid = static_cast<std::uint32_t>(::getpid());
    return block;
}

std::span<std::byte> mapped(Ombra::String const& path, int fd, std::size_t bytes) {
    void* const memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        int const error = errno;
        ::close(fd);
        throw FileException{fmt::format("Ring file {}: {} bytes can't be mapped: {}. Free address "
                                        "space or ask for a smaller ring.",
                                        path, bytes, std::strerror(error))};
    }
    return {static_cast<std::byte*>(memory), bytes};
}

std::string contentOf(TraceFile::Description const& description) {
    std::string content;
    for (std::string_view part : {description.file, description.className, description.function,
                                  description.text, description.format}) {
        content += part;
        content += '\0';
    }
    content.resize(Layout::roundUp8(content.size()));
    return content;
}

} // namespace

TraceFile::TraceFile(Ombra::String path, std::size_t sizeBytes)
    : path_{std::move(path)}, fd_{makeFile(path_, ringOffset +
                                                      std::size_t{blockCountFor(path_, sizeBytes)} *
                                                          Layout::blockBytes)},
      map_{mapped(path_, fd_,
                  ringOffset + std::size_t{blockCountFor(path_, sizeBytes)} * Layout::blockBytes)},
      ringBuf_{map_.subspan(ringOffset)} {
    auto& block = superblock();
    auto const made = newSuperblock(blockCountFor(path_, sizeBytes));
    block = made;
    auto const checked =
        std::as_bytes(std::span{&made, 1}).first(offsetof(Layout::Superblock, crc));
    std::atomic_ref{block.crc}.store(crc32c(checked), std::memory_order_release);
}

TraceFile::~TraceFile() {
    ::munmap(map_.data(), map_.size());
    ::close(fd_);
}

Layout::Superblock& TraceFile::superblock() noexcept {
    return *reinterpret_cast<Layout::Superblock*>(map_.data());
}

void TraceFile::msgIdIsNegative() noexcept {
    OMBRA_ASSERT(false, "msgId_ >= 0");
    __builtin_unreachable();
}

void TraceFile::describe(int msgId, Description const& description) {
    auto const index = static_cast<std::size_t>(msgId);
    if (index >= initializedMsgs_.size()) {
        initializedMsgs_.resize(std::max<std::size_t>(index + 1, 64));
    }
    if (initializedMsgs_[index] != 0) {
        return;
    }
    if (!append(msgId, description)) {
        auto& block = superblock();
        std::atomic_ref{block.descriptionsLost}.store(block.descriptionsLost + 1,
                                                      std::memory_order_relaxed);
    }
    initializedMsgs_[index] = 1;
}

bool TraceFile::append(int msgId, Description const& description) {
    auto& block = superblock();
    auto const content = contentOf(description);
    auto const used = block.descriptionUsedBytes;
    auto const sizeBytes = sizeof(Layout::DescriptionHeader) + content.size();
    if (sizeBytes > Layout::descriptionAreaBytes - used) {
        return false;
    }
    auto const place = map_.subspan(Layout::superblockBytes + used, sizeBytes);
    Layout::DescriptionHeader header{};
    header.sizeBytes = static_cast<std::uint32_t>(sizeBytes);
    header.msgId = static_cast<std::uint32_t>(msgId);
    header.line = static_cast<std::uint32_t>(description.line);
    std::memcpy(place.data(), &header, sizeof header);
    std::memcpy(place.data() + sizeof header, content.data(), content.size());
    header.crc = crc32c(place.subspan(offsetof(Layout::DescriptionHeader, msgId)));
    std::memcpy(place.data(), &header, sizeof header);
    std::atomic_ref{block.descriptionUsedBytes}.store(used + static_cast<std::uint32_t>(sizeBytes),
                                                      std::memory_order_release);
    return true;
}

} // namespace RingScribe
