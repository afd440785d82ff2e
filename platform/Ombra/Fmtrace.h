#pragma once

#include <Ombra/Export.h>

#include <fmt/format.h>

#include <cstdint>
#include <functional>
#include <string_view>

// The text trace: one line about what the code is doing, for the engineer who debugs it.
//
// The level is tested by the caller (see Zet/Trace.h), so that a trace that is off evaluates no
// argument. `fmtrace` formats and hands the line to the process's sink: standard error, until
// another one is set.
namespace Ombra {

struct TraceRecord {
    std::string_view handleName;
    unsigned level; // 0 to 15
    std::string_view className;
    std::string_view file;
    std::string_view function;
    int line;
    std::string_view text; // formatted; valid during the call of the sink only
};

using TraceSink = std::function<void(TraceRecord const&)>;

// Replaces the sink and gives back the former one. An empty function restores standard error.
// Called before other threads trace.
LOAM_EXPORT TraceSink traceSinkIs(TraceSink sink);

namespace Impl {

LOAM_EXPORT void vfmtraceTo(std::string_view handleName, unsigned short level,
                            char const* className, char const* file, char const* function, int line,
                            std::string_view format, fmt::format_args arguments);

template <typename Handle>
void vfmtrace(Handle const& handle, unsigned short level, char const* className, char const* file,
              char const* function, int line, std::string_view format, fmt::format_args arguments) {
    vfmtraceTo(handle.name(), level, className, file, function, line, format, arguments);
}

} // namespace Impl

template <typename Handle, typename... Args>
void fmtrace(Handle const& handle, unsigned short level, char const* file, char const* function,
             int line, char const* className, char const* format, Args const&... arguments) {
    Impl::vfmtrace<Handle>(handle, level, className, file, function, line, format,
                           fmt::make_format_args(arguments...));
}

} // namespace Ombra
