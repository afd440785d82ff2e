#include "Collections.h"

#include <Ombra/RQueue.h>
#include <Zet/EmbeddedMapAttr.h>
#include <Zet/KeyedCollectionAttr.h>
#include <Zet/PtrMapAttr.h>
#include <Zet/QueueAttr.h>
#include <Zet/SetAttr.h>
#include <Zet/ValueMapAttr.h>

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace ZetTest;
using Ombra::Change;
using Ombra::FieldId;

constexpr FieldId field{0x303};

// What a subscriber heard, and what it saw at that moment.
struct Heard {
    Ombra::Publisher publisher;
    std::vector<Change> changes;
    std::function<void(Change const&)> look;
    Ombra::Subscription subscription;

    void listen() {
        subscription = publisher.subscribe([this](Change const& change) {
            changes.push_back(change);
            if (look) {
                look(change);
            }
        });
    }
};

std::uint32_t keyOf(Change const& change) {
    return static_cast<Key const*>(change.key)->number();
}

class KeyedCollection : public testing::Test {
  protected:
    using Attr = Zet::KeyedCollectionAttr<WrapperMap>;

    KeyedCollection() { heard_.listen(); }

    void is(WrapperPtr const& value) { Attr::is(map_, heard_.publisher, field, nullptr, value); }
    WrapperPtr del(std::uint32_t number) {
        return Attr::del(map_, heard_.publisher, field, Key{number});
    }
    void delAll() { Attr::delAll(map_, heard_.publisher, field); }

    static WrapperPtr const& former(Change const& change) {
        return *static_cast<WrapperPtr const*>(change.former);
    }

    WrapperMap map_;
    Heard heard_;
};

TEST_F(KeyedCollection, AnAbsentKeyReadsAsNull) {
    EXPECT_EQ(Attr::get(map_, Key{1}), nullptr);
}

TEST_F(KeyedCollection, AnInsertPublishesKeyAndANullFormerValue) {
    heard_.look = [&](Change const& change) {
        EXPECT_EQ(keyOf(change), 1U);
        EXPECT_EQ(former(change), nullptr);
        EXPECT_NE(Attr::get(map_, Key{1}), nullptr); // the collection has changed already
    };
    auto const wrapper = Ombra::ptrIs<Wrapper>(1U);
    is(wrapper);
    ASSERT_EQ(heard_.changes.size(), 1U);
    EXPECT_EQ(heard_.changes[0].fieldId, field);
    EXPECT_EQ(Attr::get(map_, Key{1}), wrapper);
}

TEST_F(KeyedCollection, ThePublishedComparatorIsTheKeys) {
    is(Ombra::ptrIs<Wrapper>(1U));
    Key const one{1};
    Key const alsoOne{1};
    Key const two{2};
    EXPECT_TRUE(heard_.changes[0].keyIsEq(&one, &alsoOne));
    EXPECT_FALSE(heard_.changes[0].keyIsEq(&one, &two));
}

TEST_F(KeyedCollection, TheValueAlreadyThereIsNotPublishedAgain) {
    auto const wrapper = Ombra::ptrIs<Wrapper>(1U);
    is(wrapper);
    is(wrapper);
    EXPECT_EQ(heard_.changes.size(), 1U);
    EXPECT_EQ(wrapper->refCount(), 2U);
}

TEST_F(KeyedCollection, AnEqualButOtherObjectReplacesAndKeepsTheFormerUntilToldOf) {
    is(Ombra::ptrIs<Wrapper>(1U, 10));
    heard_.look = [&](Change const& change) {
        EXPECT_EQ(former(change)->value, 10);
        EXPECT_EQ(Attr::get(map_, Key{1})->value, 11);
        EXPECT_EQ(Wrapper::live, 2);
    };
    is(Ombra::ptrIs<Wrapper>(1U, 11));
    EXPECT_EQ(heard_.changes.size(), 2U);
    EXPECT_EQ(map_.size(), 1U);
    EXPECT_EQ(Wrapper::live, 1);
}

TEST_F(KeyedCollection, ANullValueIsRefused) {
    EXPECT_THROW(is(nullptr), Ombra::NullPointerException);
    EXPECT_TRUE(heard_.changes.empty());
    EXPECT_EQ(map_.size(), 0U);
}

