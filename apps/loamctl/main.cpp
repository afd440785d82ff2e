// loamctl: looks into the tables of a live or a dead agent, and talks to a live one.

#include <Ombra/Exception.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <apps/loamctl/Command.h>
#include <apps/loamctl/ListCommands.h>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

using namespace LoamCtl;

constexpr char const* footer =
    "TABLE is a table's name, a part of it, or beginnings of its words (ipv4entry); upper and "
    "lower\ncase are the same. KEY is a number, 0x00010064 or decimal. --json stands before or "
    "behind the\ncommand. A command that is marked `live` asks the agent itself; the others read "
    "shared memory, and\nwork on a dead agent as well.\n\n"
    "Exit status: 0 done; 1 compare or verify found differences or damage, or a command met "
    "damage; 2 a\nfolder, a file or the command line can't be used, or the agent refused.";

// Throws `CLI::ParseError`. Null for the list of the commands itself.
Command const* parse(CLI::App& app, int argc, char** argv, Options& options) {
    Command const* chosen = nullptr;
    options.root = fmt::format("/dev/shm/loam-{}", ::geteuid());
    app.footer(footer);
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Print the help of all commands");
    app.add_option("--root", options.root, "folder of the shared memory")->capture_default_str();
    app.add_option("--manager", options.manager, "name of the tables' folder below it")
        ->capture_default_str();
    app.add_flag("--json", options.json, "print JSON");
    app.set_version_flag("--version", LOAM_VERSION);
    for (auto const& command : allCommands()) {
        auto* const added = app.add_subcommand(command.name, command.description);
        added->fallthrough();
        added->callback([&chosen, &command] { chosen = &command; });
        if (command.arguments != nullptr) {
            command.arguments(*added, options);
        }
    }
    auto* const list = app.add_subcommand("commands", "this list, with all arguments");
    list->fallthrough();
    list->add_flag("--plain", options.plain, "for scripts: a line per command, with tabs");
    app.parse(argc, argv);
    options.root = std::filesystem::absolute(options.root).lexically_normal().string();
    return chosen;
}

// Who asks for JSON is told in JSON what went wrong, too. A command line that isn't understood is
// for people.
ExitStatus fail(bool json, ExitStatus status, std::string const& sentence) {
    fmt::print(
        stderr, "{}\n",
        json ? nlohmann::json{{"error", sentence}, {"status", static_cast<int>(status)}}.dump()
             : "loamctl: " + sentence);
    return status;
}

// What is wrong with the command line, and what there is instead.
ExitStatus refuse(CLI::App& app, CLI::ParseError const& error) {
    auto const chosen = app.get_subcommands();
    auto const rest = app.remaining();
    auto const name =
        std::ranges::find_if(rest, [](std::string const& each) { return !each.starts_with('-'); });
    auto const sentence =
        !chosen.empty()      ? fmt::format("{}: {}", chosen.front()->get_name(), error.what())
        : name != rest.end() ? fmt::format("there is no command '{}'", *name)
        : dynamic_cast<CLI::RequiredError const*>(&error) != nullptr ? "a command is missing"
                                                                     : std::string{error.what()};
    fmt::print(stderr, "loamctl: {}\n", sentence);
    if (!chosen.empty()) {
        fmt::print(stderr, "usage: loamctl [OPTIONS] {}; see loamctl {} --help\n",
                   usageOf(*chosen.front()), chosen.front()->get_name());
        return exitUnusable;
    }
    std::string names;
    for (auto const& command : allCommands()) {
        names += fmt::format("{}{}", names.empty() ? "" : ", ", command.name);
    }
    fmt::print(stderr, "there is: {}, commands; see loamctl --help\n", names);
    return exitUnusable;
}

int run(int argc, char** argv, Options& options) {
    CLI::App app{"Looks into the software tables of a live or a dead agent."};
    app.name("loamctl");
    Command const* command = nullptr;
    try {
        command = parse(app, argc, argv, options);
    } catch (CLI::ParseError const& error) {
        return error.get_exit_code() == 0 ? static_cast<ExitStatus>(app.exit(error))
                                          : refuse(app, error);
    }
    if (command == nullptr) {
        listCommands(app, options.json    ? ListForm::json
                          : options.plain ? ListForm::plain
                                          : ListForm::people);
        return exitDone;
    }
    Context context{options};
    return command->run(context);
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_DFL); // `loamctl ... | head` ends without a word
    Options options;
    try {
        return run(argc, argv, options);
    } catch (Ombra::CorruptionDetectedException const& damage) {
        return fail(options.json, exitDifferent,
                    fmt::format("{}; see loamctl verify", damage.msg()));
    } catch (Ombra::Exception const& failure) {
        return fail(options.json, exitUnusable, failure.msg().str());
    } catch (std::exception const& failure) {
        return fail(options.json, exitUnusable, failure.what());
    }
}
