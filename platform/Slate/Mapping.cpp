#include <Slate/Exceptions.h>
#include <Slate/MapCalls.h>
#include <Slate/Mapping.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace Slate {

namespace {

void* realMap(int fd, std::uint64_t offset, std::size_t bytes, bool writable) {
    int const protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
    return ::mmap(nullptr, bytes, protection, MAP_SHARED, fd, static_cast<off_t>(offset));
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
    : file_{std::move(file)}, name_{name}, bytes_{bytes}, writable_{writable} {
    if constexpr (atOnce) {
        base_ = mapped(0, bytes);
    } else {
        windows_.resize(static_cast<std::size_t>((bytes + window - 1) / window));
        windows_[0] = base_ = mapped(0, windowBytes(0));
    }
    if (base_ == nullptr) {
        throw BadFileException{
            fmt::format("{}: {} bytes can't be mapped: {}", name, bytes, std::strerror(errno))};
    }
}

Mapping::~Mapping() {
    if constexpr (atOnce) {
        mapCalls.unmap(base_, static_cast<std::size_t>(bytes_));
    } else {
        for (std::size_t number = 0; number < windows_.size(); ++number) {
            if (windows_[number] != nullptr) {
                mapCalls.unmap(windows_[number], windowBytes(number));
            }
        }
    }
}

std::byte* Mapping::mapped(std::uint64_t offset, std::uint64_t bytes) const {
    void* const address =
        mapCalls.map(file_.get(), offset, static_cast<std::size_t>(bytes), writable_);
    return address == MAP_FAILED ? nullptr : static_cast<std::byte*>(address);
}

std::size_t Mapping::windowBytes(std::size_t number) const {
    return static_cast<std::size_t>(std::min(window + beyond, bytes_ - number * window));
}

void Mapping::mapWindows(std::uint64_t offset, std::uint64_t bytes) const {
    auto const last = static_cast<std::size_t>((offset + bytes - 1) / window);
    for (auto number = static_cast<std::size_t>(offset / window); number <= last; ++number) {
        if (windows_[number] == nullptr) {
            windows_[number] = mapped(number * window, windowBytes(number));
        }
        if (windows_[number] == nullptr) {
            throw NoSpaceException{
                fmt::format("{}: {} more bytes of the file can't be mapped: {}. Nothing was "
                            "changed; this 32-bit process has used up its addresses",
                            name_, windowBytes(number), std::strerror(errno))};
        }
    }
}

} // namespace Slate
