#include "Collections.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace {

using namespace ZetTest;
using Zet::HashMap2018NodeSourceColl;
using Zet::HashMap2018VTable;
using Zet::MoveOrCopy;

constexpr HashMap2018VTable const& wrapperVt = WrapperMap::vt_;
constexpr std::uint32_t pointer = sizeof(void*);

TEST(HashDescriptor, NodeSizesAndAlignmentsAreThoseOfTheTable) {
    EXPECT_EQ(wrapperVt.flagsAndAlignment, 0x100U | pointer);
    EXPECT_EQ(wrapperVt.nodeSize, pointer);
    EXPECT_EQ(VersionMap::vt_.flagsAndAlignment, 0x104U);
    EXPECT_EQ(VersionMap::vt_.nodeSize, 16U);
    EXPECT_EQ(KeySet::vt_.flagsAndAlignment, 0x102U);
    EXPECT_EQ(KeySet::vt_.nodeSize, 4U);
    EXPECT_EQ(EntryMap::vt_.flagsAndAlignment, 0x104U);
    EXPECT_EQ(EntryMap::vt_.nodeSize, sizeof(Entry));
    EXPECT_EQ(UnitMap::vt_.flagsAndAlignment, 0x100U | pointer);
    EXPECT_EQ(UnitMap::vt_.nodeSize, 2 * pointer);
}

TEST(HashDescriptor, PlaceAndShiftArePresentExactlyForCountedValues) {
    EXPECT_NE(WrapperMap::vt_.place, nullptr);
    EXPECT_NE(WrapperMap::vt_.shift, nullptr);
    EXPECT_NE(UnitMap::vt_.place, nullptr);
    EXPECT_NE(UnitMap::vt_.shift, nullptr);
    for (auto const* vt : {&VersionMap::vt_, &KeySet::vt_, &EntryMap::vt_}) {
        EXPECT_EQ(vt->place, nullptr);
        EXPECT_EQ(vt->shift, nullptr);
        EXPECT_NE(vt->newBucketAssemble, nullptr);
        EXPECT_NE(vt->bktHdrRefDec, nullptr);
    }
}

TEST(HashNodes, TheValueStandsInFrontOfAnExternalKey) {
    HN_Version const node{Key{0x00010002}, Version::of(7)};
    std::array<std::uint16_t, 8> words{};
    std::memcpy(words.data(), &node, sizeof node);
    EXPECT_EQ(words[0], 7);
    EXPECT_EQ(words[6], 1);
    EXPECT_EQ(words[7], 2);
}

TEST(HashNodes, AValueMayBeReplacedByOneWithAnEqualKey) {
    HN_Wrapper node{Ombra::ptrIs<Wrapper>(5U, 1)};
    auto const former = node.valueIs(Ombra::ptrIs<Wrapper>(5U, 2));
    EXPECT_EQ(former->value, 1);
    EXPECT_EQ(node.value()->value, 2);
}

TEST(HashNodesDeathTest, AValueWithAnotherKeyIsFatal) {
    HN_Wrapper node{Ombra::ptrIs<Wrapper>(5U)};
    EXPECT_DEATH(node.valueIs(Ombra::ptrIs<Wrapper>(6U)),
                 "fwkKey\\(\\) == KeyFunktor\\(\\)\\( _value \\)");
}

TEST(HashCompare, OrdersByKey) {
    HN_Set const one{Key{1}};
    HN_Set const two{Key{2}};
    auto const compare = KeySet::vt_.compareOrLruUnlink;
    EXPECT_EQ(compare(nullptr, &one, &two), 1);
    EXPECT_EQ(compare(nullptr, &two, &one), 2);
    EXPECT_EQ(compare(nullptr, &one, &one), 0);
}

TEST(HashCompare, WithoutALeftNodeTheKeyIsTheLeftSide) {
    HN_Set const two{Key{2}};
    auto const compare = KeySet::vt_.compareOrLruUnlink;
    for (auto const& [number, expected] : {std::pair{1U, 1}, {2U, 0}, {3U, 2}}) {
        Key const key{number};
        EXPECT_EQ(compare(&key, nullptr, &two), expected);
    }
}

