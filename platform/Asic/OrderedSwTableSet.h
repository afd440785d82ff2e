#pragma once

#include <Asic/OrderedSwTable.h>
#include <Asic/OrderedSwTableStatus.h>
#include <Zet/HashMap2018.h>
#include <Zet/Tracked.h>

#include <cstdint>
#include <vector>

// The table objects of one table, one per chip unit, and the status that they share.
namespace Asic {

class LOAM_EXPORT OrderedSwTableSet : public Zet::Tracked<OrderedSwTableSet, Ombra::Node> {
  public:
    class HN_SwTable : public Zet::Hm2018NE<0x644C7AE4, UnitId, Ombra::Ptr<OrderedSwTable>,
                                            Zet::HashMap2018Alloc{1}> {
        using Hm2018NE::Hm2018NE;
    };
    using SwTables = Zet::HashMap2018<HN_SwTable, UnitId, Ombra::Ptr<OrderedSwTable>>;

    OrderedSwTableSet(SwTableId tableId, Ombra::Ptr<OrderedSwTableStatus> const& swTableStatus);
    ~OrderedSwTableSet() override;
    Ombra::TypeData typeData() const override;

    SwTableId tableId() const noexcept { return tableId_; }
    Ombra::Ptr<OrderedSwTableStatus> const& swTableStatus() const noexcept {
        return swTableStatus_;
    }

    // Null when no table was made for the unit.
    Ombra::Ptr<OrderedSwTable> swTable(UnitId unitId) const;
    bool swTableHas(UnitId unitId) const;
    void swTableIs(Ombra::Ptr<OrderedSwTable> const& swTable);
    SwTables const& swTables() const noexcept { return swTables_; }

    // Sets the status to whether any unit's table has pending hardware writes. The table that said
    // yes last is asked first, so that a busy set costs one question however many units it has.
    void maybeUpdatePendingHwWrites();

    // The same for a table that has changed: it is asked first, and the others only when one of
    // them may have something pending, so that an acknowledgement of many units doesn't ask each of
    // them each time. The tables of a set share their log, so `changed` answers for that.
    void maybeUpdatePendingHwWritesOf(OrderedSwTable const& changed);

    // What a table calls before it parks an operation.
    void mayBePending() noexcept { nonePending_ = false; }

    // Tells every unit's table how far the hardware side has come, in the order in which the units
    // were made.
    void tableStatusVersion(LogVersion version);

  private:
    bool anyPendingHwWrites(OrderedSwTable const* saidNo); // who was asked already, or nobody
    bool isMember(OrderedSwTable const& table) const;

    SwTableId tableId_;
    Ombra::Ptr<OrderedSwTableStatus> swTableStatus_;
    SwTables swTables_;
    std::vector<OrderedSwTable*> inTurn_; // the tables of `swTables_`, one per unit
    OrderedSwTable const* lastPending_ = nullptr;
    bool nonePending_ = false; // all were asked, and none has parked an operation since
};

} // namespace Asic
