#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <apps/loamctl/Commands.h>
#include <apps/loamctl/HardwareStat.h>
#include <apps/loamctl/LiveAgent.h>

namespace LoamCtl {

namespace {

using Json = LiveAgent::Json;

class Explanation {
  public:
    explicit Explanation(Context& context)
        : context_{context}, table_{context.table()}, key_{*context.options().key},
          hardware_{context}, applied_{context.group().applied(table_.tableId()).value_or(0)},
          announced_{context.group().announced(table_.tableId())}, agent_{LiveAgent::find(
                                                                       context.folder())} {}

    Json json() {
        Json all{{"table", table_.name()},
                 {"key", fmt::format("{:#010x}", key_)},
                 {"agent-alive", agent_.has_value()},
                 {"records", records()},
                 {"in-log", inLog()},
                 {"operations", Json::array()}};
        if (agent_) {
            auto const live =
                agent_->ask({{"request", "explain"}, {"table", table_.name()}, {"key", key_}});
            all["operations"] = live.value("operations", Json::array());
        }
        return all;
    }

  private:
    // What the configuration tables hold of the key.
    Json records() {
        Json all = Json::array();
        for (auto const unitId : table_.units()) {
            table_.withEntry(unitId, key_, [&](StoredEntry const& stored) {
                all.push_back({{"unit", unitId},
                               {"state", stored.inDeletion ? "in-deletion" : "live"},
                               {"version", stored.version},
                               {"hardware", stored.version <= applied_ ? "applied" : "waiting"}});
            });
        }
        return all;
    }

    // The key's changes that the hardware side has not applied.
    Json inLog() {
        Json all = Json::array();
        table_.forEachChange([&](LoggedChange const& change) {
            bool const ofTable = Asic::flagHas(change.flags, Asic::EntryFlags::flagTableDeleted);
            if (change.version <= applied_ || (change.key != key_ && !ofTable)) {
                return;
            }
            bool const deleted = Asic::flagHas(change.flags, Asic::EntryFlags::flagEntryDeleted);
            all.push_back({{"version", change.version},
                           {"unit", change.unitId},
                           {"change", ofTable   ? "table-deleted"
                                      : deleted ? "deleted"
                                                : "written"},
                           {"announced", change.version <= announced_},
                           {"since-ms", since(change.version)},
                           {"needs", needs(change.version)},
                           {"waits", waits(change.version)}});
        });
        return all;
    }

    Json since(Asic::LogVersion version) {
        return agent_ ? agent_->ask({{"request", "logged-since"},
                                     {"table", table_.name()},
                                     {"version", version}})["since-ms"]
                      : Json{};
    }

    Json needs(Asic::LogVersion version) {
        Json all = Json::array();
        for (auto const& place : context_.group().needed(table_.tableId(), version)) {
            auto const* table = context_.tableOf(place.tableId);
            auto const applied = context_.group().applied(place.tableId).value_or(0);
            all.push_back({{"table", table == nullptr ? fmt::format("{}", place.tableId)
                                                      : std::string{table->name()}},
                           {"version", std::uint64_t{place.version}},
                           {"applied", applied >= place.version}});
        }
        return all;
    }

    Json waits(Asic::LogVersion version) {
        if (version > announced_) {
            return Json::array({"it is not announced to the hardware side yet: the agent does that "
                                "right behind the log, or at its next start"});
        }
        return hardware_.why(context_, table_, version);
    }

    Context& context_;
    Table& table_;
    std::uint32_t key_;
    HardwareStat hardware_;
    Asic::LogVersion applied_;
    Asic::LogVersion announced_;
    std::optional<LiveAgent> agent_;
};

std::string sinceText(Json const& ms) {
    return ms.is_number() ? fmt::format(", for {:.1f} s", ms.get<double>() / 1000) : std::string{};
}

void printRecords(Json const& all) {
    for (auto const& record : all["records"]) {
        fmt::print("  unit {}: {} in the table, last change is version {}, {}\n",
                   record["unit"].get<unsigned>(), record["state"].get<std::string>(),
                   record["version"].get<std::uint64_t>(),
                   record["hardware"] == "applied" ? "which the hardware has applied"
                                                   : "which the hardware has not applied");
    }
    if (all["records"].empty()) {
        fmt::print("  the table holds nothing of it\n");
    }
}

void printInLog(Json const& all) {
    for (auto const& change : all["in-log"]) {
        fmt::print("  unit {}: {} at version {} of the log{}\n", change["unit"].get<unsigned>(),
                   change["change"].get<std::string>(), change["version"].get<std::uint64_t>(),
                   sinceText(change["since-ms"]));
        for (auto const& need : change["needs"]) {
            fmt::print("    needs {} at version {}, which is {}\n",
                       need["table"].get<std::string>(), need["version"].get<std::uint64_t>(),
                       need["applied"].get<bool>() ? "applied" : "not applied");
        }
        for (auto const& step : change["waits"]) {
            fmt::print("    {}\n", step.get<std::string>());
        }
    }
}

void printOperations(Json const& all) {
    for (auto const& operation : all["operations"]) {
        bool const refused = operation["stage"] == "refused";
        fmt::print("  unit {}: {} {}{}\n", operation["unit"].get<unsigned>(),
                   operation["operation"].get<std::string>(),
                   refused
                       ? "refused, because what it depends on was; writing the key again ends it"
                       : "waits to be logged",
                   sinceText(operation.value("since-ms", Json{})));
        for (auto const& step : operation.value("waits", Json::array())) {
            fmt::print("    {}\n", step["text"].get<std::string>());
        }
    }
}

} // namespace

ExitStatus explainKey(Context& context) {
    auto const all = Explanation{context}.json();
    if (context.options().json) {
        fmt::print("{}\n", all.dump(2));
        return exitDone;
    }
    fmt::print("{} key {}\n", all["table"].get<std::string>(), all["key"].get<std::string>());
    printRecords(all);
    printInLog(all);
    printOperations(all);
    if (!all["agent-alive"].get<bool>()) {
        fmt::print("  no agent lives; what it had not logged is gone\n");
    } else if (all["in-log"].empty() && all["operations"].empty()) {
        fmt::print("  nothing is on its way\n");
    }
    return exitDone;
}

} // namespace LoamCtl
