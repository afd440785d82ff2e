#include <Slate/Exceptions.h>
#include <Slate/MapCalls.h>
#include <Slate/Mapping.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/mman.h>
#include <unistd.h>

namespace Slate {

namespace {

void* realMap(int fd, std::size_t bytes, bool writable) {
    int const protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
    return ::mmap(nullptr, bytes, protection, MAP_SHARED, fd, 0);
}

void realUnmap(void* at, std::size_t bytes) {
    ::munmap(at, bytes);
}

constexpr MapCalls real{&realMap, &realUnmap};
MapCalls mapCalls = real;

} // namespace

void mapCallsAre(MapCalls const& calls) {
    mapCalls = calls;
}

MapCalls const& realMapCalls() {
    return real;
}

FileDescriptor::~FileDescriptor() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

Mapping::Mapping(FileDescriptor file, std::string const& name, std::uint64_t bytes, bool writable)
    : file_{std::move(file)}, base_{nullptr}, bytes_{static_cast<std::size_t>(bytes)} {
    if (bytes > std::numeric_limits<std::size_t>::max()) {
        throw BadFileException{
            fmt::format("{}: {} bytes do not fit into this process", name, bytes)};
    }
    void* const address = mapCalls.map(file_.get(), bytes_, writable);
    if (address == MAP_FAILED) {
        throw BadFileException{
            fmt::format("{}: {} bytes can't be mapped: {}", name, bytes, std::strerror(errno))};
    }
    base_ = static_cast<std::byte*>(address);
}

Mapping::~Mapping() {
    mapCalls.unmap(base_, bytes_);
}

} // namespace Slate
