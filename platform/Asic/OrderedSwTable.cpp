#include <Asic/OrderedSwTable.h>

namespace Asic {

NamedSwTable::~NamedSwTable() = default;
void NamedSwTable::reconcile() {}

OrderedSwTable::~OrderedSwTable() = default;

Ombra::Publisher* OrderedSwTable::publisher() const {
    return &publisher_;
}

Ombra::Ptr<SwTableStats> OrderedSwTable::statsIs() {
    if (!stats_) {
        stats_ = Ombra::ptrIs<SwTableStats>();
    }
    return stats_;
}

void OrderedSwTable::statusIs(Ombra::Ptr<OrderedSwTableStatus> const& status) {
    status_ = status;
}

OrderedSwTable::EntryHandle::~EntryHandle() = default;

Ombra::Publisher* OrderedSwTable::EntryHandle::publisher() const {
    return &publisher_;
}

TableVersion OrderedSwTable::EntryHandle::entryTableVersion() const {
    return TableVersion{tableId(), logVersion_};
}

OrderedSwTableWithMarkSweep::~OrderedSwTableWithMarkSweep() = default;

} // namespace Asic
