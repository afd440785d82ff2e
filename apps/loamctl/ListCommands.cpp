#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <apps/loamctl/ListCommands.h>
#include <apps/loamctl/TextTable.h>

namespace LoamCtl {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(CLI::App const& command) {
    Json arguments = Json::array();
    Json options = Json::array();
    for (auto const* option : command.get_options()) {
        Json const one{{"name", option->get_name()},
                       {"required", option->get_required()},
                       {"description", option->get_description()}};
        (option->get_positional() ? arguments : options).push_back(one);
    }
    return {{"name", command.get_name()},
            {"description", command.get_description()},
            {"arguments", arguments},
            {"options", options}};
}

std::vector<std::string> namesIn(Json const& list) {
    std::vector<std::string> names;
    for (auto const& each : list) {
        names.push_back(each["name"]);
    }
    return names;
}

std::string usageOf(Json const& command) {
    auto usage = command["name"].get<std::string>();
    for (auto const& argument : command["arguments"]) {
        auto const name = argument["name"].get<std::string>();
        usage += argument["required"].get<bool>() ? " " + name : " [" + name + "]";
    }
    for (auto const& option : command["options"]) {
        if (auto const name = option["name"].get<std::string>(); name != "--help") {
            usage += " [" + name + "]";
        }
    }
    return usage;
}

} // namespace

void listCommands(CLI::App& app, ListForm form) {
    Json all = Json::array();
    for (auto const* command : app.get_subcommands([](CLI::App const*) { return true; })) {
        all.push_back(jsonOf(*command));
    }
    if (form == ListForm::json) {
        fmt::print("{}\n", Json{{"commands", all}}.dump(2));
        return;
    }
    if (form == ListForm::plain) {
        for (auto const& command : all) {
            fmt::print("{}\t{}\t{}\n", command["name"].get<std::string>(),
                       fmt::join(namesIn(command["arguments"]), " "),
                       fmt::join(namesIn(command["options"]), " "));
        }
        return;
    }
    using enum TextTable::Align;
    TextTable text{{{"COMMAND", left}, {"WHAT", left}}};
    for (auto const& command : all) {
        text.row({usageOf(command), command["description"]});
    }
    fmt::print("{}", text.text());
}

} // namespace LoamCtl
