#include <Zet/Log.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <syslog.h>
#include <utility>

namespace Zet {

namespace {

// One message is one line, whatever its text came from.
std::string oneLine(LogRecord const& record) {
    auto line = fmt::format("{}: {}", record.name, record.text);
    std::ranges::replace_if(
        line, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, ' ');
    return line;
}

void toSyslogAndStandardError(LogRecord const& record) {
    auto const line = oneLine(record);
    ::syslog(LOG_MAKEPRI(LOG_LOCAL4, record.severity & LOG_PRIMASK), "%s", line.c_str());
    fmt::print(stderr, "{}\n", line);
}

struct Sink {
    std::mutex mutex;
    std::shared_ptr<LogSink const> sink = std::make_shared<LogSink const>(toSyslogAndStandardError);
};

Sink& sinkSlot() {
    static auto* const slot = new Sink; // messages may be raised until the very end of the process
    return *slot;
}

// A format comes with the library, not with the program: it is data here, and no printf sees it.
std::string substituted(std::string_view format, std::string_view text) {
    std::string result{format};
    if (auto const place = result.find("%s"); place != std::string::npos) {
        result.replace(place, 2, text);
    }
    return result;
}

} // namespace

LogSink logSinkIs(LogSink sink) {
    auto next =
        std::make_shared<LogSink const>(sink ? std::move(sink) : LogSink{toSyslogAndStandardError});
    auto& slot = sinkSlot();
    std::lock_guard const lock{slot.mutex};
    return *std::exchange(slot.sink, std::move(next));
}

void log(LogHandle& handle, Ombra::String const& text) {
    handle.raisedInc();
    auto const& descriptor = handle.descriptor();
    auto const line = substituted(descriptor.format, text);
    auto& slot = sinkSlot();
    auto const sink = [&] {
        std::lock_guard const lock{slot.mutex};
        return slot.sink;
    }();
    (*sink)(LogRecord{descriptor.name, static_cast<unsigned>(descriptor.severity), line,
                      descriptor.explanation});
}

} // namespace Zet
