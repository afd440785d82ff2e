#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace LoamCtl {

// What the command line says, for all commands.
struct Options {
    std::string root;                      // absolute; folder of all managers
    std::string manager = "LoamSystemAcl"; // name of the tables' folder below it
    bool json = false;

    // Of the commands.
    std::string table; // as the person wrote it
    std::optional<std::uint32_t> key;
    std::optional<std::uint16_t> unit;
    std::string file;
    std::string text;                   // a path, a pattern
    std::vector<std::string> arguments; // of a call
    std::vector<std::string> events;    // to watch
    std::string folder;                 // to write to
    std::uint64_t most = 0;             // lines, entries, rounds; 0: all
    std::uint64_t bytes = 0;
    std::uint32_t intervalMs = 1000;
};

} // namespace LoamCtl
