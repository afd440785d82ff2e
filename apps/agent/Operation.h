#pragma once

#include <apps/agent/AgentTable.h>
#include <cstdint>
#include <optional>
#include <vector>

// One operation that is not in the log, as a person is shown it.
namespace LoamAgent {

struct Operation {
    enum class Kind : std::uint8_t { write, remove, removeAll };
    enum class Stage : std::uint8_t {
        queued,  // waits in the resolver
        refused, // because what it depends on failed; readers go on seeing it
    };

    Kind kind{};
    Stage stage{};
    std::size_t unit = 0;
    std::uint32_t key = 0;
    std::uint64_t entryVersion = 0; // which of the key's overlapping operations it is
    std::uint64_t position = 0;     // queued: operations of its table before it
    std::vector<std::byte> fields;  // of a write: all bytes behind the key
    Handle handle;
    Handle dependency; // queued: may be null
};

char const* nameOf(Operation::Kind kind);
char const* nameOf(Operation::Stage stage);

// What has just happened to an operation.
struct TableEvent {
    enum class What : std::uint8_t { written, removed, committed, applied, marking, sweeping };

    What what{};
    std::size_t unit = 0;
    std::optional<std::uint32_t> key;
    Asic::LogVersion version = 0; // committed, applied
};

char const* nameOf(TableEvent::What what);

} // namespace LoamAgent
