#include <Asic/Identifiers.h>
#include <Asic/SwTableBase.h>

#include <gtest/gtest.h>

namespace {

using namespace Asic;

TEST(EntryVersion, OfAllOnesIsInvalidAndOfAllZerosTheFirstValidOne) {
    EXPECT_FALSE((EntryVersion{~std::uint64_t{0}, 0xffff}.valid()));
    EXPECT_FALSE(EntryVersion{}.valid());
    EXPECT_TRUE((EntryVersion{0, 0}.valid()));
    EXPECT_EQ(EntryVersion::first(), EntryVersion(0, 0));
}

TEST(EntryVersion, IsValidUnlessBothFieldsAreAllOnes) {
    EXPECT_TRUE((EntryVersion{~std::uint64_t{0}, 0}.valid()));
    EXPECT_TRUE((EntryVersion{0, 0xffff}.valid()));
}

TEST(EntryVersion, TheNextOneRaisesTheMajorAndKeepsTheMinor) {
    EXPECT_EQ(EntryVersion(0, 0).next(), EntryVersion(1, 0));
    EXPECT_EQ(EntryVersion(0xffffffff, 9).next(), EntryVersion(0x100000000, 9));
}

TEST(EntryVersion, IsEqualInBothFieldsOnly) {
    EXPECT_TRUE(EntryVersion::isEq(EntryVersion{1, 2}, EntryVersion{1, 2}));
    EXPECT_FALSE(EntryVersion::isEq(EntryVersion{1, 2}, EntryVersion{1, 3}));
    EXPECT_FALSE(EntryVersion::isEq(EntryVersion{1, 2}, EntryVersion{std::uint64_t{1} << 40, 2}));
}

TEST(MajorVersion, OfZeroIsValidAndOfAllOnesIsNot) {
    EXPECT_TRUE(MajorVersion{0}.valid());
    EXPECT_TRUE(MajorVersion{~std::uint64_t{0} - 1}.valid());
    EXPECT_FALSE(MajorVersion{~std::uint64_t{0}}.valid());
    EXPECT_FALSE(MajorVersion{}.valid());
}

TEST(MajorVersion, OneLessThanZeroIsTheInvalidOne) {
    EXPECT_EQ(MajorVersion{MajorVersion{0}.number() - 1}, MajorVersion{});
}

TEST(MajorVersion, ShowsAsItsNumberOrAsInvalid) {
    EXPECT_EQ(fmt::format("{}", MajorVersion{17}), "17");
    EXPECT_EQ(fmt::format("{}", MajorVersion{}), "invalid");
}

TEST(SwTableId, IsMadeOfAgentGroupAndTable) {
    SwTableId const id{0x12345678};
    EXPECT_EQ(id.agentId(), 0x12);
    EXPECT_EQ(id.groupId(), 0x34);
    EXPECT_EQ(id.tblId(), 0x5678);
    EXPECT_EQ(id.agentAndGroupId(), 0x1234);
}

TEST(SwTableId, ShowsWithTwoTwoAndFourDigitsWhateverItsValue) {
    EXPECT_EQ(fmt::format("{}", SwTableId{0}), "00:00:0000");
    EXPECT_EQ(fmt::format("{}", SwTableId{0x0808040e}), "08:08:040e");
    EXPECT_EQ(fmt::format("{}", SwTableId{0x00000001}), "00:00:0001");
    EXPECT_EQ(fmt::format("{}", SwTableId{0xabcdef01}), "ab:cd:ef01");
    EXPECT_EQ(fmt::format("{}", SwTableId{0xffffffff}), "ff:ff:ffff");
}

TEST(TableVersion, IsEqualInTableAndVersionAndShowsBoth) {
    TableVersion const place{SwTableId{0x08080404}, {std::uint64_t{1} << 33}};
    EXPECT_EQ(place, (TableVersion{SwTableId{0x08080404}, {std::uint64_t{1} << 33}}));
    EXPECT_NE(place, (TableVersion{SwTableId{0x08080403}, {std::uint64_t{1} << 33}}));
    EXPECT_NE(place, (TableVersion{SwTableId{0x08080404}, {1}}));
    EXPECT_EQ(fmt::format("{}", place), "08:08:0404@8589934592");
}

TEST(EntryFlags, AreTheBitsOneTwoAndFour) {
    EXPECT_EQ(static_cast<unsigned>(EntryFlags::flagEntryDeleted), 1U);
    EXPECT_EQ(static_cast<unsigned>(EntryFlags::flagTableDeleted), 2U);
    EXPECT_EQ(static_cast<unsigned>(EntryFlags::flagSuppressIdenticalWrites), 4U);
    EXPECT_EQ(sizeof(EntryFlags), 1U);
    EXPECT_TRUE(flagHas(EntryFlags{6}, EntryFlags::flagTableDeleted));
    EXPECT_FALSE(flagHas(EntryFlags{6}, EntryFlags::flagEntryDeleted));
}

TEST(EntryState, HasTheValuesThatOthersKnow) {
    using State = SwTableBase::EntryState;
    EXPECT_EQ(static_cast<unsigned>(State::entryPending), 0U);
    EXPECT_EQ(static_cast<unsigned>(State::entryInLog), 1U);
    EXPECT_EQ(static_cast<unsigned>(State::entryApplied), 4U);
    EXPECT_EQ(static_cast<unsigned>(State::entryFailed), 5U);
    EXPECT_EQ(sizeof(State), 1U);
}

TEST(EntryState, ThreeFiveAndSixAreFailures) {
    for (unsigned state = 0; state <= 255; ++state) {
        EXPECT_EQ(SwTableBase::isFailure(SwTableBase::EntryState(state)),
                  state == 3 || state == 5 || state == 6)
            << state;
    }
}

TEST(EntryHandle, HearsOfItsStateOnlyWhenItChanges) {
    struct Handle : SwTableBase::EntryHandle {
        void handleEntryState() override { heard.push_back(entryState()); }
        TableVersion entryTableVersion() const override { return {}; }
        Ombra::String tableName() const override { return {}; }
        SwTableId tableId() const override { return {}; }
        std::vector<SwTableBase::EntryState> heard;
    };
    using State = SwTableBase::EntryState;
    auto const handle = Ombra::ptrIs<Handle>();
    EXPECT_EQ(handle->entryState(), State::entryPending);
    handle->entryStateIs(State::entryPending);
    handle->entryStateIs(State::entryInLog);
    handle->entryStateIs(State::entryInLog);
    handle->entryStateIs(State::entryApplied);
    EXPECT_EQ(handle->heard, (std::vector{State::entryInLog, State::entryApplied}));
    EXPECT_EQ(handle->hwIndexForDependentField(), ~Index{0});
}

} // namespace
