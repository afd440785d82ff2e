#include <Zet/MutatorException.h>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

namespace Zet {

namespace {

constexpr std::array<std::string_view, 3> typeNames{"A", "B", "XxxSwTable"};
constexpr Ombra::ModuleInspectData module{"LoamSystemAcl", typeNames};

std::string sentence(Ombra::ModuleInspectData const* owner, int value, unsigned field) {
    try {
        throwMutatorArgNullPointerException(owner, value, static_cast<Ombra::FieldId>(field));
    } catch (Ombra::NullPointerException const& exception) {
        return exception.what();
    }
}

} // namespace

TEST(MutatorException, NamesModuleClassAndField) {
    EXPECT_EQ(sentence(&module, 2, 0x303),
              "Attribute 0x303 of XxxSwTable in module LoamSystemAcl was set to a null pointer, "
              "which it cannot hold: give it an object, or delete the element.");
}

TEST(MutatorException, NamesAClassThatTheModuleDoesNotHaveByItsNumber) {
    EXPECT_NE(sentence(&module, 3, 1).find("of type 3 in module LoamSystemAcl"), std::string::npos);
    EXPECT_NE(sentence(&module, -1, 1).find("of type -1 in"), std::string::npos);
}

TEST(MutatorException, BearsAnOwnerWithoutAModule) {
    EXPECT_NE(sentence(nullptr, 2, 0x304).find("Attribute 0x304 of type 2 in module (none)"),
              std::string::npos);
}

} // namespace Zet
