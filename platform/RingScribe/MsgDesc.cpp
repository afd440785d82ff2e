#include <Ombra/Assert.h>
#include <RingScribe/MsgDesc.h>
#include <RingScribe/Write.h>

#include <atomic>

namespace RingScribe {

namespace {

std::atomic<int> lastMsgId{0};

int numberOf(int& msgId) {
    std::atomic_ref<int> const number{msgId};
    int current = number.load();
    if (current != 0) {
        return current;
    }
    int const next = ++lastMsgId;
    OMBRA_ASSERT(next <= Layout::maxMsgId, "next <= Layout::maxMsgId");
    // Another thread may have numbered the place meanwhile; then `next` stays unused.
    return number.compare_exchange_strong(current, next) ? next : current;
}

} // namespace

void msgDesc(MsgDesc& description, char const* className, char const* function, char const* text) {
    description.className_ = className;
    description.function_ = function;
    description.text_ = text;
}

void MsgDesc::finish() {
    file_->describe(numberOf(*msgId_),
                    {sourceFile_, line_, className_, function_, text_, format_.types()});
}

void Impl::describe(TraceFile* file, int* msgId, char const* sourceFile, int line,
                    char const* className, char const* function, char const* text,
                    std::initializer_list<char const*> types) {
    MsgDesc description{file, msgId, sourceFile, line};
    for (char const* type : types) {
        description.format().put(type);
    }
    msgDesc(description, className, function, text);
    description.finish();
}

} // namespace RingScribe
