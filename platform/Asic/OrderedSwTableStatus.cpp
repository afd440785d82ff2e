#include <Asic/OrderedSwTableStatus.h>

#include <utility>

namespace Asic {

OrderedSwTableStatus::OrderedSwTableStatus(SwTableId tableId) : tableId_{tableId} {}
OrderedSwTableStatus::~OrderedSwTableStatus() = default;

Ombra::Publisher* OrderedSwTableStatus::publisher() const {
    return &publisher_;
}

void OrderedSwTableStatus::pendingHwWritesIs(bool pendingHwWrites) {
    if (pendingHwWrites != pendingHwWrites_) {
        bool const former = std::exchange(pendingHwWrites_, pendingHwWrites);
        publisher_.publishChange(pendingHwWritesField, &former);
    }
}

} // namespace Asic
