#include <Asic/OrderedSwTableSet.h>
#include <Zet/PtrMapAttr.h>

namespace Asic {

using SwTableAttr = Zet::PtrMapAttr<OrderedSwTableSet::SwTables>;

OrderedSwTableSet::OrderedSwTableSet(SwTableId tableId,
                                     Ombra::Ptr<OrderedSwTableStatus> const& swTableStatus)
    : tableId_{tableId}, swTableStatus_{swTableStatus} {}

OrderedSwTableSet::~OrderedSwTableSet() = default;

Ombra::Ptr<OrderedSwTable> OrderedSwTableSet::swTable(UnitId unitId) const {
    return SwTableAttr::get(swTables_, unitId);
}

bool OrderedSwTableSet::swTableHas(UnitId unitId) const {
    return swTables_[unitId] != nullptr;
}

void OrderedSwTableSet::swTableIs(Ombra::Ptr<OrderedSwTable> const& swTable) {
    lastPending_ = nullptr;
    SwTableAttr::is(swTables_, swTable->unitId(), swTable);
}

void OrderedSwTableSet::maybeUpdatePendingHwWrites() {
    swTableStatus_->pendingHwWritesIs(anyPendingHwWrites());
}

bool OrderedSwTableSet::anyPendingHwWrites() {
    if (lastPending_ != nullptr && lastPending_->hasPendingHwWrites()) {
        return true;
    }
    for (SwTables::IteratorConst i{swTables_}; i; ++i) {
        if (i->value().get() != lastPending_ && i->value()->hasPendingHwWrites()) {
            lastPending_ = i->value().get();
            return true;
        }
    }
    lastPending_ = nullptr;
    return false;
}

void OrderedSwTableSet::tableStatusVersion(LogVersion version) {
    for (SwTables::IteratorConst i{swTables_}; i; ++i) {
        i->value()->tableStatusVersion(version);
    }
}

} // namespace Asic
