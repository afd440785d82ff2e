#pragma once

#include <Asic/SwTableBase.h>

#include <apps/agent/AgentTable.h>
#include <apps/agent/LogTail.h>
#include <apps/agent/Platform.h>
#include <apps/agent/Task.h>
#include <apps/policy/Policy.h>
#include <apps/policy/PolicyKind.h>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Brings the tables to what a policy says, in small portions.
//
// For each rule and unit: the action is written, then the entry, with the action's handle as what
// it depends on. A table that marks is written whole, and suppresses what it holds already; of any
// other only what differs is written.
//
// Behind the last rule goes what the policy does not have. Entries first: a table that marks is
// swept, from any other they are removed one by one. Then, when these removes are in the log, their
// actions, with the place in the entries' log as what they depend on. So the hardware never holds
// an entry whose action is missing, and nothing here waits for the hardware.
//
//     programmer.start(policy);
//     loop: programmer.feed(budget), run the resolver, serve the other events
//
// Operations that wait in the resolver are bounded: when they are many, `feed` does nothing until
// the resolver has committed some. The change logs are the long buffer behind it, and are bounded
// too.
//
// A new `start` replaces a policy that was not fed to its end; what was asked for goes on, and is
// counted as outstanding until it is answered. Agent's thread.
namespace LoamAgent {

class Programmer final : public Task {
  public:
    // All counts are of table entries, an action and its TCAM entry being two.
    struct Progress {
        std::uint64_t total = 0; // to be written and to be removed; settled once `counted`
        std::uint64_t done = 0;  // of these: the hardware has it, or there was nothing to do
        std::uint64_t asked = 0;
        std::uint64_t failed = 0;
        std::uint64_t unchanged = 0; // nothing was to be done for
        std::uint64_t removed = 0;   // asked for, one by one
        std::uint64_t swept = 0;     // removed at the end of the marking phase
    };

    static constexpr std::size_t maxQueued = 4096; // operations

    Programmer(Platform& platform, std::size_t unitCount);

    // Why the tables can't take the policy; empty when they can.
    static std::string fault(LoamPolicy::Policy const& policy, Platform const& platform);

    void start(std::shared_ptr<LoamPolicy::Policy const> policy);

    bool feed(std::size_t budget) override;
    bool fed() const override { return phase_ == Phase::fed; }
    bool counted() const override { return phase_ != Phase::searching; }
    Amount amount() const override;
    std::uint64_t notAsked() const override;
    std::uint64_t failed() const override { return progress_.failed; }
    std::uint64_t outstanding() const override { return outstanding_; } // of any policy
    std::string summary(std::uint64_t written, std::uint64_t suppressed) const override;
    void stop() override;

    Progress progress() const; // of the current policy

  private:
    enum class Phase {
        searching, // for what the policy does not have
        writing,
        removingEntries,
        committing, // the entries' removes
        removingActions,
        fed,
    };

    // A key that the policy does not have, of what a pair of tables holds.
    struct Gone {
        std::size_t kind; // of policy
        std::size_t unit;
        std::uint32_t key;
    };

    AgentTable& actions(std::size_t kind) const;
    AgentTable& entries(std::size_t kind) const;
    ResponseHandler answering();
    void answered(std::uint64_t job, Asic::SwTableBase::EntryState state);
    void searchGone();
    void feedWrites(std::size_t budget);
    void writeRule(LoamPolicy::PolicyRule const& rule, std::size_t unit);
    Handle write(LoamPolicy::TableRecord const& record, std::size_t unit, Handle const& dependency);
    void feedEntryRemoves(std::size_t budget);
    void removeEntry(Gone const& gone);
    void sweepEntries();
    void noteCommitted();
    void feedActionRemoves(std::size_t budget);
    void removeAction(Gone const& gone);
    void sweepActions();

    Platform& platform_;
    std::size_t unitCount_;
    std::shared_ptr<LoamPolicy::Policy const> policy_;
    Phase phase_ = Phase::fed;
    bool replaying_ = false;     // tables were marking at its beginning
    std::size_t nextSearch_ = 0; // place in the platform's kinds times units plus unit
    std::size_t nextWrite_ = 0;  // rule times units plus unit
    std::size_t nextGone_ = 0;
    std::vector<std::vector<std::uint32_t>> wanted_; // by kind: the policy's keys, ascending
    std::vector<Gone> gone_;
    std::array<std::uint64_t, LoamPolicy::kindCount> sweptEntries_{};
    std::array<Handle, LoamPolicy::kindCount> entriesGone_; // behind the entries' removes
    std::vector<LogTail> sweptTails_;
    std::uint64_t job_ = 0;
    Progress progress_;
    std::uint64_t outstanding_ = 0;
};

} // namespace LoamAgent
