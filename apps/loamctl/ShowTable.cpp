#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <apps/loamctl/Commands.h>
#include <apps/loamctl/Pending.h>
#include <apps/loamctl/TextTable.h>
#include <apps/policy/Codec.h>
#include <apps/policy/Describe.h>
#include <apps/policy/PolicyKind.h>
#include <map>

namespace LoamCtl {

namespace {

using LoamPolicy::TableHolds;

struct Line {
    Asic::UnitId unitId = 0;
    std::uint32_t key = 0;
    Asic::LogVersion version = 0;
    bool inDeletion = false;
    std::vector<std::byte> fields;
    std::string pending; // the newest operation that is not in the log; empty when there is none
};

std::vector<std::byte> bytesOf(std::span<std::byte const> bytes) {
    return {bytes.begin(), bytes.end()};
}

// What a live agent has been asked for stands beside what is committed; a key that only waits has a
// line of its own. A record that shared memory took meanwhile wins.
void addPending(Context const& context, Table const& table, std::vector<Line>& lines) {
    auto pending = pendingOf(context, table);
    auto const number = LoamPolicy::tableOf(table.tableId().tblId());
    for (auto& line : lines) {
        if (auto const found = pending.find({line.unitId, line.key}); found != pending.end()) {
            line.pending = found->second.operation;
            pending.erase(found);
        }
    }
    auto const& key = context.options().key;
    for (auto& [place, operation] : pending) {
        if (!key || place.second == *key) {
            if (number) { // with the padding that records have
                operation.fields.resize(LoamPolicy::fieldsSize(number->kind, number->holds));
            }
            lines.push_back(
                {place.first, place.second, 0, false, operation.fields, operation.operation});
        }
    }
}

// Where the entry's newest operation stands: its ticket.
std::string ticketOf(Line const& line, Asic::LogVersion applied) {
    if (!line.pending.empty()) {
        return "pending " + line.pending;
    }
    return line.version <= applied ? "applied" : "waiting";
}

std::string stateOf(Line const& line) {
    return line.version == 0 ? "new" : line.inDeletion ? "in deletion" : "live";
}

std::vector<Line> linesOf(Context const& context, Table& table) {
    std::vector<Line> lines;
    for (auto const unitId : table.units()) {
        auto const take = [&](StoredEntry const& stored) {
            lines.push_back({unitId, stored.key, stored.version, stored.inDeletion,
                             bytesOf(stored.padded), std::string{}});
        };
        if (auto const key = context.options().key) {
            table.withEntry(unitId, *key, take);
        } else {
            table.forEachEntry(unitId, take);
        }
    }
    addPending(context, table, lines);
    std::ranges::sort(lines, {}, [](Line const& line) { return std::pair{line.unitId, line.key}; });
    return lines;
}

// What a TCAM entry does stands in its action, in another table: a line tells both, where the
// action is there.
class RuleText {
  public:
    RuleText(Context const& context, Table const& table) : tblId_{table.tableId().tblId()} {
        auto const number = LoamPolicy::tableOf(tblId_);
        if (number && number->holds == TableHolds::Entries) {
            kind_ = number->kind;
            Asic::SwTableId const actions{(table.tableId().number() & 0xffff0000U) |
                                          LoamPolicy::tblIdOf(number->kind, TableHolds::Actions)};
            actions_ = context.tableOf(actions);
        }
    }

    std::string operator()(Line const& line) const {
        if (auto const action = actionOf(line)) {
            return LoamPolicy::describeRule(tblId_, line.key, line.fields, *action);
        }
        return LoamPolicy::describe(tblId_, line.key, line.fields);
    }

  private:
    std::optional<std::vector<std::byte>> actionOf(Line const& line) const {
        std::optional<std::vector<std::byte>> action;
        if (actions_ == nullptr) {
            return action;
        }
        auto const decoded = LoamPolicy::decodeEntry(kind_, line.fields);
        if (auto const* entry = std::get_if<LoamPolicy::Entry>(&decoded)) {
            actions_->withEntry(line.unitId, entry->actionKey, [&](StoredEntry const& stored) {
                action = bytesOf(stored.padded);
            });
        }
        return action;
    }

    std::uint16_t tblId_;
    LoamPolicy::PolicyKind kind_{};
    Table* actions_ = nullptr;
};

} // namespace

ExitStatus showTable(Context& context) {
    using enum TextTable::Align;
    auto& table = context.table();
    auto const lines = linesOf(context, table);
    if (auto const key = context.options().key; key && lines.empty()) {
        throw UsageError{fmt::format("{} has no entry with the key {:#010x}", table.name(), *key)};
    }
    // Read behind the entries: what a live hardware side applies meanwhile shows as applied.
    auto const applied = context.group().applied(table.tableId()).value_or(0);
    RuleText const rule{context, table};
    auto json = nlohmann::ordered_json::array();
    TextTable text{{{"KEY", left},
                    {"VERSION", right},
                    {"UNIT", right},
                    {"STATE", left},
                    {"TICKET", left},
                    {"RULE", left}}};
    for (auto const& line : lines) {
        auto const key = fmt::format("{:#010x}", line.key);
        auto const state = stateOf(line);
        auto const hardware = ticketOf(line, applied);
        if (context.options().json) {
            json.push_back(
                {{"key", key},
                 {"version", line.version},
                 {"unit", line.unitId},
                 {"state", line.inDeletion ? "in-deletion" : state},
                 {"hardware", hardware},
                 {"text", rule(line)},
                 {"rule", LoamPolicy::toJson(table.tableId().tblId(), line.key, line.fields)}});
        } else {
            text.row({key, fmt::to_string(line.version), fmt::to_string(line.unitId), state,
                      hardware, rule(line)});
        }
    }
    if (context.options().json) {
        nlohmann::ordered_json const all{{"table", table.name()}, {"entries", json}};
        fmt::print("{}\n", all.dump(2));
    } else {
        fmt::print("{}", text.text());
    }
    return exitDone;
}

} // namespace LoamCtl
