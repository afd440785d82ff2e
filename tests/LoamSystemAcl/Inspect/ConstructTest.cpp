#include "InspectRaw.h"

#include <Zet/AllocTrack.h>

#include <stdexcept>

namespace LoamSystemAcl {
namespace {

using F = Ipv4SystemPolicyTcamEntryFamily;
using Ticket = F::SwTable::EntryHandle;
using Code = Inspect::Error::Code;
using testing::HasSubstr;

class InspectConstruct : public InspectTable {
  protected:
    // The object that the generated function of T's class makes of these.
    template <typename T, typename... Args>
    static Ombra::Ptr<T> made(Ombra::TypeData type, Args&... arguments) {
        auto const& generic = *type.module->types[static_cast<std::size_t>(type.index)].generic;
        void* const pointers[] = {&arguments..., nullptr};
        alignas(Ombra::Ptr<T>) std::byte room[sizeof(Ombra::Ptr<T>)];
        generic.constructFromCtorArgs(room, pointers);
        auto& result = *std::launder(reinterpret_cast<Ombra::Ptr<T>*>(room));
        Ombra::Ptr<T> copy{std::move(result)};
        std::destroy_at(&result);
        return copy;
    }

    static Ombra::TypeData typeOf(std::string_view module, int index) {
        return {Ombra::ModuleInspectData::find("Ipv4SystemPolicyTcamEntry" + std::string{module}),
                index};
    }

    Ombra::Ptr<Asic::CanonicalTableName const> name = table->tableName();
    Asic::SwTableId tableId = table->tableId();
    Asic::UnitId unitId = 3;
    Ombra::Ptr<Asic::OrderedSwTableSet> set{table->swTableSet()};
    Ombra::Ptr<F::EntryLog> log = table->entryLog();
    Ombra::Ptr<Asic::GroupResolver> resolver = table->groupResolver();
    Key key{7};
    Asic::EntryVersion version{3, 1};
};

TEST_F(InspectConstruct, EveryClassThatHasAConstructorHere) {
    auto const handle = made<Ticket>(typeOf("SwTable", 0), version, key, table);
    EXPECT_EQ(handle->key(), key);
    EXPECT_EQ(handle->entryVersion(), version);
    EXPECT_EQ(handle->swTable(), table.get());
    EXPECT_EQ(handle->refCount(), 1U);

    Entry entry = entryOf(7);
    Ombra::Ptr<Asic::OrderedSwTable::EntryHandle> anyHandle = handle;
    auto wrapper = made<F::EntryWrapper>(typeOf("InfraTypes", 0), entry, anyHandle);
    EXPECT_EQ(wrapper->swTableEntry(), entry);
    EXPECT_EQ(wrapper->entryHandle(), handle);

    Ombra::Ptr<Asic::DependencyEntryHandle const> dependency = handle;
    auto flags = Asic::EntryFlags::flagEntryDeleted;
    auto const resolverEntry =
        made<F::ResolverEntry>(typeOf("InfraTypes", 1), dependency, flags, table, wrapper);
    EXPECT_TRUE(resolverEntry->isEntryDeleted());
    EXPECT_EQ(resolverEntry->entry(), wrapper);
    EXPECT_EQ(resolverEntry->dependantEntryHandle(), handle);

    auto const other =
        made<F::SwTable>(typeOf("SwTable", 2), name, tableId, unitId, set, log, resolver);
    EXPECT_EQ(other->unitId(), 3U);
    EXPECT_EQ(other->entryLog(), log);
    EXPECT_NE(other->swTableHelper(), nullptr);

    EXPECT_FALSE(made<F::IteratorState>(typeOf("SwTable", 3))->entryValid());
    EXPECT_NE(made<F::SwTableHelperBase>(typeOf("SwTableHelperBase", 0)), nullptr);

    auto manager = agent.entityManager();
    auto group = agent.group();
    Ombra::String agentName{"LoamSystemAcl"};
    auto const otherLog =
        made<F::EntryLog>(typeOf("EntryLog", 0), tableId, manager, group, agentName);
    EXPECT_NE(otherLog->tableEntryLog(), nullptr);
}

TEST_F(InspectConstruct, AnInterfaceAndASnapshotHaveNone) {
    EXPECT_FALSE(Inspect::Class::find("Ipv4SystemPolicyTcamEntryInterface").constructible());
    auto const refusal =
        refusalOf([] { Inspect::Class::find("Ipv4SystemPolicyTcamEntryInterface").construct({}); });
    EXPECT_EQ(refusal.code, Code::notAllowed);
    EXPECT_FALSE(Inspect::Class::find("Ipv4SystemPolicyTcamEntrySwTable::SwTableEntries_py")
                     .constructible());
}

// The trace of the constructor's last step throws.
TEST_F(InspectConstruct, AConstructorThatThrowsLeavesNothingBehind) {
    auto const liveTables = [] {
        return Zet::AllocTrackTypeInfo::live(F::SwTable::memAllocationTracker_);
    };
    auto const before = liveTables();
    auto const references = log->refCount();
    auto former =
        Ombra::traceSinkIs([](auto const&) { throw std::runtime_error{"the disk is full"}; });
    Zet::TraceHandle::levelsIs("Ipv4SystemPolicyTcamEntrySwTable", 0x100);
    EXPECT_THROW(made<F::SwTable>(typeOf("SwTable", 2), name, tableId, unitId, set, log, resolver),
                 std::runtime_error);
    Zet::TraceHandle::levelsIs("Ipv4SystemPolicyTcamEntrySwTable", 0);
    Ombra::traceSinkIs(std::move(former));
    EXPECT_EQ(liveTables(), before);
    EXPECT_EQ(log->refCount(), references);
}

TEST_F(InspectConstruct, ByNameWithValuesOfAnyKind) {
    auto const& handles = Inspect::Class::find("Ipv4SystemPolicyTcamEntrySwTable::EntryHandle");
    std::vector<Inspect::Value> const arguments{{"3.1"}, {"0x7"}, {inspected}};
    auto const handle = handles.construct(arguments);
    EXPECT_EQ(handle.get("entryVersion").text(), "3.1");
    EXPECT_EQ(handle.get("key").asNumber(), 7U);
    EXPECT_EQ(handle.get("swTable").asObject(), inspected);
}

TEST_F(InspectConstruct, ArgumentsThatDoNotFitAreRefused) {
    auto const& wrappers = Inspect::Class::find("Ipv4SystemPolicyTcamEntryEntryWrapper");
    auto const refused = [&](std::vector<Inspect::Value> const& arguments) {
        return refusalOf([&] { wrappers.construct(arguments); });
    };
    auto const tooFew = refused({valueOf(1)});
    EXPECT_EQ(tooFew.code, Code::wrongArguments);
    EXPECT_THAT(tooFew.text, HasSubstr("takes 2 arguments and was given 1"));
    auto const null = refused({valueOf(1), none});
    EXPECT_EQ(null.code, Code::wrongValue);
    EXPECT_THAT(null.text, HasSubstr("entryHandle"));
    auto const wrongClass = refused({valueOf(1), Inspect::Value{inspected}});
    EXPECT_EQ(wrongClass.code, Code::wrongValue);
    EXPECT_THAT(wrongClass.text, HasSubstr("Asic::OrderedSwTable::EntryHandle"));
}

} // namespace
} // namespace LoamSystemAcl
