// loamctl: looks into the tables of a live or a dead agent, straight from shared memory.

#include <Ombra/Exception.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <apps/loamctl/Commands.h>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <unistd.h>

namespace {

using namespace LoamCtl;

using Command = ExitStatus (*)(Context&);

constexpr char const* footer = "TABLE is a table's name, a part of it, or beginnings of its words "
                               "(ipv4entry); upper and lower "
                               "case\nare the same. KEY is a number, 0x00010064 or decimal. --json "
                               "stands before or behind the "
                               "command.\n\n"
                               "Exit status: 0 done; 1 compare or verify found differences or "
                               "damage, or a command met damage; "
                               "2 a\nfolder, a file or the command line can't be used.";

CLI::App* add(CLI::App& app, char const* name, char const* description, Command command,
              Command& chosen) {
    auto* const added = app.add_subcommand(name, description);
    added->fallthrough();
    added->callback([&chosen, command] { chosen = command; });
    return added;
}

// Throws `CLI::ParseError`.
Command parse(CLI::App& app, int argc, char** argv, Options& options) {
    Command chosen = nullptr;
    options.root = fmt::format("/dev/shm/loam-{}", ::geteuid());
    app.footer(footer);
    app.require_subcommand(1);
    app.set_help_all_flag("--help-all", "Print the help of all commands");
    app.add_option("--root", options.root, "folder of the shared memory")->capture_default_str();
    app.add_option("--manager", options.manager, "name of the tables' folder below it")
        ->capture_default_str();
    app.add_flag("--json", options.json, "print JSON");
    add(app, "tables", "all tables: entries, versions, and how far the hardware side is behind",
        listTables, chosen);
    auto* const show = add(app, "show", "the entries of a table, decoded, and where they stand",
                           showTable, chosen);
    show->add_option("TABLE", options.table)->required();
    show->add_option("KEY", options.key);
    add(app, "log", "the changes that a table's log holds, by version", showLog, chosen)
        ->add_option("TABLE", options.table)
        ->required();
    add(app, "stat", "the agent, sizes and memory of all files, and what the hardware side says",
        showStat, chosen);
    add(app, "compare", "all live entries against a dump of the hardware side", compareWithDump,
        chosen)
        ->add_option("DUMPFILE", options.dumpFile)
        ->required();
    add(app, "verify", "checks every record of every collection", verifyTree, chosen);
    app.parse(argc, argv);
    options.root = std::filesystem::absolute(options.root).lexically_normal().string();
    return chosen;
}

int run(int argc, char** argv) {
    CLI::App app{"Looks into the software tables of a live or a dead agent; changes nothing."};
    Options options;
    Command command = nullptr;
    try {
        command = parse(app, argc, argv, options);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? exitDone : exitUnusable;
    }
    Context context{options};
    return command(context);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (Ombra::CorruptionDetectedException const& damage) {
        fmt::print(stderr, "loamctl: {}; see loamctl verify\n", damage.msg());
        return exitDifferent;
    } catch (Ombra::Exception const& failure) {
        fmt::print(stderr, "loamctl: {}\n", failure.msg());
        return exitUnusable;
    } catch (std::exception const& failure) {
        fmt::print(stderr, "loamctl: {}\n", failure.what());
        return exitUnusable;
    }
}