TEST_F(KeyedCollection, ADeletePublishesAndGivesTheFormerValue) {
    auto const wrapper = Ombra::ptrIs<Wrapper>(1U);
    is(wrapper);
    heard_.look = [&](Change const& change) {
        EXPECT_EQ(keyOf(change), 1U);
        EXPECT_EQ(former(change), wrapper);
        EXPECT_EQ(map_.size(), 0U);
    };
    EXPECT_EQ(del(1), wrapper);
    EXPECT_EQ(heard_.changes.size(), 2U);
    EXPECT_EQ(wrapper->refCount(), 1U);
}

TEST_F(KeyedCollection, DeletingAnAbsentKeyGivesNullAndPublishesNothing) {
    EXPECT_EQ(del(1), nullptr);
    EXPECT_TRUE(heard_.changes.empty());
}

TEST_F(KeyedCollection, DelAllTellsASubscriberOfEveryKey) {
    for (std::uint32_t i = 0; i != 100; ++i) {
        is(Ombra::ptrIs<Wrapper>(i));
    }
    heard_.changes.clear();
    std::set<std::uint32_t> keys;
    heard_.look = [&](Change const& change) { keys.insert(keyOf(change)); };
    delAll();
    EXPECT_EQ(heard_.changes.size(), 100U);
    EXPECT_EQ(keys.size(), 100U);
    EXPECT_EQ(map_.size(), 0U);
    EXPECT_EQ(Wrapper::live, 0);
}

TEST_F(KeyedCollection, DelAllWithoutSubscribersDropsTheWholeAtOnce) {
    for (std::uint32_t i = 0; i != 100; ++i) {
        is(Ombra::ptrIs<Wrapper>(i));
    }
    heard_.subscription.end();
    delAll();
    EXPECT_EQ(map_.size(), 0U);
    EXPECT_EQ(map_.footprint(WrapperMap::vt_).bytes, 0U);
    EXPECT_EQ(Wrapper::live, 0);
}

TEST_F(KeyedCollection, AKeyIsHashedOncePerCall) {
    for (std::uint32_t i = 0; i != 50; ++i) {
        is(Ombra::ptrIs<Wrapper>(i));
    }
    auto const hashedBy = [](auto&& call) {
        Key::hashed = 0;
        call();
        return Key::hashed;
    };
    EXPECT_EQ(hashedBy([&] { is(Ombra::ptrIs<Wrapper>(50U)); }), 1);
    EXPECT_EQ(hashedBy([&] { is(Ombra::ptrIs<Wrapper>(50U)); }), 1);
    EXPECT_EQ(hashedBy([&] { Attr::get(map_, Key{50}); }), 1);
    EXPECT_EQ(hashedBy([&] { del(50); }), 1);
    EXPECT_EQ(hashedBy([&] { del(50); }), 1);
}

class ValueMap : public testing::Test {
  protected:
    using Attr = Zet::ValueMapAttr<VersionMap>;

    ValueMap() { heard_.listen(); }
    void is(std::uint32_t number, Version const& version) {
        Attr::is(map_, heard_.publisher, field, Key{number}, version);
    }
    bool del(std::uint32_t number) { return Attr::del(map_, heard_.publisher, field, Key{number}); }

    VersionMap map_;
    Heard heard_;
};

TEST_F(ValueMap, AnAbsentKeyReadsAsTheDefaultAndAsNothing) {
    EXPECT_TRUE(Attr::get(map_, Key{1}).isEq(Version{}));
    EXPECT_FALSE(Attr::getOptional(map_, Key{1}));
}

TEST_F(ValueMap, AnAdditionPublishesANullFormerValue) {
    is(1, Version::of(5));
    ASSERT_EQ(heard_.changes.size(), 1U);
    EXPECT_EQ(heard_.changes[0].former, nullptr);
    EXPECT_EQ(Attr::get(map_, Key{1}).number(), 5U);
    EXPECT_EQ(Attr::getOptional(map_, Key{1})->number(), 5U);
}

TEST_F(ValueMap, AnEqualValueIsNeitherStoredNorPublished) {
    is(1, Version{{5, 1, 1}});
    is(1, Version{{5, 2, 2}}); // equal by isEq
    EXPECT_EQ(heard_.changes.size(), 1U);
    EXPECT_EQ(Attr::get(map_, Key{1}).words[1], 1U);
}

