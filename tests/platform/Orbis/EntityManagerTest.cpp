#include "StoreFixture.h"

#include <vector>

namespace Orbis {

namespace {

constexpr char const* path = "hardware/spindle/agent/relaunch/config/LoamSystemAcl";

// A second kind of entity.
class Label : public Entity {
  public:
    static constexpr char const* name = "OrbisTest::Label";

    Label(Ombra::Ptr<EntityManager> const& manager, Ombra::String const& where)
        : Entity{manager, where, name} {}

    std::string text() const { return content(); }
    void textIs(std::string const& text) {
        modify([&](std::string& stored) { stored = text; });
    }
};

bool const labelIsRegistered = Entity::typeIs(
    Label::name, {"", [](Ombra::Ptr<EntityManager> const& manager, Ombra::String const& where) {
                      return Ombra::Ptr<Entity>{Ombra::ptrIs<Label>(manager, where)};
                  }});

// Every test of behaviour holds for both kinds of manager.
class Managers : public StoreFixture, public testing::WithParamInterface<bool> {
  protected:
    Ombra::Ptr<EntityManager> manager =
        Ombra::ptrIs<EntityManager>(Ombra::String{"switch"}, GetParam());

    Ombra::Ptr<Label> labelIs(Ombra::String const& where) {
        return Ombra::dynamicCast<Label>(manager->entityIs(where, Label::name));
    }
};

INSTANTIATE_TEST_SUITE_P(LocalAndShared, Managers, testing::Bool(),
                         [](auto const& kind) { return kind.param ? "Local" : "Shared"; });

} // namespace

TEST_P(Managers, ANameAndALocalFlagAreKept) {
    EXPECT_EQ(manager->name(), "switch");
    EXPECT_EQ(manager->isLocal(), GetParam());
}

TEST_P(Managers, AnEntityThatWasNotMadeIsNull) {
    EXPECT_EQ(manager->getEntity(path), nullptr);
}

TEST_P(Managers, AnEntityIsFoundWithItsTypeAndPath) {
    ASSERT_TRUE(labelIsRegistered);
    labelIs(path)->textIs("hello");
    auto const found = manager->getEntity(path);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->path(), path);
    EXPECT_EQ(found->typeName(), Label::name);
    auto const label = Ombra::dynamicCast<Label>(found);
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->text(), "hello");
}

TEST_P(Managers, MakingAnEntityAgainKeepsItsContent) {
    labelIs(path)->textIs("kept");
    EXPECT_EQ(labelIs(path)->text(), "kept");
}

TEST_P(Managers, TwoObjectsOfAPathAgree) {
    auto const one = labelIs(path);
    auto const two = labelIs(path);
    one->textIs("changed");
    EXPECT_EQ(two->text(), "changed");
}

TEST_P(Managers, AnEntityOfAnotherTypeIsNoGenId) {
    labelIs(path);
    EXPECT_EQ(Ombra::dynamicCast<Asic::GenId>(manager->getEntity(path)), nullptr);
    EXPECT_NE(manager->getEntity(path), nullptr);
}

TEST_P(Managers, AnEntityOfAnotherTypeIsNotMadeOver) {
    labelIs(path)->textIs("mine");
    auto const text = refusal([&] { Asic::GenId::create(manager, path); });
    EXPECT_NE(text.find(path), std::string::npos) << text;
    EXPECT_NE(text.find("is of the type OrbisTest::Label, and Asic::GenId was to be made"),
              std::string::npos)
        << text;
    EXPECT_EQ(labelIs(path)->text(), "mine");
}

TEST_P(Managers, AnEntityOfATypeUnknownHereIsAPlainEntity) {
    manager->store().modify(path, [](auto const&) {
        return std::optional{StoredEntity{"Other::Thing", "content"}};
    });
    auto const found = manager->getEntity(path);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->typeName(), "Other::Thing");
    EXPECT_EQ(Ombra::dynamicCast<Asic::GenId>(found), nullptr);
}

TEST_P(Managers, AnUnregisteredTypeCantBeMade) {
    auto const text = refusal([&] { manager->entityIs(path, "Nobody::Knows"); });
    EXPECT_NE(text.find("the type Nobody::Knows is not known in this process"), std::string::npos);
    EXPECT_EQ(manager->getEntity(path), nullptr);
}

