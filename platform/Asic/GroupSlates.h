#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Uint64Align4.h>
#include <ZetSharedMem/TypeRegistration.h>
#include <ZetSlate/KeyedSlate.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

// What the agent and the hardware side tell each other, in shared memory.
//
//     entity            written by     holds
//     AnnouncementSlate agent          per table: the version up to which changes are announced (in
//                                      its scratchpad), and the needed places of changes that have
//                                      any
//     TableVersionMap   hardware side  per table: the version up to which it has applied the log
//     AgentSlate        agent          which run of the agent this is (in its scratchpad, from 1)
//
// Order inside a table is the version; order between tables is the needed places alone.
namespace Asic {

// The needed places of one change.
//
// OFFSET  SIZE  FIELD
//      0  8     version: of the change, the record's key
//      8  4     count: how many places follow
//     12  12*16 places: tableId (4), version (8)
struct NeededRecord {
    static constexpr std::size_t maxPlaces = 16; // one per table of the group is the most there is

    Ombra::Uint64Align4 version;
    std::uint32_t count = 0;
    std::array<TableVersion, maxPlaces> places{};
};

static_assert(offsetof(NeededRecord, count) == 8 && offsetof(NeededRecord, places) == 12);
static_assert(sizeof(NeededRecord) == 204 && std::is_trivially_copyable_v<NeededRecord>);
static_assert(sizeof(TableVersion) == 12 && offsetof(TableVersion, version) == 4);

class LOAM_EXPORT AnnouncementSlate final
    : public ZetSlate::KeyedSlate<AnnouncementSlate, NeededRecord, LogVersion,
                                  &NeededRecord::version> {
  public:
    using KeyedSlate::KeyedSlate;
    static constexpr char const* typeName = "Asic::AnnouncementSlate";
    static constexpr char const* collectionName = "neededEntry";
    static constexpr std::uint32_t capacity = 1000000; // as many as the log has changes
};

class LOAM_EXPORT TableVersionMap final
    : public ZetSlate::KeyedSlate<TableVersionMap, TableVersion, SwTableId,
                                  &TableVersion::tableId> {
  public:
    using KeyedSlate::KeyedSlate;
    static constexpr char const* typeName = "Asic::TableVersionMap";
    static constexpr char const* collectionName = "tableVersionMap";
    static constexpr std::uint32_t capacity = 1024;
};

// One run of the agent. Only the scratchpad is used; the record says who it was.
struct AgentRecord {
    std::uint32_t id = 0; // always 0: there is one
    std::uint32_t pid = 0;
};

class LOAM_EXPORT AgentSlate final
    : public ZetSlate::KeyedSlate<AgentSlate, AgentRecord, std::uint32_t, &AgentRecord::id> {
  public:
    using KeyedSlate::KeyedSlate;
    static constexpr char const* typeName = "Asic::AgentSlate";
    static constexpr char const* collectionName = "agent";
    static constexpr std::uint32_t capacity = 1;
};

} // namespace Asic
