#include "ChangeListener.h"

#include <Ombra/Exception.h>

#include <algorithm>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using SwTable = EntryPath::SwTable;
using WrapperPtr = Ombra::Ptr<EntryPath::Wrapper>;

WrapperPtr wrapperOf(EntryPath& t, std::uint32_t key, unsigned value) {
    return Ombra::ptrIs<EntryPath::Wrapper>(
        t.entryOf(key, value),
        SwTable::entryHandleFactory(EntryVersion::first(), Key{key}, t.table.get()));
}

// The accessors of a collection of wrappers, of which the table has two.
struct Collection {
    char const* name;
    Ombra::FieldId field;
    WrapperPtr (SwTable::*get)(Key const&) const;
    void (SwTable::*is)(WrapperPtr const&);
    WrapperPtr (SwTable::*del)(Key const&);
    void (SwTable::*delAll)();
    std::uint32_t (SwTable::*count)() const noexcept;
};

class WrapperCollection : public testing::TestWithParam<Collection> {
  protected:
    SwTable& table() { return *t.table; }
    WrapperPtr get(std::uint32_t key) { return (table().*GetParam().get)(Key{key}); }
    void is(WrapperPtr const& wrapper) { (table().*GetParam().is)(wrapper); }
    WrapperPtr del(std::uint32_t key) { return (table().*GetParam().del)(Key{key}); }
    void delAll() { (table().*GetParam().delAll)(); }
    std::uint32_t count() { return (table().*GetParam().count)(); }
    Ombra::FieldId field() { return GetParam().field; }

    EntryPath t;
};

INSTANTIATE_TEST_SUITE_P(
    Of, WrapperCollection,
    testing::Values(Collection{"Adds", Ombra::FieldId{0x303}, &SwTable::transientAddEntry,
                               &SwTable::transientAddEntryIs, &SwTable::transientAddEntryDel,
                               &SwTable::transientAddEntryDelAll, &SwTable::transientAddEntrys},
                    Collection{"Removes", Ombra::FieldId{0x304}, &SwTable::transientRemoveEntry,
                               &SwTable::transientRemoveEntryIs, &SwTable::transientRemoveEntryDel,
                               &SwTable::transientRemoveEntryDelAll,
                               &SwTable::transientRemoveEntrys}),
    [](auto const& instance) { return std::string{instance.param.name}; });

TEST_P(WrapperCollection, AddsAnnouncingTheKeyAndANullFormerWrapper) {
    Listener const listener{t};
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    EXPECT_EQ(get(1), wrapper);
    EXPECT_EQ(wrapper->refCount(), 2U);
    EXPECT_EQ(listener.heard, (Changes{{field(), 1, {}, 1}}));
}

TEST_P(WrapperCollection, ReplacesUnderTheSameKeyWithTheFormerWrapperStillAlive) {
    is(wrapperOf(t, 1, 7)); // held by the collection alone
    Listener const listener{t};
    auto const second = wrapperOf(t, 1, 8);
    is(second);
    EXPECT_EQ(get(1), second);
    EXPECT_EQ(count(), 1U);
    EXPECT_EQ(listener.heard, (Changes{{field(), 1, 7, 1}}));
}

TEST_P(WrapperCollection, TheWrapperAlreadyThereAnnouncesNothing) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    Listener const listener{t};
    is(wrapper);
    EXPECT_TRUE(listener.heard.empty());
    EXPECT_EQ(wrapper->refCount(), 2U);
}

TEST_P(WrapperCollection, AnEqualWrapperIsNotTheOneThere) {
    is(wrapperOf(t, 1, 7));
    Listener const listener{t};
    is(wrapperOf(t, 1, 7));
    EXPECT_EQ(listener.heard.size(), 1U);
}

TEST_P(WrapperCollection, DeletingGivesTheWrapperAndAnnouncesIt) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    Listener const listener{t};
    EXPECT_EQ(del(1), wrapper);
    EXPECT_EQ(get(1), nullptr);
    EXPECT_EQ(listener.heard, (Changes{{field(), 1, 7, 0}}));
}

TEST_P(WrapperCollection, DeletingAnAbsentKeyGivesNullAndAnnouncesNothing) {
    Listener const listener{t};
    EXPECT_EQ(del(1), nullptr);
    EXPECT_TRUE(listener.heard.empty());
}

TEST_P(WrapperCollection, EmptyingTellsASubscriberOfEachKey) {
    for (std::uint32_t key = 1; key <= 20; ++key) {
        is(wrapperOf(t, key, key));
    }
    Listener const listener{t};
    delAll();
    EXPECT_EQ(count(), 0U);
    ASSERT_EQ(listener.heard.size(), 20U);
    std::vector<std::uint32_t> keys;
    for (std::uint32_t i = 0; i < 20; ++i) {
        EXPECT_EQ(listener.heard[i].former, listener.heard[i].key);
        EXPECT_EQ(listener.heard[i].sizeThen, 19 - i); // one at a time
        keys.push_back(listener.heard[i].key);
    }
    std::ranges::sort(keys);
    EXPECT_EQ(std::ranges::adjacent_find(keys), keys.end());
}

TEST_P(WrapperCollection, EmptyingUnheardLetsAllGo) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    is(wrapperOf(t, 2, 7));
    delAll();
    EXPECT_EQ(count(), 0U);
    EXPECT_EQ(wrapper->refCount(), 1U);
}

TEST_P(WrapperCollection, ANullWrapperIsRefused) {
    EXPECT_THROW(is(nullptr), Ombra::NullPointerException);
    EXPECT_EQ(count(), 0U);
}

TEST_P(WrapperCollection, AtTheTablesEndWrappersAreReleasedAndNothingIsAnnounced) {
    auto const wrapper = wrapperOf(t, 1, 7);
    is(wrapper);
    unsigned changes = 0;
    auto const subscription =
        t.table->publisher()->subscribe([&](Ombra::Change const&) { ++changes; });
    t.table = nullptr;
    t.agent.restart(); // the former table is gone
    EXPECT_EQ(changes, 0U);
    EXPECT_EQ(wrapper->refCount(), 1U);
}

TEST(WrapperNodeDeathTest, AWrapperOfAnotherKeyDoesNotReplaceTheOneThere) {
    EntryPath t;
    SwTable::HN_TransientAddEntry add{wrapperOf(t, 1, 7)};
    SwTable::HN_TransientRemoveEntry remove{wrapperOf(t, 1, 7)};
    auto const other = wrapperOf(t, 2, 7);
    EXPECT_DEATH(add.valueIs(other), failsWith("fwkKey() == KeyFunktor()( _value )"));
    EXPECT_DEATH(remove.valueIs(other), failsWith("fwkKey() == KeyFunktor()( _value )"));
}

} // namespace
} // namespace LoamSystemAcl
