#include <fmt/format.h>
#include <gtest/gtest.h>

#include <crash/Killed.h>
#include <cstdlib>
#include <string>
#include <support/Figures.h>
#include <support/TemporaryRoot.h>
#include <vector>

// Whatever a table stores, stopped behind each of its instructions, with a death there and a
// restart from it. The stages are the rules, as docs/states.md tells them.
namespace crash_test {
namespace {

testing::Environment* const root =
    testing::AddGlobalTestEnvironment(new testing_support::TemporaryRoot);

// --- the cases

void put(Agent& agent, unsigned key, unsigned value, bool suppress = false) {
    agent.up->log->entryIs(patterned(Key{key}, value), ResourceKeys{}, nullptr, 0, agent.up->stats,
                           suppress);
}

struct Case {
    char const* name;
    Scenario scenario;
    bool isStart = false;
};

// The stages of each change: configuration table, log, scratchpad, announcement.
std::vector<Stage> change(LogVersion version, Stage config, std::string const& log) {
    auto const text = std::to_string(version);
    return {std::move(config),
            {{logItem(version), log}},
            {{"scratchpad", text}},
            {{"announced", text}}};
}

std::vector<Stage> change(LogVersion version, unsigned key, std::string const& config,
                          std::string const& log) {
    return change(version, Stage{{configItem(key), config}}, log);
}

Stage gone(std::vector<std::string> const& items) {
    Stage stage;
    for (auto const& item : items) {
        stage.push_back({item, std::nullopt});
    }
    return stage;
}

// Each thing that a table does to shared memory, with keys `a`, `b` and `c` where it needs them.
std::vector<Case> casesOf(unsigned a, unsigned b, unsigned c) {
    // At versions 1 to 3; b is deleted at version 4.
    auto const three = [=](Agent& agent) {
        agent.start();
        put(agent, a, 10);
        put(agent, b, 20);
        put(agent, c, 30);
        agent.up->remove(Key{b});
    };
    // a is deleted at version 3; version 1 is acknowledged.
    auto const table = [=](Agent& agent) {
        agent.up.emplace(agent.manager, false);
        agent.table = agent.up->intf->makeSwTable(0, nullptr, false);
        put(agent, a, 10);
        put(agent, b, 20);
        agent.up->remove(Key{a});
        agent.up->agent.acknowledge(Constants::tableId, 1);
    };
    Asic::TableVersion const place{Asic::SwTableId{77}, 3};
    return {
        {"FirstStart",
         {[](Agent&) {},
          [](Agent& agent) { agent.start(); },
          {{{"scratchpad", "0"}, {"announced", "0"}}}},
         true},
        {"FirstWrite",
         {[](Agent& agent) { agent.start(); }, [=](Agent& agent) { put(agent, a, 5); },
          change(1, a, live(1, 5), write(a, 5))}},
        {"WriteOfAKeyThatIsThere",
         {three, [=](Agent& agent) { put(agent, a, 5); }, change(5, a, live(5, 5), write(a, 5))}},
        {"WriteThatIsSuppressed", {three, [=](Agent& agent) { put(agent, a, 10, true); }, {}}},
        {"WriteOfAKeyInDeletion",
         {three, [=](Agent& agent) { put(agent, b, 5, true); },
          change(5, b, live(5, 5), write(b, 5))}},
        {"Delete",
         {three, [=](Agent& agent) { agent.up->remove(Key{a}); },
          change(5, a, deleted(5, 10), remove(a, 10))}},
        {"DeleteOfAKeyInDeletion",
         {three, [=](Agent& agent) { agent.up->remove(Key{b}); },
          change(5, b, deleted(5, 20), remove(b, 20))}},
        {"DeleteOfAKeyThatIsNotThere",
         {three, [=](Agent& agent) { agent.up->remove(Key{a + b + c}); }, {}}},
        {"TableDelete",
         {three, [](Agent& agent) { agent.up->removeAll(); },
          change(5, {{configItem(a), deleted(5, 10)}, {configItem(c), deleted(5, 30)}},
                 tableDelete)}},
        {"FirstTrim",
         {three,
          [](Agent& agent) { agent.up->log->cleanupEntryLog(4); },
          {gone({logItem(1), logItem(2), logItem(3), logItem(4)}), gone({configItem(b)})}}},
        {"TrimPastATableDelete",
         {[=](Agent& agent) {
              three(agent);
              agent.up->log->cleanupEntryLog(3);
              agent.up->removeAll();
          },
          [](Agent& agent) { agent.up->log->cleanupEntryLog(5); },
          {gone({logItem(4)}), gone({configItem(b)}), gone({logItem(5)}),
           gone({configItem(a), configItem(c)})}}},
        {"StartWithAPurge",
         {[=](Agent& agent) {
              three(agent);
              agent.up->agent.appliedIs(Constants::tableId, 4);
              agent.up.reset();
          },
          [](Agent& agent) { agent.start(); },
          {gone({logItem(1), logItem(2), logItem(3), logItem(4)}), gone({configItem(b)})}},
         true},
        {"AnnouncementOfAChangeThatNeedsAnother",
         {three,
          [=](Agent& agent) {
              auto const needed = Ombra::ptrIs<Asic::NeededEntry>();
              needed->add(place);
              agent.up->log->entryIs(patterned(Key{a}, 5), ResourceKeys{}, needed, 0,
                                     agent.up->stats, false);
          },
          {{{configItem(a), live(5, 5)}},
           {{logItem(5), write(a, 5)}},
           {{"scratchpad", "5"}},
           {{neededItem(5), fmt::format("{} ", place)}},
           {{"announced", "5"}}}}},
        {"WriteThroughTheTableAndItsResolver",
         {table,
          [=](Agent& agent) {
              agent.table->entryWrite(Key{c}, Family::Entry{patterned(Key{c}, 7)}, nullptr);
              agent.up->agent.resolve();
          },
          change(4, c, live(4, 7), write(c, 7))}},
        {"Acknowledgement",
         {table,
          [](Agent& agent) { agent.up->agent.acknowledge(Constants::tableId, 3); },
          {{{"applied", "3"}}, gone({logItem(2)}), gone({logItem(3)}), gone({configItem(a)})}}},
    };
}

std::string textOf(Findings const& found) {
    return fmt::format("{} boundaries, {} images of shared memory, {} restarts, {} violations",
                       found.boundaries, found.images, found.restarts, found.violations.size());
}

void expectNothingWrong(Findings const& found) {
    for (auto const& violation : found.violations) {
        ADD_FAILURE() << violation;
    }
}

// The long form's wish; 0 in the short one.
std::uint64_t boundariesWanted() {
    char const* const wanted = std::getenv("LOAM_CRASH_BOUNDARIES");
    return wanted == nullptr ? 0 : std::strtoull(wanted, nullptr, 10);
}

std::vector<Case> starts() {
    auto cases = casesOf(1, 2, 3);
    std::erase_if(cases, [](Case const& each) { return !each.isStart; });
    return cases;
}

std::vector<Case> changes(unsigned a, unsigned b, unsigned c) {
    auto cases = casesOf(a, b, c);
    std::erase_if(cases, [](Case const& each) { return each.isStart; });
    return cases;
}

auto const nameOf = [](auto const& test) { return std::string{test.param.name}; };

class KilledAnywhere : public testing::TestWithParam<Case> {};

TEST_P(KilledAnywhere, LeavesWhatTheRulesNameAndNothingElse) {
    testing_support::Figures boundaries{"boundaries between instructions"};
    auto const found =
        killBehindEveryInstruction(GetParam().scenario, {.restartEvery = 8}, GetParam().name);
    boundaries.count += found.boundaries;
    expectNothingWrong(found);
    fmt::print("{}\n", textOf(found));
}

INSTANTIATE_TEST_SUITE_P(In, KilledAnywhere, testing::ValuesIn(changes(1, 2, 3)), nameOf);

// Behind every instruction in the long form.
class KilledInAStart : public testing::TestWithParam<Case> {};

TEST_P(KilledInAStart, LeavesWhatTheRulesNameAndNothingElse) {
    testing_support::Figures boundaries{"boundaries between instructions"};
    Effort const effort{.restartEvery = 5, .systemCallsAlone = boundariesWanted() == 0};
    auto const found = killBehindEveryInstruction(GetParam().scenario, effort, GetParam().name);
    boundaries.count += found.boundaries;
    expectNothingWrong(found);
    fmt::print("{}\n", textOf(found));
}

INSTANTIATE_TEST_SUITE_P(In, KilledInAStart, testing::ValuesIn(starts()), nameOf);

// All changes again and again, with other keys, and with deaths in the restarts too, until
// LOAM_CRASH_BOUNDARIES stops were looked behind; one change when that isn't set.
TEST(KilledTwice, LeavesWhatTheRulesName) {
    testing_support::Figures boundaries{"boundaries between instructions"};
    Findings all;
    for (unsigned round = 0; round == 0 || all.boundaries < boundariesWanted(); ++round) {
        unsigned const first = 1 + round * 7919;
        for (auto const& each : changes(first, first * 3 + 1, first * 5 + 2)) {
            SCOPED_TRACE(testing::Message() << each.name << ", round " << round);
            auto const found = killBehindEveryInstruction(
                each.scenario, {.restartEvery = 4, .secondKillAt = 1 + round % 12}, each.name);
            expectNothingWrong(found);
            all.add(found);
            boundaries.count += found.boundaries;
            if (HasFailure() || boundariesWanted() == 0) {
                break;
            }
        }
        if (HasFailure()) {
            return;
        }
    }
    fmt::print("{}\n", textOf(all));
}

} // namespace
} // namespace crash_test
