#pragma once

#include <Asic/GroupSlates.h>
#include <Asic/NeededEntry.h>
#include <Ombra/Ptr.h>
#include <ZetSharedMem/EntityManager.h>

#include <cstdint>
#include <deque>
#include <vector>

// The agent's side of telling the hardware side what there is to apply (see GroupSlates.h).
//
// A change is announced in two stores: its needed places, if it has any, and then the table's
// announced version. The hardware side never looks above the announced version, so that it never
// sees a change without its needed places.
namespace Asic {

class LOAM_EXPORT Announcements {
  public:
    // Takes up what former runs of the agent have announced.
    Announcements(Ombra::Ptr<ZetSharedMem::EntityManager> const& manager,
                  Ombra::String const& canonicalGroup);

    void announce(SwTableId tableId, LogVersion version, NeededEntry const* neededEntry);

    // The table's log was mounted and stands at `version`. What was logged and never announced (the
    // agent died in between) is announced now, behind everything that was announced before. A log
    // that was lost and made anew stands below what was announced: the announcement follows it.
    void loggedVersionIs(SwTableId tableId, LogVersion version);

    // The hardware side has applied the table's changes up to `version`: their needed places go.
    void appliedVersionIs(SwTableId tableId, LogVersion version);

    LogVersion announcedVersion(SwTableId tableId);

    // Whether anything was announced since the last call: time to ring the hardware side's bell.
    bool takeAnnounced() noexcept;

  private:
    struct Table {
        SwTableId tableId;
        Ombra::Ptr<AnnouncementSlate> slate;
        LogVersion announced = 0;
        std::deque<LogVersion> withNeeded; // versions whose needed places are stored, ascending
    };

    Table& tableOf(SwTableId tableId);
    Table& mount(SwTableId tableId);
    static void storeNeeded(Table& table, LogVersion version, NeededEntry const& neededEntry);

    Ombra::Ptr<ZetSharedMem::EntityManager> manager_;
    Ombra::String canonicalGroup_;
    std::vector<Table> tables_; // few; searched
    bool announcedAny_ = false;
};

} // namespace Asic
