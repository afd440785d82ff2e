#pragma once

#include <Ombra/Exception.h>
#include <Ombra/Export.h>

// The state store can't be opened, read or written. The sentence names the folder or the entity,
// the reason, and what to do.
namespace Orbis {

class LOAM_EXPORT StoreException : public Ombra::Exception {
  public:
    using Exception::Exception;
    ~StoreException() override;
};

} // namespace Orbis
