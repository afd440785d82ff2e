#include "LibraryUnderTest.h"
#include "ReferenceModel.h"
#include "Script.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <rapidcheck.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <support/Figures.h>

// Library and reference model take the same random steps, and after each of them every answer that
// anybody can get is compared: readers, iterations, handles, response handlers, helpers,
// subscribers, statistics, and the files record by record. A failing script is shrunk to the
// shortest that still fails, and printed with the seed.
//
//     LOAM_MODEL_STEPS   about how many steps each test takes
//     LOAM_MODEL_SEED    the seed, as a former run has printed it
namespace model {
namespace {

struct Profile {
    bool strangeAcknowledgements; // the platform may say that anything is applied
    bool deathsWithinChanges;
};

std::uint64_t steps = 0;
std::uint64_t deaths = 0;

rc::Gen<Reaction> anyReaction() {
    auto const act = rc::gen::weightedElement<Act>({{8, Act::none},
                                                    {5, Act::write},
                                                    {3, Act::remove},
                                                    {1, Act::removeAll},
                                                    {1, Act::update},
                                                    {1, Act::clear},
                                                    {1, Act::mark},
                                                    {2, Act::sweep},
                                                    {1, Act::die}});
    return rc::gen::apply(
        [](Act what, unsigned table, Key key, Value value) {
            return Reaction{what, table, key, value};
        },
        act, rc::gen::inRange(0U, tableCount), rc::gen::inRange(0U, keyCount),
        rc::gen::inRange(1U, 5U));
}

// What code that is told of a change may do. It may not die: nobody dies in a callback that the
// library itself depends on to return.
Reaction withoutDeath(Reaction reaction) {
    reaction.act = reaction.act == Act::die ? Act::mark : reaction.act;
    return reaction;
}

Kind kindOf(unsigned dice, Profile const& profile) {
    struct Share {
        Kind kind;
        unsigned weight;
    };
    Share const shares[] = {{Kind::act, 50},
                            {Kind::commit, 20},
                            {Kind::hardware, 12},
                            {Kind::poll, 8},
                            {Kind::foreign, 2},
                            {Kind::makeTable, 2},
                            {Kind::helper, 3},
                            {Kind::watch, 3},
                            {Kind::sweepAll, 2},
                            {Kind::reconcile, 1},
                            {Kind::restart, 2},
                            {Kind::acknowledge, profile.strangeAcknowledgements ? 4U : 0U},
                            {Kind::dieWithin, profile.deathsWithinChanges ? 3U : 0U}};
    unsigned total = 0;
    for (auto const& share : shares) {
        total += share.weight;
    }
    dice %= total;
    for (auto const& share : shares) {
        if (dice < share.weight) {
            return share.kind;
        }
        dice -= share.weight;
    }
    return Kind::act;
}

Step stepOf(Kind kind, Act act, unsigned number, unsigned depends, Reaction const& reaction) {
    Step step;
    step.kind = kind;
    step.act = act == Act::die || act == Act::none ? Act::write : act;
    step.table = reaction.table;
    step.key = (number / 8) % keyCount;
    step.value = 1 + number % 4;
    step.depends = depends;
    step.reaction = reaction;
    step.reaction.table = number % tableCount;
    switch (kind) {
    case Kind::foreign: {
        unsigned const states[] = {1, 4, 5, 3, 6};
        step.value = states[number % std::size(states)];
        break;
    }
    case Kind::makeTable:
        step.value = number % 4;
        break;
    case Kind::helper:
        step.value = number % 5;
        break;
    case Kind::watch: {
        unsigned const fields[] = {0, 0x303, 0x304, 0x305, 0x306, 0x316, 0x31f, 0x320};
        step.value = fields[number % std::size(fields)];
        step.reaction = withoutDeath(step.reaction);
        break;
    }
    case Kind::commit: {
        unsigned const budgets[] = {1, 2, 5, 100};
        step.value = budgets[number % std::size(budgets)];
        break;
    }
    case Kind::hardware:
        step.value = 1 + number % 7;
        step.key = number % 3 == 0 ? step.key : 0; // which it refuses
        break;
    case Kind::acknowledge:
        step.value = number % 24;
        break;
    case Kind::restart:
        step.value = number * 2654435761U >> 16 & 0xff;
        break;
    default:
        break;
    }
    return step;
}

rc::Gen<Step> anyStep(Profile const& profile) {
    auto const act = rc::gen::weightedElement<Act>({{12, Act::write},
                                                    {6, Act::remove},
                                                    {1, Act::removeAll},
                                                    {2, Act::update},
                                                    {1, Act::clear},
                                                    {1, Act::mark},
                                                    {1, Act::sweep}});
    return rc::gen::apply(
        [profile](unsigned dice, Act what, unsigned number, unsigned depends,
                  Reaction const& reaction) {
            return stepOf(kindOf(dice, profile), what, number, depends > 6 ? 0 : depends, reaction);
        },
        rc::gen::inRange(0U, 10000U), act, rc::gen::inRange(0U, 100000U), rc::gen::inRange(0U, 16U),
        anyReaction());
}

rc::Gen<Script> anyScript(Profile const& profile) {
    return rc::gen::scale(
        3.0, rc::gen::container<Script>(rc::gen::resize(rc::kNominalSize, anyStep(profile))));
}

class Pair {
  public:
    // Takes the step with both, and gives what differs behind it.
    std::string take(Step const& step) {
        ++steps;
        library_.take(step, model_);
        try {
            model_.take(step);
        } catch (std::logic_error const& surprise) {
            return std::string{surprise.what()} + "\n";
        }
        deaths += !model_.events.empty() && model_.events.back().kind == Event::died ? 1 : 0;
        return library_.differences(model_);
    }

