#pragma once

#include <Asic/ResolverEntry.h>
#include <Zet/Tracked.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <typeinfo>
#include <vector>

// Holds the operations of a group's tables until they are ready, and commits them.
//
// There is one first-in-first-out lane per table (recognised by the class of its resolver entries),
// so that a table whose log is full, or whose first operation waits for another table, never holds
// up the others. Within a lane the order of the calls is the order of the commits, for all units of
// the table, since they share one change log.
//
// A lane whose head has said no is asked again when the handle that the head waits for has left
// `entryPending`, or, when it waits for none that is pending, once the group's generation has moved
// (`updateGenId`). Nothing is asked in vain for a waiting dependency.
//
// `run` is called by the agent's loop. It commits at most `budget` operations, going round the
// lanes, so that the thread is never held for long and no table starves. Everything runs on the
// agent's thread. Commits and their response handlers may queue new operations and may not call
// `run`.
namespace Asic {

class LOAM_EXPORT GroupResolver : public Zet::Tracked<GroupResolver, Ombra::Node> {
  public:
    GroupResolver();
    ~GroupResolver() override;
    Ombra::TypeData typeData() const override;

    // Appends to the lane of the entry's table.
    void resolverQueueEnq(Ombra::Ptr<ResolverEntry> const& entry);

    // The group's state has moved on: what said no may say yes now.
    void updateGenId() const noexcept { ++genId_; }

    // Takes note of whether the group's state has moved on since the last run. Constant time.
    void maybeUpdateSuspend();

    struct RunResult {
        std::size_t committed = 0;
        bool more = false; // the budget was used up; call again soon
    };

    // An operation is taken out of the queue when its commit has ended. When the commit throws,
    // that is done all the same, the failure is counted and logged, and the exception reaches the
    // caller; the next `run` goes on behind it.
    RunResult run(std::size_t budget = defaultBudget);

    // True when every queued operation has said no and nothing has moved since.
    bool suspended() const noexcept { return suspended_; }

    // Inside `run`: a commit or a response handler asks.
    bool running() const noexcept { return running_; }

    std::size_t queued() const noexcept { return queued_; }
    std::uint64_t genId() const noexcept { return genId_; }
    std::uint64_t failedCommits() const noexcept { return failedCommits_; }

    // Operations queued in the lane of `entryClass`, and its first one (null when there is none).
    std::size_t queuedIn(std::type_info const& entryClass) const noexcept;
    Ombra::Ptr<ResolverEntry> headOf(std::type_info const& entryClass) const;

    // Gives the operations queued in the lane of `entryClass`, first one first, until `give` says
    // false. For people who look: it is linear, and `give` may not queue anything.
    void forEachQueued(std::type_info const& entryClass,
                       std::function<bool(ResolverEntry const&)> const& give) const;

    static constexpr std::size_t defaultBudget = 512; // operations, some hundred microseconds

  private:
    struct Lane;

    Lane& laneOf(ResolverEntry const& entry);
    Lane const* laneFor(std::type_info const& entryClass) const noexcept;
    bool worthAsking(Lane const& lane) const;
    std::size_t runLane(Lane& lane, std::size_t most);
    static void fetchAhead(Lane const& lane, std::size_t most);
    void commitHead(Lane& lane);

    std::vector<std::unique_ptr<Lane>> lanes_;
    std::size_t next_ = 0; // the lane whose turn it is
    std::size_t queued_ = 0;
    std::uint64_t failedCommits_ = 0;
    mutable std::uint64_t genId_ = 0;
    std::uint64_t roundGenId_ = 0; // the generation at the end of the last run
    bool suspended_ = true;
    bool running_ = false;
};

} // namespace Asic
