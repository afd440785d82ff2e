#include <fmt/format.h>

#include <algorithm>
#include <apps/loamctl/HardwareStat.h>
#include <fstream>
#include <optional>

namespace LoamCtl {

namespace {

using Json = nlohmann::ordered_json;

Json const nothing;

Json readStat(std::string const& folder) {
    std::ifstream file{folder + "/hw-stat.json"};
    if (!file) {
        return nullptr;
    }
    auto json = Json::parse(file, nullptr, false);
    return json.is_object() ? json : Json("hw-stat.json is no JSON object");
}

Json const& memberOf(Json const& object, char const* name) {
    auto const found = object.is_object() ? object.find(name) : object.end();
    return object.is_object() && found != object.end() ? *found : nothing;
}

std::string textOf(Json const& object, char const* name) {
    auto const& member = memberOf(object, name);
    return member.is_string() ? member.get<std::string>() : std::string{};
}

std::uint64_t numberOf(Json const& object, char const* name) {
    auto const& member = memberOf(object, name);
    return member.is_number_unsigned() ? member.get<std::uint64_t>() : 0;
}

std::string stuckText(std::string const& name, Json const& stuck) {
    auto const version = numberOf(stuck, "version");
    return fmt::format("{} is stuck {}: unit {}, key {}: {}; {} tries in {:.1f} s", name,
                       version == 0 ? std::string{"comparing hardware and table"}
                                    : fmt::format("at version {}", version),
                       numberOf(stuck, "unit"), textOf(stuck, "key"), textOf(stuck, "reason"),
                       numberOf(stuck, "tries"),
                       static_cast<double>(numberOf(stuck, "for-ms")) / 1000);
}

std::string waitText(std::string const& name, Json const& table, Json const& waitsFor) {
    return fmt::format("{} waits at version {} until {} has applied version {}", name,
                       numberOf(table, "applied") + 1, textOf(waitsFor, "table"),
                       numberOf(waitsFor, "version"));
}

} // namespace

HardwareStat::HardwareStat(Context& context)
    : json_(readStat(context.folder())), alive_{context.group().hardwareSideAlive()} {
    for (auto const& table : context.tables()) {
        auto const applied = context.group().applied(table->tableId()).value_or(0);
        auto const announced = context.group().announced(table->tableId());
        waiting_ += announced - std::min(announced, applied);
    }
}

std::string HardwareStat::text() const {
    if (json_.is_string()) {
        return json_.get<std::string>();
    }
    if (!alive_) {
        return json_.is_null() ? "has never run here" : "not running";
    }
    if (json_.is_null()) {
        return "running, has not said anything yet";
    }
    auto const slow = numberOf(memberOf(json_, "faults"), "slow-us");
    return fmt::format(
        "running, process {}, backend {}{}", numberOf(json_, "pid"), textOf(json_, "backend"),
        slow == 0 ? std::string{} : fmt::format(", made slow: {} us per operation", slow));
}

Json const& HardwareStat::table(std::string_view name) const {
    for (auto const& table : memberOf(json_, "tables")) {
        if (textOf(table, "name") == name) {
            return table;
        }
    }
    return nothing;
}

std::vector<std::string> HardwareStat::why(Context& context, Table const& table,
                                           Asic::LogVersion version) const {
    std::vector<std::string> steps;
    if (!alive_) {
        return {"the hardware side does not run"};
    }
    Table const* at = &table;
    while (at != nullptr && steps.size() <= context.tables().size()) {
        std::string const name{at->name()};
        auto const& said = this->table(name);
        auto const& stuck = memberOf(said, "stuck");
        auto const& waitsFor = memberOf(said, "waits-for");
        if (stuck.is_object()) {
            steps.push_back(stuckText(name, stuck));
            break;
        }
        if (!waitsFor.is_object()) {
            auto const applied = context.group().applied(at->tableId()).value_or(0);
            steps.push_back(
                applied >= version
                    ? fmt::format("{} has just been applied up to {}", name, applied)
                    : fmt::format("the hardware side is at version {} of {}, {} changes "
                                  "before version {}",
                                  applied, name, version - applied - 1, version));
            break;
        }
        steps.push_back(waitText(name, said, waitsFor));
        version = numberOf(waitsFor, "version");
        at = context.tableOf(textOf(waitsFor, "table"));
    }
    return steps;
}

std::vector<std::string> HardwareStat::troubles() const {
    std::vector<std::string> sentences;
    if (!alive_) {
        if (waiting_ != 0) {
            sentences.push_back(fmt::format(
                "the hardware side does not run, and {} changes wait for it", waiting_));
        }
        return sentences;
    }
    if (auto const trouble = textOf(json_, "store-trouble"); !trouble.empty()) {
        sentences.push_back("what is applied can't be stored: " + trouble);
    }
    for (auto const& table : memberOf(json_, "tables")) {
        auto const name = textOf(table, "name");
        if (auto const& stuck = memberOf(table, "stuck"); stuck.is_object()) {
            sentences.push_back(stuckText(name, stuck));
        }
        if (auto const& waitsFor = memberOf(table, "waits-for"); waitsFor.is_object()) {
            sentences.push_back(waitText(name, table, waitsFor));
        }
        if (auto const trouble = textOf(table, "trouble"); !trouble.empty()) {
            sentences.push_back(fmt::format("{} can't be read: {}", name, trouble));
        }
    }
    return sentences;
}

} // namespace LoamCtl
