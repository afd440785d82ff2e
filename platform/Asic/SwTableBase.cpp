#include <Asic/SwTableBase.h>

namespace Asic {

SwTableBase::~SwTableBase() = default;

void SwTableBase::doCreateHwTable() {}
void SwTableBase::doCreateHwTableResponse() {}

SwTableBase::EntryHandle::~EntryHandle() = default;

void SwTableBase::EntryHandle::handleEntryState() {}

Index SwTableBase::EntryHandle::hwIndexForDependentField() const {
    return ~Index{0};
}

void SwTableBase::EntryHandle::handleIndexSuggestions(std::set<Index> const&) const {}

} // namespace Asic
