#include <Slate/Verify.h>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/HardwareStat.h>
#include <apps/loamctl/TextTable.h>
#include <apps/loamctl/Tree.h>

namespace LoamCtl {

namespace {

using Json = nlohmann::ordered_json;

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

void printHardwareSide(HardwareStat const& hardware) {
    fmt::print("hardware side: {}\n", hardware.text());
    if (hardware.json().is_object()) {
        if (auto const operations = hardware.json().find("operations");
            operations != hardware.json().end() && operations->is_object()) {
            std::vector<std::string> parts;
            for (auto const& [name, value] : operations->items()) {
                parts.push_back(fmt::format("{} {}", value.dump(), name));
            }
            fmt::print("  operations: {}\n", fmt::join(parts, ", "));
        }
    }
    for (auto const& trouble : hardware.troubles()) {
        fmt::print("  {}\n", trouble);
    }
}

} // namespace

ExitStatus showStat(Context& context) {
    auto const agent = context.group().agent();
    HardwareStat const hardware{context};
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
                       {"hardware-side", hardware.json()},
                       {"troubles", hardware.troubles()}};
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
