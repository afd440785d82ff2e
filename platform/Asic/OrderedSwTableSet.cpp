#include <Asic/OrderedSwTableSet.h>
#include <Zet/PtrMapAttr.h>

#include <algorithm>
#include <cstddef>

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
    nonePending_ = false;
    auto const* const former = swTables_[swTable->unitId()];
    if (former == nullptr) {
        inTurn_.push_back(swTable.get());
    } else {
        std::ranges::replace(inTurn_, former->value().get(), swTable.get());
    }
    SwTableAttr::is(swTables_, swTable->unitId(), swTable);
}

void OrderedSwTableSet::maybeUpdatePendingHwWrites() {
    swTableStatus_->pendingHwWritesIs(anyPendingHwWrites(nullptr));
}

// A table that was replaced in the set may live on with a client; it has no say here.
void OrderedSwTableSet::maybeUpdatePendingHwWritesOf(OrderedSwTable const& changed) {
    bool const asked = &changed == lastPending_ || isMember(changed);
    if (asked && changed.hasPendingHwWrites()) {
        lastPending_ = &changed;
        nonePending_ = false;
        swTableStatus_->pendingHwWritesIs(true);
    } else {
        swTableStatus_->pendingHwWritesIs(!(asked && nonePending_) &&
                                          anyPendingHwWrites(asked ? &changed : nullptr));
    }
}

bool OrderedSwTableSet::isMember(OrderedSwTable const& table) const {
    auto const* const node = swTables_[table.unitId()];
    return node != nullptr && node->value().get() == &table;
}

bool OrderedSwTableSet::anyPendingHwWrites(OrderedSwTable const* saidNo) {
    nonePending_ = false;
    if (lastPending_ != nullptr && lastPending_ != saidNo && lastPending_->hasPendingHwWrites()) {
        return true;
    }
    for (auto const* const table : inTurn_) {
        if (table != lastPending_ && table != saidNo && table->hasPendingHwWrites()) {
            lastPending_ = table;
            return true;
        }
    }
    lastPending_ = nullptr;
    nonePending_ = true;
    return false;
}

// By number, since a response handler may make another unit's table, or this one's anew.
void OrderedSwTableSet::tableStatusVersion(LogVersion version) {
    for (std::size_t i = 0; i < inTurn_.size(); ++i) {
        Ombra::Ptr<OrderedSwTable> const table{inTurn_[i]};
        table->tableStatusVersion(version);
    }
}

} // namespace Asic
