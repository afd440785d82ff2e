#include "WritePath.h"

#include <LoamSystemAcl/AllFamilies.h>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;

template <typename List>
struct TypesOf;
template <typename... Families>
struct TypesOf<TableList<Families...>> {
    using Types = testing::Types<Families...>;
};

// A family's tests bear its table's name.
struct TableName {
    template <typename Family>
    static std::string GetName(int) {
        return Family::Constants::tableName;
    }
};

template <typename Family>
class FamilySmoke : public testing::Test {};
TYPED_TEST_SUITE(FamilySmoke, TypesOf<AllFamilies>::Types, TableName);

// One entry from its write to its end, through the death of the agent.
TYPED_TEST(FamilySmoke, AnEntryIsWrittenAppliedFoundAgainAndRemoved) {
    using T = WritePath<TypeParam>;
    using Key = typename T::Key;
    using Entry = typename T::Entry;
    T t;
    auto const tableId = TypeParam::Constants::tableId;
    unsigned answered = 0;
    auto const count = [&](AnyHandle const&) { ++answered; };

    auto const written = t.write(42, 7, nullptr, count);
    EXPECT_EQ(written->tableId(), tableId);
    EXPECT_EQ(t.table->entryRead(Key{42}), t.entryOf(42, 7));
    EXPECT_EQ(t.commitAll(), 1U);
    EXPECT_EQ(written->entryState(), State::entryInLog);
    EXPECT_EQ(t.table->entryFromConfig(Key{42}), t.entryOf(42, 7));
    EXPECT_EQ(t.change(1)->logEntry, t.entryOf(42, 7).logEntry());
    t.agent.acknowledge(tableId, 1);
    EXPECT_EQ(written->entryState(), State::entryApplied);
    EXPECT_FALSE(t.table->hasPendingHwWrites());
    EXPECT_EQ(t.logged(), 0U);

    t.write(43, 8);
    t.commitAll(); // committed and not acknowledged when the agent dies
    t.restart();
    EXPECT_EQ(t.table->entrys(), 2U);
    EXPECT_EQ(t.table->entryRead(Key{42}), t.entryOf(42, 7));
    EXPECT_EQ(t.table->entryLog()->tableVersion(), 2U);
    EXPECT_TRUE(t.table->hasPendingHwWrites());
    EXPECT_TRUE(t.table->inMarkingState());
    auto const again = t.write(42, 7);
    t.commitAll();
    EXPECT_EQ(again->logVersion(), 1U); // suppressed
    t.table->sweep();                   // removes 43, which was not written again
    t.commitAll();

    auto const removed = t.remove(42, nullptr, count);
    EXPECT_EQ(t.table->entryRead(Key{42}), Entry{});
    t.commitAll();
    EXPECT_EQ(removed->logVersion(), 4U);
    t.agent.acknowledge(tableId, 4);
    EXPECT_EQ(removed->entryState(), State::entryApplied);
    EXPECT_EQ(answered, 2U);
    EXPECT_EQ(t.table->entrys(), 0U);
    EXPECT_FALSE(t.config(42));
    EXPECT_FALSE(t.config(43));
    EXPECT_FALSE(t.table->hasPendingHwWrites());
}

TYPED_TEST(FamilySmoke, ARemoveAllEmptiesTheTable) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    t.applied(2, 7);
    t.removeAll();
    t.commitAll();
    t.agent.acknowledge(TypeParam::Constants::tableId, 3);
    EXPECT_EQ(t.table->entrys(), 0U);
    EXPECT_FALSE(t.config(1));
    EXPECT_FALSE(t.table->hasPendingHwWrites());
}

TYPED_TEST(FamilySmoke, TracesUnderItsOwnName) {
    WritePath<TypeParam> t;
    TraceCapture const traces{t.tableName() + "*"};
    t.write(0x2a, 7);
    t.commitAll();
    t.acknowledge();
    ASSERT_FALSE(traces.lines.empty());
    EXPECT_EQ(traces.lines.front(), t.own(8, "entryWrite", " key: 0x0000002a"));
    for (auto const& line : traces.lines) {
        EXPECT_TRUE(line.handle == t.swTableName() || line.handle == t.tableName() + "EntryLog")
            << line.handle;
    }
}

TYPED_TEST(FamilySmoke, ResourceKeysOfAnyKeyAreEmptyAndNoFailure) {
    WritePath<TypeParam> t;
    t.applied(1, 7);
    for (std::uint32_t key : {0U, 1U, 0xffffffffU}) {
        typename TypeParam::ResourceKeys const keys =
            t.table->entryLog()->entryRsrcKeys(typename TypeParam::Key{key}, 0);
        EXPECT_EQ(*reinterpret_cast<unsigned char const*>(&keys), 0U);
    }
}

// All tables of one agent at once: each keeps its own state, and each one's operation waits for
// that of the table before it.
TEST(AllFamiliesTogether, KeepTheirStateApartAndFollowEachOthersCommits) {
    testing_support::AgentInProcess agent;
    std::vector<Ombra::Ptr<Asic::OrderedSwTable>> tables;
    std::vector<Ombra::Ptr<Asic::DependencyEntryHandle const>> handles;
    AllFamilies::forEach([&]<typename Family>() {
        auto const table = agent.makeSwTable<Family>(0);
        Dependency const former = handles.empty() ? nullptr : handles.back();
        typename Family::Key const key{7};
        handles.push_back(table->entryWrite(key, typename Family::Entry{key}, former));
        EXPECT_EQ(table->entrys(), 1U);
        tables.push_back(table);
    });
    EXPECT_EQ(agent.resolve(), AllFamilies::count);
    for (std::size_t i = 0; i < tables.size(); ++i) {
        EXPECT_EQ(handles[i]->entryState(), State::entryInLog);
        EXPECT_EQ(handles[i]->entryTableVersion(), (Asic::TableVersion{tables[i]->tableId(), {1}}));
        EXPECT_TRUE(tables[i]->hasPendingHwWrites());
        agent.acknowledge(tables[i]->tableId(), 1);
        EXPECT_EQ(handles[i]->entryState(), State::entryApplied);
        EXPECT_FALSE(tables[i]->hasPendingHwWrites());
    }
}

} // namespace
} // namespace LoamSystemAcl
