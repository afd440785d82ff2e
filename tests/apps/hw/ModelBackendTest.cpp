#include "HwFixture.h"

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

namespace LoamHw {

namespace {

constexpr Asic::SwTableId tableId = Ipv4Entries::Constants::tableId;

// An entry whose bytes behind the key begin with the format and the priority.
std::array<std::byte, 12> fieldsWith(std::uint8_t priority, std::uint8_t rest = 0) {
    std::array<std::byte, 12> fields{};
    fields[4] = std::byte{priority};
    fields[11] = std::byte{rest};
    return fields;
}

class ModelBackendTest : public HwFixture {
  protected:
    ModelBackend model{shapes(), {}};
};

} // namespace

TEST_F(ModelBackendTest, EntryThatKeepsItsPriorityIsReplacedInItsPlace) {
    model.program({tableId, 0, 1}, fieldsWith(10));
    model.program({tableId, 0, 2}, fieldsWith(20));
    model.program({tableId, 0, 1}, fieldsWith(10, 7));
    EXPECT_EQ(model.counts().writes, 3U);
    EXPECT_EQ(model.counts().moved, 0U);
    EXPECT_EQ((*model.read({tableId, 0, 1}))[11], std::byte{7});
    EXPECT_EQ(model.entryCount(tableId), 2U);
}

TEST_F(ModelBackendTest, EntryOfAFullTcamCanBeReplacedWithAnotherPriority) {
    Faults faults;
    faults.capacity = 2;
    model.faultsIs(faults);
    model.program({tableId, 0, 1}, fieldsWith(10));
    model.program({tableId, 0, 2}, fieldsWith(20));
    EXPECT_EQ(model.program({tableId, 0, 1}, fieldsWith(30)), BackendResult::ok);
    EXPECT_EQ(model.program({tableId, 0, 3}, fieldsWith(5)), BackendResult::full);
    EXPECT_EQ(model.program({tableId, 1, 3}, fieldsWith(5)), BackendResult::ok); // its own TCAM
}

TEST_F(ModelBackendTest, RemovingWhatIsNotThereIsNoOperation) {
    EXPECT_EQ(model.remove({tableId, 0, 1}), BackendResult::ok);
    EXPECT_EQ(model.removeAll(tableId, 0), BackendResult::ok);
    EXPECT_EQ(model.counts().removes, 0U);
}

TEST_F(ModelBackendTest, WhatWasReadIsForgottenWhenItGoes) {
    Place const place{tableId, 0, 1};
    EXPECT_FALSE(model.read(place).has_value());
    model.program(place, fieldsWith(10, 7));
    EXPECT_EQ((*model.read(place))[11], std::byte{7});
    model.remove(place);
    EXPECT_FALSE(model.read(place).has_value());
    model.program(place, fieldsWith(10, 8));
    EXPECT_EQ((*model.read(place))[11], std::byte{8});
    model.removeAll(tableId, 0);
    EXPECT_FALSE(model.read(place).has_value());
    EXPECT_EQ(model.program(place, fieldsWith(10, 9)), BackendResult::ok);
    EXPECT_EQ((*model.read(place))[11], std::byte{9});
    EXPECT_EQ(model.entryCount(tableId), 1U);
}

TEST_F(ModelBackendTest, FailureInAnUnknownTableIsRefusedAndTheFormerStay) {
    Faults faults;
    faults.slowUs = 5;
    faults.refuse.insert({"NoSuchTable", 1});
    EXPECT_THROW(model.faultsIs(faults), std::invalid_argument);
    EXPECT_EQ(model.faults(), Faults{});
}

TEST_F(ModelBackendTest, KeysAndUnitsComeInAscendingOrder) {
    for (std::uint32_t const key : {30U, 10U, 20U}) {
        model.program({tableId, 3, key}, fieldsWith(1));
    }
    model.program({tableId, 1, 5}, fieldsWith(1));
    EXPECT_EQ(model.keys(tableId, 3), (std::vector<std::uint32_t>{10, 20, 30}));
    EXPECT_EQ(model.units(tableId), (std::vector<Asic::UnitId>{1, 3}));
}

} // namespace LoamHw
