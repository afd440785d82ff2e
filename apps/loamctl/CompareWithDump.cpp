#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <apps/loamctl/Commands.h>
#include <apps/loamctl/HardwareDump.h>
#include <iterator>
#include <set>

namespace LoamCtl {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t mostDifferences = 20; // that are told one by one

struct TableEntry {
    std::uint32_t key;
    std::string fields; // hexadecimal
    bool waiting;       // the hardware side has not come to it yet
};

std::string hexOf(std::span<std::byte const> bytes) {
    std::string text;
    text.reserve(2 * bytes.size());
    for (auto const byte : bytes) {
        fmt::format_to(std::back_inserter(text), "{:02x}", std::to_integer<unsigned>(byte));
    }
    return text;
}

class Comparison {
  public:
    // Of one table and unit; both lists ascend by key.
    void compare(std::string_view table, Asic::UnitId unitId,
                 std::vector<TableEntry> const& inTable, HardwareDump::Entries const& inHardware);

    std::uint64_t entries() const { return entries_; } // of the tables
    std::uint64_t differences() const { return differences_; }
    std::uint64_t waiting() const { return waiting_; }
    Json const& told() const { return told_; }

  private:
    void differ(std::string_view table, Asic::UnitId unitId, std::uint32_t key,
                TableEntry const* inTable, HardwareDump::Entry const* inHardware);

    std::uint64_t entries_ = 0;
    std::uint64_t differences_ = 0;
    std::uint64_t waiting_ = 0;
    Json told_ = Json::array();
};

void Comparison::compare(std::string_view table, Asic::UnitId unitId,
                         std::vector<TableEntry> const& inTable,
                         HardwareDump::Entries const& inHardware) {
    auto left = inTable.begin();
    auto right = inHardware.begin();
    entries_ += inTable.size();
    while (left != inTable.end() || right != inHardware.end()) {
        if (right == inHardware.end() || (left != inTable.end() && left->key < right->key)) {
            differ(table, unitId, left->key, &*left, nullptr);
            ++left;
        } else if (left == inTable.end() || right->key < left->key) {
            differ(table, unitId, right->key, nullptr, &*right);
            ++right;
        } else {
            if (left->fields != right->fields) {
                differ(table, unitId, left->key, &*left, &*right);
            }
            ++left;
            ++right;
        }
    }
}

void Comparison::differ(std::string_view table, Asic::UnitId unitId, std::uint32_t key,
                        TableEntry const* inTable, HardwareDump::Entry const* inHardware) {
    ++differences_;
    bool const waits = inTable != nullptr && inTable->waiting;
    waiting_ += waits ? 1 : 0;
    if (told_.size() < mostDifferences) {
        told_.push_back({{"table", table},
                         {"unit", unitId},
                         {"key", fmt::format("{:#010x}", key)},
                         {"in-table", nullptr},
                         {"in-hardware", nullptr},
                         {"waiting", waits}});
        if (inTable != nullptr) {
            told_.back()["in-table"] = inTable->fields;
        }
        if (inHardware != nullptr) {
            told_.back()["in-hardware"] = inHardware->fields;
        }
    }
}

std::vector<TableEntry> liveEntries(Context& context, Table& table, Asic::UnitId unitId) {
    auto const applied = context.group().applied(table.tableId()).value_or(0);
    std::vector<TableEntry> entries;
    table.forEachEntry(unitId, [&](StoredEntry const& stored) {
        if (!stored.inDeletion) {
            entries.push_back({stored.key, hexOf(stored.fields), stored.version > applied});
        }
    });
    std::ranges::sort(entries, {}, &TableEntry::key);
    return entries;
}

void checkNames(Context const& context, HardwareDump const& dump) {
    for (auto const& [place, entries] : dump.tables()) {
        if (context.tableOf(place.first) == nullptr) {
            throw UsageError{fmt::format("{}: '{}' is the name of no table", context.options().file,
                                         place.first)};
        }
    }
}

std::string differenceText(Json const& difference) {
    auto const place =
        fmt::format("{} unit {} key {}", difference["table"].get<std::string>(),
                    difference["unit"].get<unsigned>(), difference["key"].get<std::string>());
    auto const* const waits = difference["waiting"].get<bool>() ? " (waits for the hardware)" : "";
    if (difference["in-hardware"].is_null()) {
        return fmt::format("{}: only in the table{}", place, waits);
    }
    if (difference["in-table"].is_null()) {
        return fmt::format("{}: only in the hardware", place);
    }
    return fmt::format("{}: differs{}\n  table:    {}\n  hardware: {}", place, waits,
                       difference["in-table"].get<std::string>(),
                       difference["in-hardware"].get<std::string>());
}

void printText(Comparison const& comparison, std::size_t tables) {
    for (auto const& difference : comparison.told()) {
        fmt::print("{}\n", differenceText(difference));
    }
    if (comparison.differences() > comparison.told().size()) {
        fmt::print("... and {} more\n", comparison.differences() - comparison.told().size());
    }
    if (comparison.differences() == 0) {
        fmt::print("{} entries in {} tables agree\n", comparison.entries(), tables);
    } else {
        fmt::print("{} differences among {} entries in {} tables; {} of them wait for the "
                   "hardware side\n",
                   comparison.differences(), comparison.entries(), tables, comparison.waiting());
    }
}

} // namespace

ExitStatus compareWithDump(Context& context) {
    HardwareDump const dump{context.options().file};
    checkNames(context, dump);
    Comparison comparison;
    for (auto const& table : context.tables()) {
        auto const inTables = table->units();
        std::set<Asic::UnitId> units{inTables.begin(), inTables.end()};
        for (auto const& [place, entries] : dump.tables()) {
            if (place.first == table->name()) {
                units.insert(place.second);
            }
        }
        for (auto const unitId : units) {
            auto const inHardware = dump.tables().find({table->name(), unitId});
            comparison.compare(table->name(), unitId, liveEntries(context, *table, unitId),
                               inHardware == dump.tables().end() ? HardwareDump::Entries{}
                                                                 : inHardware->second);
        }
    }
    if (context.options().json) {
        Json const all{{"entries", comparison.entries()},
                       {"tables", context.tables().size()},
                       {"differences", comparison.differences()},
                       {"waiting", comparison.waiting()},
                       {"first-differences", comparison.told()}};
        fmt::print("{}\n", all.dump(2));
    } else {
        printText(comparison, context.tables().size());
    }
    return comparison.differences() == 0 ? exitDone : exitDifferent;
}

} // namespace LoamCtl
