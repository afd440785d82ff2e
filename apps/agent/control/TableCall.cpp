#include <Ombra/Ptr.h>

#include <fmt/format.h>

#include <algorithm>
#include <apps/agent/control/RequestError.h>
#include <apps/agent/control/TableCall.h>
#include <apps/agent/record/Recording.h>
#include <array>
#include <optional>
#include <string_view>

namespace LoamAgent {

namespace {

using Arguments = std::vector<Inspect::Value>;

// They change tables without a table's operation.
constexpr std::array<std::string_view, 5> unrecorded{"clearTable", "entryDel", "entryIs",
                                                     "makeSwTable", "tableDel"};

struct UnitsTable {
    AgentTable& table; // which records
    std::size_t unit;
};

std::optional<UnitsTable> tableOf(Platform const& platform, Inspect::Object const& object) {
    for (auto const& table : platform.tables()) {
        for (std::size_t unit = 0; unit < platform.units().size(); ++unit) {
            if (table->swTable(unit) == object) {
                return UnitsTable{*platform.table(table->tableId().tblId()), unit};
            }
        }
    }
    return std::nullopt;
}

// The arguments as the operation declares them; nothing when they are not as many.
std::optional<Arguments> declared(Inspect::Attribute const& operation,
                                  std::span<Inspect::Value const> given) {
    if (given.size() > operation.arguments.size()) {
        return std::nullopt;
    }
    Arguments fitting;
    for (std::size_t i = 0; i < operation.arguments.size(); ++i) {
        auto const& argument = operation.arguments[i];
        if (i < given.size()) {
            fitting.push_back(
                given[i].as(*argument.type,
                            fmt::format("The argument {} of {}", argument.name, operation.name)));
        } else if (!argument.optional) {
            return std::nullopt;
        }
    }
    return fitting;
}

Handle handleOf(Inspect::Value const& value) {
    auto const object = value.asObject();
    return object ? Ombra::dynamicCast<Asic::DependencyEntryHandle const>(object.node()) : nullptr;
}

std::uint32_t keyOf(Inspect::Value const& value) {
    return static_cast<std::uint32_t>(value.asNumber());
}

Inspect::Value valueOf(Handle const& handle) {
    return Inspect::Value{Inspect::Object{handle}};
}

Inspect::Value write(UnitsTable const& at, Arguments const& arguments) {
    auto const& entry = arguments[1];
    auto const same = Inspect::Value::record(entry.type(), arguments[0].asNumber(), entry.bytes());
    if (!(same == entry)) {
        throw RequestError{
            fmt::format("the entry {} does not bear the key {}, and can't be recorded",
                        entry.text(), arguments[0].text())};
    }
    return valueOf(at.table.entryWrite(at.unit, keyOf(arguments[0]), entry.bytes(),
                                       handleOf(arguments[2]), {}));
}

// Nothing when the operation is none that is recorded.
std::optional<Inspect::Value> callRecorded(UnitsTable const& at, std::string_view operation,
                                           Arguments const& arguments) {
    if (operation == "entryWrite") {
        return write(at, arguments);
    }
    if (operation == "entryRemove") {
        return valueOf(
            at.table.entryRemove(at.unit, keyOf(arguments[0]), handleOf(arguments[1]), {}));
    }
    if (operation == "entryRemoveAll") {
        at.table.entryRemoveAll(at.unit, handleOf(arguments[0]));
    } else if (operation == "sweep") {
        at.table.sweep(at.unit);
    } else {
        return std::nullopt;
    }
    return Inspect::Value{};
}

void sweepAll(Platform& platform) {
    for (auto const& table : platform.tables()) {
        for (std::size_t unit = 0; unit < platform.units().size(); ++unit) {
            platform.table(table->tableId().tblId())->sweep(unit);
        }
    }
}

} // namespace

Inspect::Value callByName(AgentControl& agent, Inspect::Object const& object,
                          Inspect::Attribute const& operation,
                          std::span<Inspect::Value const> given) {
    if (agent.recording().recorder() != nullptr) {
        auto& platform = agent.platform();
        if (std::ranges::find(unrecorded, operation.name) != unrecorded.end()) {
            throw RequestError{
                fmt::format("{} is not recorded; stop the record first", operation.name)};
        }
        auto const arguments = declared(operation, given);
        if (arguments && operation.name == "sweepSwTables") {
            sweepAll(platform);
            return {};
        }
        auto const table = tableOf(platform, object);
        if (table && arguments) {
            if (auto const result = callRecorded(*table, operation.name, *arguments)) {
                return *result;
            }
        }
    }
    return object.call(operation, given);
}

} // namespace LoamAgent
