#pragma once

namespace ZetSlate {

// What a mount is for.
enum class ZetSlateType {
    writer = 0, // the one process that changes the collection; makes it when it is not there
    reader = 1, // read-only; never makes, locks or changes anything
};

} // namespace ZetSlate
