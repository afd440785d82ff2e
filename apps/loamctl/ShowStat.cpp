#include <Slate/Verify.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/TextTable.h>
#include <apps/loamctl/Tree.h>
#include <fstream>

namespace LoamCtl {

namespace {

using Json = nlohmann::ordered_json;

// What the hardware side says of itself; null when it never did, a text when it can't be read.
Json hardwareSide(std::string const& folder) {
    std::ifstream file{folder + "/hw-stat.json"};
    if (!file) {
        return nullptr;
    }
    auto const json = Json::parse(file, nullptr, false);
    return json.is_discarded() ? Json("hw-stat.json is no JSON") : json;
}

struct Files {
    Json json = Json::array();
    TextTable text{{{"FILE", TextTable::Align::left},
                    {"SIZE BYTES", TextTable::Align::right},
                    {"MEMORY BYTES", TextTable::Align::right},
                    {"RECORDS", TextTable::Align::right},
                    {"CAPACITY", TextTable::Align::right},
                    {"SLOTS", TextTable::Align::right},
                    {"DAMAGES", TextTable::Align::right}}};
    std::uint64_t sizeBytes = 0;
    std::uint64_t memoryBytes = 0;
    std::uint64_t records = 0;
    std::uint64_t slots = 0;
    std::uint64_t damages = 0;
    std::uint64_t setAside = 0;

    void add(TreeFile const& file);
    void addStore(TreeFile const& file);
};

// Collections are read whole: the number of damages is what is in them now.
void Files::addStore(TreeFile const& file) {
    auto const head = storeHeadOf(file.path).value_or(StoreHead{});
    auto const found = Slate::verify(file.path, [](Slate::Damage const&) {});
    records += found.records;
    slots += head.slots;
    damages += found.damages;
    json.push_back({{"file", file.name},
                    {"size-bytes", file.sizeBytes},
                    {"memory-bytes", file.memoryBytes},
                    {"type", head.typeName},
                    {"record-bytes", head.recordBytes},
                    {"records", found.records},
                    {"capacity-records", head.capacity},
                    {"slots", head.slots},
                    {"damages", found.damages}});
    text.row({file.name, fmt::to_string(file.sizeBytes), fmt::to_string(file.memoryBytes),
              fmt::to_string(found.records), fmt::to_string(head.capacity),
              fmt::to_string(head.slots), fmt::to_string(found.damages)});
}

void Files::add(TreeFile const& file) {
    sizeBytes += file.sizeBytes;
    memoryBytes += file.memoryBytes;
    setAside += file.isSetAside ? 1 : 0;
    if (file.isStore) {
        addStore(file);
    } else if (!file.name.ends_with(".owner")) {
        json.push_back({{"file", file.name},
                        {"size-bytes", file.sizeBytes},
                        {"memory-bytes", file.memoryBytes}});
        text.row({file.name, fmt::to_string(file.sizeBytes), fmt::to_string(file.memoryBytes), "-",
                  "-", "-", "-"});
    }
}

std::string agentText(AgentState const& agent) {
    if (agent.run == 0) {
        return "no agent has run here";
    }
    return fmt::format("run {}, pid {}, {}", agent.run, agent.pid, agent.alive ? "alive" : "dead");
}

void printHardwareSide(Json const& json) {
    if (!json.is_object()) {
        fmt::print("hardware side: {}\n",
                   json.is_string() ? json.get<std::string>() : "has not said anything yet");
        return;
    }
    fmt::print("hardware side:\n");
    for (auto const& [name, value] : json.items()) {
        if (value.is_array()) {
            for (auto const& each : value) {
                fmt::print("  {}: {}\n", name, each.dump());
            }
        } else {
            fmt::print("  {}: {}\n", name, value.dump());
        }
    }
}

} // namespace

ExitStatus showStat(Context& context) {
    auto const agent = context.group().agent();
    auto const hardware = hardwareSide(context.folder());
    Files files;
    for (auto const& file : filesBelow(context.folder())) {
        files.add(file);
    }
    if (context.options().json) {
        Json const all{{"agent", {{"run", agent.run}, {"pid", agent.pid}, {"alive", agent.alive}}},
                       {"files", files.json},
                       {"total",
                        {{"size-bytes", files.sizeBytes},
                         {"memory-bytes", files.memoryBytes},
                         {"records", files.records},
                         {"slots", files.slots},
                         {"damages", files.damages},
                         {"set-aside-files", files.setAside}}},
                       {"hardware-side", hardware}};
        fmt::print("{}\n", all.dump(2));
        return exitDone;
    }
    fmt::print("agent: {}\n", agentText(agent));
    fmt::print("{}", files.text.text());
    fmt::print(
        "total: {} bytes of memory in files of {} bytes, {} records in {} slots, {} damages, "
        "{} files set aside\n",
        files.memoryBytes, files.sizeBytes, files.records, files.slots, files.damages,
        files.setAside);
    printHardwareSide(hardware);
    return exitDone;
}

} // namespace LoamCtl
