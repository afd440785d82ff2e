#include <gtest/gtest.h>

#include <apps/loamctl/TextTable.h>

namespace LoamCtl {
namespace {

TEST(TextTable, AlignsTextLeftAndNumbersRight) {
    TextTable table{{{"NAME", TextTable::Align::left},
                     {"BYTES", TextTable::Align::right},
                     {"REST", TextTable::Align::left}}};
    table.row({"a", "7", "some text"});
    table.row({"longer", "1234567", "x"});
    EXPECT_EQ(table.text(), "NAME      BYTES  REST\n"
                            "a             7  some text\n"
                            "longer  1234567  x\n");
}

TEST(TextTable, WithoutRowsIsItsHeader) {
    TextTable const table{{{"ONE", TextTable::Align::left}, {"TWO", TextTable::Align::right}}};
    EXPECT_EQ(table.text(), "ONE  TWO\n");
}

} // namespace
} // namespace LoamCtl
