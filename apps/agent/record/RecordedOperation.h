#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// One operation of a client as a record keeps it. A record is text, a line each:
//
//     loam-record 1
//     write Ipv4SystemPolicyTcamAction 0 0x00100001 - 0100...
//     write Ipv4SystemPolicyTcamEntry 0 0x00100001 #1 0a00...
//     remove Ipv4SystemPolicyTcamEntry 0 0x00100001 -
//     remove Ipv4SystemPolicyTcamAction 0 0x00100001 @Ipv4SystemPolicyTcamEntry
//     remove-all MacSystemPolicyTcamEntry 0 -
//     end 5
//
// what, table, unit, key, what it depends on, and the bytes behind the key of a write. It depends
// on nothing, on the operation of that number (the first is 1), or on all that a table's log held.
// The last line is "end", or "full" when the record reached its bound; it is missing when the agent
// was killed, and what stands before it is good all the same. The first lines write what the tables
// held when the record began.
namespace LoamAgent {

struct RecordedOperation {
    enum class Kind : std::uint8_t { write, remove, removeAll };

    Kind kind{};
    std::string table;
    std::uint16_t unitId = 0;
    std::uint32_t key = 0;
    std::uint64_t dependency = 0;  // number of an operation before it; 0 for none
    std::string dependencyTable{}; // or all that is logged of this table
    std::vector<std::byte> fields{};
};

inline constexpr std::string_view recordMagic = "loam-record";
inline constexpr unsigned recordVersion = 1;
inline constexpr std::uint64_t mostRecordBytes = std::uint64_t{1} << 30;

// Without the end of line.
std::string textOf(RecordedOperation const& operation);

struct ReadRecord {
    std::vector<RecordedOperation> operations;
    bool complete = false; // false: it was full, or its agent was killed
};

// A record, or a sentence that names file, line and fault. Every line is looked at before anything
// is done.
std::variant<ReadRecord, std::string> readRecord(std::string const& path);

} // namespace LoamAgent