TEST_F(ValueMap, AnotherValueOverwritesAndPublishesTheFormer) {
    is(1, Version::of(5));
    heard_.look = [&](Change const& change) {
        EXPECT_EQ(keyOf(change), 1U);
        EXPECT_EQ(static_cast<Version const*>(change.former)->number(), 5U);
        EXPECT_EQ(Attr::get(map_, Key{1}).number(), 6U);
    };
    is(1, Version::of(6));
    EXPECT_EQ(heard_.changes.size(), 2U);
}

TEST_F(ValueMap, ADeletePublishesOnlyWhenTheKeyWasThere) {
    EXPECT_FALSE(del(1));
    EXPECT_TRUE(heard_.changes.empty());
    is(1, Version::of(5));
    heard_.look = [&](Change const& change) {
        EXPECT_EQ(static_cast<Version const*>(change.former)->number(), 5U);
    };
    EXPECT_TRUE(del(1));
    EXPECT_EQ(heard_.changes.size(), 2U);
}

TEST_F(ValueMap, DelAllHasTheSameTwoPaths) {
    for (std::uint32_t i = 0; i != 40; ++i) {
        is(i, Version::of(i));
    }
    heard_.changes.clear();
    Attr::delAll(map_, heard_.publisher, field);
    EXPECT_EQ(heard_.changes.size(), 40U);
    is(1, Version::of(1));
    heard_.subscription.end();
    Attr::delAll(map_, heard_.publisher, field);
    EXPECT_EQ(heard_.changes.size(), 41U);
    EXPECT_EQ(map_.size(), 0U);
}

class Set : public testing::Test {
  protected:
    using Attr = Zet::SetAttr<KeySet>;

    Set() { heard_.listen(); }
    void is(std::uint32_t number) { Attr::is(set_, heard_.publisher, field, Key{number}); }
    bool del(std::uint32_t number) { return Attr::del(set_, heard_.publisher, field, Key{number}); }

    KeySet set_;
    Heard heard_;
};

TEST_F(Set, PublishesOnlyANewKey) {
    is(1);
    is(1);
    ASSERT_EQ(heard_.changes.size(), 1U);
    EXPECT_TRUE(Attr::has(set_, Key{1}));
    EXPECT_FALSE(Attr::has(set_, Key{2}));
    Key const one{1};
    EXPECT_TRUE(heard_.changes[0].keyIsEq(&one, &one));
}

TEST_F(Set, DeletesAndSaysWhetherTheKeyWasThere) {
    is(1);
    EXPECT_TRUE(del(1));
    EXPECT_FALSE(del(1));
    EXPECT_EQ(heard_.changes.size(), 2U);
    EXPECT_EQ(set_.size(), 0U);
}

TEST_F(Set, DelAllTellsASubscriberOfEveryKeyAndOtherwiseNobody) {
    for (std::uint32_t i = 0; i != 30; ++i) {
        is(i);
    }
    heard_.changes.clear();
    Attr::delAll(set_, heard_.publisher, field);
    EXPECT_EQ(heard_.changes.size(), 30U);
    is(1);
    heard_.subscription.end();
    Attr::delAll(set_, heard_.publisher, field);
    EXPECT_EQ(set_.size(), 0U);
}

TEST(PtrMap, StoresByTheRuleOfSuchSetters) {
    using Attr = Zet::PtrMapAttr<UnitMap>;
    UnitMap map;
    std::uint16_t const unit = 3;
    Attr::is(map, unit, nullptr); // null, unknown: nothing
    EXPECT_EQ(map.size(), 0U);
    Attr::is(map, unit, Ombra::ptrIs<Wrapper>(1U, 10)); // unknown: added
    EXPECT_EQ(Attr::get(map, unit)->value, 10);
    Attr::is(map, unit, Ombra::ptrIs<Wrapper>(1U, 11)); // known: replaced
    EXPECT_EQ(Attr::get(map, unit)->value, 11);
    EXPECT_EQ(Wrapper::live, 1);
    Attr::is(map, unit, nullptr); // null, known: removed
    EXPECT_EQ(map.size(), 0U);
    EXPECT_EQ(Wrapper::live, 0);
}

TEST(PtrMap, GivesWhatItRemoves) {
    using Attr = Zet::PtrMapAttr<UnitMap>;
    UnitMap map;
    std::uint16_t const unit = 3;
    EXPECT_EQ(Attr::del(map, unit), nullptr);
    auto const wrapper = Ombra::ptrIs<Wrapper>(1U);
    Attr::is(map, unit, wrapper);
    EXPECT_EQ(Attr::del(map, unit), wrapper);
    Attr::is(map, unit, wrapper);
    Attr::delAll(map);
    EXPECT_EQ(wrapper->refCount(), 1U);
}

