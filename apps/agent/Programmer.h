#pragma once

#include <Asic/SwTableBase.h>

#include <apps/agent/AgentTable.h>
#include <apps/agent/Platform.h>
#include <apps/policy/Policy.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Brings the tables to what a policy says, in small portions.
//
// For each rule and unit: the action is written, then the entry, with the action's handle as what
// it depends on. Behind the last rule, every entry that a reader still sees and that the policy
// does not have is removed, and then its action, with the entry's handle as what that depends on:
// the hardware never holds an entry whose action is missing.
//
//     programmer.start(policy, Programmer::Writes::all);
//     loop: while (programmer.feed(budget)) { run the resolver, serve the other events }
//
// Operations that wait in the resolver are bounded: when they are many, `feed` does nothing until
// the resolver has committed some. The change logs are the long buffer behind it, and are bounded
// too.
//
// A new `start` replaces a policy that was not fed to its end; what was asked for goes on, and is
// counted as outstanding until it is answered. Agent's thread.
namespace LoamAgent {

class Programmer {
  public:
    enum class Writes {
        all,         // a replay: the tables themselves suppress what is stored already
        differences, // nothing is asked for where a reader sees the wanted value
    };

    // All counts are of table entries, an action and its TCAM entry being two.
    struct Progress {
        std::uint64_t total = 0; // to be written, and found to be removed
        std::uint64_t asked = 0; // of these
        std::uint64_t applied = 0;
        std::uint64_t failed = 0;
        std::uint64_t unchanged = 0; // nothing to be done for
        std::uint64_t removed = 0;   // removes asked for
    };

    static constexpr std::size_t maxQueued = 4096; // operations

    Programmer(Platform& platform, std::size_t unitCount);

    void start(std::shared_ptr<LoamPolicy::Policy const> policy, Writes writes);

    // Asks for at most about `budget` operations. False when there is nothing more to ask for.
    bool feed(std::size_t budget);

    // Asks for nothing more of the current policy.
    void stop();

    bool fed() const { return phase_ == Phase::fed; }
    Progress const& progress() const { return progress_; } // of the current policy

    // Operations of any policy that are neither applied nor refused.
    std::uint64_t outstanding() const { return outstanding_; }

  private:
    enum class Phase { searching, writing, removing, fed };

    // An entry that the policy does not have.
    struct Gone {
        std::size_t kind; // of policy
        std::size_t unit;
        std::uint32_t key;
    };

    AgentTable& actions(std::size_t kind) const;
    AgentTable& entries(std::size_t kind) const;
    ResponseHandler answering();
    void answered(std::uint64_t job, Asic::SwTableBase::EntryState state);
    void feedWrites(std::size_t budget);
    void writeRule(LoamPolicy::PolicyRule const& rule, std::size_t unit);
    Handle write(LoamPolicy::TableRecord const& record, std::size_t unit, Handle const& dependency);
    void searchGone();
    void feedRemoves(std::size_t budget);
    void removeRule(Gone const& gone);

    Platform& platform_;
    std::size_t unitCount_;
    std::shared_ptr<LoamPolicy::Policy const> policy_;
    Writes writes_ = Writes::all;
    Phase phase_ = Phase::fed;
    std::size_t nextWrite_ = 0;                      // rule times units plus unit
    std::size_t nextSearch_ = 0;                     // kind times units plus unit
    std::vector<std::vector<std::uint32_t>> wanted_; // by kind: the policy's keys, ascending
    std::vector<Gone> gone_;
    std::uint64_t job_ = 0;
    Progress progress_;
    std::uint64_t outstanding_ = 0;
};

} // namespace LoamAgent
