#pragma once

#include <Asic/GroupResolver.h>
#include <Asic/NeededEntry.h>
#include <Asic/OrderedSwTable.h>
#include <Asic/OrderedSwTableSet.h>
#include <Asic/ResolverEntry.h>
#include <Ombra/Assert.h>
#include <Ombra/Ptr.h>
#include <OrderedTable/TypeName.h>
#include <Zet/Trace.h>

#include <cstdint>
#include <type_traits>

// The algorithms of an ordered software table, once for all tables.
//
// An accessor is a thin object that holds a pointer to the table; each operation of a table makes
// one on its stack and calls the operation of the same name here. `T` is the table class, or its
// const form for the operations that change nothing. What an operation does is told, step by step,
// above its definition:
//
//     OrderedSwTableWrite.h    write, remove and remove-all, up to the resolver's queue
//     OrderedSwTableCommit.h   whether an operation is ready, and its commit into the log
//     OrderedSwTableRead.h     what readers see, and what the hardware's progress ends
//     OrderedSwTableUpdate.h   update of a committed entry, and clearing
//     OrderedSwTableSweep.h    the end of a marking phase
//
// README.md leads through one write. No operation takes a lock; all run on the agent's thread.
namespace Asic {

// Most records that a table's change log may hold for an operation to be ready.
inline constexpr std::uint32_t entryLogCapacityLimit = 1000000;

template <typename T>
class OrderedSwTableAccessor {
  public:
    using Table = std::remove_const_t<T>;
    using Family = typename Table::Family;
    using EntryHandle = typename Table::EntryHandle;
    using ResponseHandler = typename Table::ResponseHandler;
    using DependencyPtr = Ombra::Ptr<DependencyEntryHandle const>;

    explicit OrderedSwTableAccessor(T* swTable) noexcept : swTable_{swTable} {}

    // OrderedSwTableWrite.h
    template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper,
              typename Key, typename Entry>
    Ombra::Ptr<EntryHandle const> entryWriteGeneric(Key const& key, Entry const& entry,
                                                    DependencyPtr const& depEntryHandle,
                                                    ResponseHandler const& responseHandler);
    template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper,
              typename Entry, typename Key>
    Ombra::Ptr<EntryHandle const> entryRemoveGeneric(Key const& key,
                                                     DependencyPtr const& depEntryHandle,
                                                     ResponseHandler const& responseHandler);
    template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper,
              typename Entry, typename Key>
    void entryRemoveAllGeneric(DependencyPtr const& depEntryHandle,
                               ResponseHandler const& responseHandler);

    // OrderedSwTableCommit.h
    template <typename SwTableConstants, typename ResolverEntry>
    bool isResolverEntryResolved(Ombra::Ptr<ResolverEntry> const& resolverEntry);
    template <typename SwTableConstants, typename ResolverEntry, typename EntryWrapper>
    void commitEntry(Ombra::Ptr<Asic::ResolverEntry> const& resolvedEntry);
    template <typename EntryWrapper>
    void fetchAhead(EntryWrapper const& wrapper, ResolverEntry::Ahead what) const noexcept;

    // OrderedSwTableRead.h
    template <typename Key, typename Entry>
    Entry entryReadGeneric(Key const& key) const;
    template <typename Key, typename Entry>
    Entry entryFromConfig(Key const& key) const;
    template <typename Key>
    bool entryHas(Key const& key) const;
    std::uint32_t entrys() const;
    bool hasPendingHwWrites() const;
    void tableStatusVersion(LogVersion version);

    // OrderedSwTableUpdate.h
    template <typename Key, typename EntryWrapper>
    Ombra::Ptr<OrderedSwTable::EntryHandle const> updateEntry(Key const& key);
    template <typename Key, typename EntryWrapper>
    Ombra::Ptr<EntryWrapper> entryWrapperFromConfig(Key const& key, bool refreshRsrcPtrs,
                                                    Ombra::Ptr<EntryHandle>& entryHandle);
    template <typename EntryWrapper>
    void delAllEntries(bool releaseResources, Ombra::Ptr<NeededEntry const> const& neededEntry,
                       Ombra::Ptr<EntryHandle>& entryHandle);

    // OrderedSwTableSweep.h
    std::uint32_t sweep();

    static Zet::TraceHandle const& _defaultTraceHandle() {
        static Zet::TraceHandle const handle{
            Ombra::String{OrderedTable::lastComponentOfTypeName<Table>()}, false};
        return handle;
    }

  private:
    static constexpr char const* className = "OrderedSwTableAccessor";

    template <typename Take>
    auto takeFromConfig(typename Family::Key const& key, Take const& take) const;
    template <typename Key>
    EntryVersion nextVersionOf(Key const& key, char const* function) const;
    Ombra::Ptr<EntryHandle> newHandle(EntryVersion const& version, typename Family::Key const& key,
                                      ResponseHandler const& responseHandler);
    void noteQueued();

    struct Commit;
    void refuse(Commit const& commit);
    void readFromConfig(typename Family::Key const& key) const;
    template <typename SwTableConstants>
    void commitWrite(Commit const& commit);
    void commitRemove(Commit const& commit);
    void commitRemoveAll(Commit& commit);
    void closeCommit();
    static void respond(Ombra::Ptr<EntryHandle> const& entryHandle);

    T* swTable_;
};

} // namespace Asic
