#pragma once

#include <apps/agent/AgentTable.h>
#include <apps/agent/Flush.h>
#include <apps/agent/Platform.h>
#include <apps/agent/Programmer.h>
#include <apps/agent/ProgressLine.h>
#include <apps/agent/Task.h>
#include <apps/agent/record/Replay.h>
#include <apps/policy/Policy.h>
#include <cstdint>
#include <memory>

// What the agent is about: a policy, a flush or a replay, from the first operation to the last
// acknowledgement, told to a person on the way.
//
//     feeding --all asked for--> closing --resolver empty--> committed --all applied--> settled
//        ^                                 (summary)                                       |
//        +------------------------ another one, from any state ----------------------------+
//
// Agent's thread. A turn is about a millisecond.
namespace LoamAgent {

class Course {
  public:
    Course(Platform& platform, std::size_t unitCount, ProgressLine& progressLine);

    void program(std::shared_ptr<LoamPolicy::Policy const> policy);
    void flush();
    void replay(std::vector<RecordedOperation> operations); // into tables that are empty

    // Asks for some more, commits what is ready, looks where it all stands. True when there is more
    // to do at once. Throws what a commit throws.
    bool turn();

    Task::Amount amount() const { return task_->amount(); }
    bool settled() const { return state_ == State::settled; }
    bool failed() const { return task_->failed() != 0; }

    // Commits what is ready and forgets the rest; says how much that is.
    void stop();

  private:
    enum class State { feeding, closing, committed, settled };
    void begin(Task& task);
    void advance();
    void summarise();
    void settle();
    void showProgress();

    Platform& platform_;
    std::size_t unitCount_;
    ProgressLine& progressLine_;
    Programmer programmer_;
    Flush flush_;
    Replay replay_;
    Task* task_ = &programmer_; // one of these
    State state_ = State::settled;
    bool counted_ = false;            // and progress is told since
    std::uint64_t loggedBefore_ = 0;  // changes of this run before it
    AgentTable::Counts countsBefore_; // likewise
};

} // namespace LoamAgent
