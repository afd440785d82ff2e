#include <CLI/CLI.hpp>

#include <apps/hw/Options.h>
#include <stdexcept>
#include <vector>

namespace LoamHw {

namespace {

// CLI11's check that a text names an entry.
std::string checkRefused(std::string const& text) {
    try {
        refusedFromText(text);
        return {};
    } catch (std::invalid_argument const& failure) {
        return failure.what();
    }
}

} // namespace

std::variant<Options, int> optionsFrom(int argc, char const* const* argv) {
    CLI::App app{"The hardware side of the system-policy tables: follows the change logs that the "
                 "agent keeps in shared memory, programs a backend, and acknowledges."};
    app.name("loam-hw");
    app.footer("Signals: SIGTERM and SIGINT end the program, SIGUSR1 writes the dump file.\n"
               "While it runs, ROOT/MANAGER/hw-stat.json tells where every table stands, and\n"
               "ROOT/MANAGER/hw-control.json, if there is one, switches failures, for instance\n"
               "  {\"refuse\": [\"Ipv4SystemPolicyTcamEntry:0x00010064\"], \"slow-us\": 500}");

    Options options;
    std::vector<std::string> refuse;
    std::uint64_t stopAfter = 0;
    std::uint32_t statIntervalMs = 1000;
    app.add_option("--root", options.root,
                   "Folder of the shared memory (default: /dev/shm/loam-UID)");
    app.add_option("--manager", options.manager, "Name space below the root")
        ->capture_default_str();
    app.add_option("--backend", options.backend, "What is programmed")
        ->check(CLI::IsMember({"model"}))
        ->capture_default_str();
    app.add_option("--capacity", options.faults.capacity,
                   "Entries that the TCAM holds, per table and unit")
        ->check(CLI::Range(1U, Faults::maxCapacity))
        ->capture_default_str();
    app.add_option("--slow-us", options.faults.slowUs,
                   "Microseconds that each hardware operation takes")
        ->check(CLI::Range(0U, Faults::maxSlowUs))
        ->capture_default_str();
    app.add_option("--refuse", refuse, "Entry that the hardware can't take; may be repeated")
        ->type_name("TABLE:KEY")
        ->check(CLI::Validator{checkRefused, ""});
    auto const* const stop = app.add_option("--stop-after", stopAfter,
                                            "Answer no more after this many hardware operations");
    app.add_option("--dump", options.dumpFile,
                   "File for all that the hardware holds, written at the end and on SIGUSR1");
    app.add_option("--stat-interval-ms", statIntervalMs, "Milliseconds between two hw-stat.json")
        ->check(CLI::Range(10U, 3'600'000U))
        ->capture_default_str();
    app.add_flag("--verbose,-v", options.verbose, "Tell each step on standard error");
    app.set_version_flag("--version", LOAM_VERSION);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    for (auto const& each : refuse) {
        options.faults.refuse.insert(refusedFromText(each));
    }
    if (stop->count() != 0) {
        options.faults.stopAfter = stopAfter;
    }
    options.statInterval = std::chrono::milliseconds{statIntervalMs};
    return options;
}

} // namespace LoamHw
