#include "../ZetSharedMem/SlateFixture.h"

#include <Ombra/Exception.h>
#include <Slate/Exceptions.h>
#include <Slate/Store.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <set>

using namespace SharedMemTest;
using ZetSharedMem::EntityManager;

namespace {

class Maps : public testing::Test {
  protected:
    ~Maps() override { Slate::corruptionSinkIs({}); }

    // Flips a bit in the first slot's record.
    void damageFirstSlot() const {
        Slate::Geometry const& geometry = table_->store()->geometry();
        int const fd = ::open((folder_ + "/a.slate").c_str(), O_RDWR);
        char byte = 0;
        auto const at = static_cast<off_t>(geometry.slotOffset + sizeof(Slate::SlotHeader) + 4);
        EXPECT_EQ(::pread(fd, &byte, 1, at), 1);
        byte = static_cast<char>(byte ^ 1);
        EXPECT_EQ(::pwrite(fd, &byte, 1, at), 1);
        ::close(fd);
    }

    std::string const name_ =
        "m" + std::to_string(testing::UnitTest::GetInstance()->current_test_info()->line());
    Ombra::Ptr<EntityManager> const manager_ = Ombra::ptrIs<EntityManager>(name_, false);
    std::string const folder_ = rootFolder.path + "/root/" + name_;
    Ombra::Ptr<Table> const table_ = mount(manager_, "a");
};

using MapsDeathTest = Maps;

} // namespace

TEST_F(Maps, AnAbsentKeyGivesTheDefaultRecordAndNotFound) {
    bool found = true;
    Entry const& entry = table_->map().lookup(Key{5}, &found);
    EXPECT_FALSE(found);
    EXPECT_EQ(entry.value, 4711U);
    EXPECT_EQ(&entry, &Slate::AllocBase<Table::Wrap>::type_default.record);
}

TEST_F(Maps, DelTellsWhetherThereWasARecord) {
    table_->recordIs(entryOf(1, 10));
    EXPECT_TRUE(table_->recordDel(Key{1}));
    EXPECT_FALSE(table_->recordDel(Key{1}));
}

TEST_F(Maps, AFullCollectionRaises) {
    for (std::uint32_t key = 0; key < 100; ++key) {
        table_->recordIs(entryOf(key, 1));
    }
    EXPECT_THROW(table_->recordIs(entryOf(100, 1)), Slate::FullException);
    EXPECT_EQ(table_->map().memberCount(), 100U);
    EXPECT_EQ(table_->map().capacity(), 100U);
}

TEST_F(Maps, AnIteratorVisitsEveryRecordOnce) {
    for (std::uint32_t key = 0; key < 100; ++key) {
        table_->recordIs(entryOf(key, key));
    }
    std::set<std::uint32_t> seen;
    for (Table::Map::IteratorConst it{&table_->map()}; it; ++it) {
        EXPECT_TRUE(seen.insert(it->value).second);
    }
    EXPECT_EQ(seen.size(), 100U);
}

TEST_F(Maps, IteratorsAreEqualByWhetherTheyStandOnARecord) {
    table_->recordIs(entryOf(1, 1));
    table_->recordIs(entryOf(2, 2));
    Table::Map const& map = table_->map();
    auto first = map.begin();
    auto second = map.begin();
    ++second;
    EXPECT_EQ(first, second);
    ++second;
    EXPECT_NE(first, second);
    EXPECT_EQ(second, map.end());
}

TEST_F(Maps, TheVirtualReadsAreOnTheBaseOfTheRecordAndKeyType) {
    table_->recordIs(entryOf(1, 10));
    Slate::SlateMap<Entry, Key> const& base = table_->map();
    Slate::SlateMapBase const& untyped = base;
    EXPECT_EQ(untyped.memberCount(), 1U);
    Entry entry;
    Slate::IterHint hint;
    EXPECT_TRUE(base.iterFirst(&entry, &hint));
    EXPECT_EQ(entry.value, 10U);
    EXPECT_FALSE(base.iterNext(entry.key(), &entry, &hint));
}

TEST_F(Maps, ADamagedRecordRaisesWithTheFoundFlagCleared) {
    table_->recordIs(entryOf(1, 10));
    damageFirstSlot();
    bool found = true;
    EXPECT_THROW(table_->map().lookup(Key{1}, &found), Ombra::CorruptionDetectedException);
    EXPECT_FALSE(found);
    Entry entry;
    EXPECT_THROW(table_->map().iterFirst(&entry, nullptr), Ombra::CorruptionDetectedException);
}

TEST_F(Maps, DamageIsCountedAndLoggedOncePerSecond) {
    std::vector<std::string> lines;
    Slate::corruptionSinkIs([&](Ombra::String const& line) { lines.push_back(line.str()); });
    for (int count = 0; count < 5; ++count) {
        table_->map().doCorruptionDetected("something is wrong");
    }
    EXPECT_EQ(table_->map().corruptionCount(), 5U);
    EXPECT_EQ(lines, std::vector<std::string>{"corruption: something is wrong"});
}

TEST_F(Maps, DamageThatOpeningMetIsReported) {
    std::vector<std::string> lines;
    Slate::corruptionSinkIs([&](Ombra::String const& line) { lines.push_back(line.str()); });
    table_->recordIs(entryOf(1, 10));
    std::uint64_t const directory = table_->store()->geometry().directoryOffset;
    manager_->closeAll();
    int const fd = ::open((folder_ + "/a.slate").c_str(), O_RDWR);
    std::uint64_t const bad = 0xbad;
    ASSERT_EQ(::pwrite(fd, &bad, 8, static_cast<off_t>(directory)), 8);
    ::close(fd);
    auto const again = mount(manager_, "a");
    EXPECT_EQ(again->map().corruptionCount(), 1U);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_NE(lines[0].find("directory bucket 0, entry 0"), std::string::npos);
    bool found = false;
    EXPECT_EQ(again->map().lookup(Key{1}, &found).value, 10U);
}

TEST_F(MapsDeathTest, AnIteratorAtTheEndAssertsWhenUsed) {
    EXPECT_DEATH(*table_->map().end(), "iter_");
    EXPECT_DEATH(
        {
            auto it = table_->map().end();
            ++it;
        },
        "iter_");
}

TEST(KeyHash, GivesTheNumberThatAKeyConvertsTo) {
    EXPECT_EQ((Slate::Hash<Key, false>::number(Key{0x89abcdef})), 0x89abcdefU);
    EXPECT_EQ((Slate::Hash<std::uint64_t, false>::number(1ULL << 40)), 1ULL << 40);
    EXPECT_EQ((Slate::Hash<Key, false>::order), Slate::Order::keyMix);
    EXPECT_EQ((Slate::Hash<std::uint64_t, false>::order), Slate::Order::version);
}