TEST(HashCompare, ALeftNodeGoesBeforeTheKey) {
    HN_Set const one{Key{1}};
    HN_Set const two{Key{2}};
    Key const nine{9};
    EXPECT_EQ(KeySet::vt_.compareOrLruUnlink(&nine, &one, &two), 1);
}

TEST(HashKeyEquals, FindsTheKeyInEveryShapeOfNode) {
    Key const five{5};
    Key const six{6};
    HN_Wrapper const wrapper{Ombra::ptrIs<Wrapper>(5U)};
    HN_Version const version{five, Version::of(1)};
    HN_Set const member{five};
    HN_Entry const entry{Entry{five, {}}};
    std::vector<std::pair<HashMap2018VTable const*, void const*>> const shapes{
        {&WrapperMap::vt_, &wrapper},
        {&VersionMap::vt_, &version},
        {&KeySet::vt_, &member},
        {&EntryMap::vt_, &entry}};
    for (auto const& [vt, node] : shapes) {
        EXPECT_TRUE(vt->keyEqualsNode(&five, node));
        EXPECT_FALSE(vt->keyEqualsNode(&six, node));
    }
    std::uint16_t const unit = 3;
    HN_Unit const unitNode{unit, nullptr};
    EXPECT_TRUE(UnitMap::vt_.keyEqualsNode(&unit, &unitNode));
}

// Room for nodes that hold counted pointers. A test that changes how many there are says so.
struct Slots {
    alignas(HN_Wrapper) std::byte room[8 * sizeof(HN_Wrapper)] = {};
    unsigned count = 0;

    explicit Slots(std::initializer_list<std::uint32_t> numbers) {
        for (auto number : numbers) {
            new (at(count++)) HN_Wrapper{Ombra::ptrIs<Wrapper>(number)};
        }
    }
    ~Slots() { std::destroy_n(at(0), count); }

    HN_Wrapper* at(unsigned index) { return reinterpret_cast<HN_Wrapper*>(room) + index; }
    std::vector<std::uint32_t> numbers() {
        std::vector<std::uint32_t> result;
        for (unsigned i = 0; i != count; ++i) {
            if (at(i)->value() != nullptr) {
                result.push_back(at(i)->value()->key.number());
            }
        }
        return result;
    }
};
using Numbers = std::vector<std::uint32_t>;

TEST(HashPlace, ACopyAddsAReferenceAndAMoveLeavesNull) {
    auto const wrapper = Ombra::ptrIs<Wrapper>(5U);
    HN_Wrapper source{wrapper};
    Slots target{};
    wrapperVt.place(wrapperVt, target.at(0), &source, MoveOrCopy::copy);
    EXPECT_EQ(wrapper->refCount(), 3U);
    wrapperVt.place(wrapperVt, target.at(1), &source, MoveOrCopy::move);
    target.count = 2;
    EXPECT_EQ(wrapper->refCount(), 3U);
    EXPECT_EQ(source.value(), nullptr);
}

TEST(HashShift, PutsANodeInAtTheIndex) {
    for (unsigned index = 0; index <= 3; ++index) {
        Slots slots{1, 2, 3};
        HN_Wrapper node{Ombra::ptrIs<Wrapper>(9U)};
        wrapperVt.shift(wrapperVt, slots.room, &node, 3, index, 1);
        slots.count = 4;
        Numbers expected{1, 2, 3};
        expected.insert(expected.begin() + index, 9);
        EXPECT_EQ(slots.numbers(), expected);
        EXPECT_EQ(node.value(), nullptr);
    }
    EXPECT_EQ(Wrapper::live, 0);
}

TEST(HashShift, TakesNodesOutAtTheIndexAndReleasesThem) {
    for (int n = 1; n <= 3; ++n) {
        for (unsigned index = 0; index + static_cast<unsigned>(n) <= 5; ++index) {
            Slots slots{1, 2, 3, 4, 5};
            wrapperVt.shift(wrapperVt, slots.room, nullptr, 5, index, -n);
            slots.count = 5 - static_cast<unsigned>(n);
            Numbers expected{1, 2, 3, 4, 5};
            expected.erase(expected.begin() + index, expected.begin() + index + n);
            EXPECT_EQ(slots.numbers(), expected);
            EXPECT_EQ(Wrapper::live, 5 - n);
        }
    }
}

