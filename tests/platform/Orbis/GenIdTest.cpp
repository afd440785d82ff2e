#include "StoreFixture.h"

#include <limits>

namespace Orbis {

namespace {

class GenId : public StoreFixture {
  protected:
    Ombra::Ptr<EntityManager> manager = local();
    Ombra::Ptr<Asic::GenId> generation = Asic::GenId::create(manager, "generation");
};

} // namespace

TEST_F(GenId, StartsAtZero) {
    EXPECT_EQ(generation->majorId(), 0U);
    EXPECT_EQ(generation->minorId(), 0U);
}

TEST_F(GenId, TheMajorIdMovesByTheAmountAndTheMinorStays) {
    generation->minorIdInc(5);
    generation->majorIdInc(1);
    generation->majorIdInc(std::numeric_limits<unsigned short>::max());
    EXPECT_EQ(generation->majorId(), 65536U);
    EXPECT_EQ(generation->minorId(), 5U);
}

TEST_F(GenId, IsStoredLeastByteFirst) {
    generation->majorIdInc(0x0102);
    generation->minorIdInc(0x0304);
    auto const stored = manager->store().read("generation");
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->typeName, "Asic::GenId");
    EXPECT_EQ(stored->content, std::string("\x02\x01\0\0\0\0\0\0\x04\x03\0\0\0\0\0\0", 16));
}

TEST_F(GenId, CountsModuloTheWord) {
    manager->store().modify("generation", [](auto const&) {
        return std::optional{StoredEntity{"Asic::GenId", std::string(16, '\xff')}};
    });
    generation->majorIdInc(1);
    EXPECT_EQ(generation->majorId(), 0U);
}

TEST_F(GenId, AContentOfAnotherSizeIsRefused) {
    manager->store().modify("generation", [](auto const&) {
        return std::optional{StoredEntity{"Asic::GenId", "short"}};
    });
    EXPECT_NE(refusal([&] { generation->majorId(); }).find("5 are stored"), std::string::npos);
    EXPECT_NE(refusal([&] { generation->majorIdInc(1); }).find("5 are stored"), std::string::npos);
}

} // namespace Orbis
