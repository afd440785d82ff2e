#pragma once

#include <Ombra/Export.h>
#include <Ombra/String.h>
#include <Zet/LogHandle.h>

#include <functional>
#include <string_view>

// The structured log: messages that an operator is meant to see, each with a name of its own.
//
//     static Zet::LogHandle handle{&descriptor, Ombra::Duration{0}, 1.0, 0, 0};
//     Zet::log(handle, "entryLog::Ipv4SystemPolicyTcamEntry");
//
// The caller's text takes the place of the first "%s" of the descriptor's format; nothing else in
// the format is interpreted, and nothing in the text is. The line goes to the process's sink:
// syslog under LOG_LOCAL4 and standard error, until another one is set. Raising is safe from every
// thread.
namespace Zet {

struct LogRecord {
    std::string_view name;
    unsigned severity; // as in syslog: 0 emergency to 7 debug
    std::string_view text;
    std::string_view explanation;
};

using LogSink = std::function<void(LogRecord const&)>; // views are valid during the call only

// Replaces the sink and gives back the former one. An empty function restores the default.
LOAM_EXPORT LogSink logSinkIs(LogSink sink);

LOAM_EXPORT void log(LogHandle& handle, Ombra::String const& text);

} // namespace Zet