TEST(HashShift, OutOfTheLastSlotMovesNothingAndReleasesThatSlot) {
    Slots slots{1, 2, 3};
    void const* const first = slots.at(0)->value().get();
    wrapperVt.shift(wrapperVt, slots.room, nullptr, 3, 2, -1);
    slots.count = 2;
    EXPECT_EQ(slots.numbers(), (Numbers{1, 2}));
    EXPECT_EQ(slots.at(0)->value().get(), first);
    EXPECT_EQ(Wrapper::live, 2);
}

TEST(HashShift, SkipsASlotThatHoldsNothing) {
    Slots slots{1, 2, 3};
    HN_Wrapper out{nullptr};
    wrapperVt.place(wrapperVt, &out, slots.at(1), MoveOrCopy::move);
    wrapperVt.shift(wrapperVt, slots.room, nullptr, 3, 1, -1);
    slots.count = 2;
    EXPECT_EQ(slots.numbers(), (Numbers{1, 3}));
    EXPECT_EQ(Wrapper::live, 3);
}

TEST(HashShiftDeathTest, ByTwoIsFatal) {
    Slots slots{1, 2};
    HN_Wrapper node{Ombra::ptrIs<Wrapper>(9U)};
    EXPECT_DEATH(wrapperVt.shift(wrapperVt, slots.room, &node, 2, 0, 2), "slotsToShift == 1");
}

TEST(HashAssemble, FollowsTheRunsInTheirOrder) {
    Slots first{1, 2, 3};
    Slots second{4, 5};
    Slots target{};
    HashMap2018NodeSourceColl sources;
    sources.add(MoveOrCopy::copy, 2, first.at(1));
    sources.add(MoveOrCopy::move, 0, first.at(0));
    sources.add(MoveOrCopy::move, 2, second.at(0));
    auto const before = Zet::AllocTrackTypeInfo::live(HN_Wrapper::memAllocationTracker_);
    EXPECT_EQ(wrapperVt.newBucketAssemble(wrapperVt, 14, target.room, sources), 4U);
    target.count = 4;
    EXPECT_EQ(target.numbers(), (Numbers{2, 3, 4, 5}));
    EXPECT_EQ(second.numbers(), Numbers{});
    EXPECT_EQ(first.numbers(), (Numbers{1, 2, 3}));
    EXPECT_EQ(first.at(1)->value()->refCount(), 2U);
    EXPECT_EQ(Zet::AllocTrackTypeInfo::live(HN_Wrapper::memAllocationTracker_), before + 14);
    Zet::AllocTrackTypeInfo::trackArrayDeallocation(HN_Wrapper::memAllocationTracker_, 14);
}

TEST(HashAssemble, TrivialNodesAreCopiedBytewise) {
    std::array<HN_Version, 3> source{HN_Version{Key{1}, Version::of(1)},
                                     HN_Version{Key{2}, Version::of(2)},
                                     HN_Version{Key{3}, Version::of(3)}};
    std::array<HN_Version, 3> target = source;
    HashMap2018NodeSourceColl sources;
    sources.add(MoveOrCopy::move, 1, &source[2]);
    sources.add(MoveOrCopy::copy, 2, source.data());
    auto const& vt = VersionMap::vt_;
    EXPECT_EQ(HashMap2018VTable::trivialNewBucketAssemble(vt, target.data(), sources), 3U);
    EXPECT_EQ(target[0].fwkKey().number(), 3U);
    EXPECT_EQ(target[1].fwkKey().number(), 1U);
    EXPECT_EQ(target[2].value().number(), 2U);
}

TEST(HashAssemble, ASourceCollectionTellsItsRunsInItsFourthByte) {
    HashMap2018NodeSourceColl sources;
    int node = 0;
    sources.add(MoveOrCopy::move, 1, &node);
    sources.add(MoveOrCopy::copy, 2, &node);
    EXPECT_EQ(reinterpret_cast<std::uint8_t const*>(&sources)[3], 2);
    static_assert(sizeof(HashMap2018NodeSourceColl::Run) == 16);
}

} // namespace
