#pragma once

#include <Ombra/Export.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Orbis/Entity.h>
#include <Orbis/EntityManager.h>

#include <cstdint>

// A generation that all processes of the switch see: two counters at a path of the state store.
//
// Whoever watches the path compares the ids with those that it saw before; a moved major id means
// that what depends on the generation starts again. The ids count modulo 2^64 and start at 0.
namespace Asic {

class LOAM_EXPORT GenId : public Orbis::Entity {
  public:
    // The generation at the path, made when there is none. Throws `Orbis::StoreException`, also
    // when an entity of another type stands there.
    static Ombra::Ptr<GenId> create(Ombra::Ptr<Orbis::EntityManager> const& manager,
                                    Ombra::String const& path);

    GenId(Ombra::Ptr<Orbis::EntityManager> const& manager, Ombra::String const& path);
    ~GenId() override;

    // As stored now: each call reads the store.
    std::uint64_t majorId() const;
    std::uint64_t minorId() const;

    // Advances one id by `by` and leaves the other alone, in one transaction: increments of several
    // processes add up.
    void majorIdInc(unsigned short by);
    void minorIdInc(unsigned short by);
};

} // namespace Asic
