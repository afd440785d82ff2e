#pragma once

#include <Ombra/Fmtrace.h>
#include <Zet/TraceHandle.h>

// One text trace, guarded by its level: `handle` and the arguments behind `format` are evaluated
// only when the level is on. `handle` is a call of the unit's `_defaultTraceHandle()`.
//
//     ZET_TRACE(_defaultTraceHandle(), 8, "XxxSwTable", " key: {}", key);
//
// A macro, because the file, the line, the function's name and the unevaluated arguments are the
// call site's. `ZET_TRACE_AS` speaks in the name of another function: of the operation that the
// function at the call site is a part of.
#define ZET_TRACE(handle, level, className, ...)                                                   \
    ZET_TRACE_AS(static_cast<char const*>(__func__), handle, level, className, __VA_ARGS__)

#define ZET_TRACE_AS(function, handle, level, className, ...)                                      \
    do {                                                                                           \
        if (Zet::TraceHandle::anyOn(level)) [[unlikely]] {                                         \
            Zet::TraceHandle const& zetTraceHandle = (handle);                                     \
            if (zetTraceHandle.isOn(level)) {                                                      \
                Ombra::fmtrace(zetTraceHandle, level, __FILE__, function, __LINE__, className,     \
                               __VA_ARGS__);                                                       \
            }                                                                                      \
        }                                                                                          \
    } while (false)
