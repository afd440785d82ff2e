#include <gtest/gtest.h>

#include <algorithm>
#include <apps/agent/Platform.h>
#include <apps/agent/record/Recorder.h>
#include <support/Programs.h>

namespace {

// So that nobody pays for a record that is not made.
TEST(Recording, StandsBeforeTheTablesOnlyWhileSomethingIsRecorded) {
    testing_support::Programs const programs;
    LoamAgent::Options options;
    options.root = programs.root();
    options.units = {0};
    LoamAgent::Platform platform{options};
    auto const reached = [&](auto const& table) {
        return platform.table(table->tableId().tblId()) == table.get();
    };
    EXPECT_TRUE(std::ranges::all_of(platform.tables(), reached));
    LoamAgent::Recorder recorder{programs.scratch("record"), 4096};
    platform.recorderIs(&recorder);
    EXPECT_TRUE(std::ranges::none_of(platform.tables(), reached));
    platform.recorderIs(nullptr);
    EXPECT_TRUE(std::ranges::all_of(platform.tables(), reached));
}

} // namespace
