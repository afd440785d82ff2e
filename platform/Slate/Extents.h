#pragma once

#include <Slate/Geometry.h>
#include <Slate/Mapping.h>

#include <cstdint>
#include <string>
#include <vector>

// The table of extents that have their memory.
//
// A store file is as long as it can ever become, and sparse. Touching a page of tmpfs that has no
// memory, when the file system is full, is a SIGBUS, for a writer and for a reader. So a writer
// asks for an extent's memory before it first touches it and notes the extent in the file's table
// afterwards, and nobody touches an extent that is not in the table. Extents are never given back,
// so each process asks the table once per extent and remembers the answer.
namespace Slate {

class Extents {
  public:
    Extents(Mapping const& mapping, Geometry const& geometry, std::string const& name);

    // Whether the bytes at `offset` of the file may be touched. Raises
    // `Ombra::CorruptionDetectedException` when the table does not tell.
    bool present(std::uint64_t offset, std::uint64_t bytes) {
        std::uint64_t const begin = offset - origin_;
        std::uint32_t const first = static_cast<std::uint32_t>(begin >> shift_);
        std::uint32_t const last = static_cast<std::uint32_t>((begin + bytes - 1) >> shift_);
        return (known_[first] && known_[last]) || (ask(first) && ask(last));
    }

    // The same for bytes that lie in one extent.
    bool presentAt(std::uint64_t offset) {
        std::uint32_t const extent = static_cast<std::uint32_t>((offset - origin_) >> shift_);
        return known_[extent] != 0 || ask(extent);
    }

    // Whether that is known already. Asks nothing, so that it never raises.
    bool known(std::uint64_t offset) const noexcept {
        return known_[static_cast<std::uint32_t>((offset - origin_) >> shift_)] != 0;
    }

    // Where the bytes end that are known to be present from `offset` on; `offset` itself when it is
    // not known to be.
    std::uint64_t knownUpTo(std::uint64_t offset) const;

    // Makes sure that they may be touched. For the writer. Raises `NoSpaceException`.
    void ensure(std::uint64_t offset, std::uint64_t bytes) {
        std::uint64_t const begin = offset - origin_;
        std::uint32_t const first = static_cast<std::uint32_t>(begin >> shift_);
        std::uint32_t const last = static_cast<std::uint32_t>((begin + bytes - 1) >> shift_);
        if (!(known_[first] && known_[last])) [[unlikely]] {
            allocate(first);
            allocate(last);
        }
    }

    // The writer's start: takes over the table, and gives memory again to extents whose word is
    // damaged, which does not change what they hold. Called again later, it writes the table anew
    // from what this process knows. Returns how many words were damaged.
    std::uint32_t recover();

    // From now on the table tells, as for a reader.
    void disown() { own_ = false; }

    std::uint32_t bytesEach() const { return 1U << shift_; }

    // The call that gives memory to a range of a file, as posix_fallocate. A test can set another
    // to play a full file system; null sets the real one again.
    using AllocateCall = int (*)(int fd, std::uint64_t offset, std::uint64_t bytes);
    LOAM_EXPORT static void allocateCallIs(AllocateCall call);
    LOAM_EXPORT static int allocateRange(int fd, std::uint64_t offset, std::uint64_t bytes);

  private:
    bool ask(std::uint32_t extent);
    void allocate(std::uint32_t extent);
    void take(std::uint32_t extent); // its bytes may be touched from now on

    Mapping const& mapping_;
    std::string const& name_;
    std::uint64_t* table_;
    std::uint64_t origin_;
    std::uint32_t shift_;
    std::vector<std::uint8_t> known_;
    bool own_ = false; // the writer: known_ is the truth, the table follows it
};

} // namespace Slate
