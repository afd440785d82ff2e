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
    std::string folder;                 // to write to
    std::string text;                   // a path, a pattern, an action
    std::string from;                   // a key, as text
    std::vector<std::string> arguments; // values
    std::vector<std::string> events;    // to watch
    bool force = false;
    bool plain = false;
    std::uint64_t most = 0; // lines, elements, looks; 0: all
    std::uint64_t bytes = 0;
    std::uint32_t intervalMs = 1000;
};

} // namespace LoamCtl
