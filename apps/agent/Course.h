#pragma once

#include <apps/agent/AgentTable.h>
#include <apps/agent/Flush.h>
#include <apps/agent/Platform.h>
#include <apps/agent/Programmer.h>
#include <apps/agent/ProgressLine.h>
#include <apps/policy/Policy.h>
#include <cstdint>
#include <memory>

// What the agent is about: a policy, or a flush, from the first operation to the last
// acknowledgement, told to a person on the way.
//
//     feeding --all asked for--> closing --resolver empty--> committed --all applied--> settled
//        ^                                 (summary)                                       |
//        +------------------------ another policy, a flush: from any state ----------------+
//
// Agent's thread. A turn is about a millisecond.
namespace LoamAgent {

class Course {
  public:
    Course(Platform& platform, std::size_t unitCount, ProgressLine& progressLine);

    void program(std::shared_ptr<LoamPolicy::Policy const> policy);
    void flush();

    // Asks for some more, commits what is ready, looks where it all stands. True when there is more
    // to do at once. Throws what a commit throws.
    bool turn();

    bool settled() const { return state_ == State::settled; }
    bool failed() const { return !flushing_ && programmer_.progress().failed != 0; }

    // Commits what is ready and forgets the rest; says how much that is.
    void stop();

  private:
    enum class State { feeding, closing, committed, settled };
    struct Amount {
        std::uint64_t done;
        std::uint64_t total;
    };

    void begin(bool flushing);
    bool feed();
    bool fed() const;
    Amount amount() const;
    void advance();
    void summarise();
    void settle();
    void showProgress();

    Platform& platform_;
    std::size_t unitCount_;
    ProgressLine& progressLine_;
    Programmer programmer_;
    Flush flush_;
    State state_ = State::settled;
    bool flushing_ = false;           // and not a policy
    bool replaying_ = false;          // the tables were marking at its beginning
    std::uint64_t loggedBefore_ = 0;  // changes of this run before it
    AgentTable::Counts countsBefore_; // likewise
};

} // namespace LoamAgent
