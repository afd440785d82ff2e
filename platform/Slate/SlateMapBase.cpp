#include <Slate/SlateMapBase.h>
#include <Slate/Store.h>

#include <fmt/format.h>

#include <cstdio>
#include <utility>

namespace Slate {

namespace {

void toStandardError(Ombra::String const& line) {
    fmt::print(stderr, "{}\n", line);
}

CorruptionSink& sink() {
    static CorruptionSink instance = &toStandardError;
    return instance;
}

} // namespace

void corruptionSinkIs(CorruptionSink newSink) {
    sink() = newSink ? std::move(newSink) : &toStandardError;
}

SlateMapBase::SlateMapBase(std::shared_ptr<Store> store)
    : store_{std::move(store)}, name_{store_->name()} {
    store_->damageSinkIs([this](std::string const& text) { doCorruptionDetected(text); });
}

SlateMapBase::~SlateMapBase() {
    store_->damageSinkIs({});
}

std::uint32_t SlateMapBase::memberCount() const {
    return store_->memberCount();
}

std::uint32_t SlateMapBase::capacity() const {
    return store_->capacity();
}

void SlateMapBase::doCorruptionDetected(Ombra::String const& message) const {
    ++corruptionCount_;
    auto const now = std::chrono::steady_clock::now();
    if (loggedCount_ != 0 && now < nextLog_) {
        return;
    }
    std::uint64_t const leftOut = corruptionCount_ - 1 - loggedCount_;
    loggedCount_ = corruptionCount_;
    nextLog_ = now + std::chrono::seconds{1};
    std::string const note =
        leftOut != 0 ? fmt::format(" ({} more since the last report)", leftOut) : "";
    sink()(fmt::format("corruption: {}{}", message, note));
}

} // namespace Slate
