#include <Slate/Exceptions.h>
#include <Slate/Mapping.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/mman.h>
#include <unistd.h>

namespace Slate {

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
    int const protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
    void* const address = ::mmap(nullptr, bytes_, protection, MAP_SHARED, file_.get(), 0);
    if (address == MAP_FAILED) {
        throw BadFileException{
            fmt::format("{}: {} bytes can't be mapped: {}", name, bytes, std::strerror(errno))};
    }
    base_ = static_cast<std::byte*>(address);
}

Mapping::~Mapping() {
    ::munmap(base_, bytes_);
}

} // namespace Slate
