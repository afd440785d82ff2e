#include "WritePath.h"

#include <Ombra/Exception.h>

namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;
using WrapperPtr = Ombra::Ptr<EntryPath::Wrapper>;
using TablePtr = Ombra::Ptr<EntryPath::SwTable>;

// Writes down each call, and lets a test act in it.
class Client : public EntryPath::Helper {
  public:
    void finalizeOnSuccess(WrapperPtr const& entry, bool isDelete,
                           TablePtr const& swTable) override {
        calls.push_back(fmt::format("success {} {}", entry->key(), isDelete));
        tables.push_back(swTable);
        if (onSuccess) {
            onSuccess(entry);
        }
    }
    bool finalizeOnFailure(WrapperPtr const& entry, bool isDelete, TablePtr const&) override {
        calls.push_back(fmt::format("failure {} {}", entry->key(), isDelete));
        return true;
    }
    bool finalizeOnResourceUpdate(WrapperPtr const& entry, TablePtr const&,
                                  bool someResourceHasFailed) override {
        calls.push_back(fmt::format("update {} {}", entry->key(), someResourceHasFailed));
        return true;
    }

    std::vector<std::string> calls;
    std::vector<TablePtr> tables;
    std::function<void(WrapperPtr const&)> onSuccess;
};

using Calls = std::vector<std::string>;

TEST(Helper, ANewTableHasABaseHelper) {
    EntryPath t;
    ASSERT_NE(t.table->swTableHelper(), nullptr);
    EXPECT_EQ(typeid(*t.table->swTableHelper()), typeid(EntryPath::Helper));
}

TEST(Helper, TheBaseDoesNothingAndAnswersAsStated) {
    EntryPath t;
    auto const helper = EntryPath::Helper::Ipv4SystemPolicyTcamEntrySwTableHelperBaseIs();
    auto const wrapper =
        Ombra::ptrIs<EntryPath::Wrapper>(t.entryOf(1, 7), t.handleIn(State::entryPending));
    helper->finalizeOnSuccess(wrapper, false, t.table);
    helper->finalizeOnSuccess(wrapper, true, t.table);
    EXPECT_EQ(wrapper->swTableEntry(), t.entryOf(1, 7));
    EXPECT_FALSE(helper->finalizeOnFailure(wrapper, false, t.table));
    EXPECT_FALSE(helper->finalizeOnFailure(wrapper, true, t.table));
    EXPECT_TRUE(helper->finalizeOnResourceUpdate(wrapper, t.table, false));
    EXPECT_TRUE(helper->finalizeOnResourceUpdate(wrapper, t.table, true));
}

TEST(Helper, OfAClientThatChangesNothingAWriteCommitsAsWithTheBase) {
    auto const client = Ombra::ptrIs<Client>();
    EntryPath with{client};
    EXPECT_EQ(with.table->swTableHelper(), client);
    with.write(1, 7);
    with.commitAll();
    EXPECT_EQ(client->calls, (Calls{"success 0x00000001 false"}));
    EXPECT_EQ(client->tables, std::vector{with.table});
    EXPECT_EQ(with.places(1), (Places{.inLog = 1, .logged = 1}));
    EXPECT_EQ(with.change(1)->logEntry, with.entryOf(1, 7).logEntry());
    client->tables.clear();
}

TEST(Helper, WithTheBaseAWriteCommitsAsIfThereWereNone) {
    EntryPath t;
    t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(t.places(1), (Places{.inLog = 1, .logged = 1}));
    EXPECT_EQ(t.change(1)->logEntry, t.entryOf(1, 7).logEntry());
}

TEST(Helper, WhatItLeavesInTheEntryIsWhatIsLogged) {
    auto const client = Ombra::ptrIs<Client>();
    client->onSuccess = [](WrapperPtr const& wrapper) {
        wrapper->swTableEntry() = EntryPath::entryOf(1, 99);
    };
    EntryPath t{client};
    t.write(1, 7);
    t.commitAll();
    EXPECT_EQ(t.change(1)->logEntry, t.entryOf(1, 99).logEntry());
    EXPECT_EQ(t.config(1)->entry(), t.entryOf(1, 99));
    EXPECT_EQ(t.table->entryRead(Key{1}), t.entryOf(1, 99));
    client->tables.clear();
}

TEST(Helper, OfARemoveItSeesAPlaceholderWithOnlyTheKeySet) {
    auto const client = Ombra::ptrIs<Client>();
    EntryPath t{client};
    t.applied(1, 7);
    std::optional<EntryPath::Entry> seen;
    client->onSuccess = [&](WrapperPtr const& wrapper) { seen = wrapper->swTableEntry(); };
    t.remove(1);
    t.commitAll();
    EXPECT_EQ(seen, EntryPath::Entry{Key{1}});
    EXPECT_EQ(client->calls.back(), "success 0x00000001 true");
    client->tables.clear();
}

