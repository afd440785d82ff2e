#include <Asic/CanonicalTableName.h>
#include <Ombra/Ptr.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Asic::CanonicalTableName;
using Asic::OrderedTableType;

TEST(CanonicalTableName, IsMadeOfWhatItsTypeIsKnownBy) {
    auto const nameOf = [](OrderedTableType type) {
        return Ombra::ptrIs<CanonicalTableName>(type, "Group", "Space", "Table")->name();
    };
    EXPECT_EQ(nameOf(OrderedTableType::orderedSwTable), "OrderedSwTable.Group.Table");
    EXPECT_EQ(nameOf(OrderedTableType::partiallyOrderedSwTable), "PartiallyOrderedSwTable.Table");
    EXPECT_EQ(nameOf(OrderedTableType::resourceTable), "ResourceTable.Space::Table");
}

TEST(CanonicalTableNameDeathTest, ATypeThatIsNoneOfTheThreeStopsTheProcess) {
    auto const name =
        Ombra::ptrIs<CanonicalTableName>(OrderedTableType{3}, "Group", "Space", "Table");
    EXPECT_DEATH(name->name(), testing::HasSubstr("Table type undefined!"));
}

} // namespace
