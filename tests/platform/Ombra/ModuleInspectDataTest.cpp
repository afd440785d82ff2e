#include <Ombra/ModuleInspectData.h>

#include <gtest/gtest.h>

#include <array>

namespace {

using Ombra::ModuleInspectData;

constexpr std::array<std::string_view, 2> names{"First", "Second"};
constexpr ModuleInspectData module{"ATestModule", names};

TEST(ModuleInspectData, AnAnnouncedModuleIsFoundByName) {
    EXPECT_EQ(ModuleInspectData::find("ATestModule"), nullptr);
    ModuleInspectData::loaded(module);
    EXPECT_EQ(ModuleInspectData::find("ATestModule"), &module);
    EXPECT_EQ(ModuleInspectData::all().back(), &module);
    EXPECT_EQ(ModuleInspectData::find("NoSuchModule"), nullptr);
}

} // namespace