TEST(Helper, IsNotCalledForARemoveAllNorForWhatIsRefused) {
    auto const client = Ombra::ptrIs<Client>();
    EntryPath t{client};
    auto const failed = t.handleIn(State::entryFailed);
    t.write(1, 7, failed);
    t.remove(2, failed);
    t.removeAll(failed);
    t.removeAll();
    EXPECT_EQ(t.commitAll(), 4U);
    EXPECT_EQ(client->calls, Calls{});
}

TEST(Helper, AClientsReplacesTheOneThatIsThereAndTheChangeIsTold) {
    EntryPath t;
    auto const base = t.table->swTableHelper();
    std::vector<Ombra::Ptr<EntryPath::Helper>> formers;
    auto const subscription = t.table->publisher()->subscribe([&](Ombra::Change const& change) {
        EXPECT_EQ(change.fieldId, Ombra::FieldId{0x302});
        formers.push_back(*static_cast<Ombra::Ptr<EntryPath::Helper> const*>(change.former));
    });
    auto const client = Ombra::ptrIs<Client>();
    t.agent.makeSwTable<EntryPath::Family>(0, false, client);
    EXPECT_EQ(t.table->swTableHelper(), client);
    t.table->swTableHelperIs(client); // the same one
    t.agent.makeSwTable<EntryPath::Family>(0, false, nullptr);
    EXPECT_EQ(t.table->swTableHelper(), client);
    EXPECT_EQ(formers, std::vector{base});
}

TEST(Helper, OfATableIsNeverNull) {
    EntryPath t;
    auto const base = t.table->swTableHelper();
    EXPECT_THROW(t.table->swTableHelperIs(nullptr), Ombra::NullPointerException);
    EXPECT_EQ(t.table->swTableHelper(), base);
}

TEST(Helper, AnUpdateCallsItDirectly) {
    auto const client = Ombra::ptrIs<Client>();
    EntryPath t{client};
    t.applied(1, 7);
    client->calls.clear();
    t.table->updateEntry(Key{1});
    EXPECT_EQ(client->calls, (Calls{"update 0x00000001 false"}));
    client->tables.clear();
}

// ---- the wrapper's side

TEST(EntryWrapper, TracesFinalisationUnderItsOwnNameAndPassesItOn) {
    auto const client = Ombra::ptrIs<Client>();
    EntryPath t{client};
    auto const wrapper =
        Ombra::ptrIs<EntryPath::Wrapper>(t.entryOf(0x2a, 7), t.handleIn(State::entryPending));
    TraceCapture const traces{t.tableName() + "*"};
    wrapper->finalizeOnSuccess(t.table, true);
    EXPECT_TRUE(wrapper->finalizeOnFailure(t.table, false));
    auto const line = [&](unsigned level, char const* function, char const* text) {
        return TraceCapture::Line{t.swTableName(), level, t.wrapperName(), function, text};
    };
    EXPECT_EQ(traces.lines,
              (Lines{line(8, "finalizeOnSuccess", " key: 0x0000002a isDeleted: true"),
                     line(8, "finalizeOnFailure", " key: 0x0000002a isDeleted: false"),
                     line(3, "finalizeOnFailure", " retVal: true")}));
    EXPECT_EQ(client->calls, (Calls{"success 0x0000002a true", "failure 0x0000002a false"}));
    client->tables.clear();
}

TEST(EntryWrapper, TheBaseHelpersAnswerToAFailureIsFalseAndTraced) {
    EntryPath t;
    auto const wrapper =
        Ombra::ptrIs<EntryPath::Wrapper>(t.entryOf(1, 7), t.handleIn(State::entryPending));
    TraceCapture const traces{t.tableName() + "*"};
    EXPECT_FALSE(wrapper->finalizeOnFailure(t.table, true));
    EXPECT_TRUE(traces.has(3, " retVal: false"));
}

TEST(EntryWrapper, ResolvedFieldsAndClientDataAreNothingInTheseTables) {
    EntryPath t;
    auto const wrapper =
        Ombra::ptrIs<EntryPath::Wrapper>(t.entryOf(1, 7), t.handleIn(State::entryPending));
    TraceCapture const traces{t.tableName() + "*"};
    wrapper->setResolvedFields();
    wrapper->retrieveClientData();
    EXPECT_EQ(wrapper->swTableEntry(), t.entryOf(1, 7));
    EXPECT_TRUE(traces.lines.empty());
}

TEST(EntryWrapper, DiesWithTheLastOfItsCollectionAndItsResolverEntry) {
    EntryPath t;
    auto const live = [] {
        return Zet::AllocTrackTypeInfo::live(EntryPath::Wrapper::memAllocationTracker_);
    };
    auto const before = live();
    t.write(1, 7);
    t.write(1, 8); // the first one is left to its resolver entry
    EXPECT_EQ(live() - before, 2U);
    t.commitOne();
    EXPECT_EQ(live() - before, 1U);
    t.commitOne();
    EXPECT_EQ(live(), before);
    t.write(1, 9, t.handleIn(State::entryFailed));
    t.commitAll(); // refused: left to the collection
    EXPECT_EQ(live() - before, 1U);
    t.table->transientAddEntryDelAll();
    EXPECT_EQ(live(), before);
}

} // namespace
} // namespace LoamSystemAcl
