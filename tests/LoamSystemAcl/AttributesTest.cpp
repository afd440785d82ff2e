#include "WritePath.h"

#include <LoamSystemAcl/AllFamilies.h>

// What a table has when it is made, the numbers of its attributes, and what its collections tell
// the hash engine of themselves.
namespace LoamSystemAcl {
namespace {

using namespace write_path_test;

TEST(Attributes, OfANewTableHaveTheirInitialValues) {
    EntryPath t;
    using Helper = EntryPath::Helper;
    EXPECT_EQ(typeid(*t.table->swTableHelper()), typeid(Helper));
    EXPECT_EQ(t.table->transientAddEntrys(), 0U);
    EXPECT_EQ(t.table->transientRemoveEntrys(), 0U);
    EXPECT_EQ(t.table->transientVersionForKeyColl().size(), 0U);
    EXPECT_EQ(t.table->transientRemoveAllVersion().number(), ~std::uint64_t{0});
    EXPECT_EQ(t.table->entryLog(), t.agent.tableIntf<EntryPath::Family>()->entryLog());
    EXPECT_EQ(t.table->groupResolver(), t.agent.group()->groupResolver());
    EXPECT_FALSE(t.table->entryHandleInLogQueue().hasBlocks());
    EXPECT_EQ(t.table->markedKeyColl().size(), 0U);
    EXPECT_FALSE(t.table->inMarkingState());
    EXPECT_EQ(t.table->unitId(), 0U);
    EXPECT_EQ(t.table->swTableSet(), t.agent.tableIntf<EntryPath::Family>()->swTableSet().get());
    ASSERT_NE(t.table->stats(), nullptr);
    EXPECT_EQ(t.table->stats()->entryWriteCnt(), 0U);
}

TEST(Attributes, OfATableAreHeldByCountedPointersButForItsSet) {
    EntryPath t;
    auto const set = t.agent.tableIntf<EntryPath::Family>()->swTableSet();
    auto const entryLog = t.table->entryLog();
    auto const resolver = t.table->groupResolver();
    auto const setReferences = set->refCount();
    auto const logReferences = entryLog->refCount();
    auto const resolverReferences = resolver->refCount();
    auto const another = Ombra::ptrIs<EntryPath::SwTable>(
        t.table->tableName(), t.table->tableId(), Asic::UnitId{7}, set.get(), entryLog, resolver);
    EXPECT_EQ(another->refCount(), 1U);
    EXPECT_EQ(set->refCount(), setReferences);
    EXPECT_EQ(entryLog->refCount(), logReferences + 1);
    EXPECT_EQ(resolver->refCount(), resolverReferences + 1);
}

TEST(Attributes, AreAnnouncedUnderTheSameNumbersInEveryTable) {
    AllFamilies::forEach([]<typename Family>() {
        using Field = typename Family::SwTable::Field;
        std::vector<unsigned> numbers;
        for (auto const field :
             {Field::swTableHelper, Field::transientAddEntry, Field::transientRemoveEntry,
              Field::transientVersionForKey, Field::transientRemoveAllVersion, Field::entryLog,
              Field::groupResolver, Field::entryHandleInLog, Field::markedKey,
              Field::inMarkingState}) {
            numbers.push_back(static_cast<unsigned>(field));
        }
        EXPECT_EQ(numbers, (std::vector<unsigned>{0x302, 0x303, 0x304, 0x305, 0x306, 0x313, 0x314,
                                                  0x316, 0x31f, 0x320}));
    });
}

// --- the collections

struct Described {
    std::uint32_t constant;
    std::uint32_t alignment;
    std::uint32_t nodeSize;
    bool counted; // has `place` and `shift`