TEST_P(Managers, ARemovedEntityIsGone) {
    auto const label = labelIs(path);
    EXPECT_TRUE(manager->entityDel(path));
    EXPECT_FALSE(manager->entityDel(path));
    EXPECT_EQ(manager->getEntity(path), nullptr);
    EXPECT_NE(refusal([&] { label->text(); }).find("was removed"), std::string::npos);
    EXPECT_NE(refusal([&] { label->textIs("x"); }).find("was removed"), std::string::npos);
}

TEST_P(Managers, AnObjectWhosePathHoldsAnotherTypeNowIsRefused) {
    auto const label = labelIs(path);
    manager->entityDel(path);
    Asic::GenId::create(manager, path);
    EXPECT_NE(refusal([&] { label->text(); }).find("is of the type Asic::GenId now"),
              std::string::npos);
}

TEST_P(Managers, AChangeThatThrowsChangesNothing) {
    labelIs(path)->textIs("before");
    EXPECT_THROW(
        manager->store().modify(path, [](auto const&) -> std::optional<StoredEntity> { throw 1; }),
        int);
    EXPECT_EQ(labelIs(path)->text(), "before");
    labelIs(path)->textIs("after");
    EXPECT_EQ(labelIs(path)->text(), "after");
}

TEST_P(Managers, PathsAreListedBelowAPrefixInOrder) {
    for (char const* one : {"b/2", "a/1", "b/1", "c"}) {
        labelIs(one);
    }
    EXPECT_EQ(manager->entityPaths("b/"), (std::vector<std::string>{"b/1", "b/2"}));
    EXPECT_EQ(manager->entityPaths("").size(), 4U);
    EXPECT_TRUE(manager->entityPaths("d").empty());
}

TEST_P(Managers, APathHasOneToFiveHundredBytes) {
    EXPECT_NE(refusal([&] { labelIs(""); }), "");
    EXPECT_NE(refusal([&] { labelIs(std::string(501, 'p')); }), "");
    EXPECT_EQ(refusal([&] { labelIs(std::string(500, 'p')); }), "");
    EXPECT_NE(refusal([&] { manager->getEntity(""); }), "");
}

TEST_P(Managers, AContentMayHoldAnyBytesAndBeEmpty) {
    auto const label = labelIs(path);
    EXPECT_EQ(label->text(), "");
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    label->textIs(all);
    EXPECT_EQ(label->text(), all);
}

using SharedManager = StoreFixture;
using LocalManager = StoreFixture;

TEST_F(SharedManager, TwoManagersOfANameShareTheirEntities) {
    auto const one = shared();
    auto const two = shared();
    Asic::GenId::create(one, path)->majorIdInc(3);
    EXPECT_EQ(Asic::GenId::create(two, path)->majorId(), 3U);
}

TEST_F(SharedManager, AnEntitySurvivesItsManagers) {
    Asic::GenId::create(shared(), path)->majorIdInc(3);
    EXPECT_EQ(Asic::GenId::create(shared(), path)->majorId(), 3U);
}

TEST_F(SharedManager, ManagersOfTwoNamesShareNothing) {
    Asic::GenId::create(shared("one"), path);
    EXPECT_EQ(shared("two")->getEntity(path), nullptr);
}

TEST_F(SharedManager, AFullStoreIsAnExceptionAndKeepsWhatItHolds) {
    auto const manager = shared();
    auto const label = Ombra::dynamicCast<Label>(manager->entityIs(path, Label::name));
    label->textIs("before");
    auto const text = refusal([&] { label->textIs(std::string(std::size_t{17} << 20, 'x')); });
    EXPECT_NE(text.find("16777216 bytes are full"), std::string::npos) << text;
    EXPECT_EQ(label->text(), "before");
    label->textIs("after");
    EXPECT_EQ(label->text(), "after");
}

TEST_F(LocalManager, SharesNothingWithAnotherOfItsName) {
    Asic::GenId::create(local(), path);
    EXPECT_EQ(local()->getEntity(path), nullptr);
}

TEST_F(LocalManager, LeavesNothingInTheFileSystem) {
    Asic::GenId::create(local(), path);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(LocalManager, AnEntityKeepsItsManager) {
    auto const generation = Asic::GenId::create(local(), path);
    generation->majorIdInc(1);
    EXPECT_EQ(generation->majorId(), 1U);
}

} // namespace Orbis
