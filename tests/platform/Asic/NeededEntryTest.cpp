#include <Asic/NeededEntry.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace Asic;

constexpr SwTableId first{0x08080401};
constexpr SwTableId second{0x08080402};
constexpr SwTableId third{0x08080403};

std::vector<TableVersion> placesOf(NeededEntry const& needed) {
    return {needed.places().begin(), needed.places().end()};
}

using Places = std::vector<TableVersion>;

TEST(NeededEntry, IsMadeEmpty) {
    NeededEntry const needed;
    EXPECT_TRUE(needed.empty());
    EXPECT_TRUE(needed.places().empty());
    EXPECT_EQ(fmt::format("{}", needed), "{}");
}

TEST(NeededEntry, KeepsOnePlacePerTableInTheOrderOfAddition) {
    NeededEntry needed;
    needed.add({second, {5}});
    EXPECT_EQ(placesOf(needed), (Places{{second, {5}}}));
    needed.add({first, {7}});
    needed.add({third, {1}});
    EXPECT_FALSE(needed.empty());
    EXPECT_EQ(placesOf(needed), (Places{{second, {5}}, {first, {7}}, {third, {1}}}));
}

TEST(NeededEntry, ALaterPlaceOfATableCoversAnEarlierOne) {
    for (unsigned tables = 1; tables <= 3; ++tables) {
        NeededEntry needed;
        needed.add({first, {5}});
        Places others;
        for (unsigned i = 1; i < tables; ++i) {
            others.push_back({SwTableId{0x08080500 + i}, {1}});
            needed.add(others.back());
        }
        needed.add({first, {9}});
        needed.add({first, {7}});
        Places expected{{first, {9}}};
        expected.insert(expected.end(), others.begin(), others.end());
        EXPECT_EQ(placesOf(needed), expected);
    }
}

TEST(NeededEntry, VersionZeroIsNoPlace) {
    NeededEntry needed;
    needed.add({first, {0}});
    EXPECT_TRUE(needed.empty());
    needed.add({first, {1}});
    needed.add({second, {0}});
    EXPECT_EQ(placesOf(needed), (Places{{first, {1}}}));
}

TEST(NeededEntry, ShowsItsPlaces) {
    auto const needed = Ombra::ptrIs<NeededEntry>();
    needed->add({first, {5}});
    EXPECT_EQ(fmt::format("{}", *needed), "{08:08:0401@5}");
    needed->add({second, {6}});
    EXPECT_EQ(fmt::format("{}", Ombra::Ptr<NeededEntry const>{needed}),
              "{08:08:0401@5, 08:08:0402@6}");
    EXPECT_EQ(fmt::format("{}", Ombra::Ptr<NeededEntry const>{}), "none");
}

} // namespace
