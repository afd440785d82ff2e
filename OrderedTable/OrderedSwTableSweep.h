#pragma once

#include <OrderedTable/OrderedSwTableAccessor.h>
#include <OrderedTable/OrderedSwTableIteration.h>

// The end of a marking phase: removes every visible entry that was not written during it.
namespace Asic {

// Gives the number of removes that it asked for. They are ordinary ones, committed later; the walk
// survives them, because it holds no pointer into any collection.
//
// The walk ends where an ended iteration would stand: at an entry equal to the default entry. A
// real entry of that value therefore ends it early, on purpose.
template <typename T>
std::uint32_t OrderedSwTableAccessor<T>::sweep() {
    ZET_TRACE(_defaultTraceHandle(), 8, className, "");
    std::uint32_t removed = 0;
    if (!swTable_->inMarkingState()) {
        return removed;
    }
    typename Family::Entry const end{};
    auto iter = static_cast<Table const*>(swTable_)->entryIteratorConst();
    while (!Family::Entry::isEq(&iter.currentOrEnd(), &end)) {
        auto const key = (*iter).key();
        if (!swTable_->markedKeyHas(key)) {
            swTable_->entryRemove(key, nullptr);
            ++removed;
        }
        ++iter;
    }
    swTable_->inMarkingStateIs(false);
    swTable_->markedKeyDelAll();
    return removed;
}

} // namespace Asic
