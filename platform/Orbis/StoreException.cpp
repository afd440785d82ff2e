#include <Orbis/StoreException.h>

namespace Orbis {

StoreException::~StoreException() = default;

} // namespace Orbis
