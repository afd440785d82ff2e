#pragma once

#include <string>

namespace CLI {
class App;
}

namespace LoamCtl {

enum class ListForm { people, json, plain };

// All commands of the program with their arguments and options, as the command line knows them. In
// the plain form a line per command, for the completion of shells.
void listCommands(CLI::App& app, ListForm form);

// "show TABLE [KEY]"
std::string usageOf(CLI::App const& command);

} // namespace LoamCtl
