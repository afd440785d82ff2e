#pragma once

#include <LoamSystemAcl/XxxFamily.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Zet/Tracked.h>

// The seam through which the agent that owns a table takes part in its commits. A client derives
// from it and gives its helper to `makeSwTable`; with the base, which does nothing, the table works
// purely as a logbook. All calls come on the agent's thread; what a helper throws passes through
// the commit.
namespace LoamSystemAcl {

class LOAM_EXPORT XxxSwTableHelperBase : public Zet::Tracked<XxxSwTableHelperBase, Ombra::Node> {
  public:
    XxxSwTableHelperBase();
    ~XxxSwTableHelperBase() override;
    static Ombra::Ptr<XxxSwTableHelperBase> XxxSwTableHelperBaseIs();

    Ombra::TypeData typeData() const override;

    // A write (before its record is logged; what the helper leaves in `entry` is what is logged) or
    // a remove (whose entry is a placeholder with only the key set) commits. A remove-all and an
    // operation that is refused don't come here.
    virtual void finalizeOnSuccess(Ombra::Ptr<XxxEntryWrapper> const& entry, bool isDelete,
                                   Ombra::Ptr<XxxSwTable> const& swTable);

    // Reached through the inspection layer alone.
    virtual bool finalizeOnFailure(Ombra::Ptr<XxxEntryWrapper> const& entry, bool isDelete,
                                   Ombra::Ptr<XxxSwTable> const& swTable);

    // An entry is updated because a resource that it uses has changed. True: log it, if it changed.
    virtual bool finalizeOnResourceUpdate(Ombra::Ptr<XxxEntryWrapper> const& entry,
                                          Ombra::Ptr<XxxSwTable> const& swTable,
                                          bool someResourceHasFailed);
};

LOAM_EXPORT Ombra::Ptr<XxxSwTableHelperBase> xxxSwTableHelperBaseFactory();

} // namespace LoamSystemAcl
