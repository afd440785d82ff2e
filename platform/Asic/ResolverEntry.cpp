#include <Asic/ResolverEntry.h>

namespace Asic {

ResolverEntry::~ResolverEntry() = default;

} // namespace Asic
