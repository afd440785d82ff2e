#include <Inspect/Error.h>

namespace Inspect {

Error::~Error() = default;

} // namespace Inspect
