#include <Slate/StoreSpec.h>

#include <string_view>

namespace Slate {

namespace {

// FNV-1a, 64 bits: http://www.isthe.com/chongo/tech/comp/fnv/
constexpr std::uint64_t fnvStart = 0xcbf29ce484222325;

void mixIn(std::uint64_t& hash, std::uint64_t value) {
    for (int byte = 0; byte < 8; ++byte) {
        hash = (hash ^ ((value >> (8 * byte)) & 0xff)) * 0x100000001b3;
    }
}

void mixIn(std::uint64_t& hash, std::string_view text) {
    mixIn(hash, text.size());
    for (char const letter : text) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001b3;
    }
}

} // namespace

std::uint64_t StoreSpec::layoutHash() const {
    std::uint64_t hash = fnvStart;
    mixIn(hash, typeName);
    mixIn(hash, recordBytes);
    mixIn(hash, keyBytes);
    mixIn(hash, static_cast<std::uint64_t>(order));
    mixIn(hash, layoutVersion);
    return hash;
}

} // namespace Slate
