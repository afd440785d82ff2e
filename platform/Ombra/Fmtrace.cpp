#include <Ombra/Fmtrace.h>

#include <cstdio>
#include <ctime>
#include <iterator>
#include <time.h>
#include <utility>

namespace Ombra {

namespace {

std::string_view baseName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

void toStandardError(TraceRecord const& record) {
    // The standard library's clock ends in 2038 in a 32-bit process.
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    std::tm utc{};
    ::gmtime_r(&now.tv_sec, &utc);

    fmt::memory_buffer line;
    fmt::format_to(std::back_inserter(line), "{:02}:{:02}:{:02}.{:06} {} {} {}::{} {}:{} {}\n",
                   utc.tm_hour, utc.tm_min, utc.tm_sec, now.tv_nsec / 1000, record.handleName,
                   record.level, record.className, record.function, baseName(record.file),
                   record.line, record.text);
    std::fwrite(line.data(), 1, line.size(), stderr);
}

TraceSink& sinkSlot() {
    static TraceSink sink = toStandardError;
    return sink;
}

} // namespace

TraceSink traceSinkIs(TraceSink sink) {
    return std::exchange(sinkSlot(), sink ? std::move(sink) : TraceSink{toStandardError});
}

namespace Impl {

void vfmtraceTo(std::string_view handleName, unsigned short level, char const* className,
                char const* file, char const* function, int line, std::string_view format,
                fmt::format_args arguments) {
    fmt::memory_buffer text;
    fmt::vformat_to(std::back_inserter(text), format, arguments);
    sinkSlot()(TraceRecord{handleName, level, className, file, function, line,
                           std::string_view{text.data(), text.size()}});
}

} // namespace Impl

} // namespace Ombra
