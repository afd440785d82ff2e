#pragma once

#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntrySwTable.h>

#include <crash/TreeImage.h>
#include <crash/View.h>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// An agent that is stopped behind each of its instructions. Whenever one has changed shared memory,
//
//   - a reader looks: it must see what the rules name, in their order, and nothing else;
//   - the files are copied, and an agent that comes up on the copy must find just what the rules
//   say
//     of a death at this instruction, undamaged, and be able to go on;
//   - that second agent is stopped at each system call of its start, and may die there.
//
// A start is some five million instructions, most of which go through lists of free slots.
namespace crash_test {

// One item of shared memory becomes something else, or goes.
struct Change {
    std::string item;
    std::optional<std::string> value;
};
// The changes of a stage come in any order; those of the next one behind all of them.
using Stage = std::vector<Change>;

struct Agent {
    std::string manager;
    std::optional<LogInUse> up;
    Ombra::Ptr<Family::SwTable> table;

    void start(); // and mounts unit 0
};

struct Scenario {
    std::function<void(Agent&)> prepare; // not stepped
    std::function<void(Agent&)> run;
    std::vector<Stage> stages; // what `run` does
};

struct Effort {
    unsigned restartEvery = 1;     // of the images, those that are restarted from
    unsigned secondKillAt = 0;     // of those, the one whose restart is stepped too; 0 for none
    bool systemCallsAlone = false; // the agent is stopped at system calls, not behind instructions
};

struct Findings {
    std::uint64_t boundaries = 0; // instructions behind which the agent was stopped
    std::uint64_t images = 0;     // of shared memory, one unlike the one before
    std::uint64_t restarts = 0;
    std::vector<std::string> violations;

    void add(Findings const& other);
};

// Does the work in a process of its own; false when it failed.
bool inAProcess(std::function<void()> const& work);

Findings killBehindEveryInstruction(Scenario const& scenario, Effort const& effort,
                                    std::string const& manager);

} // namespace crash_test
