#pragma once

#include <Asic/OrderedSwTable.h>
#include <Asic/OrderedSwTableSet.h>

#include <functional>
#include <vector>

// A table of the platform alone: answers as it is told, and writes down what it is told.
namespace asic_test {

class FakeTable : public Asic::OrderedSwTableWithMarkSweep {
  public:
    FakeTable(Asic::SwTableId tableId, Asic::UnitId unitId, Asic::OrderedSwTableSet* set = nullptr)
        : OrderedSwTableWithMarkSweep{nullptr, tableId, unitId, set} {}

    void tableStatusVersion(Asic::LogVersion version) override {
        versions.push_back(version);
        if (onStatus) {
            onStatus();
        }
    }
    bool hasPendingHwWrites() const override {
        ++questions;
        return pending;
    }
    void mark() override {}
    void sweep() override {
        ++sweeps;
        if (onSweep) {
            onSweep();
        }
    }

    bool pending = false;
    mutable unsigned questions = 0;
    unsigned sweeps = 0;
    std::vector<Asic::LogVersion> versions;
    std::function<void()> onSweep;
    std::function<void()> onStatus;
};

} // namespace asic_test
