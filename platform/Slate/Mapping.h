#pragma once

#include <Ombra/Export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

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
//
// A 64-bit process maps all of it at once. The files of one agent are together longer than what a
// 32-bit process can address, though most of them is never used; so that one maps a window of the
// file when something in it is first reached. Each window goes on a little into the next, so that
// nothing that is used as one piece is cut.
class LOAM_EXPORT Mapping {
  public:
    // Takes the file over. Raises `BadFileException` when it can't be mapped. The first `window`
    // bytes may be used at once.
    Mapping(FileDescriptor file, std::string const& name, std::uint64_t bytes, bool writable);
    Mapping(Mapping const&) = delete;
    Mapping& operator=(Mapping const&) = delete;
    ~Mapping();

    // Everything else has to be reached once. Raises `NoSpaceException` when no address is free.
    void reach(std::uint64_t offset, std::uint64_t bytes) const {
        if constexpr (!atOnce) {
            mapWindows(offset, bytes);
        }
    }

    std::byte* at(std::uint64_t offset) const noexcept {
        if constexpr (atOnce) {
            return base_ + static_cast<std::size_t>(offset);
        } else {
            return windows_[static_cast<std::size_t>(offset / window)] + offset % window;
        }
    }
    template <typename T>
    T* as(std::uint64_t offset) const noexcept {
        return reinterpret_cast<T*>(at(offset));
    }
    int fd() const noexcept { return file_.get(); }

    static constexpr bool atOnce = sizeof(void*) >= 8;
    static constexpr std::uint64_t window = 1 << 20;
    static constexpr std::uint64_t beyond = 1 << 13; // how far a window goes on into the next

  private:
    void mapWindows(std::uint64_t offset, std::uint64_t bytes) const;
    std::byte* mapped(std::uint64_t offset, std::uint64_t bytes) const; // null: errno tells why
    std::size_t windowBytes(std::size_t number) const;

    FileDescriptor file_;
    std::string name_;
    std::uint64_t bytes_;
    bool writable_;
    std::byte* base_ = nullptr;
    mutable std::vector<std::byte*> windows_; // null: not reached
};

} // namespace Slate
