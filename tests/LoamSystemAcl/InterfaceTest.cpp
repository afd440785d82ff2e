#include "EntryLogFixture.h"

#include <Asic/CanonicalTableName.h>
#include <Asic/SwTableInterfacesSingleton.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <ZetSharedMem/Exceptions.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <support/TemporaryRoot.h>
#include <type_traits>
#include <vector>

namespace LoamSystemAcl::entry_log_test {
namespace {

using Interface = Family::Interface;
using Asic::CanonicalTableName;
using Asic::OrderedTableType;

class TableInterface : public EntryLogTest {
  public:
    static constexpr char const* key = "LoamSystemAcl::Ipv4SystemPolicyTcamEntryInterface";
    Asic::SwTableId const otherId{0x08080499};
};

// --- getIntf, attributes

TEST_F(TableInterface, IsMadeOnceAndFoundByTheSameKeyInBothRegistries) {
    EXPECT_EQ(Interface::getIntf(agent.intf()), intf);
    EXPECT_EQ(agent.intf()->swTableIntf(key), intf.get());
    EXPECT_EQ(Asic::SwTableInterfacesSingleton::get()->swTableIntf(key), intf);
}

TEST_F(TableInterface, ASecondGetWithAnotherPlatformInterfaceIgnoresIt) {
    auto const another = Ombra::ptrIs<Asic::OrderedTableInterface>(agent.entityManager());
    EXPECT_EQ(Interface::getIntf(another), intf);
    EXPECT_EQ(intf->orderedTableIntf(), agent.intf());
    EXPECT_TRUE(another->swTableIntfs().empty());
}

TEST_F(TableInterface, TheTablesOfAProcessHaveInterfacesOfTheirOwnAndOneGroup) {
    auto const actions = agent.tableIntf<Ipv4SystemPolicyTcamActionFamily>();
    EXPECT_EQ(actions->entryLog()->groupInterface(), intf->entryLog()->groupInterface());
    EXPECT_NE(actions->tableId(), intf->tableId());
    EXPECT_EQ(agent.intf()->swTableIntfs().size(), 2U);
}

TEST_F(TableInterface, IsHeldByTheRegistryOfTheProcess) {
    auto* const former = intf.get();
    log = nullptr;
    intf = nullptr;
    EXPECT_EQ(agent.tableIntf<Family>().get(), former);
}

TEST_F(TableInterface, BearsTheNamesOfItsTable) {
    EXPECT_EQ(intf->tableName(), "Ipv4SystemPolicyTcamEntry");
    EXPECT_EQ(intf->groupName(), "LoamSystemAcl");
    EXPECT_EQ(intf->agentName(), "LoamSystemAcl");
    EXPECT_EQ(intf->tableNamespace(), "LoamSystemAcl");
    EXPECT_EQ(fmt::format("{}", intf->tableId()), "08:08:0404");
    static_assert(Interface::tableId() == Asic::SwTableId{0x08080404});
}

TEST_F(TableInterface, IsReadyWhenItIsHandedOut) {
    EXPECT_NE(intf->entryLog(), nullptr);
    EXPECT_NE(intf->swTableStatus(), nullptr);
    EXPECT_NE(intf->swTableSet(), nullptr);
    EXPECT_EQ(intf->swTableSet()->swTableStatus(), intf->swTableStatus());
    EXPECT_EQ(agent.group()->swTableSet(intf->tableId()), intf->swTableSet());
}

// --- the setters

TEST_F(TableInterface, TheStatusIsKeptForTheSameTableIdAndReplacedForAnother) {
    auto const former = intf->swTableStatus();
    EXPECT_EQ(intf->swTableStatusIs(intf->tableId()), former);
    auto const count = former->refCount();
    auto const other = intf->swTableStatusIs(otherId);
    EXPECT_NE(other, former);
    EXPECT_EQ(intf->swTableStatus(), other);
    EXPECT_EQ(other->tableId(), otherId);
    EXPECT_EQ(former->refCount(), count - 1) << "the old one is released";
}

TEST_F(TableInterface, TheSetIsKeptForTheSameArgumentsAndReplacedForAnyOther) {
    auto const former = intf->swTableSet();
    EXPECT_EQ(intf->swTableSetIs(intf->tableId(), intf->swTableStatus()), former);
    auto const sameIdOtherStatus = intf->swTableSetIs(
        intf->tableId(), Ombra::ptrIs<Asic::OrderedSwTableStatus>(intf->tableId()));
    EXPECT_NE(sameIdOtherStatus, former);
    auto const otherIdSameStatus = intf->swTableSetIs(otherId, sameIdOtherStatus->swTableStatus());
    EXPECT_NE(otherIdSameStatus, sameIdOtherStatus);
    EXPECT_EQ(intf->swTableSet(), otherIdSameStatus);
}

TEST_F(TableInterface, TheLogIsKeptForTheSamePointersAndAnEqualText) {
    std::string const text{"LoamSystem"};
    EXPECT_EQ(intf->entryLogIs(intf->tableId(), agent.entityManager(), agent.group(),
                               Ombra::String{text + "Acl"}),
              log);
}

TEST_F(TableInterface, TheLogIsReplacedWhenAnyOfItsFourArgumentsIsAnother) {
    auto const makeLog = [&](Asic::SwTableId tableId,
                             Ombra::Ptr<Orbis::EntityManager> const& entityManager,
                             Ombra::Ptr<Asic::GroupInterface> const& group, char const* name) {
        auto const former = intf->entryLog();
        auto const made = intf->entryLogIs(tableId, entityManager, group, name);
        EXPECT_EQ(intf->entryLog(), made);
        return made != former;
    };
    auto const manager = agent.entityManager();
    auto const otherManager = Ombra::ptrIs<Orbis::EntityManager>("test", true);
    auto const group = agent.group();
    auto const otherGroup =
        Ombra::ptrIs<Asic::GroupInterface>("a", "b", std::uint16_t{1}, agent.sharedMem());
    auto const id = intf->tableId();
    EXPECT_FALSE(makeLog(id, manager, group, "LoamSystemAcl"));
    EXPECT_TRUE(makeLog(id, manager, group, "someone"));
    EXPECT_TRUE(makeLog(id, manager, otherGroup, "someone"));
    EXPECT_TRUE(makeLog(id, otherManager, otherGroup, "someone"));
    EXPECT_TRUE(makeLog(otherId, otherManager, otherGroup, "someone"));
    EXPECT_FALSE(makeLog(otherId, otherManager, otherGroup, "someone"));
}

TEST_F(TableInterface, ALogThatCannotBeMadeLeavesTheOldOneAndTheCounts) {
    auto const liveLogs = [] {
        for (auto const& totals : Zet::AllocTrackTypeInfo::dump()) {
            if (totals.typeName == "LoamSystemAcl::Ipv4SystemPolicyTcamEntryEntryLog") {
                return totals.live;
            }
        }
        return std::uint64_t{0};
    };
    std::uint64_t const live = liveLogs();
    ASSERT_GT(live, 0U);
    auto const files = Ombra::ptrIs<Orbis::EntityManager>("open-to-others", false);
    std::filesystem::path const folder =
        std::filesystem::path{ZetSharedMem::root().str()} / "open-to-others";
    std::filesystem::permissions(folder, std::filesystem::perms::all);

    auto const count = log->refCount();
    EXPECT_THROW(intf->entryLogIs(intf->tableId(), files, agent.group(), "LoamSystemAcl"),
                 ZetSharedMem::UnsafePathException);
    EXPECT_EQ(intf->entryLog(), log);
    EXPECT_EQ(log->refCount(), count);
    EXPECT_EQ(liveLogs(), live);
}

TEST_F(TableInterface, TheDelFormsClearTheAttributeAndHandItsOwnReferenceOver) {
    auto* const status = intf->swTableStatus().get();
    auto const count = status->refCount();
    auto const removed = intf->swTableStatusDel();
    EXPECT_EQ(removed.get(), status);
    EXPECT_EQ(status->refCount(), count);
    EXPECT_EQ(intf->swTableStatus(), nullptr);

    EXPECT_NE(intf->swTableSetDel(), nullptr);
    EXPECT_EQ(intf->swTableSet(), nullptr);
    auto const logCount = log->refCount();
    auto const removedLog = intf->entryLogDel();
    EXPECT_EQ(removedLog, log);
    EXPECT_EQ(log->refCount(), logCount);
    EXPECT_EQ(intf->entryLog(), nullptr);
}

TEST_F(TableInterface, TheDelFormsOfNullAttributesGiveNull) {
    intf->entryLogDel();
    intf->swTableStatusDel();
    intf->swTableSetDel();
    EXPECT_EQ(intf->entryLogDel(), nullptr);
    EXPECT_EQ(intf->swTableStatusDel(), nullptr);
    EXPECT_EQ(intf->swTableSetDel(), nullptr);
}

// --- the end

TEST_F(TableInterface, OnDeleteLeavesTheAgentsRegistryAndNotTheProcesss) {
    TraceCapture const trace{interfaceHandle};
    intf->onDelete();
    EXPECT_EQ(trace.lines, (std::vector<TraceCapture::Line>{
                               {interfaceHandle, 2, interfaceHandle, "onDelete", " onDelete "}}));
    EXPECT_EQ(agent.intf()->swTableIntf(key), nullptr);
    EXPECT_EQ(Asic::SwTableInterfacesSingleton::get()->swTableIntf(key), intf);
}

TEST_F(TableInterface, ItsEndLeavesTheAgentsRegistryAndReleasesWhatItHeld) {
    auto const status = intf->swTableStatus();
    Ombra::Ptr<Asic::OrderedTableInterface> const ordered = agent.intf();
    auto const* const going = intf.get();
    unsigned told = 0;
    auto former = Ombra::traceSinkIs([&](Ombra::TraceRecord const& record) {
        EXPECT_EQ(record.text, " onDelete ");
        EXPECT_TRUE(going->nodeFlagHas(0x20000000));
        EXPECT_EQ(going->entryLog(), log) << "what it holds goes afterwards";
        ++told;
    });
    Zet::TraceHandle::levelsIs(interfaceHandle, 0xffff);
    intf = nullptr;
    Zet::Entity::singletonsDelAll();
    Zet::TraceHandle::levelsIs(interfaceHandle, 0);
    Ombra::traceSinkIs(std::move(former));
    EXPECT_EQ(told, 1U);
    EXPECT_EQ(ordered->swTableIntf(key), nullptr);
    EXPECT_EQ(log->refCount(), 1U) << "only this test holds it";
}

// --- factories

TEST_F(TableInterface, TheFactoriesOfATableMakeItsObjects) {
    static_assert(std::is_same_v<decltype(ipv4SystemPolicyTcamEntrySwTableFactory({}, {}, {},
                                                                                  nullptr, {}, {})),
                                 Ombra::Ptr<Family::SwTable>>);
    auto const name = Ombra::ptrIs<CanonicalTableName>(OrderedTableType::orderedSwTable,
                                                       "LoamSystemAcl", "LoamSystemAcl", "T");
    auto const table = ipv4SystemPolicyTcamEntrySwTableFactory(
        name, intf->tableId(), 4, intf->swTableSet().get(), log, agent.group()->groupResolver());
    EXPECT_EQ(table->unitId(), 4);
    EXPECT_EQ(table->entryLog(), log);
    EXPECT_NE(table->swTableHelper(), nullptr);
    EXPECT_NE(table->stats(), nullptr);
    EXPECT_NE(ipv4SystemPolicyTcamEntrySwTableHelperBaseFactory(), nullptr);
    EXPECT_NE(ipv4SystemPolicyTcamEntrySwTableIteratorStateFactory(), nullptr);

    auto const handle =
        Family::SwTable::entryHandleFactory(Asic::EntryVersion::first(), Key{3}, table.get());
    EXPECT_EQ(handle->tableName(), "OrderedSwTable.LoamSystemAcl.T");
    EXPECT_EQ(handle->tableId(), intf->tableId());
    auto const wrapper =
        ipv4SystemPolicyTcamEntryEntryWrapperFactory(Family::Entry{Key{3}}, handle);
    EXPECT_EQ(wrapper->key(), Key{3});
    EXPECT_EQ(wrapper->entryHandle(), handle);
    auto const resolver = ipv4SystemPolicyTcamEntryResolverEntryFactory(
        nullptr, Asic::EntryFlags::flagEntryDeleted, table.get(), wrapper);
    EXPECT_EQ(resolver->entry(), wrapper);
    EXPECT_TRUE(resolver->isEntryDeleted());
}

// --- names

struct Name {
    char const* test;
    OrderedTableType type;
    char const* expected;
};

class TableName : public testing::TestWithParam<Name> {};

TEST_P(TableName, FollowsFromTheKindOfTable) {
    CanonicalTableName const name{GetParam().type, "G", "A", "B"};
    EXPECT_EQ(name.name(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    OfA, TableName,
    testing::Values(Name{"OrderedTable", OrderedTableType::orderedSwTable, "OrderedSwTable.G.B"},
                    Name{"PartiallyOrderedTable", OrderedTableType::partiallyOrderedSwTable,
                         "PartiallyOrderedSwTable.B"},
                    Name{"ResourceTable", OrderedTableType::resourceTable, "ResourceTable.A::B"}),
    [](auto const& param) { return std::string{param.param.test}; });

TEST(TableNameDeathTest, AnotherKindOfTableStopsTheProcess) {
    CanonicalTableName const name{static_cast<OrderedTableType>(3), "G", "A", "B"};
    EXPECT_DEATH(name.name(), "Table type undefined!");
}

TEST_F(TableInterface, ATableIsNamedByItsGroupAndItself) {
    auto const table = intf->makeSwTable(0, nullptr, true);
    EXPECT_EQ(table->tableName()->name(), "OrderedSwTable.LoamSystemAcl.Ipv4SystemPolicyTcamEntry");
    auto const handle = table->entryWrite(Key{1}, Family::Entry{Key{1}}, nullptr);
    EXPECT_EQ(handle->tableName(), "OrderedSwTable.LoamSystemAcl.Ipv4SystemPolicyTcamEntry");
}

TEST(SwTableIdText, IsTwoTwoAndFourDigitsPaddedWithZeros) {
    EXPECT_EQ(fmt::format("{}", Asic::SwTableId{0x00000000}), "00:00:0000");
    EXPECT_EQ(fmt::format("{}", Asic::SwTableId{0x0102000A}), "01:02:000a");
    EXPECT_EQ(fmt::format("{}", Asic::SwTableId{0xFFFFFFFF}), "ff:ff:ffff");
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
