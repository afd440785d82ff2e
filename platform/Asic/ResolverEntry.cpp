#include <Asic/ResolverEntry.h>

namespace Asic {

ResolverEntry::~ResolverEntry() = default;

void ResolverEntry::fetchAhead(Ahead) const noexcept {}

} // namespace Asic
