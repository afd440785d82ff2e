#include <Zet/HashHelper.h>

#include <random>

namespace Zet {

constinit std::uint32_t HashHelper::seed_ = 0;

namespace {

// Before any static object of the process that might hash.
__attribute__((constructor(101))) void drawSeed() {
    HashHelper::hashSeed32Is(std::random_device{}());
}

} // namespace

} // namespace Zet
