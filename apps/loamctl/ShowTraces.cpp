#include <fmt/format.h>
#include <fmt/ranges.h>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/LiveAgent.h>
#include <apps/loamctl/TextTable.h>

namespace LoamCtl {

namespace {

std::string levelsText(LiveAgent::Json const& levels) {
    std::vector<std::string> texts;
    for (auto const& level : levels) {
        texts.push_back(level.dump());
    }
    return texts.empty()        ? "off"
           : texts.size() == 16 ? "all"
                                : fmt::format("{}", fmt::join(texts, ","));
}

} // namespace

ExitStatus showTraces(Context& context) {
    LiveAgent::Json request{{"request", "trace"}};
    if (!context.options().text.empty()) {
        request["set"] = context.options().text;
    }
    auto const handles = LiveAgent{context.folder()}.ask(request);
    if (context.options().json) {
        fmt::print("{}\n", LiveAgent::Json{{"handles", handles}}.dump(2));
        return exitDone;
    }
    TextTable text{{{"HANDLE", TextTable::Align::left}, {"LEVELS", TextTable::Align::left}}};
    for (auto const& handle : handles) {
        text.row({handle["name"], levelsText(handle["levels"])});
    }
    fmt::print("{}", text.text());
    return exitDone;
}

} // namespace LoamCtl
