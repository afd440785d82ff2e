#include <fmt/format.h>

#include <apps/agent/control/AgentControl.h>
#include <apps/agent/control/Requests.h>
#include <apps/agent/record/RecordedOperation.h>
#include <apps/agent/record/Recording.h>
#include <apps/agent/record/Replay.h>

// A record of all operations, and its replay.
namespace LoamAgent {

namespace {

constexpr std::uint64_t usualBytes = std::uint64_t{256} << 20;
constexpr std::uint64_t leastBytes = 4096;

Json statusOf(Recorder const* recorder, bool complete) {
    if (recorder == nullptr) {
        return {{"recording", false}};
    }
    return {{"recording", true},
            {"file", recorder->path()},
            {"operations", recorder->operations()},
            {"bytes", recorder->bytes()},
            {"most-bytes", recorder->mostBytes()},
            {"full", recorder->full()},
            {"beginning-complete", complete}};
}

Json start(AgentControl& agent, Arguments const& arguments) {
    auto& recording = agent.recording();
    auto const bytes = arguments.number("bytes", usualBytes);
    if (recording.recorder() != nullptr) {
        throw RequestError{fmt::format("something is recorded already, into {}; stop that first",
                                       recording.recorder()->path())};
    }
    if (!arguments.has("file") || !arguments.text("file").starts_with('/')) {
        throw RequestError{"a record needs the argument \"file\", a path that begins with /"};
    }
    if (bytes < leastBytes || bytes > mostRecordBytes) {
        throw RequestError{fmt::format("the argument \"bytes\" is {}; expected {} to {}", bytes,
                                       leastBytes, mostRecordBytes)};
    }
    recording.start(arguments.text("file"), bytes);
    agent.wake();
    return statusOf(recording.recorder(), recording.complete());
}

// What the tables held must all be there before the record is closed.
Json stop(AgentControl& agent) {
    auto& recording = agent.recording();
    if (recording.recorder() == nullptr) {
        throw RequestError{"nothing is recorded"};
    }
    if (!recording.complete()) {
        throw RequestError{
            "the beginning of the record, what the tables held, is not complete; ask "
            "again in a moment"};
    }
    auto status = statusOf(recording.recorder(), true);
    if (auto const trouble = recording.stop(); !trouble.empty()) {
        throw RequestError{trouble};
    }
    status["recording"] = false;
    return status;
}

Json record(AgentControl& agent, Arguments const& arguments) {
    auto const action = arguments.text("action");
    if (action == "start") {
        return start(agent, arguments);
    }
    if (action == "stop") {
        return stop(agent);
    }
    if (action == "status") {
        return statusOf(agent.recording().recorder(), agent.recording().complete());
    }
    throw RequestError{fmt::format("the action of a record is \"{}\"", action.substr(0, 80)),
                       {"start", "stop", "status"}};
}

Json replay(AgentControl& agent, Arguments const& arguments) {
    auto& platform = agent.platform();
    std::uint64_t entries = 0;
    for (auto const& table : platform.tables()) {
        for (std::size_t unit = 0; unit < agent.units().size(); ++unit) {
            entries += table->entrys(unit);
        }
    }
    if (entries != 0) {
        throw RequestError{
            fmt::format("the agent's tables hold {} entries, and a record is replayed "
                        "into empty ones: flush first",
                        entries)};
    }
    auto read = readRecord(arguments.text("file"));
    if (auto const* fault = std::get_if<std::string>(&read)) {
        throw RequestError{*fault};
    }
    auto& [operations, complete] = std::get<ReadRecord>(read);
    if (auto const fault = Replay::fault(operations, platform, agent.units()); !fault.empty()) {
        throw RequestError{fmt::format("{}: {}", arguments.text("file"), fault)};
    }
    auto const count = operations.size();
    agent.course().replay(std::move(operations));
    agent.wake();
    return {{"operations", count}, {"complete", complete}};
}

} // namespace

void addRecordRequests(Requests& requests, AgentControl& agent) {
    using enum Arguments::Type;
    requests.add(
        {"record",
         "starts or stops a record of all operations of the agent, or tells how it stands",
         {{"action", text, true, "start, stop or status"},
          {"file", text, false, "of the record; a path that begins with /, where there is no file"},
          {"bytes", number, false, "at most; 268435456 if left out"}},
         [&](Arguments const& arguments, auto&) { return record(agent, arguments); }});
    requests.add({"replay",
                  "does the operations of a record again, in an agent whose tables are empty",
                  {{"file", text, true, "the record"}},
                  [&](Arguments const& arguments, auto&) { return replay(agent, arguments); }});
}

} // namespace LoamAgent
