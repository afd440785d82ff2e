#pragma once

#include <Asic/GroupResolver.h>
#include <Asic/NeededEntry.h>
#include <Asic/OrderedSwTable.h>
#include <Asic/OrderedSwTableSet.h>
#include <Asic/SwTableIteratorStateBase.h>
#include <LoamSystemAcl/XxxEntryLog.h>
#include <LoamSystemAcl/XxxFamily.h>
#include <LoamSystemAcl/XxxInfraTypes.h>
#include <LoamSystemAcl/XxxSwTableHelperBase.h>
#include <LoamSystemAcl/XxxTypes.h>
#include <Ombra/RQueue.h>
#include <OrderedTable/OrderedSwTableIteration.h>
#include <Zet/Described.h>
#include <Zet/HashMap2018.h>
#include <Zet/TraceHandle.h>
#include <Zet/Tracked.h>

#include <functional>
#include <optional>

// The software table Xxx of one chip unit.
//
// A write, remove or remove-all returns at once. Its effect is seen by every reader from then on,
// while the operation waits in the group's resolver for what it depends on and for room in the
// change log, and is then committed. The `EntryHandle` that a write or remove gives tells where it
// stands.
//
//     auto action = actions->entryWrite(actionKey, actionEntry, nullptr);
//     auto entry = entries->entryWrite(key, value, action);    // committed behind its action
//     ... the agent's loop runs the resolver and polls the hardware side ...
//     entry->entryState() == entryApplied
//
// What each operation does is told in OrderedTable/. Everything runs on the agent's thread; no
// operation takes a lock, and none of the write path fails by itself. A table is made by
// `XxxInterface::makeSwTable`.
namespace LoamSystemAcl {

class XxxSwTableIteratorState;

class LOAM_EXPORT XxxSwTable final
    : public Zet::Tracked<XxxSwTable, Asic::OrderedSwTableWithMarkSweep> {
  public:
    using Family = XxxFamily;
    using ResponseHandler =
        std::function<void(Ombra::Ptr<Asic::OrderedSwTable::EntryHandle const> const&)>;
    using DependencyPtr = Ombra::Ptr<Asic::DependencyEntryHandle const>;
    using EntryIteratorConst =
        Asic::OrderedSwTableEntryIterator<XxxSwTable const, XxxEntry, XxxEntryKey,
                                          XxxSwTableIteratorState>;

    class EntryHandle;
    class SwTableEntries_py;

    // The number under which a change of each attribute is published.
    struct Field {
        static constexpr Ombra::FieldId swTableHelper{0x302};
        static constexpr Ombra::FieldId transientAddEntry{0x303};
        static constexpr Ombra::FieldId transientRemoveEntry{0x304};
        static constexpr Ombra::FieldId transientVersionForKey{0x305};
        static constexpr Ombra::FieldId transientRemoveAllVersion{0x306};
        static constexpr Ombra::FieldId entryLog{0x313};
        static constexpr Ombra::FieldId groupResolver{0x314};
        static constexpr Ombra::FieldId entryHandleInLog{0x316};
        static constexpr Ombra::FieldId markedKey{0x31f};
        static constexpr Ombra::FieldId inMarkingState{0x320};
    };

    struct TransientAddEntryKeyFunktor {
        XxxEntryKey operator()(Ombra::Ptr<XxxEntryWrapper> const& wrapper) const {
            return wrapper->key();
        }
    };
    struct TransientRemoveEntryKeyFunktor {
        XxxEntryKey operator()(Ombra::Ptr<XxxEntryWrapper> const& wrapper) const {
            return wrapper->key();
        }
    };
    class HN_TransientAddEntry
        : public Zet::Hm2018NI<XxxConstants::row.addSeed, XxxEntryKey, Ombra::Ptr<XxxEntryWrapper>,
                               TransientAddEntryKeyFunktor, Zet::HashMap2018Alloc{1}> {
        using Hm2018NI::Hm2018NI;
    };
    class HN_TransientRemoveEntry
        : public Zet::Hm2018NI<XxxConstants::row.removeSeed, XxxEntryKey,
                               Ombra::Ptr<XxxEntryWrapper>, TransientRemoveEntryKeyFunktor,
                               Zet::HashMap2018Alloc{1}> {
        using Hm2018NI::Hm2018NI;
    };
    class HN_TransientVersionForKey
        : public Zet::Hm2018NE<XxxConstants::row.versionSeed, XxxEntryKey, Asic::EntryVersion,
                               Zet::HashMap2018Alloc{1}> {
        using Hm2018NE::Hm2018NE;
    };
    class HN_MarkedKey : public Zet::Hm2018NE<XxxConstants::row.markedSeed, XxxEntryKey, void,
                                              Zet::HashMap2018Alloc{1}> {
        using Hm2018NE::Hm2018NE;
    };
    struct QE_EntryHandleInLog;

    using TransientAddEntry =
        Zet::HashMap2018<HN_TransientAddEntry, XxxEntryKey, Ombra::Ptr<XxxEntryWrapper>>;
    using TransientRemoveEntry =
        Zet::HashMap2018<HN_TransientRemoveEntry, XxxEntryKey, Ombra::Ptr<XxxEntryWrapper>>;
    using TransientVersionForKey =
        Zet::HashMap2018<HN_TransientVersionForKey, XxxEntryKey, Asic::EntryVersion>;
    using MarkedKey = Zet::HashMap2018<HN_MarkedKey, XxxEntryKey, void>;
    using EntryHandleInLog = Ombra::RQueue<Ombra::Ptr<EntryHandle>, QE_EntryHandleInLog, false>;

    XxxSwTable(Ombra::Ptr<Asic::CanonicalTableName const> const& tableName, Asic::SwTableId tableId,
               Asic::UnitId unitId, Asic::OrderedSwTableSet* swTableSet,
               Ombra::Ptr<XxxEntryLog> const& entryLog,
               Ombra::Ptr<Asic::GroupResolver> const& groupResolver);
    ~XxxSwTable() override;

    Ombra::TypeData typeData() const override;

    // --- operations of clients

    // Writes, or removes, the entry of `key`; committed behind `depEntryHandle`, if that is not
    // null. The handle is never null. `responseHandler`, if not empty, is called with the handle
    // when the operation is applied or refused; it may call back into the table.
    Ombra::Ptr<EntryHandle const> entryWrite(XxxEntryKey const& key, XxxEntry const& entry,
                                             DependencyPtr const& depEntryHandle);
    Ombra::Ptr<EntryHandle const>
    entryWriteWithResponseHandler(XxxEntryKey const& key, XxxEntry const& entry,
                                  DependencyPtr const& depEntryHandle,
                                  ResponseHandler const& responseHandler);
    Ombra::Ptr<EntryHandle const> entryRemove(XxxEntryKey const& key,
                                              DependencyPtr const& depEntryHandle);
    Ombra::Ptr<EntryHandle const>
    entryRemoveWithResponseHandler(XxxEntryKey const& key, DependencyPtr const& depEntryHandle,
                                   ResponseHandler const& responseHandler);

    // Drops all pending operations from sight and deletes all committed entries. The response
    // handler is called only when what it depends on failed.
    void entryRemoveAll(DependencyPtr const& depEntryHandle);
    void entryRemoveAllWithResponseHandler(DependencyPtr const& depEntryHandle,
                                           ResponseHandler const& responseHandler);

    // What a client sees of a key. There is nothing: the default entry, which bears the zero key.
    XxxEntry entryRead(XxxEntryKey const& key) const;
    XxxEntry entry(XxxEntryKey const& key) const;
    bool entryHas(XxxEntryKey const& key) const;
    std::uint32_t entrys() const;
    XxxEntry entryFromConfig(XxxEntryKey const& key) const; // what is committed, and nothing else

    Ombra::Ptr<Asic::OrderedSwTable::EntryHandle const> updateEntry(XxxEntryKey const& key);
    void clearTable(bool updateResources);

    // Iteration; see OrderedTable/OrderedSwTableIteration.h. A default-made iterator is the end.
    Ombra::Ptr<XxxSwTableIteratorState> initIterState() const;
    Ombra::Ptr<XxxSwTableIteratorState> initIterStateFromKey(XxxEntryKey const& key) const;
    EntryIteratorConst entryIteratorConst() const;
    EntryIteratorConst entryIteratorConst(XxxEntryKey const& key) const;
    Ombra::Ptr<SwTableEntries_py> getTableEntries_py() const;

    // --- operations of the platform

    void doCreateHwTable() override;
    void tableStatusVersion(Asic::LogVersion version) override;
    bool hasPendingHwWrites() const override;
    void mark() override;
    void sweep() override;

    bool isResolverEntryResolved(Ombra::Ptr<XxxResolverEntry> const& resolverEntry);
    void commitEntry(Ombra::Ptr<Asic::ResolverEntry> const& resolvedEntry);
    void fetchAhead(XxxEntryWrapper const& entry, Asic::ResolverEntry::Ahead what) const noexcept;
    Ombra::Ptr<Asic::NeededEntry>
    getNeededEntrySet(Ombra::Ptr<XxxEntryWrapper const> const& entry) const;

    // Where a table with resource pointers would set them.
    void setRsrcPtrs(Ombra::Ptr<XxxEntryWrapper> const& entry, bool refresh);

    // Brings entries back after a restart. Empty: mounting the configuration table has done it.
    void restoreEntries();

    // Called once, by the constructor.
    void handleInitialized();

    // --- attributes

    // Never null; a null one is refused by `Ombra::NullPointerException`.
    Ombra::Ptr<XxxSwTableHelperBase> const& swTableHelper() const noexcept {
        return swTableHelper_;
    }
    void swTableHelperIs(Ombra::Ptr<XxxSwTableHelperBase> const& swTableHelper);

    // The newest pending write of each key.
    Ombra::Ptr<XxxEntryWrapper> transientAddEntry(XxxEntryKey const& key) const;
    bool transientAddEntryHas(XxxEntryKey const& key) const;
    std::uint32_t transientAddEntrys() const noexcept { return transientAddEntry_.size(); }
    void transientAddEntryIs(Ombra::Ptr<XxxEntryWrapper> const& wrapper);
    Ombra::Ptr<XxxEntryWrapper> transientAddEntryDel(XxxEntryKey const& key);
    void transientAddEntryDelAll();
    TransientAddEntry const& transientAddEntryColl() const noexcept { return transientAddEntry_; }

    // The newest pending remove of each key.
    Ombra::Ptr<XxxEntryWrapper> transientRemoveEntry(XxxEntryKey const& key) const;
    bool transientRemoveEntryHas(XxxEntryKey const& key) const;
    std::uint32_t transientRemoveEntrys() const noexcept { return transientRemoveEntry_.size(); }
    void transientRemoveEntryIs(Ombra::Ptr<XxxEntryWrapper> const& wrapper);
    Ombra::Ptr<XxxEntryWrapper> transientRemoveEntryDel(XxxEntryKey const& key);
    void transientRemoveEntryDelAll();
    TransientRemoveEntry const& transientRemoveEntryColl() const noexcept {
        return transientRemoveEntry_;
    }

    // The newest version given out for each key. Invalid for a key that has none.
    Asic::EntryVersion transientVersionForKey(XxxEntryKey const& key) const;
    std::optional<Asic::EntryVersion> transientVersionForKeyGet(XxxEntryKey const& key) const;
    bool transientVersionForKeyHas(XxxEntryKey const& key) const;
    void transientVersionForKeyIs(XxxEntryKey const& key, Asic::EntryVersion const& version);
    void transientVersionForKeyDel(XxxEntryKey const& key);
    void transientVersionForKeyDelAll();
    TransientVersionForKey const& transientVersionForKeyColl() const noexcept {
        return transientVersionForKey_;
    }

    // The number of pending remove-alls, less one; invalid for none.
    Asic::MajorVersion transientRemoveAllVersion() const noexcept {
        return transientRemoveAllVersion_;
    }
    void transientRemoveAllVersionIs(Asic::MajorVersion version);

    Ombra::Ptr<XxxEntryLog> const& entryLog() const noexcept { return entryLog_; }
    Ombra::Ptr<Asic::GroupResolver> const& groupResolver() const noexcept { return groupResolver_; }

    // The handles that wait for the hardware side, in the order of the log, by sequence number.
    Ombra::Ptr<EntryHandle> entryHandleInLog(std::uint32_t number) const;
    bool entryHandleInLogHas(std::uint32_t number) const;
    Ombra::Ptr<EntryHandle> entryHandleInLogFront() const;
    Ombra::Ptr<EntryHandle> entryHandleInLogBack() const;
    void entryHandleInLogEnq(Ombra::Ptr<EntryHandle> const& entryHandle);
    Ombra::Ptr<EntryHandle> entryHandleInLogDeq();
    void entryHandleInLogDelAll();
    EntryHandleInLog const& entryHandleInLogQueue() const noexcept { return entryHandleInLog_; }

    // The keys that were written since the marking phase began.
    bool markedKeyHas(XxxEntryKey const& key) const;
    void markedKeyIs(XxxEntryKey const& key);
    bool markedKeyDel(XxxEntryKey const& key);
    void markedKeyDelAll();
    MarkedKey const& markedKeyColl() const noexcept { return markedKey_; }

    bool inMarkingState() const noexcept { return inMarkingState_; }
    void inMarkingStateIs(bool inMarkingState);

    static Ombra::Ptr<EntryHandle> entryHandleFactory(Asic::EntryVersion const& version,
                                                      XxxEntryKey const& key, XxxSwTable* swTable);

  private:
    friend struct Zet::Described<XxxSwTable>;

    static Zet::TraceHandle const& _defaultTraceHandle();

    Ombra::Ptr<XxxSwTableHelperBase> swTableHelper_;
    TransientAddEntry transientAddEntry_;
    TransientRemoveEntry transientRemoveEntry_;
    TransientVersionForKey transientVersionForKey_;
    Asic::MajorVersion transientRemoveAllVersion_;
    Ombra::Ptr<XxxEntryLog> entryLog_;
    Ombra::Ptr<Asic::GroupResolver> groupResolver_;
    EntryHandleInLog entryHandleInLog_;
    MarkedKey markedKey_;
    bool inMarkingState_ = false;
};

// The element class under which the slots of the handle queue are counted.
struct XxxSwTable::QE_EntryHandleInLog {};

// The caller's ticket for one write, remove or remove-all.
class LOAM_EXPORT XxxSwTable::EntryHandle final
    : public Zet::Tracked<EntryHandle, Asic::OrderedSwTable::EntryHandle, Zet::perOperation> {
  public:
    static constexpr Ombra::FieldId swTableField{0x203};

    EntryHandle(Asic::EntryVersion const& version, XxxEntryKey const& key, XxxSwTable* swTable);
    ~EntryHandle() override;
    static Ombra::Ptr<EntryHandle> EntryHandleIs(Asic::EntryVersion const& version,
                                                 XxxEntryKey const& key, XxxSwTable* swTable);

    // Null when the handle is of another class.
    static Ombra::Ptr<EntryHandle>
    exactly(Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> const& entryHandle);

    Ombra::TypeData typeData() const override;
    Ombra::String tableName() const override;
    Asic::SwTableId tableId() const override;

    XxxEntryKey const& key() const noexcept { return key_; }
    XxxSwTable* swTable() const noexcept { return swTable_; } // not counted
    void swTableIs(XxxSwTable* swTable);

    // Empty unless the caller gave one. Stays after it was called.
    ResponseHandler const& responseHandler() const noexcept { return responseHandler_; }
    void responseHandlerIs(ResponseHandler const& responseHandler) {
        responseHandler_ = responseHandler;
    }

  private:
    friend struct Zet::Described<EntryHandle>;

    XxxEntryKey key_;
    XxxSwTable* swTable_;
    ResponseHandler responseHandler_;
};

// A copy of the visible table at one moment, by key. Announces nothing.
class LOAM_EXPORT XxxSwTable::SwTableEntries_py final
    : public Zet::Tracked<SwTableEntries_py, Ombra::Node> {
  public:
    struct TableEntriesKeyFunktor {
        XxxEntryKey operator()(XxxEntry const& entry) const { return entry.key(); }
    };
    class HN_TableEntries
        : public Zet::Hm2018NI<XxxConstants::row.snapshotSeed, XxxEntryKey, XxxEntry,
                               TableEntriesKeyFunktor, Zet::HashMap2018Alloc{1}> {
        using Hm2018NI::Hm2018NI;
    };
    using TableEntries = Zet::HashMap2018<HN_TableEntries, XxxEntryKey, XxxEntry>;

    SwTableEntries_py();
    ~SwTableEntries_py() override;

    Ombra::TypeData typeData() const override;

    TableEntries const& tableEntries() const noexcept { return tableEntries_; }
    void tableEntriesIs(XxxEntry const& entry);
    XxxEntry tableEntriesDel(XxxEntryKey const& key); // the default entry when the key is absent
    void tableEntriesDelAll();

  private:
    friend struct Zet::Described<SwTableEntries_py>;

    TableEntries tableEntries_;
};

// Where an iteration over the table stands; see OrderedTable/OrderedSwTableIteration.h.
class LOAM_EXPORT XxxSwTableIteratorState final
    : public Zet::Tracked<XxxSwTableIteratorState, Asic::SwTableIteratorStateOf<XxxSwTable>> {
  public:
    XxxSwTableIteratorState();
    ~XxxSwTableIteratorState() override;

    Ombra::TypeData typeData() const override;

    // The key of the next entry to deliver; means nothing unless `state().bookmarkValid()`.
    XxxEntryKey const& bookmarkKey() const noexcept { return bookmarkKey_; }
    void bookmarkKeyIs(XxxEntryKey const& key) noexcept { bookmarkKey_ = key; }

    // One step. `state().entryValid()` tells an entry from the end.
    XxxEntry maybeUpdateCurrentEntry();

  private:
    friend struct Zet::Described<XxxSwTableIteratorState>;

    XxxEntryKey bookmarkKey_;
};

LOAM_EXPORT Ombra::Ptr<XxxSwTable>
xxxSwTableFactory(Ombra::Ptr<Asic::CanonicalTableName const> const& tableName,
                  Asic::SwTableId tableId, Asic::UnitId unitId, Asic::OrderedSwTableSet* swTableSet,
                  Ombra::Ptr<XxxEntryLog> const& entryLog,
                  Ombra::Ptr<Asic::GroupResolver> const& groupResolver);
LOAM_EXPORT Ombra::Ptr<XxxSwTableIteratorState> xxxSwTableIteratorStateFactory();

} // namespace LoamSystemAcl
