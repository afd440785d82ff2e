#pragma once

#include <Asic/Identifiers.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// What the hardware side programs: a chip, or something that stands for one.
//
// The follower of the logs knows a backend by this interface alone. Every operation is idempotent:
// after a crash of either side the same change may be programmed again. A backend says at once what
// became of an operation; one that can't be had now (`retry`) or at all (`refused`, `full`) changed
// nothing and is asked for again later.
//
// Reading is from the backend's own copy and costs no hardware operation. One thread uses a
// backend.
namespace LoamHw {

enum class BackendResult : std::uint8_t {
    ok,
    refused, // the hardware can't take this entry
    full,    // no room for another entry
    retry,   // the hardware does not answer now
};

char const* nameOf(BackendResult result);

// An entry's place: which table on which chip unit, and the key.
struct Place {
    Asic::SwTableId tableId;
    Asic::UnitId unitId = 0;
    std::uint32_t key = 0;
    friend bool operator==(Place const&, Place const&) = default;
};

// Since the backend was made.
struct OperationCounts {
    std::uint64_t writes = 0;  // entries written, moved ones not counted
    std::uint64_t removes = 0; // entries removed
    std::uint64_t moved = 0;   // entries moved to another slot to make room in the order
    std::uint64_t refused = 0;
    std::uint64_t full = 0;
    std::uint64_t retried = 0;
};

class Backend {
  public:
    Backend() = default;
    Backend(Backend const&) = delete;
    Backend& operator=(Backend const&) = delete;
    virtual ~Backend();

    virtual char const* name() const = 0;

    // Writes the entry, or replaces the entry of its key. `fields` are the bytes behind the key.
    virtual BackendResult program(Place const& place, std::span<std::byte const> fields) = 0;

    // Removes the entry. `ok` also when there is none.
    virtual BackendResult remove(Place const& place) = 0;

    // Removes all entries of one unit of a table. After a result other than `ok` some may be gone.
    virtual BackendResult removeAll(Asic::SwTableId tableId, Asic::UnitId unitId) = 0;

    // Why the last operation was not `ok`, for people.
    virtual std::string const& reason() const = 0;

    // The fields of an entry, good until the next operation; nothing when there is no such entry.
    virtual std::optional<std::span<std::byte const>> read(Place const& place) const = 0;

    // The units of a table that hold entries, and the keys of their entries, ascending.
    virtual std::vector<Asic::UnitId> units(Asic::SwTableId tableId) const = 0;
    virtual std::vector<std::uint32_t> keys(Asic::SwTableId tableId, Asic::UnitId unitId) const = 0;
    virtual std::size_t entryCount(Asic::SwTableId tableId) const = 0;

    virtual OperationCounts const& counts() const = 0;
};

} // namespace LoamHw