    // Everybody does all that is to do, and nobody acts when called back. Nothing may be
    // outstanding then, and the hardware has what the tables say.
    std::string settle() {
        model_.fuel = 0;
        for (int round = 0; round < 40 && !outstanding().empty(); ++round) {
            for (auto const& step : wholeRound()) {
                if (auto const differences = take(step); !differences.empty()) {
                    return "while settling: " + differences;
                }
            }
        }
        std::string left = outstanding();
        auto const hardware = library_.hardware;
        model_.audit();
        for (auto const& [place, entries] : hardware) {
            auto const found = model_.hardware.find(place);
            if (found == model_.hardware.end() ? !entries.empty() : found->second != entries) {
                left += "the hardware has other entries than the tables\n";
            }
        }
        for (auto const& [place, entries] : model_.hardware) {
            left += hardware.contains(place) ? "" : "the hardware has none of a unit's entries\n";
        }
        return model_.hardwareIsTold() ? left : std::string{};
    }

  private:
    // What waits for a commit that failed waits for ever: its handle stays pending.
    std::string outstanding() const {
        std::string result;
        for (unsigned family = 0; family < familyCount; ++family) {
            auto const& stored = model_.stored[family];
            if (stored.applied.value_or(0) != stored.announced || !stored.log.empty()) {
                result += "a change is never applied\n";
            }
            if (model_.queuedIn(family) != 0 && model_.failedCommits == 0) {
                result += "an operation is never committed\n";
            }
        }
        return result;
    }

    // Made tables, helpers that do nothing, nobody who reacts.
    static Script wholeRound() {
        Script script;
        for (unsigned table = 0; table < tableCount; ++table) {
            script.push_back({Kind::makeTable, Act::none, table, 0, 0, 0, {}});
            script.push_back({Kind::helper, Act::none, table, 0, 0, 0, {}});
            script.push_back({Kind::watch, Act::none, table, 0, 0, 0, {}});
        }
        script.push_back({Kind::commit, Act::none, 0, 0, 1000, 0, {}});
        for (unsigned table = 0; table < tableCount; table += unitCount) {
            script.push_back({Kind::hardware, Act::none, table, 0, 1000, 0, {}});
        }
        script.push_back({Kind::poll, Act::none, 0, 0, 0, 0, {}});
        return script;
    }

    LibraryUnderTest library_;
    ReferenceModel model_;
};

void runScript(Script const& script, Profile const& profile) {
    Pair pair;
    for (unsigned table = 0; table < tableCount; ++table) {
        auto const differences =
            pair.take({Kind::makeTable, Act::none, table, 0, 3, 0, {}}); // reset, own helper
        if (!differences.empty()) {
            RC_FAIL(differences);
        }
    }
    for (std::size_t i = 0; i < script.size(); ++i) {
        if (auto const differences = pair.take(script[i]); !differences.empty()) {
            std::ostringstream text;
            text << "behind step " << i << ", " << script[i] << ":\n" << differences;
            RC_FAIL(text.str());
        }
    }
    if (!profile.strangeAcknowledgements) {
        if (auto const left = pair.settle(); !left.empty()) {
            RC_FAIL("at the end: " + left);
        }
    }
}

bool holds(char const* name, Profile const& profile) {
    steps = 0;
    deaths = 0;
    testing_support::Figures figures{"steps of library and model"};
    bool const result = rc::check(name, [&] { runScript(*anyScript(profile), profile); });
    std::printf("%s: %llu steps, %llu deaths within a step\n", name,
                static_cast<unsigned long long>(steps), static_cast<unsigned long long>(deaths));
    figures.count = steps;
    EXPECT_TRUE(result); // before the figures are told
    return result;
}

TEST(ReferenceModel, LibraryAndModelAgreeBehindEveryStepWithHardwareThatKeepsTheRules) {
    EXPECT_TRUE(holds("hardware keeps the rules", {false, false}));
}

TEST(ReferenceModel, LibraryAndModelAgreeWhenTheAgentDiesWithinAChange) {
    EXPECT_TRUE(holds("agent dies within changes", {false, true}));
}

TEST(ReferenceModel, LibraryAndModelAgreeWhateverThePlatformAcknowledges) {
    EXPECT_TRUE(holds("platform acknowledges anything", {true, true}));
}

} // namespace
} // namespace model

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    char const* const wanted = std::getenv("LOAM_MODEL_STEPS");
    char const* const seed = std::getenv("LOAM_MODEL_SEED");
    // A script has 75 steps on average, and its settling some more.
    long const cases = (wanted == nullptr ? 60000 : std::atol(wanted)) / 90 + 1;
    std::string parameters = "max_success=" + std::to_string(cases);
    if (seed != nullptr) {
        parameters += std::string{" seed="} + seed;
    }
    ::setenv("RC_PARAMS", parameters.c_str(), 1);
    return RUN_ALL_TESTS();
}