    friend bool operator==(Described const&, Described const&) = default;
};

void PrintTo(Described const& described, std::ostream* out) {
    *out << fmt::format("constant {:#x}, alignment {}, node of {} bytes, counted {}",
                        described.constant, described.alignment, described.nodeSize,
                        described.counted);
}

template <typename Collection>
Described describe() {
    auto const& vt = Collection::vt_;
    EXPECT_EQ(vt.place == nullptr, vt.shift == nullptr);
    EXPECT_EQ(vt.flagsAndAlignment & ~0xffU, 0x100U);
    EXPECT_EQ(Collection::Node::allocation, Zet::HashMap2018Alloc{1});
    return {Collection::Node::hashConstant, vt.flagsAndAlignment & 0xffU, vt.nodeSize,
            vt.place != nullptr};
}

TEST(CollectionDescriptors, AreAsStatedInEveryTable) {
    constexpr std::uint32_t pointer = sizeof(void*);
    AllFamilies::forEach([]<typename Family>() {
        using Table = typename Family::SwTable;
        constexpr auto& row = Family::Constants::row;
        EXPECT_EQ(describe<typename Table::TransientAddEntry>(),
                  (Described{row.addSeed, pointer, pointer, true}));
        EXPECT_EQ(describe<typename Table::TransientRemoveEntry>(),
                  (Described{row.removeSeed, pointer, pointer, true}));
        EXPECT_EQ(describe<typename Table::TransientVersionForKey>(),
                  (Described{row.versionSeed, 4, 16, false}));
        EXPECT_EQ(describe<typename Table::MarkedKey>(), (Described{row.markedSeed, 2, 4, false}));
        EXPECT_EQ(describe<typename Table::SwTableEntries_py::TableEntries>(),
                  (Described{row.snapshotSeed, 4, sizeof(typename Family::Entry), false}));
        EXPECT_EQ(describe<typename Family::EntryLog::TableConfigSlate>(),
                  (Described{row.configSeed, pointer, 2 * pointer, true}));
    });
}

TEST(CollectionDescriptors, OfTheFirstTableBearItsConstants) {
    using Table = EntryPath::SwTable;
    EXPECT_EQ(Table::HN_TransientAddEntry::hashConstant, 0xc41d0a8aU);
    EXPECT_EQ(Table::HN_TransientRemoveEntry::hashConstant, 0x5f2adb44U);
    EXPECT_EQ(Table::HN_TransientVersionForKey::hashConstant, 0x5ee2b430U);
    EXPECT_EQ(Table::HN_MarkedKey::hashConstant, 0x4af471c7U);
    EXPECT_EQ(Table::SwTableEntries_py::HN_TableEntries::hashConstant, 0xb732a4ddU);
    EXPECT_EQ(EntryPath::Family::EntryLog::HN_TableConfigSlate::hashConstant, 0xa4f0a606U);
}

TEST(CollectionDescriptors, FindAndOrderTheirNodesByTheTablesKeys) {
    EntryPath t;
    using Table = EntryPath::SwTable;
    using Key = EntryPath::Key;
    auto const wrapper = [&](std::uint32_t key) {
        return Ombra::ptrIs<EntryPath::Wrapper>(t.entryOf(key, 7), t.handleIn(State{0}));
    };
    Table::HN_TransientAddEntry const adds[] = {Table::HN_TransientAddEntry{wrapper(1)},
                                                Table::HN_TransientAddEntry{wrapper(2)}};
    Table::HN_TransientRemoveEntry const removes[] = {Table::HN_TransientRemoveEntry{wrapper(1)},
                                                      Table::HN_TransientRemoveEntry{wrapper(2)}};
    Table::HN_TransientVersionForKey const versions[] = {{Key{1}, EntryVersion::first()},
                                                         {Key{2}, EntryVersion::first()}};
    Table::HN_MarkedKey const marked[] = {Table::HN_MarkedKey{Key{1}}, Table::HN_MarkedKey{Key{2}}};
    Table::SwTableEntries_py::HN_TableEntries const entries[] = {
        Table::SwTableEntries_py::HN_TableEntries{t.entryOf(1, 7)},
        Table::SwTableEntries_py::HN_TableEntries{t.entryOf(2, 7)}};
    auto const check = [](Zet::HashMap2018VTable const& vt, auto const& nodes) {
        Key const one{1};
        Key const two{2};
        EXPECT_TRUE(vt.keyEqualsNode(&one, &nodes[0]));
        EXPECT_FALSE(vt.keyEqualsNode(&one, &nodes[1]));
        EXPECT_EQ(vt.compareOrLruUnlink(&two, &nodes[0], &nodes[1]), 1);
        EXPECT_EQ(vt.compareOrLruUnlink(nullptr, &nodes[1], &nodes[0]), 2);
        EXPECT_EQ(vt.compareOrLruUnlink(nullptr, &nodes[1], &nodes[1]), 0);
        EXPECT_EQ(vt.compareOrLruUnlink(&two, nullptr, &nodes[1]), 0);
        EXPECT_EQ(vt.compareOrLruUnlink(&one, nullptr, &nodes[1]), 1);
    };
    check(Table::TransientAddEntry::vt_, adds);
    check(Table::TransientRemoveEntry::vt_, removes);
    check(Table::TransientVersionForKey::vt_, versions);
    check(Table::MarkedKey::vt_, marked);
    check(Table::SwTableEntries_py::TableEntries::vt_, entries);
}

TEST(CollectionDescriptorsDeathTest, AShiftByTwoIsFatal) {
    EntryPath t;
    using Node = EntryPath::SwTable::HN_TransientAddEntry;
    auto const wrapper = Ombra::ptrIs<EntryPath::Wrapper>(t.entryOf(1, 7), t.handleIn(State{0}));
    Node nodes[] = {Node{wrapper}, Node{nullptr}, Node{nullptr}};
    Node added{wrapper};
    auto const& vt = EntryPath::SwTable::TransientAddEntry::vt_;
    EXPECT_DEATH(vt.shift(vt, nodes, &added, 1, 0, 2), failsWith("slotsToShift == 1"));
}

} // namespace
} // namespace LoamSystemAcl
