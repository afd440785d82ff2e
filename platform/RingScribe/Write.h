#pragma once

#include <Ombra/Export.h>
#include <RingScribe/MsgDesc.h>
#include <RingScribe/TraceHandle.h>

#include <atomic>
#include <cstddef>
#include <initializer_list>
#include <type_traits>

// One message of the ring trace, in one line:
//
//     static int msgId = 0;
//     RingScribe::write(msgId, __FILE__, __LINE__, "XxxSwTable", __func__, "Swept {} entries",
//     count);
//
// Skipped when the process has no ring trace. Described once per file, at the first time. The
// arguments are stored as they are, 2, 4 or 8 bytes each, and shown as unsigned numbers in the
// place of the text's `{}`, which happens when the file is read. Costs a clock read and about ten
// nanoseconds.
namespace RingScribe {

namespace Impl {

template <typename Argument>
constexpr char const* typeCharacter() {
    static_assert(std::is_trivially_copyable_v<Argument>);
    static_assert(sizeof(Argument) == 2 || sizeof(Argument) == 4 || sizeof(Argument) == 8);
    return sizeof(Argument) == 2 ? "s" : sizeof(Argument) == 4 ? "i" : "l";
}

LOAM_EXPORT void describe(TraceFile* file, int* msgId, char const* sourceFile, int line,
                          char const* className, char const* function, char const* text,
                          std::initializer_list<char const*> types);

} // namespace Impl

template <typename... Arguments>
void write(int& msgId, char const* sourceFile, int line, char const* className,
           char const* function, char const* text, Arguments const&... arguments) {
    static_assert((sizeof(Arguments) + ... + 0) <= Layout::maxArgBytes);
    TraceFile* const file = currentTraceFile();
    if (file == nullptr) {
        return;
    }
    std::atomic_ref<int> const number{msgId};
    if (!file->msgIsInitialized(number.load(std::memory_order_relaxed))) [[unlikely]] {
        Impl::describe(file, &msgId, sourceFile, line, className, function, text,
                       {Impl::typeCharacter<Arguments>()...});
    }
    RingBuf& ring = file->ringBuf();
    ring.startMsg(file, number.load(std::memory_order_relaxed));
    if (ring.writePosIsUsable()) {
        (ring.store(arguments), ...);
    }
    ring.endMsg();
}

} // namespace RingScribe
