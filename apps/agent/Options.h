#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace LoamAgent {

// What the command line says.
struct Options {
    std::string root;                      // absolute; folder of all managers
    std::string manager = "LoamSystemAcl"; // name of the tables' folder below it
    std::string policyFile;
    std::vector<std::uint16_t> units;
    std::string ringFile; // empty: "<root>/<manager>/agent.ring"
    bool once = false;    // end when everything is applied
    bool reset = false;   // start with empty tables
    bool verbose = false;
};

} // namespace LoamAgent
