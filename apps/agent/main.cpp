// loam-agent: programs a policy into the software tables and keeps them so.

#include <Ombra/Exception.h>
#include <Zet/TraceHandle.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/Agent.h>
#include <apps/policy/Policy.h>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <unistd.h>
#include <utility>

namespace {

using namespace LoamAgent;

constexpr char const* footer =
    "When the policy file changes, and on SIGHUP, it is read again, and what differs is written; a "
    "file\nthat is refused changes nothing. SIGTERM and SIGINT end the agent; what it stored stays."
    "\n\n"
    "Exit status: 0 ended or, with --once, everything is applied; 2 the policy is refused and "
    "nothing\nwas touched; 3 with --once: operations were refused; 4 the tables can't be used: "
    "another agent\nhas them, or the folder can't be used or is full; 64 command line; 75 a new "
    "start was ordered.";

// Throws `CLI::ParseError`.
void parse(int argc, char** argv, Options& options) {
    CLI::App app{"Programs a policy into the software tables of a switch and keeps them so."};
    app.footer(footer);
    app.set_version_flag("--version", LOAM_VERSION);
    options.root = fmt::format("/dev/shm/loam-{}", ::geteuid());
    app.add_option("--root", options.root, "folder of the shared memory; made if its parent exists")
        ->capture_default_str();
    app.add_option("--manager", options.manager, "name of the tables' folder below it")
        ->capture_default_str();
    app.add_option("--policy", options.policyFile, "policy file: OpenConfig ACL, RFC 7951 JSON")
        ->required();
    app.add_option("--unit", options.units, "number of a chip unit, may be given again; default 0")
        ->expected(1)
        ->check(CLI::Range(0, 65535))
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--ring", options.ringFile,
                   "ring trace; default is agent.ring in the manager's folder");
    app.add_flag("--once", options.once, "end when everything is applied");
    app.add_flag("--reset", options.reset, "start with empty tables");
    app.add_flag("--verbose", options.verbose, "trace the start of the tables and every failure");
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        if (int const status = app.exit(error); status != 0) {
            std::exit(exitUsage);
        }
        std::exit(exitDone);
    }
    options.root = std::filesystem::absolute(options.root).lexically_normal().string();
    if (options.units.empty()) {
        options.units = {0};
    }
    std::ranges::sort(options.units);
    options.units.erase(std::unique(options.units.begin(), options.units.end()),
                        options.units.end());
}

int start(Options const& options) {
    if (options.verbose) {
        Zet::TraceHandle::levelsFromText("*=1;*Interface=1,2,3;*EntryLog=1,2");
    }
    auto loaded = LoamPolicy::Policy::load(options.policyFile);
    if (auto const* error = std::get_if<LoamPolicy::PolicyError>(&loaded)) {
        fmt::print(stderr, "loam-agent: {}\n", error->text());
        return exitPolicyRefused;
    }
    try {
        Agent agent{options, std::make_shared<LoamPolicy::Policy const>(
                                 std::move(std::get<LoamPolicy::Policy>(loaded)))};
        return agent.run();
    } catch (Ombra::Exception const& failure) {
        fmt::print(stderr, "loam-agent: {}\n", failure.msg());
        return exitTablesUnusable;
    }
}

} // namespace

int main(int argc, char** argv) {
    // Whoever reads through a pipe sees each line when it is said.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    try {
        Options options;
        parse(argc, argv, options);
        return start(options);
    } catch (std::exception const& failure) {
        fmt::print(stderr, "loam-agent: {}\n", failure.what());
        return exitTablesUnusable;
    }
}
