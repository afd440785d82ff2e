#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>

namespace Orbis {
class EntityManager;
}

// What the durable memory of every table has: whose it is, whom it tells, and its counters.
namespace Asic {

class GroupInterface;

class LOAM_EXPORT EntryLogBase : public Ombra::Node {
  public:
    EntryLogBase(SwTableId tableId, Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                 Ombra::Ptr<GroupInterface> const& groupInterface, Ombra::String const& agentName);
    ~EntryLogBase() override;

    SwTableId tableId() const noexcept { return tableId_; }
    Ombra::Ptr<Orbis::EntityManager> const& entityManager() const noexcept {
        return entityManager_;
    }
    Ombra::Ptr<GroupInterface> const& groupInterface() const noexcept { return groupInterface_; }
    Ombra::String const& agentName() const noexcept { return agentName_; }

    // The version of the table's last change. Lives in the process; comes back from the log's
    // scratchpad at the next start.
    LogVersion tableVersion() const noexcept { return tableVersion_; }

    // Sets the version that was found in the mounted log, and tells the group, which announces what
    // was logged and never announced.
    void tableVersionIs(LogVersion tableVersion);

    // Adds `by` and gives the new version.
    LogVersion tableVersionInc(LogVersion by) noexcept { return tableVersion_ += by; }

    // The version up to which the log was last trimmed; 0 until the first trim of this process.
    LogVersion logCleanedVersion() const noexcept { return logCleanedVersion_; }
    void logCleanedVersionIs(LogVersion version) noexcept { logCleanedVersion_ = version; }

  private:
    SwTableId tableId_;
    Ombra::Ptr<Orbis::EntityManager> entityManager_;
    Ombra::Ptr<GroupInterface> groupInterface_;
    Ombra::String agentName_;
    LogVersion tableVersion_ = 0;
    LogVersion logCleanedVersion_ = 0;
};

} // namespace Asic
