#pragma once

#include <apps/hw/Audit.h>
#include <apps/hw/Backend.h>
#include <apps/hw/Budget.h>
#include <apps/hw/TableView.h>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// Takes one table's changes from its log to the hardware, in the order of their versions.
//
// Invariant: when `applied` is v, the hardware has the effect of every change up to v, or the
// change was overtaken (below). It is raised only after the backend has said `ok`.
//
// What holds a table up, and what becomes of it:
//
//     a needed place that is not applied   waits; a place above what its own table has announced is
//                                          void, since that table's log was lost and made anew
//     the backend does not take a change   the table stops there and asks again, from 10 ms up to
//                                          once a second; `stuck` tells what and why. When a later
//                                          announced change of the same key is known, the one that
//                                          can't be had is passed over: nobody will miss it. When
//                                          the table is full, entries that a later announced change
//                                          deletes go early, so that a delete behind the stop helps
//     a change is missing in the log       the table is audited up to the last missing version and
//                                          goes on behind it
//     announced is below applied           the log was lost and made anew: it is followed from its
//                                          beginning, and the table is audited
namespace LoamHw {

// What the followers of one group tell each other.
class Neighbours {
  public:
    virtual ~Neighbours();

    // Whether the place is applied, or void.
    virtual bool reached(Asic::TableVersion const& place) = 0;

    // The announced versions of all tables now.
    virtual std::vector<Asic::TableVersion> announcedPlaces() = 0;

    // Something that whoever runs the hardware side should know; details only if asked for.
    virtual void report(std::string const& line, bool detail) = 0;
};

enum class FollowState : std::uint8_t {
    absent,    // there is nothing to follow yet
    idle,      // all that is announced is applied
    following, // on the way
    waiting,   // for a needed place
    auditing,
    stuck,   // the backend does not take a change
    blocked, // shared memory can't be read
};

char const* nameOf(FollowState state);

// What the backend does not take.
struct Stuck {
    Asic::LogVersion version = 0; // 0 when an audit met it
    Place place;
    BackendResult result{};
    std::string reason;
    Clock::time_point since;
    std::uint32_t tries = 0;
};

struct FollowCounts {
    std::uint64_t changes = 0;   // applied from the log
    std::uint64_t unchanged = 0; // of these, what the hardware had already
    std::uint64_t audits = 0;
    std::uint64_t audited = 0; // hardware operations that audits led to
    std::uint64_t incompleteAudits = 0;
    std::uint64_t missing = 0;    // versions that were missing in the log
    std::uint64_t lostNeeded = 0; // needed places that could not be read
    std::uint64_t overtaken = 0;  // changes passed over
    std::uint64_t early = 0;      // entries removed early, to make room
    std::uint64_t leftovers = 0;  // records that a dead agent left without a log record
};

class TableFollower {
  public:
    TableFollower(TableView& view, Backend& backend, Neighbours& neighbours,
                  Asic::LogVersion applied);

    // One turn. True when there is more to do at once.
    bool turn(Clock::time_point now);

    // Another run of the agent has begun: audit when all that is announced is applied.
    void auditLater() { auditAsked_ = true; }

    // The log is another one: start at its beginning, and audit.
    void logReplaced();

    Asic::LogVersion applied() const { return applied_; }
    Asic::LogVersion announced() const { return announced_; }
    FollowState state() const { return state_; }

    // Whether all that is announced is applied, and all that there was to compare is compared.
    bool settled() const;
    std::optional<Stuck> const& stuck() const { return stuck_; }
    std::optional<Asic::TableVersion> const& waitsFor() const { return waitsFor_; }
    FollowCounts const& counts() const { return counts_; }
    TableView& view() { return view_; }
    TableView const& view() const { return view_; }

    static constexpr std::chrono::milliseconds firstPause{10};
    static constexpr std::chrono::milliseconds longestPause{1000};

    // How long a record above all that is announced must stand unchanged before it is taken for
    // what a dead agent left: a living one announces within microseconds.
    static constexpr std::chrono::milliseconds leftoverAge{200};

  private:
    struct Leftovers {
        std::vector<OpenKey> keys; // `limit` is the record's version
        std::vector<Asic::TableVersion> behind;
        Clock::time_point since;
    };

    bool ready();
    bool readAnnounced();
    void beginAnew();
    void startAudit(Asic::LogVersion limit, std::string const& why, bool detail);
    bool runAudit(Budget& budget, Clock::time_point now);
    bool settleFailed(Budget& budget, Clock::time_point now);
    void closeGap();
    void follow(Budget& budget, Clock::time_point now);
    bool neededReached(Asic::LogVersion version);
    Read readChange(Asic::LogVersion version, Change& change);
    bool apply(Change const& change, Clock::time_point now);
    BackendResult programChange(Change const& change);
    bool overtaken(Change const& change);
    bool makeRoom(Asic::UnitId unitId);
    void startGapAudit(Asic::LogVersion first);
    Asic::LogVersion gapEnd(Asic::LogVersion first);
    void settleLeftovers(Budget& budget, Clock::time_point now);
    void settleLeftover(OpenKey const& open);
    void stop(Asic::LogVersion version, Place const& place, BackendResult result,
              Clock::time_point now);
    void unstop();
    void report(std::string const& text, bool detail = false);

    TableView& view_;
    Backend& backend_;
    Neighbours& neighbours_;
    Asic::LogVersion applied_;
    Asic::LogVersion announced_ = 0;
    FollowState state_ = FollowState::absent;
    FollowCounts counts_;

    std::optional<Audit> audit_;
    std::optional<Asic::LogVersion> gapEnd_; // what is applied when the audit has gone well
    bool auditAtOnce_ = true;                // the hardware's content is not known
    bool auditAsked_ = false;
    std::vector<OpenKey> failed_; // what the last audit could not program
    Leftovers leftovers_;

    std::optional<Stuck> stuck_;
    Clock::time_point nextTry_{};
    std::chrono::milliseconds pause_{firstPause};
    std::optional<Asic::TableVersion> waitsFor_;
    std::string reportedTrouble_;
};

} // namespace LoamHw
