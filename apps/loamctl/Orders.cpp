#include <fmt/format.h>

#include <apps/loamctl/Commands.h>
#include <apps/loamctl/LiveAgent.h>
#include <filesystem>

// Orders for a live agent, each one request.
namespace LoamCtl {

namespace {

ExitStatus order(Context& context, char const* request, char const* what) {
    auto const result = LiveAgent{context.folder()}.ask({{"request", request}});
    if (context.options().json) {
        fmt::print("{}\n", result.dump(2));
    } else {
        fmt::print("{} {} entries\n", what, result.value("entries", std::uint64_t{0}));
    }
    return exitDone;
}

} // namespace

ExitStatus flushTables(Context& context) {
    return order(context, "flush", "the agent deletes");
}

ExitStatus recordOperations(Context& context) {
    auto const& options = context.options();
    LiveAgent::Json request{{"request", "record"}, {"action", options.text}};
    if (!options.file.empty()) {
        request["file"] = std::filesystem::absolute(options.file).string();
    }
    if (options.bytes != 0) {
        request["bytes"] = options.bytes;
    }
    auto const status = LiveAgent{context.folder()}.ask(request);
    if (options.json) {
        fmt::print("{}\n", status.dump(2));
    } else if (!status.contains("file")) {
        fmt::print("nothing is recorded\n");
    } else {
        fmt::print("{}: {} operations, {} of {} bytes{}{}\n", status["file"].get<std::string>(),
                   status["operations"].get<std::uint64_t>(), status["bytes"].get<std::uint64_t>(),
                   status["most-bytes"].get<std::uint64_t>(),
                   status["full"].get<bool>() ? ", full" : "",
                   status["recording"].get<bool>() ? "" : ", closed");
    }
    return exitDone;
}

ExitStatus replayRecord(Context& context) {
    auto const file = std::filesystem::absolute(context.options().file).string();
    auto const result = LiveAgent{context.folder()}.ask({{"request", "replay"}, {"file", file}});
    if (context.options().json) {
        fmt::print("{}\n", result.dump(2));
    } else {
        fmt::print("the agent replays {} operations{}\n", result["operations"].get<std::uint64_t>(),
                   result["complete"].get<bool>() ? ""
                                                  : "; what came behind them was not recorded: the "
                                                    "record was full, or its agent was killed");
    }
    return exitDone;
}

ExitStatus reloadPolicy(Context& context) {
    return order(context, "reload", "the agent compares");
}

} // namespace LoamCtl
