#pragma once

#include <cstdint>

namespace Slate {

// Where a walk stands, as a help for speed alone.
//
// A walk goes on from the key that it saw last and needs nothing else: the answer is the same with
// a fresh hint, with a stale one and with none. The map keeps here the bucket that it is working
// through.
struct IterHint {
    std::uint32_t bucket = 0;
};

} // namespace Slate
