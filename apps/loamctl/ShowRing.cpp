#include <RingScribe/Reader.h>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <apps/loamctl/Commands.h>
#include <apps/loamctl/CtfTrace.h>

namespace LoamCtl {

namespace {

using Json = nlohmann::ordered_json;
using RingScribe::Reader;

std::string timeText(std::int64_t wallTimeNs) {
    constexpr std::int64_t second = 1'000'000'000;
    return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:09}",
                       fmt::gmtime(static_cast<std::time_t>(wallTimeNs / second)),
                       wallTimeNs % second);
}

Json jsonOf(Reader::Msg const& msg) {
    Json json{{"sequence", msg.sequence},
              {"time-ns", msg.wallTimeNs},
              {"monotonic-ns", msg.monotonicNs},
              {"message", msg.msgId},
              {"text", msg.text()}};
    if (msg.description != nullptr) {
        json["class"] = msg.description->className;
        json["function"] = msg.description->function;
        json["file"] = msg.description->file;
        json["line"] = msg.description->line;
    }
    Json arguments = Json::array();
    for (auto const& argument : msg.arguments) {
        arguments.push_back(argument.value);
    }
    json["arguments"] = arguments;
    return json;
}

std::string lineOf(Reader::Msg const& msg) {
    std::string place;
    if (msg.description != nullptr) {
        place = fmt::format(" {}::{}:", msg.description->className, msg.description->function);
    }
    auto const text = msg.text();
    return fmt::format("{} {:>6}{}{}{}", timeText(msg.wallTimeNs), msg.sequence, place,
                       text.starts_with(' ') ? "" : " ", text);
}

// The sequence behind which the last `most` messages stand.
std::uint64_t before(Reader& reader, std::uint64_t most) {
    std::uint64_t last = 0;
    if (most != 0) {
        reader.forEach([&](Reader::Msg const& msg) { last = msg.sequence; });
    }
    return most == 0 ? 0 : last - std::min(last, most);
}

ExitStatus exportTrace(Reader& reader, std::uint64_t after, Options const& options) {
    CtfTrace trace{options.folder, reader};
    reader.forEach([&](Reader::Msg const& msg) { trace.add(msg); }, after);
    trace.write(reader.lost());
    if (options.json) {
        fmt::print(
            "{}\n",
            Json{{"folder", options.folder}, {"events", trace.events()}, {"lost", reader.lost()}}
                .dump(2));
    } else {
        fmt::print("{}: {} events; {} were overwritten before\n", options.folder, trace.events(),
                   reader.lost());
    }
    return exitDone;
}

} // namespace

ExitStatus showRing(Context& context) {
    auto const& options = context.options();
    Reader reader{options.file.empty() ? context.folder() + "/agent.ring" : options.file};
    auto const after = before(reader, options.most);
    if (!options.folder.empty()) {
        return exportTrace(reader, after, options);
    }
    Json messages = Json::array();
    reader.forEach(
        [&](Reader::Msg const& msg) {
            if (options.json) {
                messages.push_back(jsonOf(msg));
            } else {
                fmt::print("{}\n", lineOf(msg));
            }
        },
        after);
    if (options.json) {
        fmt::print(
            "{}\n",
            Json{{"pid", reader.superblock().pid}, {"lost", reader.lost()}, {"messages", messages}}
                .dump(2));
    } else if (reader.lost() != 0) {
        fmt::print("{} messages before these were overwritten\n", reader.lost());
    }
    return exitDone;
}

} // namespace LoamCtl
