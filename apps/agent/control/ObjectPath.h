#pragma once

#include <Inspect/Object.h>
#include <apps/agent/control/AgentControl.h>
#include <string>
#include <vector>

// Objects of the live agent by path.
//
//     Ipv4SystemPolicyTcamEntry                         the table of the agent's first unit
//     Ipv4SystemPolicyTcamEntry/3                       that of unit 3
//     Ipv4SystemPolicyTcamEntryInterface                the table's front door
//     group, resolver, agent                            what all tables share
//     Ipv4SystemPolicyTcamEntry.stats.commitCnt         an attribute of an attribute
//     Ipv4SystemPolicyTcamEntry.transientAddEntry[0x67100001].swTableEntry
//     Ipv4SystemPolicyTcamEntry.getTableEntries_py().tableEntries
//
// What is wrong with a path is told by `RequestError` or `Inspect::Error`.
namespace LoamAgent {

// The last step of a path.
struct PathEnd {
    Inspect::Object object;
    std::string attribute; // empty: the object itself is meant
    std::string key;       // within brackets
    bool hasKey = false;

    Inspect::Value value() const;
};

PathEnd resolvePath(AgentControl& agent, std::string const& path);
Inspect::Object resolveObject(AgentControl& agent, std::string const& path);

// What a path may begin with.
std::vector<std::string> pathRoots(AgentControl& agent);

} // namespace LoamAgent
