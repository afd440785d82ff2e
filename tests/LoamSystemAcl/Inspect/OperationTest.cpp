#include "InspectRaw.h"

#include <Ombra/Exception.h>
#include <Zet/GenericIfImpl.h>

#include <optional>

namespace LoamSystemAcl {
namespace {

namespace Op = Ombra::InspectOp;
using namespace Ombra::InspectResult;
using Wrapper = Ipv4SystemPolicyTcamEntryFamily::EntryWrapper;
using WrapperPtr = Ombra::Ptr<Wrapper>;
using Ticket = Ipv4SystemPolicyTcamEntryFamily::SwTable::EntryHandle;
using HandlePtr = Ombra::Ptr<Ticket>;

// Numbers of the table's fields.
constexpr unsigned swTableHelper = 770;
constexpr unsigned transientAddEntry = 771;
constexpr unsigned transientVersionForKey = 773;
constexpr unsigned transientRemoveAllVersion = 774;
constexpr unsigned entryHandleInLog = 790;
constexpr unsigned markedKey = 799;
constexpr unsigned inMarkingState = 800;

class InspectOperation : public InspectTable {
  protected:
    HandlePtr handleOf(unsigned number) {
        return Ticket::EntryHandleIs(Asic::EntryVersion::first(), Key{number}, table.get());
    }
    WrapperPtr wrapperOf(unsigned number) {
        return Wrapper::Ipv4SystemPolicyTcamEntryEntryWrapperIs(entryOf(number), handleOf(number));
    }

