#pragma once

#include "AgentTable.h"

#include <gtest/gtest.h>

#include <apps/hw/HardwareSide.h>
#include <apps/hw/ModelBackend.h>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace LoamHw {

// An agent that is written by hand and a hardware side with the model behind it, in one process but
// each with a manager of its own, on files that are this test's alone. Time stands still but for
// what a test adds to `now`.
class HwFixture : public testing::Test {
  protected:
    HwFixture();
    ~HwFixture() override;

    static std::vector<TableShape> shapes();
    std::string folder() const;

    // The agent: a new one, as after a kill; its tables are to be made anew, too.
    void startAgent();
    template <typename Table>
    AgentTable<Table> agentTable() {
        return AgentTable<Table>{agent};
    }

    void startHardware(Faults const& faults = {});
    void stopHardware();
    void rounds(); // until there is nothing to do
    void pass(std::chrono::milliseconds time);

    template <typename Table>
    TableFollower const& follower() const {
        return follower(Table::Constants::tableId);
    }
    TableFollower const& follower(Asic::SwTableId tableId) const;

    // What `tableVersionMap` holds, as another process reads it; 0 for nothing.
    template <typename Table>
    Asic::LogVersion acknowledged() const {
        return acknowledged(Table::Constants::tableId);
    }
    Asic::LogVersion acknowledged(Asic::SwTableId tableId) const;

    // The value of an entry in the hardware; nothing when it isn't there.
    template <typename Table>
    std::optional<std::uint32_t> inHardware(std::uint32_t key, Asic::UnitId unitId = 0) const {
        return valueOf(backend->read(Place{Table::Constants::tableId, unitId, key}));
    }

    bool reported(std::string const& part) const;

    std::string managerName;
    Ombra::Ptr<ZetSharedMem::EntityManager> agent;
    std::unique_ptr<ModelBackend> backend;
    std::unique_ptr<HardwareSide> hardware;
    std::vector<std::string> reports;
    Clock::time_point now = Clock::now();

  private:
    static std::optional<std::uint32_t> valueOf(std::optional<std::span<std::byte const>> fields);
};

} // namespace LoamHw
