#pragma once

#include <Asic/OrderedSwTable.h>
#include <Asic/OrderedSwTableStatus.h>
#include <Zet/HashMap2018.h>
#include <Zet/Tracked.h>

#include <cstdint>

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

    // Tells every unit's table how far the hardware side has come.
    void tableStatusVersion(LogVersion version);

  private:
    bool anyPendingHwWrites();

    SwTableId tableId_;
    Ombra::Ptr<OrderedSwTableStatus> swTableStatus_;
    SwTables swTables_;
    OrderedSwTable const* lastPending_ = nullptr;
};

} // namespace Asic
