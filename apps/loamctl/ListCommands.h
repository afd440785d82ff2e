#pragma once

namespace CLI {
class App;
}

namespace LoamCtl {

// All commands of the program with their arguments and options, as the command line knows them.
void listCommands(CLI::App& app, bool asJson);

} // namespace LoamCtl
