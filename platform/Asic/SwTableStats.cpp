#include <Asic/SwTableStats.h>

namespace Asic {

SwTableStats::SwTableStats() = default;
SwTableStats::~SwTableStats() = default;

} // namespace Asic
