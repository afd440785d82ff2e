#pragma once

#include <Ombra/Export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace Slate {

// An open file, closed with the object.
class LOAM_EXPORT FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) noexcept : fd_{fd} {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor();

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

// A whole file in memory, shared with every process that maps it.
class LOAM_EXPORT Mapping {
  public:
    // Takes the file over. Raises `BadFileException` when it can't be mapped.
    Mapping(FileDescriptor file, std::string const& name, std::uint64_t bytes, bool writable);
    Mapping(Mapping const&) = delete;
    Mapping& operator=(Mapping const&) = delete;
    ~Mapping();

    std::byte* at(std::uint64_t offset) const noexcept {
        return base_ + static_cast<std::size_t>(offset);
    }
    template <typename T>
    T* as(std::uint64_t offset) const noexcept {
        return reinterpret_cast<T*>(at(offset));
    }
    int fd() const noexcept { return file_.get(); }

  private:
    FileDescriptor file_;
    std::byte* base_;
    std::size_t bytes_;
};

} // namespace Slate
