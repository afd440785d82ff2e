#pragma once

#include <Asic/GroupSlates.h>
#include <Asic/Identifiers.h>
#include <Ombra/Ptr.h>
#include <ZetSharedMem/EntityManager.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// What the tables' group holds in shared memory beside the tables: what is announced, what is
// applied, who the agent is. Read-only; exceptions as in Table.h.
namespace LoamCtl {

struct AgentState {
    std::uint64_t run = 0; // 0: no agent has ever run
    std::uint32_t pid = 0; // of the last one
    bool alive = false;    // it holds its lock
};

class Group {
  public:
    // `folder` is that of the manager.
    Group(Ombra::Ptr<ZetSharedMem::EntityManager> manager, std::string folder);

    // Up to which version the agent has announced changes. 0 for none.
    Asic::LogVersion announced(Asic::SwTableId tableId);

    // Up to which version the hardware side has applied the table; nothing when it has no record of
    // it.
    std::optional<Asic::LogVersion> applied(Asic::SwTableId tableId);

    // The places in other tables that a change needs.
    std::vector<Asic::TableVersion> needed(Asic::SwTableId tableId, Asic::LogVersion version);

    AgentState agent();

    // Whether some process may acknowledge.
    bool hardwareSideAlive() const;

  private:
    Ombra::Ptr<Asic::AnnouncementSlate> announcement(Asic::SwTableId tableId);

    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    std::string folder_;
    Ombra::String canonicalName_;
};

} // namespace LoamCtl
