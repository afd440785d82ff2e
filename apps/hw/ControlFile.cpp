#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <apps/hw/AtomicFile.h>
#include <apps/hw/ControlFile.h>
#include <stdexcept>
#include <utility>

namespace LoamHw {

std::optional<Faults> ControlFile::changed(Faults const& start) {
    std::string text;
    std::string trouble;
    if (!readFile(path_, text, trouble) && !trouble.empty()) {
        text = trouble;
    }
    if (text == std::exchange(seen_, text)) {
        return std::nullopt;
    }
    if (!trouble.empty()) {
        trouble_ = trouble;
        return std::nullopt;
    }
    if (text.empty()) {
        return start;
    }
    try {
        return faultsFromJson(nlohmann::json::parse(text));
    } catch (std::exception const& failure) { // both the parser's and our own
        trouble_ = fmt::format("{}: {}; what was in force stays", path_, failure.what());
        return std::nullopt;
    }
}

std::string ControlFile::takeTrouble() {
    return std::exchange(trouble_, {});
}

} // namespace LoamHw
