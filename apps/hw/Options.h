#pragma once

#include <apps/hw/Faults.h>
#include <chrono>
#include <optional>
#include <string>
#include <variant>

namespace LoamHw {

struct Options {
    std::string root;                      // empty: where all programs look
    std::string manager = "LoamSystemAcl"; // the folder below the root
    std::string backend = "model";
    Faults faults;
    std::string dumpFile; // empty: none
    std::chrono::milliseconds statInterval{1000};
    bool verbose = false;
};

// An exit status instead of options, when the command line asked for help or is wrong; what is to
// be said has been printed then.
std::variant<Options, int> optionsFrom(int argc, char const* const* argv);

} // namespace LoamHw
