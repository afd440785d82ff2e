#pragma once

#include <Asic/CanonicalTableName.h>
#include <Asic/OrderedSwTableStatus.h>
#include <Asic/SwTableBase.h>
#include <Asic/SwTableStats.h>
#include <Ombra/Publisher.h>

// The bases of an ordered software table, from the general to the special: a table with a name, one
// whose changes are ordered by a log, one that takes part in mark and sweep.
namespace Asic {

class OrderedSwTableSet;

class LOAM_EXPORT NamedSwTable : public SwTableBase {
  public:
    NamedSwTable(Ombra::Ptr<CanonicalTableName const> const& tableName, SwTableId tableId,
                 UnitId unitId) noexcept
        : SwTableBase{tableId, unitId}, tableName_{tableName} {}
    ~NamedSwTable() override;

    // Brings the table in line with its hardware twin. The tables of this system have none.
    virtual void reconcile();

    Ombra::Ptr<CanonicalTableName const> const& tableName() const noexcept { return tableName_; }

  private:
    Ombra::Ptr<CanonicalTableName const> tableName_;
};

class LOAM_EXPORT OrderedSwTable : public NamedSwTable {
  public:
    class EntryHandle;

    // `swTableSet` holds this table, and outlives it.
    OrderedSwTable(Ombra::Ptr<CanonicalTableName const> const& tableName, SwTableId tableId,
                   UnitId unitId, OrderedSwTableSet* swTableSet) noexcept
        : NamedSwTable{tableName, tableId, unitId}, swTableSet_{swTableSet} {}
    ~OrderedSwTable() override;

    Ombra::Publisher* publisher() const override;

    // The hardware side has applied the table's log up to and including `version`.
    virtual void tableStatusVersion(LogVersion version) = 0;

    // True while the table holds something that the hardware has not confirmed.
    virtual bool hasPendingHwWrites() const = 0;

    OrderedSwTableSet* swTableSet() const noexcept { return swTableSet_; }
    Ombra::Ptr<SwTableStats> const& stats() const noexcept { return stats_; }
    Ombra::Ptr<OrderedSwTableStatus> const& status() const noexcept { return status_; }

    // Makes the counters, all zero. Called while the table is made.
    Ombra::Ptr<SwTableStats> statsIs();
    void statusIs(Ombra::Ptr<OrderedSwTableStatus> const& status);

  protected:
    Ombra::Publisher& publisherRef() const noexcept { return publisher_; }

  private:
    OrderedSwTableSet* swTableSet_;
    Ombra::Ptr<SwTableStats> stats_;
    Ombra::Ptr<OrderedSwTableStatus> status_;
    mutable Ombra::Publisher publisher_;
};

// A ticket that knows which of a key's overlapping operations it is for, and how far the log got.
class LOAM_EXPORT OrderedSwTable::EntryHandle : public SwTableBase::EntryHandle {
  public:
    explicit EntryHandle(EntryVersion const& entryVersion) noexcept : entryVersion_{entryVersion} {}
    ~EntryHandle() override;

    Ombra::Publisher* publisher() const override;
    TableVersion entryTableVersion() const override;

    EntryVersion const& entryVersion() const noexcept { return entryVersion_; }

    // 0 until the operation is committed, and after one that wrote nothing.
    LogVersion logVersion() const noexcept { return logVersion_; }
    void logVersionIs(LogVersion logVersion) noexcept { logVersion_ = logVersion; }

  protected:
    Ombra::Publisher& publisherRef() const noexcept { return publisher_; }

  private:
    EntryVersion entryVersion_;
    Ombra::Uint64Align4 logVersion_;
    mutable Ombra::Publisher publisher_;
};

class LOAM_EXPORT OrderedSwTableWithMarkSweep : public OrderedSwTable {
  public:
    using OrderedSwTable::OrderedSwTable;
    ~OrderedSwTableWithMarkSweep() override;

    // Opens a phase in which a client writes again all that it wants to keep ...
    virtual void mark() = 0;

    // ... and closes it, removing what was not written again.
    virtual void sweep() = 0;
};

} // namespace Asic
