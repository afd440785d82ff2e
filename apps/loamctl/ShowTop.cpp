#include <fmt/format.h>
#include <fmt/ranges.h>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/HardwareStat.h>
#include <apps/loamctl/Interrupt.h>
#include <apps/loamctl/LiveAgent.h>
#include <apps/loamctl/TextTable.h>
#include <chrono>
#include <cstdio>
#include <map>
#include <poll.h>
#include <sstream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace LoamCtl {

namespace {

using Json = LiveAgent::Json;
using Clock = std::chrono::steady_clock;

// One look at all tables, by name.
struct Look {
    Clock::time_point time;
    std::map<std::string, Json> tables;
};

Look lookAt(Context& context, LiveAgent& agent) {
    Look look{Clock::now(), {}};
    for (auto const& table : agent.ask({{"request", "tables"}})) {
        auto const name = table.value("name", std::string{});
        look.tables[name] = table;
        if (auto* const known = context.tableOf(name)) {
            look.tables[name]["hardware-version"] =
                context.group().applied(known->tableId()).value_or(0);
        }
    }
    return look;
}

std::uint64_t numberOf(Json const& table, char const* name) {
    return table.value(name, std::uint64_t{0});
}

// What has happened to a table between two looks.
Json lineOf(Json const& before, Json const& now, double seconds) {
    auto const perSecond = [&](char const* name) {
        auto const from = numberOf(before, name);
        auto const to = numberOf(now, name);
        return to < from ? 0.0 : static_cast<double>(to - from) / seconds;
    };
    auto const logged = numberOf(now, "logged-version");
    return {{"name", now["name"]},
            {"entries", numberOf(now, "entries")},
            {"writes-per-second", perSecond("writes")},
            {"removes-per-second", perSecond("removes")},
            {"suppressed-per-second", perSecond("suppressed-writes")},
            {"commits-per-second", perSecond("commits")},
            {"applied-per-second", perSecond("hardware-version")},
            {"queued", numberOf(now, "queued")},
            {"log-records", numberOf(now, "log-records")},
            {"lag-changes", logged - std::min(logged, numberOf(now, "hardware-version"))}};
}

std::string textOf(Json const& lines, std::vector<std::string> const& troubles) {
    using enum TextTable::Align;
    TextTable text{{{"TABLE", left},
                    {"ENTRIES", right},
                    {"WRITES/S", right},
                    {"REMOVES/S", right},
                    {"SUPPRESSED/S", right},
                    {"COMMITS/S", right},
                    {"APPLIED/S", right},
                    {"QUEUED", right},
                    {"LOG RECORDS", right},
                    {"LAG CHANGES", right}}};
    for (auto const& line : lines) {
        std::vector<std::string> cells;
        for (auto const& [name, value] : line.items()) {
            cells.push_back(value.is_string()         ? value.get<std::string>()
                            : value.is_number_float() ? fmt::format("{:.0f}", value.get<double>())
                                                      : value.dump());
        }
        text.row(std::move(cells));
    }
    return text.text() +
           fmt::format("{}{}", fmt::join(troubles, "\n"), troubles.empty() ? "" : "\n");
}

// Over the picture before, without a moment of emptiness; what has no room is cut off, so that a
// line stays a line.
void draw(std::string const& text) {
    winsize size{};
    bool const known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
    std::size_t const columns = known ? size.ws_col : 80;
    std::size_t const rows = known && size.ws_row > 1 ? size.ws_row - 1U : 24;
    std::string picture = "\x1b[H";
    std::istringstream lines{text};
    std::string line;
    for (std::size_t row = 0; row < rows && std::getline(lines, line); ++row) {
        picture += line.substr(0, columns) + "\x1b[K\n";
    }
    fmt::print("{}\x1b[J", picture);
}

} // namespace

// On a terminal the picture is drawn over itself; anywhere else one follows the other.
ExitStatus showTop(Context& context) {
    auto const& options = context.options();
    bool const terminal = ::isatty(STDOUT_FILENO) == 1 && !options.json;
    waitForInterrupts();
    LiveAgent agent{context.folder()};
    if (terminal) {
        fmt::print("\x1b[2J");
    }
    auto before = lookAt(context, agent);
    for (std::uint64_t shown = 0; options.most == 0 || shown < options.most; ++shown) {
        ::poll(nullptr, 0, static_cast<int>(options.intervalMs));
        if (interrupted()) {
            break;
        }
        auto now = lookAt(context, agent);
        double const seconds = std::chrono::duration<double>(now.time - before.time).count();
        Json lines = Json::array();
        for (auto const& [name, table] : now.tables) {
            lines.push_back(lineOf(before.tables[name], table, seconds));
        }
        auto const troubles = HardwareStat{context}.troubles();
        if (options.json) {
            fmt::print(
                "{}\n",
                Json{{"seconds", seconds}, {"tables", lines}, {"troubles", troubles}}.dump());
        } else {
            auto const text = textOf(lines, troubles);
            terminal ? draw(text) : fmt::print("{}{}", shown == 0 ? "" : "\n", text);
        }
        std::fflush(stdout);
        before = std::move(now);
    }
    return exitDone;
}

} // namespace LoamCtl
