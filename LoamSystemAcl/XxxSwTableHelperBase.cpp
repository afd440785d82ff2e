#include <LoamSystemAcl/XxxEntryLog.h>
#include <LoamSystemAcl/XxxInfraTypes.h>
#include <LoamSystemAcl/XxxInspect.h>
#include <LoamSystemAcl/XxxSwTable.h>
#include <LoamSystemAcl/XxxSwTableHelperBase.h>
#include <OrderedTable/UnitLoaded.h>

namespace LoamSystemAcl {

namespace {

OrderedTable::UnitLoaded const helperBaseLoaded{xxxSwTableHelperBaseModule,
                                                XxxConstants::row.alignsAtLoad};

} // namespace

XxxSwTableHelperBase::XxxSwTableHelperBase() = default;
XxxSwTableHelperBase::~XxxSwTableHelperBase() = default;

Ombra::Ptr<XxxSwTableHelperBase> XxxSwTableHelperBase::XxxSwTableHelperBaseIs() {
    return Ombra::ptrIs<XxxSwTableHelperBase>();
}

Ombra::TypeData XxxSwTableHelperBase::typeData() const {
    return Ombra::typeDataOf<XxxSwTableHelperBase>;
}

void XxxSwTableHelperBase::finalizeOnSuccess(Ombra::Ptr<XxxEntryWrapper> const&, bool,
                                             Ombra::Ptr<XxxSwTable> const&) {}

bool XxxSwTableHelperBase::finalizeOnFailure(Ombra::Ptr<XxxEntryWrapper> const&, bool,
                                             Ombra::Ptr<XxxSwTable> const&) {
    return false;
}

bool XxxSwTableHelperBase::finalizeOnResourceUpdate(Ombra::Ptr<XxxEntryWrapper> const&,
                                                    Ombra::Ptr<XxxSwTable> const&, bool) {
    return true;
}

Ombra::Ptr<XxxSwTableHelperBase> xxxSwTableHelperBaseFactory() {
    return Ombra::ptrIs<XxxSwTableHelperBase>();
}

} // namespace LoamSystemAcl
