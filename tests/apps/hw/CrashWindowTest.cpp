#include "HwFixture.h"

#include <LoamSystemAcl/TwoProcess.h>
#include <Orbis/EntityManager.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <tuple>

// An agent that is killed between two stores of a change, for every kind of change; the next agent
// and the hardware side take over. At the end hardware and configuration table are equal.
namespace LoamHw {

using LoamSystemAcl::entry_log_test::awaitStop;
using LoamSystemAcl::entry_log_test::Child;
using LoamSystemAcl::entry_log_test::Reader;
using LoamSystemAcl::entry_log_test::stepThrough;
using LoamSystemAcl::entry_log_test::stopHere;
using Family = LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily;
using Key = Family::Key;
using SwTable = Ombra::Ptr<Family::SwTable>;
using testing_support::AgentInProcess;

namespace {

constexpr std::uint32_t first = 4; // keys 1 to 4 stand before the change, which gets version 5
constexpr Asic::LogVersion changed = first + 1;

Family::Entry entryOf(std::uint32_t key, std::uint8_t value) {
    Family::Entry entry{Key{key}};
    entry.fields()[10] = std::byte{value};
    return entry;
}

// A change and the keys whose records it moves.
struct TableChange {
    char const* name;
    std::function<void(SwTable const&)> make;
    std::vector<std::uint32_t> keys;
};

TableChange const changes[] = {
    {"Write", [](SwTable const& table) { table->entryWrite(Key{9}, entryOf(9, 9), nullptr); }, {9}},
    {"Rewrite",
     [](SwTable const& table) { table->entryWrite(Key{2}, entryOf(2, 9), nullptr); },
     {2}},
    {"Remove", [](SwTable const& table) { table->entryRemove(Key{2}, nullptr); }, {2}},
    {"RemoveAll", [](SwTable const& table) { table->entryRemoveAll(nullptr); }, {1, 2, 3, 4}},
};

bool moved(Reader const& reader, std::uint32_t key) {
    auto const record = reader.stored(Key{key});
    return record && record->logVersion() == changed;
}

// How far the change has come when the agent dies.
struct Window {
    char const* name;
    std::function<bool(Reader const&, TableChange const&)> reached;
    Asic::LogVersion announcedAtTheNextStart;
};

Window const windows[] = {
    {"BeforeAnyStore", [](auto const&, auto const&) { return true; }, first},
    {"AtTheFirstRecord",
     [](Reader const& reader, TableChange const& change) {
         return std::ranges::any_of(change.keys, [&](auto key) { return moved(reader, key); });
     },
     first},
    {"AfterTheConfigurationTable",
     [](Reader const& reader, TableChange const& change) {
         return std::ranges::all_of(change.keys, [&](auto key) { return moved(reader, key); });
     },
     first},
    {"AfterTheLog",
     [](Reader const& reader, auto const&) { return reader.logged(changed).has_value(); }, first},
    {"AfterTheScratchpad",
     [](Reader const& reader, auto const&) { return reader.scratchpad() == changed; }, changed},
    {"AfterTheAnnouncement",
     [](Reader const& reader, auto const&) { return reader.announced() == changed; }, changed},
};

using Parameter = std::tuple<TableChange, Window, bool>;

} // namespace

class CrashWindow : public HwFixture, public testing::WithParamInterface<Parameter> {
  protected:
    CrashWindow() {
        static bool const set = [] {
            Orbis::setRoot(ZetSharedMem::root());
            return true;
        }();
        static_cast<void>(set);
        agent->closeAll(); // the tables' own agent takes its place
    }

    static SwTable tableOf(AgentInProcess const& of, bool reset) {
        return of.makeSwTable<Family>(0, reset);
    }

    void killAgentIn(Window const& window, TableChange const& change) {
        Child child{[&] {
            AgentInProcess dying{managerName, false};
            auto const table = tableOf(dying, true);
            for (std::uint32_t key = 1; key <= first; ++key) {
                table->entryWrite(Key{key}, entryOf(key, 1), nullptr);
            }
            dying.resolve();
            change.make(table);
            stopHere();
            dying.resolve();
        }};
        awaitStop(child);
        Reader reader{managerName};
        ASSERT_TRUE(reader.open());
        startHardware();
        rounds();
        ASSERT_EQ(acknowledged<Ipv4Entries>(), first);
        ASSERT_TRUE(stepThrough(child, [&] { return !window.reached(reader, change); }));
    }

    void expectEqual(Family::SwTable const& table) {
        auto const& records = table.entryLog()->tableConfigSlate(0)->swTableEntries();
        for (std::uint32_t key = 1; key <= 12; ++key) {
            SCOPED_TRACE(key);
            bool found = false;
            Family::ConfigSlateEntry const record = records.lookup(Key{key}, &found, nullptr);
            auto const held = backend->read(Place{Ipv4Entries::Constants::tableId, 0, key});
            ASSERT_EQ(held.has_value(), found && !record.inDeletion());
            if (held) {
                EXPECT_TRUE(std::ranges::equal(*held, record.logEntry().fields()));
            }
        }
    }
};

TEST_P(CrashWindow, EndsWithHardwareAndConfigurationTableEqual) {
    auto const& [change, window, nextWrites] = GetParam();
    killAgentIn(window, change);
    rounds(); // with nobody there
    AgentInProcess next{managerName, false};
    auto const table = tableOf(next, false);
    EXPECT_EQ(next.group()->announcements().announcedVersion(table->tableId()),
              window.announcedAtTheNextStart);
    if (nextWrites) { // takes the version again that the dead agent had taken, if it had published
                      // none
        table->entryWrite(Key{11}, entryOf(11, 7), nullptr);
        next.resolve();
    }
    rounds();
    pass(TableFollower::leftoverAge);
    next.group()->pollTableVersions();
    pass(TableFollower::leftoverAge);
    expectEqual(*table);
    EXPECT_TRUE(hardware->settled());
    EXPECT_EQ(acknowledged<Ipv4Entries>(), table->entryLog()->tableVersion());
    EXPECT_FALSE(table->hasPendingHwWrites());
}

INSTANTIATE_TEST_SUITE_P(Of, CrashWindow,
                         testing::Combine(testing::ValuesIn(changes), testing::ValuesIn(windows),
                                          testing::Bool()),
                         [](auto const& param) {
                             return std::string{std::get<0>(param.param).name} +
                                    std::get<1>(param.param).name +
                                    (std::get<2>(param.param) ? "AndAnotherWrite" : "");
                         });

} // namespace LoamHw
