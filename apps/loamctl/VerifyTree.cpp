#include <Slate/Verify.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/Tree.h>

namespace LoamCtl {

namespace {

using Json = nlohmann::ordered_json;

std::string damageText(Slate::Damage const& damage) {
    std::string place = damage.file;
    if (damage.slot) {
        place += fmt::format(" slot {}", *damage.slot);
    }
    if (damage.key) {
        place += fmt::format(" key {:#x}", *damage.key);
    }
    return fmt::format("damage: {}: {}", place, damage.text);
}

Json damageJson(Slate::Damage const& damage) {
    Json json{{"slot", nullptr}, {"key", nullptr}, {"text", damage.text}};
    if (damage.slot) {
        json["slot"] = *damage.slot;
    }
    if (damage.key) {
        json["key"] = *damage.key;
    }
    return json;
}

} // namespace

ExitStatus verifyTree(Context& context) {
    bool const asJson = context.options().json;
    Json files = Json::array();
    std::uint64_t records = 0;
    std::uint64_t damages = 0;
    std::size_t stores = 0;
    for (auto const& file : filesBelow(context.folder())) {
        if (!file.isStore) {
            continue;
        }
        Json ofFile = Json::array();
        auto const found = Slate::verify(file.path, [&](Slate::Damage const& damage) {
            if (asJson) {
                ofFile.push_back(damageJson(damage));
            } else {
                fmt::print("{}\n", damageText(damage));
            }
        });
        ++stores;
        records += found.records;
        damages += found.damages;
        files.push_back({{"file", file.name}, {"records", found.records}, {"damages", ofFile}});
    }
    if (asJson) {
        Json const all{{"files", files}, {"records", records}, {"damages", damages}};
        fmt::print("{}\n", all.dump(2));
    } else {
        fmt::print("{} records in {} files are whole, {} damages\n", records, stores, damages);
    }
    return damages == 0 ? exitDone : exitDifferent;
}

} // namespace LoamCtl
