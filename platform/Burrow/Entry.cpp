#include <Burrow/Entry.h>
#include <Ombra/Assert.h>
#include <Ombra/Util.h>

#include <fmt/format.h>

#include <cstdlib>
#include <string>

namespace Burrow {

namespace {

// The same for large and small machines, so that shared memory looks alike on both.
constexpr std::size_t largeMemoryAlignment = 8;
constexpr std::size_t smallMemoryAlignment = 8;

} // namespace

std::size_t Entry::BUFFER_ALIGNMENT = 0;

std::size_t Entry::runtimeBufferAlignment() {
    static std::size_t const alignment = calculateRuntimeBufferAlignment();
    return alignment;
}

std::size_t Entry::calculateRuntimeBufferAlignment() {
    if (char const* const text = std::getenv("BURROW_BUFFER_ALIGNMENT_OVERRIDE")) {
        long const value = std::strtol(text, nullptr, 10);
        if (value == 8) {
            return 8;
        }
        std::string const failure =
            fmt::format("Unsupported buffer alignment override value: {}", value);
        OMBRA_ASSERT(value == 0, failure.c_str());
    }
    return Ombra::Util::isLargeMemorySystem() ? largeMemoryAlignment : smallMemoryAlignment;
}

} // namespace Burrow
