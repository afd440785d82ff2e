#include <Asic/SwTableIteratorStateBase.h>

namespace Asic {

SwTableIteratorStateBase::~SwTableIteratorStateBase() = default;

} // namespace Asic
