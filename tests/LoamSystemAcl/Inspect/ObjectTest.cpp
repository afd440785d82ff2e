#include "InspectFixture.h"

namespace LoamSystemAcl {
namespace {

using Code = Inspect::Error::Code;
using Inspect::Object;
using Inspect::Value;
using testing::HasSubstr;

class InspectObject : public InspectTable {
  protected:
    Object objectOf(std::string_view name) { return inspected.get(name).asObject(); }

    // The handle of an operation that failed.
    Value failedHandle() {
        std::vector<Value> const arguments{{"0.0"}, {9U}, {inspected}};
        auto const handle = Inspect::Class::find("Ipv4SystemPolicyTcamEntrySwTable::EntryHandle")
                                .construct(arguments);
        handle.set("entryState", "entryFailed");
        return handle;
    }
};

TEST_F(InspectObject, WritesAndReadsAnEntryByName) {
    auto const handle = inspected.call("entryWrite", {keyOf(42), valueOf(42, 7), none}).asObject();
    EXPECT_EQ(handle.get("entryState").text(), "entryPending");
    EXPECT_EQ(handle.get("key").asNumber(), 42U);
    EXPECT_EQ(table->entryRead(Key{42}), entryOf(42, 7));
    EXPECT_EQ(inspected.call("entryRead", {keyOf(42)}), valueOf(42, 7));
    EXPECT_TRUE(inspected.call("entryHas", {keyOf(42)}).asBool());
    EXPECT_EQ(inspected.call("entrys").asNumber(), 1U);
    commitAll();
    acknowledge();
    EXPECT_EQ(handle.get("entryState").text(), "entryApplied");
    EXPECT_EQ(handle.get("logVersion").asNumber(), 1U);
    EXPECT_EQ(handle.get("entryTableVersion").text(), "08:08:0404@1");
}

TEST_F(InspectObject, AResponseHandlerIsAFunctionOfAnyNode) {
    std::vector<std::string> states;
    Value const handler{Ombra::NodeHandler{[&](Ombra::Ptr<Ombra::Node const> const& node) {
        states.push_back(Object{node}.get("entryState").text());
    }}};
    inspected.call("entryWrite", {keyOf(1), valueOf(1), none, handler});
    inspected.call("entryRemove", {keyOf(1), none, handler});
    commitAll();
    acknowledge();
    EXPECT_EQ(states, (std::vector<std::string>{"entryApplied", "entryApplied"}));
}

TEST_F(InspectObject, AResponseHandlerMayBeLeftOutOrNothing) {
    inspected.call("entryWrite", {keyOf(1), valueOf(1), none});
    inspected.call("entryWrite", {keyOf(2), valueOf(2), none, none});
    auto const dependency = inspected.call("entryRemove", {keyOf(1), none});
    inspected.call("entryRemoveAll", {dependency});
    EXPECT_EQ(inspected.get("transientRemoveAllVersion").asNumber(), 0U);
}

TEST_F(InspectObject, AnOperationWaitsForTheOneWhoseHandleItWasGiven) {
    auto const first = inspected.call("entryWrite", {keyOf(1), valueOf(1), none});
    auto const second = inspected.call("entryWrite", {keyOf(2), valueOf(2), first}).asObject();
    auto const third =
        inspected.call("entryWrite", {keyOf(3), valueOf(3), failedHandle()}).asObject();
    commitAll();
    EXPECT_EQ(second.get("entryState").text(), "entryInLog");
    EXPECT_EQ(third.get("entryState").text(), "entryFailed");
}

TEST_F(InspectObject, ReadsAndWritesSingleValues) {
    EXPECT_FALSE(inspected.get("inMarkingState").asBool());
    inspected.set("inMarkingState", true);
    EXPECT_TRUE(table->inMarkingState());
    inspected.set("inMarkingState", "false"); // as a person writes it
    EXPECT_FALSE(table->inMarkingState());
    inspected.set("transientRemoveAllVersion", 4U);
    EXPECT_EQ(table->transientRemoveAllVersion().number(), 4U);
    EXPECT_EQ(inspected.get("tableId").text(), "08:08:0404"); // of a base class
}

TEST_F(InspectObject, ReadsByNumber) {
    EXPECT_EQ(inspected.get(inspected.attribute(800)).text(), "false");
    EXPECT_EQ(inspected.attribute(0x102).name, "tableId");
}

TEST_F(InspectObject, CollectionsByKey) {
    write(1);
    EXPECT_EQ(inspected.get("transientVersionForKey", 1U).text(), "0.0");
    EXPECT_EQ(inspected.get("transientVersionForKey", 2U).text(), "invalid");
    EXPECT_TRUE(inspected.has("transientVersionForKey", 1U));
    EXPECT_FALSE(inspected.has("transientVersionForKey", 2U));
    inspected.set("transientVersionForKey", 2U, "5.0");
    EXPECT_EQ(table->transientVersionForKey(Key{2}).major(), 5U);
    EXPECT_TRUE(inspected.del("transientVersionForKey", 2U));
    EXPECT_FALSE(inspected.del("transientVersionForKey", 2U));
    EXPECT_TRUE(inspected.has("transientAddEntry", 1U));
    EXPECT_FALSE(inspected.get("transientAddEntry", 9U).asObject());
    EXPECT_GE(inspected.buckets("transientAddEntry"), 1U);
}

TEST_F(InspectObject, AValueThatBearsItsKeyMustBearTheOneThatIsGiven) {
    write(1);
    auto const wrapper = inspected.get("transientAddEntry", 1U);
    table->transientAddEntryDel(Key{1});
    auto const refusal = refusalOf([&] { inspected.set("transientAddEntry", 2U, wrapper); });
    EXPECT_EQ(refusal.code, Code::wrongValue);
    EXPECT_THAT(refusal.text, HasSubstr("0x00000001"));
    EXPECT_EQ(table->transientAddEntrys(), 0U);
    inspected.set("transientAddEntry", 1U, wrapper);
    EXPECT_EQ(table->transientAddEntrys(), 1U);
    table->transientAddEntryDel(Key{1});
    inspected.set("transientAddEntry", wrapper);
    EXPECT_EQ(table->transientAddEntrys(), 1U);
    EXPECT_EQ(refusalOf([&] { inspected.set("transientAddEntry", none); }).code, Code::wrongValue);
}

TEST_F(InspectObject, ASetHoldsKeysAlone) {
    inspected.set("markedKey", 3U);
    inspected.set("markedKey", 4U, true);
    EXPECT_EQ(inspected.size("markedKey"), 2U);
    EXPECT_TRUE(inspected.has("markedKey", 3U));
    EXPECT_ANY_THROW(inspected.set("markedKey", 5U, false));
    EXPECT_TRUE(inspected.del("markedKey", 3U));
    EXPECT_FALSE(table->markedKeyHas(Key{3}));
}

TEST_F(InspectObject, TheQueue) {
    EXPECT_FALSE(inspected.front("entryHandleInLog").asObject());
    write(1);
    write(2);
    commitAll();
    EXPECT_EQ(inspected.size("entryHandleInLog"), 2U);
    EXPECT_EQ(inspected.front("entryHandleInLog").asObject().get("key").asNumber(), 1U);
    EXPECT_EQ(inspected.back("entryHandleInLog").asObject().get("key").asNumber(), 2U);
    auto const taken = inspected.deq("entryHandleInLog");
    inspected.enq("entryHandleInLog", taken);
    EXPECT_EQ(inspected.back("entryHandleInLog").asObject(), taken.asObject());
    EXPECT_EQ(refusalOf([&] { inspected.enq("entryHandleInLog", none); }).code, Code::wrongValue);
    EXPECT_EQ(refusalOf([&] { inspected.get("entryHandleInLog"); }).code, Code::notAllowed);
    auto i = inspected.iterate("entryHandleInLog");
    EXPECT_TRUE(i.key().isNothing());
    EXPECT_EQ(i.value().asObject().get("key").asNumber(), 2U);
}

TEST_F(InspectObject, IteratesFromTheStartOrFromAKey) {
    for (unsigned number = 1; number <= 20; ++number) {
        write(number);
    }
    Numbers walked;
    for (auto i = inspected.iterate("transientAddEntry"); i; i.next()) {
        walked.push_back(static_cast<unsigned>(i.key().asNumber()));
        EXPECT_EQ(i.value().asObject().get("key"), i.key());
    }
    EXPECT_EQ(walked, pendingOrder());
    Numbers rest;
    for (auto i = inspected.iterate("transientAddEntry", keyOf(walked[5])); i; i.next()) {
        rest.push_back(static_cast<unsigned>(i.key().asNumber()));
    }
    EXPECT_EQ(rest, from(walked, walked[5]));
    EXPECT_FALSE(inspected.iterate("transientAddEntry", 99U));
}

TEST_F(InspectObject, AnIteratorKeepsItsObjectAlive) {
    write(1, 7);
    auto i = inspected.call("getTableEntries_py").asObject().iterate("tableEntries");
    EXPECT_EQ(i.value(), valueOf(1, 7));
    i = inspected.iterate("transientAddEntry");
    EXPECT_TRUE(i);
}

TEST_F(InspectObject, EitherNameOfAnAttributeFindsIt) {
    write(1, 7);
    auto const wrapper = inspected.get("transientAddEntry", 1U).asObject();
    EXPECT_EQ(wrapper.attribute("entry").name, "swTableEntry");
    EXPECT_EQ(wrapper.get("entry"), wrapper.get("swTableEntry"));
    EXPECT_EQ(wrapper.attribute("swTableEntry").number, 0x82U);
    auto const queued = table->groupResolver()->headOf(typeid(Family::ResolverEntry));
    Object const resolverEntry{queued};
    EXPECT_EQ(resolverEntry.attribute("swTableEntry").name, "entry");
    EXPECT_EQ(resolverEntry.attribute("entry").number, 0x103U);
    EXPECT_EQ(resolverEntry.get("swTableEntry").asObject(), wrapper);
    EXPECT_EQ(resolverEntry.get("swTable").asObject(), inspected);
    EXPECT_EQ(resolverEntry.get("flags").text(), "none");
}

TEST_F(InspectObject, AnObjectThatIsGivenForReadingIsNotChanged) {
    auto const handle = inspected.call("entryWrite", {keyOf(1), valueOf(1), none}).asObject();
    EXPECT_TRUE(handle.isConst());
    EXPECT_EQ(refusalOf([&] { handle.set("entryState", "entryFailed"); }).code, Code::readOnly);
    Object const constTable{Ombra::Ptr<Table const>{table}};
    EXPECT_TRUE(constTable.call("entryHas", {keyOf(1)}).asBool());
    EXPECT_EQ(refusalOf([&] { constTable.call("clearTable", {false}); }).code, Code::readOnly);
    EXPECT_EQ(refusalOf([&] { constTable.del("transientAddEntry", 1U); }).code, Code::readOnly);
    EXPECT_EQ(table->entrys(), 1U);
}

// --- what is refused, and changes nothing

TEST_F(InspectObject, AnUnknownNameIsRefusedWithWhatThereIs) {
    auto const refusal = refusalOf([&] { inspected.get("noSuchThing"); });
    EXPECT_EQ(refusal.code, Code::unknownAttribute);
    EXPECT_THAT(refusal.text, HasSubstr("noSuchThing"));
    EXPECT_THAT(refusal.text, HasSubstr("transientRemoveAllVersion"));
    EXPECT_EQ(refusalOf([&] { inspected.attribute(776); }).code, Code::unknownAttribute);
    EXPECT_EQ(refusalOf([&] { inspected.attribute(""); }).code, Code::unknownAttribute);
    auto const unknownClass = refusalOf([] { Inspect::Class::find("NoSuchClass"); });
    EXPECT_EQ(unknownClass.code, Code::unknownClass);
    EXPECT_THAT(unknownClass.text, HasSubstr("Ipv4SystemPolicyTcamEntrySwTable"));
}

TEST_F(InspectObject, AReadOnlyAttributeIsRefused) {
    for (auto const* name : {"tableId", "groupResolver", "entryLog", "unitId"}) {
        auto const refusal = refusalOf([&] { inspected.set(name, none); });
        EXPECT_EQ(refusal.code, Code::readOnly) << name;
        EXPECT_THAT(refusal.text, HasSubstr(name));
    }
}

TEST_F(InspectObject, AWrongNumberOfArgumentsIsRefused) {
    auto const refusal = refusalOf([&] { inspected.call("entryWrite", {keyOf(1)}); });
    EXPECT_EQ(refusal.code, Code::wrongArguments);
    EXPECT_THAT(refusal.text,
                HasSubstr("entryWrite(key, entry, depEntryHandle, responseHandler?)"));
    EXPECT_THAT(refusal.text, HasSubstr("takes 4 or 3 arguments and was given 1"));
    EXPECT_EQ(refusalOf([&] { inspected.call("entrys", {none}); }).code, Code::wrongArguments);
    EXPECT_EQ(table->entrys(), 0U);
}

TEST_F(InspectObject, AnArgumentOfTheWrongTypeOrRangeIsRefused) {
    auto const refused = [&](Value const& key, Value const& entry, Value const& dependency) {
        return refusalOf([&] { inspected.call("entryWrite", {key, entry, dependency}); });
    };
    EXPECT_THAT(refused("abc", valueOf(1), none).text, HasSubstr("The argument key of entryWrite"));
    EXPECT_THAT(refused(std::uint64_t{1} << 32, valueOf(1), none).text,
                HasSubstr("from 0 to 4294967295"));
    EXPECT_THAT(refused(1U, "no entry", none).text, HasSubstr("The argument entry"));
    EXPECT_THAT(refused(1U, valueOf(1), Value{inspected}).text,
                HasSubstr("The argument depEntryHandle"));
    EXPECT_EQ(refused(1U, valueOf(1), true).code, Code::wrongValue);
    EXPECT_EQ(refusalOf([&] { inspected.set("inMarkingState", 1U); }).code, Code::wrongValue);
    EXPECT_EQ(table->entrys(), 0U);
    EXPECT_EQ(table->transientVersionForKeyColl().size(), 0U);
}

TEST_F(InspectObject, AnOperationThatIsNotCallableIsRefused) {
    EXPECT_EQ(refusalOf([&] { inspected.call("initIterState"); }).code, Code::notAllowed);
    EXPECT_EQ(refusalOf([&] { inspected.call("inMarkingState"); }).code, Code::notAllowed);
    EXPECT_EQ(refusalOf([&] { inspected.get("entrys"); }).code, Code::notAllowed);
    EXPECT_EQ(refusalOf([&] { inspected.get("inMarkingState", 1U); }).code, Code::notAllowed);
    EXPECT_EQ(refusalOf([&] { inspected.size("inMarkingState"); }).code, Code::notAllowed);
    EXPECT_EQ(refusalOf([&] { inspected.iterate("inMarkingState"); }).code, Code::notAllowed);
    EXPECT_EQ(refusalOf([&] { inspected.set("transientVersionForKey", "1.0"); }).code,
              Code::notAllowed);
}

TEST_F(InspectObject, NoObjectIsNamedAsSuch) {
    EXPECT_EQ(refusalOf([] { Object{}.get("tableId"); }).code, Code::noObject);
    auto const& interfaces = Inspect::Class::find("Ipv4SystemPolicyTcamEntryInterface");
    EXPECT_EQ(refusalOf([&] { interfaces.call("onDelete", {}); }).code, Code::noObject);
}

TEST_F(InspectObject, WhatWouldStopTheProcessIsRefused) {
    Object const log = objectOf("entryLog");
    auto const refusal = refusalOf([&] { log.call("entry", {keyOf(1), 7U}); });
    EXPECT_EQ(refusal.code, Code::refused);
    EXPECT_THAT(refusal.text, HasSubstr("not mounted"));
    EXPECT_FALSE(log.call("entryHas", {keyOf(1), 0U}).asBool());
    Object const intf{agent.tableIntf<Family>()};
    EXPECT_EQ(refusalOf([&] { intf.call("handleInitialized"); }).code, Code::refused);
    EXPECT_EQ(refusalOf([&] { inspected.set("swTableHelper", none); }).code, Code::wrongValue);
    auto const state =
        Inspect::Class::find("Ipv4SystemPolicyTcamEntrySwTableIteratorState").construct({});
    EXPECT_EQ(refusalOf([&] { state.call("maybeUpdateCurrentEntry"); }).code, Code::refused);
}

TEST_F(InspectObject, TheResolverIsNotRunFromWithinItself) {
    Object const resolver = objectOf("groupResolver");
    Code code{};
    Value const handler{Ombra::NodeHandler{
        [&](auto const&) { code = refusalOf([&] { resolver.call("run", {8U}); }).code; }}};
    inspected.call("entryWrite", {keyOf(1), valueOf(1), failedHandle(), handler});
    auto const result = resolver.call("run", {8U});
    EXPECT_EQ(result.text(), "{committed: 1, more: false}");
    EXPECT_EQ(code, Code::refused);
}

} // namespace
} // namespace LoamSystemAcl
