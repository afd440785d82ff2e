#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Uint64Align4.h>

#include <array>
#include <cstdint>

// The records that a table keeps in shared memory. Their layout is binding: a restarted agent, the
// hardware side and the tools read the same bytes, in 32-bit and 64-bit processes alike.
namespace LoamSystemAcl {

// The state of one key on one unit. `L` is the size of the table's log entry.
//
// OFFSET  SIZE  FIELD
//      0  L     logEntry
//      L  1     rsrcKeys, carries nothing
//    L+1  3     padding, zero
//    L+4  8     logVersion: of the last change of the key; on a record in deletion, of the delete
//   L+12  1     inDeletion: deleted, and the log not yet trimmed past logVersion
//   L+13  3     padding, zero
//
// The first two fields are an `XxxEntry` (L+4 bytes).
template <typename Self, typename Key, typename Entry, typename LogEntry, typename ResourceKeys>
class ConfigSlateEntryBase {
  public:
    ConfigSlateEntryBase() = default; // the default record: the empty entry, version 0, live
    ConfigSlateEntryBase(LogEntry const& logEntry, ResourceKeys const&, Asic::LogVersion logVersion,
                         bool inDeletion) noexcept
        : entry_{logEntry}, logVersion_{logVersion}, inDeletion_{inDeletion} {}

    Key key() const noexcept { return entry_.key(); }
    Entry const& entry() const noexcept { return entry_; }
    LogEntry const& logEntry() const noexcept { return entry_.logEntry(); }
    ResourceKeys const& rsrcKeys() const noexcept { return entry_.rsrcKeys(); }
    Asic::LogVersion logVersion() const noexcept { return logVersion_; }
    bool inDeletion() const noexcept { return inDeletion_ != 0; }

    // The same entry, deleted by the change `logVersion`.
    void deletedAt(Asic::LogVersion logVersion) noexcept {
        logVersion_ = logVersion;
        inDeletion_ = 1;
    }

    // Field-wise equality.
    static bool isEq(void const* left, void const* right) noexcept {
        auto const& one = *static_cast<ConfigSlateEntryBase const*>(left);
        auto const& other = *static_cast<ConfigSlateEntryBase const*>(right);
        return one.logVersion() == other.logVersion() && one.inDeletion() == other.inDeletion() &&
               LogEntry::isEq(&one.entry_, &other.entry_);
    }

    static constexpr std::size_t logVersionOffset = sizeof(Entry);
    static constexpr std::size_t inDeletionOffset = sizeof(Entry) + 8;

  private:
    Entry entry_;
    Ombra::Uint64Align4 logVersion_;
    std::uint8_t inDeletion_ = 0;
    std::array<std::uint8_t, 3> padding_{};
};

// One change of a table.
//
// OFFSET  SIZE  FIELD
//      0  8     version: the table version of the change, the record's key
//      8  1     logFlags: 0 written, 1 entry deleted, 2 all entries of the unit deleted
//      9  1     padding, zero
//     10  2     unitId
//     12  L     logEntry: written, or deleted; on a table delete the empty one
template <typename Self, typename LogEntry>
struct LogSlateEntryBase {
    LogSlateEntryBase() = default; // the default record
    LogSlateEntryBase(Asic::LogVersion versionOf, Asic::EntryFlags flags, Asic::UnitId unit,
                      LogEntry const& entry) noexcept
        : version{versionOf}, logFlags{flags}, unitId{unit}, logEntry{entry} {}

    Ombra::Uint64Align4 version;
    Asic::EntryFlags logFlags{};
    std::uint8_t padding = 0;
    Asic::UnitId unitId = 0xffff;
    LogEntry logEntry;
};

} // namespace LoamSystemAcl
