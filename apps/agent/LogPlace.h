#pragma once

#include <Asic/SwTableBase.h>

// A place in a table's log as something to depend on: the hardware side takes what depends on it
// only behind all that the table's log held when the place was made.
//
// For operations that give no handle of their own: a sweep's removes, and a remove-all.
namespace LoamAgent {

class LogPlace final : public Asic::SwTableBase::EntryHandle {
  public:
    LogPlace(Asic::SwTableId tableId, Asic::LogVersion version) : place_{tableId, version} {
        entryStateIs(Asic::SwTableBase::EntryState::entryInLog);
    }

    Asic::TableVersion entryTableVersion() const override { return place_; }
    Ombra::String tableName() const override { return Ombra::String{}; }
    Asic::SwTableId tableId() const override { return place_.tableId; }

  private:
    Asic::TableVersion place_;
};

} // namespace LoamAgent
