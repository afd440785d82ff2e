#pragma once

#include <apps/loamctl/Context.h>
#include <apps/loamctl/ExitStatus.h>
#include <span>

namespace CLI {
class App;
}

// What there is to ask for, in one list: the program, its help, `loamctl commands` and with it the
// completion of the shell are made from it.
namespace LoamCtl {

struct Command {
    char const* name;
    char const* description;
    void (*arguments)(CLI::App& app, Options& options); // null for none
    ExitStatus (*run)(Context& context);
};

std::span<Command const> allCommands();

} // namespace LoamCtl
