#pragma once

#include <Ombra/String.h>

#include <string>
#include <string_view>
#include <utility>

// The folder under the shared store. Internal to the folder.
namespace Orbis {

inline constexpr char const* stateFileName = "entities";

// An open file, closed with the object.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) noexcept : fd_{fd} {}
    Descriptor(Descriptor&& other) noexcept : fd_{std::exchange(other.fd_, -1)} {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor();

    int get() const noexcept { return fd_; }
    explicit operator bool() const noexcept { return fd_ >= 0; }

  private:
    int fd_ = -1;
};

// The lock of a folder, waited for. The kernel lets go of it when the process dies.
class FolderLock {
  public:
    explicit FolderLock(std::string const& path);

  private:
    Descriptor folder_;
};

// The one true path of `ROOT/NAME/.state`, with a file of entities in it, made if need be, mode
// 0700. Throws `StoreException`: a name that is no folder name, a folder of another owner or open
// to others, a link in its place, no room.
std::string stateFolder(Ombra::String const& root, Ombra::String const& name);

// Throws the `StoreException` of what lies at the path.
[[noreturn]] void refuseState(std::string_view path, std::string_view reason);

} // namespace Orbis