    Raw raw{*table};
};

// --- single values

TEST_F(InspectOperation, AScalarIsReadAndWritten) {
    bool on = true;
    EXPECT_FALSE(raw.give<bool>(inMarkingState, Op::read));
    EXPECT_EQ(raw.op(inMarkingState, Op::write, nullptr, nullptr, &on), done);
    EXPECT_TRUE(table->inMarkingState());
    Asic::MajorVersion version{3};
    EXPECT_FALSE(raw.give<Asic::MajorVersion>(transientRemoveAllVersion, Op::read).valid());
    EXPECT_EQ(raw.op(transientRemoveAllVersion, Op::write, nullptr, nullptr, &version), done);
    EXPECT_EQ(table->transientRemoveAllVersion(), version);
}

TEST_F(InspectOperation, AWriteIsPublishedUnderTheNumberOfTheField) {
    std::vector<unsigned> published;
    auto const subscription = table->publisher()->subscribe([&](Ombra::Change const& change) {
        published.push_back(static_cast<unsigned>(change.fieldId));
    });
    bool on = true;
    raw.op(inMarkingState, Op::write, nullptr, nullptr, &on);
    raw.op(inMarkingState, Op::write, nullptr, nullptr, &on); // no change
    EXPECT_EQ(published, (std::vector<unsigned>{inMarkingState}));
}

TEST_F(InspectOperation, APointerIsReadWithAReferenceAndWritten) {
    using Helper = Ipv4SystemPolicyTcamEntryFamily::SwTableHelperBase;
    auto helper = Ombra::ptrIs<Helper>();
    EXPECT_EQ(raw.op(swTableHelper, Op::write, nullptr, nullptr, &helper), done);
    EXPECT_EQ(helper->refCount(), 2U);
    EXPECT_EQ(raw.give<Ombra::Ptr<Helper>>(swTableHelper, Op::read), helper);
    EXPECT_EQ(helper->refCount(), 2U);
    EXPECT_EQ(raw.op(swTableHelper, Op::del), notAllowed);
}

TEST_F(InspectOperation, AReadOnlyPointerAnswersOneToAllButRead) {
    for (unsigned const number : {787U, 788U}) {
        auto other = table->entryLog();
        for (unsigned char op = 1; op <= 12; ++op) {
            EXPECT_EQ(raw.op(number, op, nullptr, nullptr, &other), notAllowed) << int{op};
        }
    }
    EXPECT_EQ(raw.give<Ombra::Ptr<Asic::GroupResolver>>(788, Op::read), table->groupResolver());
}

TEST_F(InspectOperation, ADerivedReadOnlyValueCanNotBeWritten) {
    auto const intf = agent.tableIntf<Family>();
    Raw const interface { *intf };
    Asic::SwTableId id{7};
    EXPECT_EQ(interface.op(259, Op::write, nullptr, nullptr, &id), notAllowed);
    EXPECT_EQ(interface.give<Asic::SwTableId>(259, Op::read), Family::Constants::tableId);
    Ombra::String name{"other"};
    EXPECT_EQ(interface.op(258, Op::write, nullptr, nullptr, &name), done);
    EXPECT_EQ(intf->tableName(), name);
}

TEST_F(InspectOperation, APointerIsSetByTheConstructorArgumentsOfItsObject) {
    auto const intf = agent.tableIntf<Family>();
    Raw const interface { *intf };
    using Status = Ombra::Ptr<Asic::OrderedSwTableStatus>;
    auto const former = intf->swTableStatus();
    Asic::SwTableId same = former->tableId();
    void* arguments[] = {&same};
    EXPECT_EQ(interface.give<Status>(264, Op::write, nullptr, &arguments), former);
    Asic::SwTableId other{7};
    arguments[0] = &other;
    auto const made = interface.give<Status>(264, Op::write, nullptr, &arguments);
    EXPECT_NE(made, former);
    EXPECT_EQ(intf->swTableStatus(), made);
    EXPECT_EQ(interface.give<Status>(264, Op::del), made);
    EXPECT_EQ(intf->swTableStatus(), nullptr);
    EXPECT_EQ(interface.give<Status>(264, Op::del), nullptr);
    EXPECT_EQ(interface.op(264, Op::write), notAllowed); // without arguments
}

// --- collections

TEST_F(InspectOperation, ACollectionOfPointers) {
    Key key{1};
    auto wrapper = wrapperOf(1);
    EXPECT_EQ(raw.give<WrapperPtr>(transientAddEntry, Op::read, &key), nullptr);
    EXPECT_EQ(raw.op(transientAddEntry, Op::write, nullptr, nullptr, &wrapper), done);
    EXPECT_EQ(raw.give<WrapperPtr>(transientAddEntry, Op::read, &key), wrapper);
    EXPECT_EQ(raw.give<WrapperPtr>(transientAddEntry, Op::has, &key), wrapper);
    EXPECT_EQ(raw.give<std::uint32_t>(transientAddEntry, Op::size), 1U);
    EXPECT_EQ(raw.give<std::uint32_t>(transientAddEntry, Op::otherCount), 1U);
    EXPECT_EQ(raw.op(transientAddEntry, Op::del, nullptr, &key), done);
    EXPECT_EQ(raw.give<std::uint32_t>(transientAddEntry, Op::size), 0U);
    EXPECT_EQ(raw.op(transientAddEntry, Op::del, nullptr, &key), done); // absent
    EXPECT_EQ(wrapper->refCount(), 1U);
    WrapperPtr null;
    EXPECT_THROW(raw.op(transientAddEntry, Op::write, nullptr, nullptr, &null),
                 Ombra::NullPointerException);
}

TEST_F(InspectOperation, TheOtherCountOfACollectionIsThatOfItsBuckets) {
    for (unsigned number = 0; number < 100; ++number) {
        write(number);
    }
    auto const& pending = table->transientAddEntryColl();
    EXPECT_EQ(raw.give<std::uint32_t>(transientAddEntry, Op::size), 100U);
    EXPECT_EQ(raw.give<std::uint32_t>(transientAddEntry, Op::otherCount),
              pending.footprint(Table::TransientAddEntry::vt_).buckets);
    EXPECT_GT(raw.give<std::uint32_t>(transientAddEntry, Op::otherCount), 1U);
}

TEST_F(InspectOperation, ACollectionOfValues) {
    Key key{1};
    Asic::EntryVersion version{4, 2};
    EXPECT_FALSE(raw.give<Asic::EntryVersion>(transientVersionForKey, Op::read, &key).valid());
    EXPECT_EQ(raw.give<std::optional<Asic::EntryVersion>>(transientVersionForKey, Op::has, &key),
              std::nullopt);
    EXPECT_EQ(raw.op(transientVersionForKey, Op::write, nullptr, &key, &version), done);
    EXPECT_EQ(table->transientVersionForKey(key), version);
    EXPECT_EQ(raw.give<std::optional<Asic::EntryVersion>>(transientVersionForKey, Op::has, &key),
              version);
    EXPECT_EQ(raw.op(transientVersionForKey, Op::write, nullptr, nullptr, &version), notAllowed);
    EXPECT_EQ(raw.op(transientVersionForKey, Op::del, nullptr, &key), done);
    EXPECT_FALSE(table->transientVersionForKeyHas(key));
}

TEST_F(InspectOperation, ASetTakesTrueAlone) {
    Key key{1};
    bool value = true;
    EXPECT_FALSE(raw.give<bool>(markedKey, Op::has, &key));
    EXPECT_EQ(raw.op(markedKey, Op::write, nullptr, &key, &value), done);
    EXPECT_TRUE(raw.give<bool>(markedKey, Op::has, &key));
    EXPECT_TRUE(raw.give<bool>(markedKey, Op::read, &key));
    value = false;
    EXPECT_THROW(raw.op(markedKey, Op::write, nullptr, &key, &value),
                 Zet::BadAttributeValueException);
    EXPECT_TRUE(table->markedKeyHas(key));
    EXPECT_EQ(raw.op(markedKey, Op::del, nullptr, &key), done);
    EXPECT_EQ(raw.give<std::uint32_t>(markedKey, Op::size), 0U);
}

TEST_F(InspectOperation, ACollectionThatIsSetToNullForgetsTheKey) {
    Raw const log{*table->entryLog()};
    Asic::UnitId unit = 0;
    using Slate = Ombra::Ptr<Family::ConfigSlate>;
    auto const former = log.give<Slate>(0x103, Op::read, &unit);
    EXPECT_EQ(former, table->entryLog()->tableConfigSlate(0));
    Slate null;
    EXPECT_EQ(log.op(0x103, Op::write, nullptr, &unit, &null), done);
    EXPECT_EQ(log.give<std::uint32_t>(0x103, Op::size), 0U);
    table->entryLog()->tableConfigSlateIs(0, former);
}

TEST_F(InspectOperation, ASnapshotIsACollectionOfEntries) {
    write(1, 7);
    auto const snapshot = table->getTableEntries_py();
    Raw const entries{*snapshot};
    Key key{1};
    EXPECT_EQ(entries.give<Entry>(0x82, Op::read, &key), entryOf(1, 7));
    Key absent{2};
    EXPECT_EQ(entries.give<Entry>(0x82, Op::read, &absent), Entry{});
    EXPECT_EQ(entries.give<std::optional<Entry>>(0x82, Op::has, &absent), std::nullopt);
    Entry added = entryOf(2);
    EXPECT_EQ(entries.op(0x82, Op::write, nullptr, nullptr, &added), done);
    EXPECT_EQ(entries.give<std::uint32_t>(0x82, Op::size), 2U);
    EXPECT_EQ(table->entrys(), 1U); // a copy
}

// --- the queue

TEST_F(InspectOperation, TheQueue) {
    EXPECT_EQ(raw.give<HandlePtr>(entryHandleInLog, Op::front), nullptr);
    EXPECT_EQ(raw.give<HandlePtr>(entryHandleInLog, Op::deq), nullptr);
    auto first = handleOf(1);
    auto second = handleOf(2);
    EXPECT_EQ(raw.op(entryHandleInLog, Op::enq, nullptr, nullptr, &first), done);
    EXPECT_EQ(raw.op(entryHandleInLog, Op::enq, nullptr, nullptr, &second), done);
    EXPECT_EQ(raw.give<std::uint32_t>(entryHandleInLog, Op::size), 2U);
    EXPECT_EQ(raw.give<HandlePtr>(entryHandleInLog, Op::front), first);
    EXPECT_EQ(raw.give<HandlePtr>(entryHandleInLog, Op::back), second);
    Key key{1};
    EXPECT_EQ(raw.op(entryHandleInLog, Op::deq, nullptr, &key), notAllowed);
    EXPECT_EQ(raw.give<std::uint32_t>(entryHandleInLog, Op::size), 2U);
    EXPECT_EQ(raw.give<HandlePtr>(entryHandleInLog, Op::deq), first);
    EXPECT_EQ(raw.op(entryHandleInLog, Op::deq), done); // nobody asks for it
    EXPECT_EQ(second->refCount(), 1U);
    EXPECT_EQ(raw.op(entryHandleInLog, Op::read, nullptr, &key), notAllowed);
}

// --- operations

TEST_F(InspectOperation, RestoreEntriesSucceedsAndDoesNothing) {
    write(1);
    EXPECT_EQ(raw.call(797, nullptr), done);
    EXPECT_EQ(table->entrys(), 1U);
}

TEST_F(InspectOperation, AnEntryIsWrittenReadAndRemoved) {
    Key key{1};
    Entry entry = entryOf(1, 7);
    Ombra::Ptr<Asic::DependencyEntryHandle const> none_;
    EXPECT_EQ(raw.call(775, nullptr, key, entry, none_), done);
    EXPECT_EQ(table->entryRead(key), entry);
    for (unsigned const number : {781U, 782U}) {
        alignas(Entry) std::byte room[sizeof(Entry)];
        EXPECT_EQ(raw.call(number, room, key), done);
        EXPECT_EQ(*std::launder(reinterpret_cast<Entry*>(room)), entry);
    }
    bool has = false;
    EXPECT_EQ(raw.call(783, &has, key), done);
    EXPECT_TRUE(has);
    std::uint32_t count = 0;
    EXPECT_EQ(raw.call(784, &count), done);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(raw.call(777, nullptr, key, none_), done);
    EXPECT_FALSE(table->entryHas(key));
    EXPECT_EQ(raw.call(779, nullptr, none_), done);
    EXPECT_TRUE(table->transientRemoveAllVersion().valid());
}

TEST_F(InspectOperation, AnOperationAnswersOneToAllButACall) {
    Key key{1};
    for (unsigned char op = 0; op <= 12; ++op) {
        if (op != Op::call) {
            EXPECT_EQ(raw.op(797, op, nullptr, &key, &key), notAllowed) << int{op};
        }
    }
    EXPECT_EQ(raw.op(783, Op::call), notAllowed); // without arguments
}

TEST_F(InspectOperation, WhatIsNotCallableAnswersOneToEverything) {
    for (unsigned const number : {791U, 792U, 793U, 794U, 795U, 796U, 801U, 802U}) {
        Key key{1};
        void* arguments[] = {&key, &key};
        for (unsigned char op = 0; op <= 12; ++op) {
            EXPECT_EQ(raw.op(number, op, nullptr, nullptr, &arguments), notAllowed) << number;
        }
    }
}

TEST_F(InspectOperation, ANumberThatTheClassDoesNotKnowAnswersTwo) {
    for (unsigned const number : {0U, 769U, 776U, 778U, 780U, 785U, 789U, 804U, 65535U}) {
        for (unsigned char op = 0; op <= 12; ++op) {
            EXPECT_EQ(raw.op(number, op), unknownField) << number;
        }
    }
    EXPECT_EQ(raw.op(0x102, Op::read), unknownField); // one of a base
}

TEST_F(InspectOperation, NoFieldKnowsAnOperationBeyondTheLast) {
    Key key{1};
    for (auto const& field : raw.fields()) {
        EXPECT_EQ(raw.op(field.number, 11, nullptr, &key, &key), notAllowed) << field.number;
        EXPECT_EQ(raw.op(field.number, 255, nullptr, &key, &key), notAllowed) << field.number;
    }
}

// --- iterators

TEST_F(InspectOperation, AnIteratorWalksACollectionFromItsStartOrFromAKey) {
    for (unsigned number = 1; number <= 20; ++number) {
        write(number);
    }
    Numbers walked;
    for (RawIterator i{raw.generic(), *table, transientAddEntry}; i.nonnull(); i.inc()) {
        auto const key = i.key<Key>();
        EXPECT_EQ(i.obj<WrapperPtr>(), table->transientAddEntry(key));
        walked.push_back(key.number());
    }
    EXPECT_EQ(walked, pendingOrder());
    Numbers rest;
    Key key{walked[7]};
    for (RawIterator i{raw.generic(), *table, transientAddEntry, &key}; i.nonnull(); i.inc()) {
        rest.push_back(i.key<Key>().number());
    }
    EXPECT_EQ(rest, from(walked, walked[7]));
    Key absent{21};
    EXPECT_FALSE((RawIterator{raw.generic(), *table, transientAddEntry, &absent}.nonnull()));
}

TEST_F(InspectOperation, AnIteratorSurvivesChangesBetweenItsSteps) {
    for (unsigned number = 1; number <= 20; ++number) {
        write(number);
    }
    auto const order = pendingOrder();
    RawIterator const i{raw.generic(), *table, transientAddEntry};
    i.inc();
    auto const held = i.obj<WrapperPtr>();
    table->transientAddEntryDel(Key{order[1]}); // where it stands
    table->transientAddEntryDel(Key{order[2]}); // the next one
    EXPECT_EQ(i.obj<WrapperPtr>(), held);
    i.inc();
    EXPECT_EQ(i.key<Key>().number(), order[3]);
    table->transientAddEntryDelAll();
    i.inc();
    EXPECT_FALSE(i.nonnull());
}

TEST_F(InspectOperation, AnIteratorOverASetGivesTrue) {
    table->markedKeyIs(Key{5});
    RawIterator const i{raw.generic(), *table, markedKey};
    EXPECT_EQ(i.key<Key>(), Key{5});
    EXPECT_TRUE(i.obj<bool>());
    i.inc();
    EXPECT_FALSE(i.nonnull());
}

TEST_F(InspectOperation, TheQueueHasNoKeys) {
    EXPECT_FALSE((RawIterator{raw.generic(), *table, entryHandleInLog}.nonnull()));
    auto const first = handleOf(1);
    auto const second = handleOf(2);
    table->entryHandleInLogEnq(first);
    table->entryHandleInLogEnq(second);
    RawIterator const i{raw.generic(), *table, entryHandleInLog};
    EXPECT_EQ(i.key<std::int32_t>(), -1);
    EXPECT_EQ(i.obj<HandlePtr>(), first);
    table->entryHandleInLogDeq();
    EXPECT_EQ(i.obj<HandlePtr>(), nullptr); // it has gone
    i.inc();
    EXPECT_EQ(i.obj<HandlePtr>(), second);
    EXPECT_EQ(i.key<std::int32_t>(), -1);
    i.inc();
    EXPECT_FALSE(i.nonnull());
}

TEST_F(InspectOperation, WhatHasNoElementsHasNoIterator) {
    EXPECT_FALSE((RawIterator{raw.generic(), *table, inMarkingState}.made()));
    EXPECT_FALSE((RawIterator{raw.generic(), *table, 775}.made()));
    EXPECT_FALSE((RawIterator{raw.generic(), *table, 776}.made()));
    EXPECT_FALSE((RawIterator{raw.generic(), *table, 9999}.made()));
}

} // namespace
} // namespace LoamSystemAcl
