#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace LoamCtl {

// What the command line says, for all commands.
struct Options {
    std::string root;                      // absolute; folder of all managers
    std::string manager = "LoamSystemAcl"; // name of the tables' folder below it
    bool json = false;
    std::string table; // as the person wrote it
    std::optional<std::uint32_t> key;
    std::string dumpFile;
};

} // namespace LoamCtl