TEST(EmbeddedMap, OverwritesTheWholeValueUnderItsKey) {
    using Attr = Zet::EmbeddedMapAttr<EntryMap>;
    EntryMap map;
    for (std::uint32_t i = 0; i != 100; ++i) {
        Attr::is(map, Entry{Key{i}, {i, 0, 0, 0}});
    }
    Attr::is(map, Entry{Key{7}, {1000, 1, 2, 3}});
    EXPECT_EQ(map.size(), 100U);
    EXPECT_EQ(Attr::find(map, Key{7})->payload[0], 1000U);
    EXPECT_EQ(Attr::find(map, Key{7})->payload[3], 3U);
    EXPECT_EQ(Attr::find(map, Key{100}), nullptr);
}

TEST(EmbeddedMap, GivesTheEntryItRemovesOrTheAbsentOne) {
    using Attr = Zet::EmbeddedMapAttr<EntryMap>;
    EntryMap map;
    Entry const absent{Key{0}, {42, 0, 0, 0}};
    EXPECT_EQ(Attr::del(map, Key{1}, absent).payload[0], 42U);
    Attr::is(map, Entry{Key{1}, {9, 0, 0, 0}});
    EXPECT_EQ(Attr::del(map, Key{1}, absent).payload[0], 9U);
    Attr::is(map, Entry{Key{1}, {9, 0, 0, 0}});
    Attr::delAll(map);
    EXPECT_EQ(map.size(), 0U);
}

struct QE_Accessors {};
using Queue = Ombra::RQueue<WrapperPtr, QE_Accessors, false>;

class QueueAttr : public testing::Test {
  protected:
    using Attr = Zet::QueueAttr<Queue, WrapperPtr>;

    QueueAttr() { heard_.listen(); }
    void enq(int value) {
        Attr::enq(queue_, heard_.publisher, field, Ombra::ptrIs<Wrapper>(1U, value));
    }

    Queue queue_;
    Heard heard_;
};

TEST_F(QueueAttr, PublishesTheSequenceNumberOfWhatComesAndGoes) {
    std::vector<std::uint32_t> numbers;
    heard_.look = [&](Change const& change) {
        numbers.push_back(*static_cast<std::uint32_t const*>(change.key));
    };
    enq(10);
    enq(11);
    EXPECT_EQ(Attr::deq(queue_, heard_.publisher, field)->value, 10);
    EXPECT_EQ(numbers, (std::vector<std::uint32_t>{1, 2, 1}));
}

TEST_F(QueueAttr, ADequeueOfAnEmptyQueueGivesNullAndPublishesNothing) {
    EXPECT_EQ(Attr::deq(queue_, heard_.publisher, field), nullptr);
    EXPECT_TRUE(heard_.changes.empty());
}

TEST_F(QueueAttr, DelAllTellsASubscriberOfEveryElementAndKeepsTheNumbering) {
    for (int i = 0; i != 20; ++i) {
        enq(i);
    }
    heard_.changes.clear();
    Attr::delAll(queue_, heard_.publisher, field);
    EXPECT_EQ(heard_.changes.size(), 20U);
    enq(0);
    EXPECT_EQ(queue_.newestNumber(), 21U);
}

TEST_F(QueueAttr, DelAllTakesAnElementThatIsNullLikeAnyOther) {
    enq(10);
    Attr::enq(queue_, heard_.publisher, field, nullptr);
    enq(11);
    heard_.changes.clear();
    Attr::delAll(queue_, heard_.publisher, field);
    EXPECT_TRUE(queue_.empty());
    EXPECT_EQ(heard_.changes.size(), 3U);
}

TEST_F(QueueAttr, DelAllWithoutSubscribersKeepsTheNumberingToo) {
    for (int i = 0; i != 20; ++i) {
        enq(i);
    }
    heard_.subscription.end();
    Attr::delAll(queue_, heard_.publisher, field);
    EXPECT_TRUE(queue_.empty());
    EXPECT_EQ(Wrapper::live, 0);
    enq(0);
    EXPECT_EQ(queue_.newestNumber(), 21U);
}

} // namespace
