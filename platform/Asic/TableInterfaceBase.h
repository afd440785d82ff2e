#pragma once

#include <Ombra/Node.h>
#include <Ombra/Ptr.h>

// What every table's front door has: the agent's side of the platform, and reconciliation.
namespace Asic {

class OrderedTableInterface;

class LOAM_EXPORT TableInterfaceBase : public Ombra::Node {
  public:
    explicit TableInterfaceBase(Ombra::Ptr<OrderedTableInterface> const& orderedTableIntf);
    ~TableInterfaceBase() override;

    // Empties what shared memory holds of units that no client has claimed in this run.
    virtual void reconcile() = 0;

    Ombra::Ptr<OrderedTableInterface> const& orderedTableIntf() const noexcept {
        return orderedTableIntf_;
    }

  private:
    Ombra::Ptr<OrderedTableInterface> orderedTableIntf_;
};

} // namespace Asic
