#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <apps/loamctl/Command.h>
#include <apps/loamctl/Commands.h>
#include <array>
#include <charconv>
#include <cstdint>

namespace LoamCtl {

namespace {

// Refuses in words what is no number up to `most`; gives it on as a decimal.
CLI::Validator numberUpTo(std::uint64_t most) {
    return {[most](std::string& text) {
                bool const hexadecimal = text.starts_with("0x");
                auto const* const begin = text.data() + (hexadecimal ? 2 : 0);
                auto const* const end = text.data() + text.size();
                std::uint64_t number = 0;
                auto const read = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
                if (read.ec != std::errc{} || read.ptr != end || number > most) {
                    return fmt::format("'{}' is no number from 0 to {}, decimal or behind 0x", text,
                                       most);
                }
                text = fmt::to_string(number);
                return std::string{};
            },
            ""};
}

constexpr std::uint64_t mostOf32Bits = 0xffffffff;
constexpr std::uint64_t mostOf64Bits = ~std::uint64_t{0};

void table(CLI::App& app, Options& options) {
    app.add_option("TABLE", options.table, "name of a table, or a part of it")->required();
}

void tableIfWanted(CLI::App& app, Options& options) {
    app.add_option("TABLE", options.table, "name of a table, or a part of it");
}

void tableAndKey(CLI::App& app, Options& options) {
    table(app, options);
    app.add_option("KEY", options.key, "key of an entry")
        ->required()
        ->transform(numberUpTo(mostOf32Bits));
}

void show(CLI::App& app, Options& options) {
    table(app, options);
    app.add_option("KEY", options.key, "key of an entry")->transform(numberUpTo(mostOf32Bits));
}

void compare(CLI::App& app, Options& options) {
    app.add_option("FILE", options.file, "dump of the hardware side")->required();
}

void watch(CLI::App& app, Options& options) {
    tableIfWanted(app, options);
    app.add_option("--key", options.key, "of this key alone")->transform(numberUpTo(mostOf32Bits));
    app.add_option("--unit", options.unit, "of this chip unit alone")
        ->transform(numberUpTo(0xffff));
    app.add_option("--event", options.events,
                   "of these alone: written, removed, committed, applied, marking, swept")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--most", options.most, "end after so many events")
        ->transform(numberUpTo(mostOf64Bits));
}

void trace(CLI::App& app, Options& options) {
    app.add_option("LEVELS", options.text,
                   "PATTERN=LEVEL[,LEVEL...][;...] sets levels first; a LEVEL is 0 to 15, all or "
                   "off");
}

void ring(CLI::App& app, Options& options) {
    app.add_option("FILE", options.file, "the ring file; the agent's unless given");
    app.add_option("--most", options.most, "the last so many messages")
        ->transform(numberUpTo(mostOf64Bits));
    app.add_option("--ctf", options.folder,
                   "write a trace for babeltrace2 and others into this new folder instead");
}

void path(CLI::App& app, Options& options) {
    app.add_option("PATH", options.text, "OBJECT.ATTRIBUTE[KEY]...; `loamctl objects` lists them")
        ->required();
}

void pathAndValue(CLI::App& app, Options& options) {
    path(app, options);
    app.add_option("VALUE", options.arguments, "the value; null for nothing, @PATH for an object")
        ->required()
        ->expected(1);
    app.add_flag("--force", options.force, "do it although it may do harm");
}

void pathAndArguments(CLI::App& app, Options& options) {
    path(app, options);
    app.add_option("ARGUMENT", options.arguments, "values; null for nothing, @PATH for an object");
    app.add_flag("--force", options.force, "do it although it may do harm");
}

void iterate(CLI::App& app, Options& options) {
    path(app, options);
    app.add_option("--from", options.from, "key to begin with");
    app.add_option("--most", options.most, "how many elements; all unless given")
        ->transform(numberUpTo(mostOf64Bits));
}

void record(CLI::App& app, Options& options) {
    app.add_option("ACTION", options.text, "start, stop or status")
        ->required()
        ->check(CLI::IsMember({"start", "stop", "status"}));
    app.add_option("FILE", options.file, "of the record, to be made");
    app.add_option("--bytes", options.bytes, "the most that the record may take; 268435456")
        ->transform(numberUpTo(mostOf64Bits));
}

void replay(CLI::App& app, Options& options) {
    app.add_option("FILE", options.file, "the record")->required();
}

void top(CLI::App& app, Options& options) {
    app.add_option("--interval-ms", options.intervalMs, "milliseconds between two looks")
        ->transform(numberUpTo(mostOf32Bits))
        ->check(CLI::Range(50U, 3'600'000U))
        ->capture_default_str();
    app.add_option("--most", options.most, "end after so many looks")
        ->transform(numberUpTo(mostOf64Bits));
}

constexpr std::array commands{
    Command{"tables", "all tables: entries, versions, and how far the hardware side is behind",
            nullptr, listTables},
    Command{"show", "the entries of a table as policy rules, and where they stand", show,
            showTable},
    Command{"log", "the changes that a table's log holds, by version", table, showLog},
    Command{"stat", "the agent, sizes and memory of all files, and what the hardware side says",
            nullptr, showStat},
    Command{"units", "the chip units, and who uses them", nullptr, listUnits},
    Command{"explain", "where each operation of a key stands, what it waits for, and since when",
            tableAndKey, explainKey},
    Command{"watch", "live: operations as they are written, committed and applied", watch,
            watchTables},
    Command{"top", "live: rates, queue lengths and lag of each table", top, showTop},
    Command{"trace", "live: the trace handles and their levels", trace, showTraces},
    Command{"ring", "the ring trace of a live or a dead agent", ring, showRing},
    Command{"verify", "checks every record of every collection", nullptr, verifyTree},
    Command{"compare", "all live entries against a dump of the hardware side", compare,
            compareWithDump},
    Command{"objects", "live: what a PATH may begin with", nullptr, listObjects},
    Command{"describe", "live: an object's class, its attributes and operations", path,
            describeObject},
    Command{"get", "live: an attribute of an object", path, getAttribute},
    Command{"set", "live: sets an attribute of an object", pathAndValue, setAttribute},
    Command{"call", "live: calls an operation of an object", pathAndArguments, callOperation},
    Command{"iterate", "live: the elements of a collection", iterate, iterateCollection},
    Command{"record", "live: records all operations of the agent", record, recordOperations},
    Command{"replay", "live: does a record's operations again, in empty tables", replay,
            replayRecord},
    Command{"flush", "live: deletes all entries of all tables", nullptr, flushTables},
    Command{"reload", "live: the agent reads its policy again", nullptr, reloadPolicy},
};

} // namespace

std::span<Command const> allCommands() {
    return commands;
}

} // namespace LoamCtl
