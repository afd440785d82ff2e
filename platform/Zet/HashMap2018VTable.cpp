#include <Zet/HashMap2018VTable.h>

#include <cstddef>
#include <cstring>

namespace Zet {

namespace {

// With the sizes that most nodes have known to the compiler.
void copyBytes(std::byte* target, void const* source, std::size_t nodeSize, std::size_t count) {
    if (count != 1) {
        std::memcpy(target, source, count * nodeSize);
    } else if (nodeSize == 16) {
        std::memcpy(target, source, 16);
    } else if (nodeSize == 4) {
        std::memcpy(target, source, 4);
    } else {
        std::memcpy(target, source, nodeSize);
    }
}

} // namespace

std::uint32_t
HashMap2018VTable::trivialNewBucketAssemble(HashMap2018VTable const& vt, void* nodes,
                                            HashMap2018NodeSourceColl const& sources) {
    std::uint32_t placed = 0;
    for (auto const& run : sources) {
        copyBytes(static_cast<std::byte*>(nodes) + std::size_t{placed} * vt.nodeSize, run.nodes,
                  vt.nodeSize, run.count);
        placed += run.count;
    }
    return placed;
}

} // namespace Zet
