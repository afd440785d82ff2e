#include <Zet/TraceHandle.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fnmatch.h>
#include <map>
#include <mutex>
#include <utility>

namespace Zet {

std::atomic<std::uint16_t> TraceHandle::anyLevels_{0};

namespace {

struct Rule {
    std::string pattern;
    std::uint16_t levels;
};

struct Registry {
    std::mutex mutex;
    std::map<std::string, TraceHandle::Record, std::less<>> records; // addresses stay
    std::vector<Rule> rules;                                         // the last match wins
};

bool matches(std::string const& pattern, std::string const& name) {
    return ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

Registry& registry() {
    static auto* const handles = new Registry; // handles are used until the very end of the process
    return *handles;
}

std::uint16_t unionOfLevels(Registry const& handles) {
    std::uint16_t levels = 0;
    for (auto const& [name, record] : handles.records) {
        levels = static_cast<std::uint16_t>(levels | record.levels.load());
    }
    // A handle is made by its first trace: a rule for one that is not there yet must let that trace
    // through.
    for (auto const& rule : handles.rules) {
        levels = static_cast<std::uint16_t>(levels | rule.levels);
    }
    return levels;
}

// Nothing when the text is no level list.
bool parseLevels(std::string_view text, std::uint16_t& levels) {
    levels = 0;
    while (true) {
        auto const comma = text.find(',');
        auto const one = text.substr(0, comma);
        unsigned level = 0;
        auto const [end, error] = std::from_chars(one.data(), one.data() + one.size(), level);
        if (one == "all") {
            levels = 0xffff;
        } else if (one != "off") {
            if (error != std::errc{} || end != one.data() + one.size() || level > 15) {
                return false;
            }
            levels = static_cast<std::uint16_t>(levels | 1U << level);
        }
        if (comma == std::string_view::npos) {
            return true;
        }
        text.remove_prefix(comma + 1);
    }
}

void readEnvironmentOnce() {
    static std::once_flag once;
    std::call_once(once, [] {
        if (char const* text = std::getenv("LOAM_TRACE"); text != nullptr) {
            if (auto const fault = TraceHandle::levelsFromText(text); !fault.empty()) {
                fmt::print(stderr, "LOAM_TRACE: {}\n", fault);
            }
        }
    });
}

// The environment speaks before the first trace, which might be the one that makes a handle.
[[maybe_unused]] bool const environmentRead = [] {
    readEnvironmentOnce();
    return true;
}();

} // namespace

TraceHandle::TraceHandle(char const* name, bool reserved)
    : TraceHandle{Ombra::String{name}, reserved} {}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the signature that clients are built against
TraceHandle::TraceHandle(Ombra::String name, bool) {
    auto& handles = registry();
    std::lock_guard const lock{handles.mutex};
    auto const [place, made] = handles.records.try_emplace(name.str());
    auto& record = place->second;
    if (made) {
        record.name = name.str();
        for (auto const& rule : handles.rules) {
            if (matches(rule.pattern, record.name)) {
                record.levels.store(rule.levels);
            }
        }
    }
    record_ = &record;
}

void TraceHandle::levelsIs(std::string_view pattern, std::uint16_t levels) {
    auto& handles = registry();
    std::lock_guard const lock{handles.mutex};
    Rule const rule{std::string{pattern}, levels};
    std::erase_if(handles.rules,
                  [&](Rule const& old) { return matches(rule.pattern, old.pattern); });
    handles.rules.push_back(rule);
    for (auto& [name, record] : handles.records) {
        if (matches(rule.pattern, name)) {
            record.levels.store(levels);
        }
    }
    anyLevels_.store(unionOfLevels(handles));
}

std::string TraceHandle::levelsFromText(std::string_view text) {
    std::vector<Rule> rules;
    while (!text.empty()) {
        auto const semicolon = text.find(';');
        auto const one = text.substr(0, semicolon);
        auto const equals = one.find('=');
        Rule rule{std::string{one.substr(0, equals)}, 0};
        if (equals == std::string_view::npos || equals == 0 ||
            !parseLevels(one.substr(equals + 1), rule.levels)) {
            return fmt::format("'{}' is not PATTERN=LEVEL[,LEVEL...] with levels 0 to 15, all or "
                               "off, as in Ipv4*=2,3",
                               one);
        }
        rules.push_back(std::move(rule));
        text = semicolon == std::string_view::npos ? "" : text.substr(semicolon + 1);
    }
    for (auto const& rule : rules) {
        levelsIs(rule.pattern, rule.levels);
    }
    return {};
}

std::vector<TraceHandle::State> TraceHandle::all() {
    auto& handles = registry();
    std::lock_guard const lock{handles.mutex};
    std::vector<State> result;
    for (auto const& [name, record] : handles.records) {
        result.push_back(State{name, record.levels.load()});
    }
    return result;
}

} // namespace Zet
