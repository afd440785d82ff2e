#include <Ombra/ModuleInspectData.h>
#include <Zet/Entity.h>

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace Zet {

namespace {

constexpr std::array<std::string_view, 3> typeNames{"Test::Plain", "Test::First", "Test::Second"};
constexpr Ombra::ModuleInspectData module{"Test", typeNames};
constexpr ZetType plainType{&module, 0};
constexpr ZetType firstType{&module, 1};
constexpr ZetType secondType{&module, 2};

std::vector<std::string> destroyed;

class First : public Entity {
  public:
    ~First() override { destroyed.emplace_back("First"); }
};

class Second : public Entity {
  public:
    ~Second() override {
        destroyed.emplace_back("Second");
        EXPECT_EQ(singletonExists("Test::Second"), nullptr);
    }
};

class Singletons : public testing::Test {
  protected:
    Singletons() {
        Entity::singletonFactoryIs(firstType,
                                   [] { return Ombra::Ptr<Entity>{Ombra::ptrIs<First>()}; });
        Entity::singletonFactoryIs(secondType,
                                   [] { return Ombra::Ptr<Entity>{Ombra::ptrIs<Second>()}; });
        destroyed.clear();
    }
    ~Singletons() override { Entity::singletonsDelAll(); }
};
using SingletonsDeathTest = Singletons;

} // namespace

TEST_F(Singletons, ASingletonThatWasNotMadeDoesNotExist) {
    EXPECT_EQ(Entity::singletonExists("Test::First"), nullptr);
    EXPECT_EQ(Entity::singletonExists("No::Such"), nullptr);
    EXPECT_EQ(Entity::singletonExists(""), nullptr);
}

TEST_F(Singletons, ASingletonIsMadeOnceAndFoundByItsTypesName) {
    auto const made = Entity::singletonIs(firstType);
    ASSERT_NE(made, nullptr);
    EXPECT_NE(Ombra::dynamicCast<First>(made), nullptr);
    EXPECT_EQ(Entity::singletonIs(firstType), made);
    EXPECT_EQ(Entity::singletonExists("Test::First"), made);
    EXPECT_EQ(Entity::singletonExists("Test::Second"), nullptr);
}

TEST_F(Singletons, TheRegistryHoldsOneReference) {
    auto const made = Entity::singletonIs(firstType);
    EXPECT_EQ(made->refCount(), 2U);
}

TEST_F(Singletons, TheLastMadeGoesFirst) {
    Entity::singletonIs(firstType);
    Entity::singletonIs(secondType);
    Entity::singletonsDelAll();
    EXPECT_EQ(destroyed, (std::vector<std::string>{"Second", "First"}));
    EXPECT_EQ(Entity::singletonExists("Test::First"), nullptr);
}

TEST_F(Singletons, AfterTheirDeletionTheyCanBeMadeAgain) {
    Entity::singletonIs(firstType);
    Entity::singletonsDelAll();
    EXPECT_NE(Entity::singletonIs(firstType), nullptr);
}

TEST_F(Singletons, ASingletonThatIsHeldOutlivesTheRegistry) {
    auto const held = Entity::singletonIs(firstType);
    Entity::singletonsDelAll();
    EXPECT_TRUE(destroyed.empty());
    EXPECT_EQ(held->refCount(), 1U);
}

TEST_F(SingletonsDeathTest, ATypeWithoutAFactoryFailsTheAssertion) {
    EXPECT_DEATH(Entity::singletonIs(plainType), "factory != known.factories.end\\(\\)");
}

TEST(EntitySlots, HandleParentStandsBehindTheNodesOperations) {
    // A pointer to a virtual operation holds its offset in the table plus one: the destructor pair
    // and the node's three operations come first.
    auto const operation = &Entity::handleParent;
    std::ptrdiff_t slot = 0;
    std::memcpy(&slot, &operation, sizeof slot);
    EXPECT_EQ(slot, static_cast<std::ptrdiff_t>(5 * sizeof(void*) + 1));
}

} // namespace Zet
