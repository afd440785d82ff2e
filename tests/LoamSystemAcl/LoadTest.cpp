#include <Burrow/Entry.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>
#include <OrderedTable/UnitLoaded.h>
#include <Zet/LogHandle.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the units of the tables do when their library is loaded.
namespace LoamSystemAcl {
namespace {

// --- the alignment of shared buffers

class UnitLoaded : public testing::Test {
  protected:
    ~UnitLoaded() override { Burrow::Entry::BUFFER_ALIGNMENT = former; }

    // The alignment after a unit was loaded that found `before`.
    static std::size_t alignmentAfter(std::size_t before, bool alignsAtLoad) {
        static constexpr std::array<std::string_view, 1> names{"AUnit"};
        static constexpr Ombra::ModuleInspectData module{"AUnit", names};
        Burrow::Entry::BUFFER_ALIGNMENT = before;
        OrderedTable::UnitLoaded const unit{module, alignsAtLoad};
        return Burrow::Entry::BUFFER_ALIGNMENT;
    }

    std::size_t const former = Burrow::Entry::BUFFER_ALIGNMENT;
};

TEST_F(UnitLoaded, TheFirstUnitSetsTheAlignment) {
    EXPECT_EQ(alignmentAfter(0, true), 8U);
}

TEST_F(UnitLoaded, ALaterUnitFindsItSet) {
    EXPECT_EQ(alignmentAfter(64, true), 64U);
}

TEST_F(UnitLoaded, AUnitOfATableThatDoesNotAlignLeavesItAlone) {
    EXPECT_EQ(alignmentAfter(0, false), 0U);
}

// --- the handles of the structured log

TEST(LogHandles, OfEachTableAreThreeInTheirOrder) {
    std::vector<std::string> names;
    for (auto const& handle : Zet::LogHandle::all()) {
        std::string_view const name = handle.descriptor->name;
        if (name.starts_with("HW_ABSTRACTION_")) {
            names.emplace_back(name);
        }
    }
    ASSERT_FALSE(names.empty());
    std::vector<std::string> expected;
    while (expected.size() < names.size()) { // once per table
        for (char const* name : {"HW_ABSTRACTION_ERROR", "HW_ABSTRACTION_RELAUNCH_ERROR",
                                 "HW_ABSTRACTION_EXCEPTION"}) {
            expected.emplace_back(name);
        }
    }
    EXPECT_EQ(names, expected);
}

} // namespace
} // namespace LoamSystemAcl
