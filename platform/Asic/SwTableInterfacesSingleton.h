#pragma once

#include <Asic/TableInterfaceBase.h>
#include <Asic/TextKey.h>
#include <Zet/Entity.h>
#include <Zet/Tracked.h>

// The process-wide registry of table interfaces, by their classes' names. Its reference is what
// keeps an interface alive to the end of the process.
namespace Asic {

class LOAM_EXPORT SwTableInterfacesSingleton
    : public Zet::Tracked<SwTableInterfacesSingleton, Zet::Entity> {
  public:
    SwTableInterfacesSingleton();
    ~SwTableInterfacesSingleton() override;

    // The process's one; made at the first call.
    static Ombra::Ptr<SwTableInterfacesSingleton> get();

    Ombra::TypeData typeData() const override;

    bool swTableIntfHas(Ombra::String const& name) const;
    Ombra::Ptr<TableInterfaceBase> swTableIntf(Ombra::String const& name) const;
    void swTableIntfIs(Ombra::String const& name,
                       Ombra::Ptr<TableInterfaceBase> const& swTableIntf);

  private:
    using SwTableIntfs = MapByName<0x9CA75E79, Ombra::Ptr<TableInterfaceBase>>;
    SwTableIntfs swTableIntfs_;
};

} // namespace Asic
