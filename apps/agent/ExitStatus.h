#pragma once

// What the agent's exit status says; the service manager acts on it (apps/systemd).
namespace LoamAgent {

enum ExitStatus : int {
    exitDone = 0,
    exitPolicyRefused = 2,    // nothing was touched
    exitOperationsFailed = 3, // with --once: some operations were refused
    exitTablesUnusable = 4,   // another agent, or the folder of the tables; what was stored stays
    exitUsage = 64,           // the command line
    exitRelaunchOrdered = 75, // start again: the generation at the relaunch path has moved
};

} // namespace LoamAgent
