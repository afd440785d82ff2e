#include <Asic/OrderedTableInterface.h>
#include <Asic/TableInterfaceBase.h>

namespace Asic {

TableInterfaceBase::TableInterfaceBase(Ombra::Ptr<OrderedTableInterface> const& orderedTableIntf)
    : orderedTableIntf_{orderedTableIntf} {}

TableInterfaceBase::~TableInterfaceBase() = default;

} // namespace Asic
