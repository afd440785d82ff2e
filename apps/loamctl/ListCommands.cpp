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
        if (option == command.get_help_ptr() || option == command.get_help_all_ptr()) {
            continue; // every command has them
        }
        Json const one{{"name", option->get_name()},
                       {"required", option->get_required()},
                       {"value", option->get_items_expected_max() != 0},
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

} // namespace

std::string usageOf(CLI::App const& command) {
    auto const told = jsonOf(command);
    auto usage = command.get_name();
    for (auto const& argument : told["arguments"]) {
        auto const name = argument["name"].get<std::string>();
        usage += argument["required"].get<bool>() ? " " + name : " [" + name + "]";
    }
    for (auto const& option : told["options"]) {
        auto const name = option["name"].get<std::string>();
        usage += fmt::format(" [{}{}]", name, option["value"].get<bool>() ? " VALUE" : "");
    }
    return usage;
}

void listCommands(CLI::App& app, ListForm form) {
    auto const commands = app.get_subcommands([](CLI::App const*) { return true; });
    Json all = Json::array();
    for (auto const* command : commands) {
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
    for (auto const* command : commands) {
        text.row({usageOf(*command), command->get_description()});
    }
    fmt::print("{}", text.text());
}

} // namespace LoamCtl
