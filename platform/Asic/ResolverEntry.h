#pragma once

#include <Asic/SwTableBase.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>

// One operation in the group's resolver, as the resolver sees it: something to ask whether it is
// ready, and to commit. What it waits for is known to both sides.
namespace Asic {

class LOAM_EXPORT ResolverEntry : public Ombra::Node {
  public:
    ResolverEntry(Ombra::Ptr<DependencyEntryHandle const> const& dependantEntryHandle,
                  EntryFlags flags) noexcept
        : dependantEntryHandle_{dependantEntryHandle}, flags_{flags} {}
    ~ResolverEntry() override;

    // Changes nothing that anybody could see; asking twice does no harm.
    virtual bool isResolved() = 0;

    // Called once, after `isResolved` has said yes, with the entry itself.
    virtual void commitEntry(Ombra::Ptr<ResolverEntry> const& resolvedEntry) = 0;

    // The operation comes up soon: has the processor fetch what the operation consists of, then
    // what tells where the record is that its commit will change, then that record. Each is asked
    // for after the one before, and after the same for other operations, so that it is there to be
    // read. A hint, which changes nothing.
    enum class Ahead { operation, place, record };
    virtual void fetchAhead(Ahead what) const noexcept;

    // What the operation waits for; null for nothing.
    Ombra::Ptr<DependencyEntryHandle const> const& dependantEntryHandle() const noexcept {
        return dependantEntryHandle_;
    }
    EntryFlags flags() const noexcept { return flags_; }
    bool isEntryDeleted() const noexcept { return flagHas(flags_, EntryFlags::flagEntryDeleted); }
    bool isTableDeleted() const noexcept { return flagHas(flags_, EntryFlags::flagTableDeleted); }

  private:
    Ombra::Ptr<DependencyEntryHandle const> dependantEntryHandle_;
    EntryFlags flags_;
};

} // namespace Asic
