#pragma once

#include <Asic/OrderedSwTable.h>
#include <Asic/ResolverEntry.h>
#include <LoamSystemAcl/XxxFamily.h>
#include <LoamSystemAcl/XxxTypes.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Zet/Described.h>
#include <Zet/TraceHandle.h>
#include <Zet/Tracked.h>

// The two objects, besides its handle, that carry one operation on the table Xxx.
namespace LoamSystemAcl {

// One operation's entry with its handle: what the pending collections hold and the resolver entry
// points at. A remove and a remove-all carry a placeholder entry. Dies when the last of the two
// lets go of it.
class LOAM_EXPORT XxxEntryWrapper final
    : public Zet::Tracked<XxxEntryWrapper, Ombra::Node, Zet::perOperation> {
  public:
    // Copies the entry and counts a reference to the handle.
    XxxEntryWrapper(XxxEntry const& entry,
                    Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle);
    ~XxxEntryWrapper() override;
    static Ombra::Ptr<XxxEntryWrapper>
    XxxEntryWrapperIs(XxxEntry const& entry,
                      Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle);

    Ombra::TypeData typeData() const override;

    XxxEntry const& swTableEntry() const noexcept { return swTableEntry_; }
    XxxEntry& swTableEntry() noexcept { return swTableEntry_; }
    Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle() const noexcept {
        return entryHandle_;
    }

    XxxEntryKey key() const noexcept { return swTableEntry_.key(); }
    void keyIs(XxxEntryKey const& key) noexcept { swTableEntry_.keyIs(key); }

    // What goes to the log.
    XxxLogEntry const& logEntry() const noexcept { return swTableEntry_.logEntry(); }
    XxxResourceKeys rsrcKeys() const noexcept { return {}; }

    // Fills in what is known only after resolution. These tables have no such fields.
    void setResolvedFields() noexcept {}

    // Brings back what a client keeps with an entry. These tables keep nothing.
    void retrieveClientData() noexcept {}

    // The client's helper takes part in the commit.
    void finalizeOnSuccess(Ombra::Ptr<XxxSwTable> const& swTable, bool isDeleted);
    bool finalizeOnFailure(Ombra::Ptr<XxxSwTable> const& swTable, bool isDeleted);

  private:
    friend struct Zet::Described<XxxEntryWrapper>;

    static Zet::TraceHandle const& _defaultTraceHandle();

    XxxEntry swTableEntry_;
    Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> entryHandle_;
};

// One operation in the resolver's queue. Forwards both of the resolver's questions to its table.
class LOAM_EXPORT XxxResolverEntry final
    : public Zet::Tracked<XxxResolverEntry, Asic::ResolverEntry, Zet::perOperation> {
  public:
    XxxResolverEntry(Ombra::Ptr<Asic::DependencyEntryHandle const> const& dependantEntryHandle,
                     Asic::EntryFlags flags, XxxSwTable* swTable,
                     Ombra::Ptr<XxxEntryWrapper> const& entry);
    ~XxxResolverEntry() override;
    static Ombra::Ptr<XxxResolverEntry>
    XxxResolverEntryIs(Ombra::Ptr<Asic::DependencyEntryHandle const> const& dependantEntryHandle,
                       Asic::EntryFlags flags, XxxSwTable* swTable,
                       Ombra::Ptr<XxxEntryWrapper> const& entry);

    Ombra::TypeData typeData() const override;
    bool isResolved() override;
    void commitEntry(Ombra::Ptr<Asic::ResolverEntry> const& resolvedEntry) override;
    void fetchAhead(Ahead what) const noexcept override;

    XxxSwTable* swTable() const noexcept { return swTable_; } // not counted
    Ombra::Ptr<XxxEntryWrapper> const& entry() const noexcept { return entry_; }

  private:
    friend struct Zet::Described<XxxResolverEntry>;

    XxxSwTable* swTable_;
    Ombra::Ptr<XxxEntryWrapper> entry_;
};

LOAM_EXPORT Ombra::Ptr<XxxEntryWrapper>
xxxEntryWrapperFactory(XxxEntry const& entry,
                       Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle);
LOAM_EXPORT Ombra::Ptr<XxxResolverEntry>
xxxResolverEntryFactory(Ombra::Ptr<Asic::DependencyEntryHandle const> const& dependantEntryHandle,
                        Asic::EntryFlags flags, XxxSwTable* swTable,
                        Ombra::Ptr<XxxEntryWrapper> const& entry);

} // namespace LoamSystemAcl
