#include <Slate/Verify.h>

#include <fmt/format.h>

#include <crash/Killed.h>
#include <exception>
#include <filesystem>
#include <support/SingleStep.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace crash_test {

namespace {

LogVersion versionIn(View const& view, std::string const& item) {
    auto const found = view.find(item);
    return found == view.end() ? 0 : std::stoull(found->second);
}

// What stands behind a restart from a death in which `view` stood, by the rules: what was logged is
// announced, and what was acknowledged is trimmed.
View restarted(View view) {
    LogVersion const applied = versionIn(view, "applied");
    std::erase_if(view, [&](auto const& held) {
        auto const& [item, value] = held;
        if (item.starts_with("log/")) {
            return view.contains("applied") && std::stoull(item.substr(4)) <= applied;
        }
        return item.starts_with("config/") && value.find(" deleted ") != std::string::npos &&
               applied != 0 && std::stoull(value) <= applied;
    });
    view["scratchpad"] = std::to_string(versionIn(view, "scratchpad"));
    view["announced"] = view["scratchpad"];
    return view;
}

constexpr unsigned freshKey = 4711;
constexpr unsigned freshValue = 42;

// ... and behind one more write.
View goneOn(View view) {
    LogVersion const version = versionIn(view, "scratchpad") + 1;
    view[configItem(freshKey)] = live(version, freshValue);
    view[logItem(version)] = write(freshKey, freshValue);
    view["scratchpad"] = view["announced"] = std::to_string(version);
    return view;
}

// The item-wise difference, as one stage.
Stage stageBetween(View const& before, View const& behind) {
    Stage stage;
    for (auto const& [item, value] : behind) {
        auto const found = before.find(item);
        if (found == before.end() || found->second != value) {
            stage.push_back({item, value});
        }
    }
    for (auto const& [item, value] : before) {
        if (!behind.contains(item)) {
            stage.push_back({item, std::nullopt});
        }
    }
    return stage;
}

// How far a run has come, by what is seen of it. It never goes back, and takes its stages in order.
class Progress {
  public:
    Progress(View before, std::vector<Stage> const& stages)
        : before_{std::move(before)}, stages_{stages} {
        for (Stage const& stage : stages_) {
            done_.emplace_back(stage.size(), false);
        }
    }

    // What is wrong with the view; empty when nothing is.
    std::string judge(View const& now) {
        View rest = now;
        View restBefore = before_;
        bool open = false; // a stage before has changes that are not seen
        for (std::size_t at = 0; at < stages_.size(); ++at) {
            bool missing = false;
            for (std::size_t index = 0; index < stages_[at].size(); ++index) {
                Change const& change = stages_[at][index];
                bool const seen = valueIn(now, change.item) == change.value;
                if (!seen && valueIn(now, change.item) != valueIn(before_, change.item)) {
                    return fmt::format("{} is {}, which it neither was nor becomes", change.item,
                                       valueIn(now, change.item).value_or("absent"));
                }
                if (!seen && done_[at][index]) {
                    return fmt::format("{} has gone back", change.item);
                }
                if (seen && open) {
                    return fmt::format("{} is seen before what goes before it", change.item);
                }
                missing = missing || !seen;
                done_[at][index] = seen;
                rest.erase(change.item);
                restBefore.erase(change.item);
            }
            open = open || missing;
        }
        ended_ = !open;
        return rest == restBefore ? ""
                                  : fmt::format("others have changed: from {} to {}",
                                                textOf(restBefore), textOf(rest));
    }

    bool ended() const { return ended_; }

  private:
    static std::optional<std::string> valueIn(View const& view, std::string const& item) {
        auto const found = view.find(item);
        return found == view.end() ? std::nullopt : std::optional{found->second};
    }

    View before_;
    std::vector<Stage> stages_;
    std::vector<std::vector<bool>> done_;
    bool ended_ = false;
};

void guarded(std::function<void()> const& work) {
    try {
        work();
    } catch (std::exception const& failure) {
        fmt::print(stderr, "agent: {}\n", failure.what());
        ::_exit(1);
    }
}

// One run, from `start` or from nothing.
class Run {
  public:
    Run(Scenario const& scenario, Effort const& effort, std::string manager, TreeImage const* start)
        : scenario_{scenario}, effort_{effort}, manager_{std::move(manager)}, start_{start} {}

    Findings step() {
        auto const hot = hotPages();
        begin(manager_);
        Agent agent{manager_, {}, {}};
        testing_support::SteppedChild child{[&] { guarded([&] { scenario_.run(agent); }); },
                                            [&] { guarded([&] { scenario_.prepare(agent); }); }};
        Onlooker onlooker{manager_};
        View now = onlooker.look();
        Progress progress{now, scenario_.stages};
        TreeWatch watch{manager_, hot};
        while (auto const stop = next(child)) {
            if (!(*stop == Stop::systemCall ? watch.changedBySystemCall() : watch.changed())) {
                continue;
            }
            ++found_.images;
            auto const where = fmt::format("behind stop {}", child.steps());
            look(where + ": a reader", [&] {
                now = onlooker.look();
                return progress.judge(now);
            });
            if (found_.images % effort_.restartEvery == 0) {
                restart(now, where);
            }
            if (found_.violations.size() > 3) {
                return found_;
            }
        }
        found_.boundaries += child.steps();
        if (child.status() != 0) {
            violation("the agent failed");
        }
        look("at the end", [&] {
            now = onlooker.look();
            auto const wrong = progress.judge(now);
            return wrong.empty() && !progress.ended() ? "not all has come: " + textOf(now) : wrong;
        });
        if (!watch.watchesAll()) {
            violation("memory was used that was not watched");
        }
        return found_;
    }

  private:
    enum class Stop { instruction, systemCall };

    // Nothing when the child has ended.
    std::optional<Stop> next(testing_support::SteppedChild& child) const {
        auto const stop =
            effort_.systemCallsAlone || child.atSystemCall() ? Stop::systemCall : Stop::instruction;
        bool const goesOn = effort_.systemCallsAlone ? child.stepToSystemCall() : child.step();
        return goesOn ? std::optional{stop} : std::nullopt;
    }

    template <typename... Values>
    void violation(fmt::format_string<Values...> text, Values&&... values) {
        found_.violations.push_back(fmt::format(text, std::forward<Values>(values)...));
    }

    // Takes down what `judge` finds wrong; that nothing can be read is wrong as well.
    template <typename Judge>
    void look(std::string const& where, Judge const& judge) {
        try {
            if (std::string const wrong = judge(); !wrong.empty()) {
                violation("{}: {}", where, wrong);
            }
        } catch (std::exception const& failure) {
            violation("{}: {}", where, failure.what());
        }
    }

    void begin(std::string const& manager) const {
        (start_ != nullptr ? *start_ : TreeImage{}).become(manager);
    }

    // What a run writes to, found by one that isn't stepped.
    TreeWatch::Pages hotPages() {
        auto const dry = manager_ + "-dry";
        begin(dry);
        Agent agent{dry, {}, {}};
        if (!inAProcess([&] {
                scenario_.prepare(agent);
                scenario_.run(agent);
            })) {
            violation("the agent failed without being stopped");
        }
        return TreeWatch::pagesOf(dry);
    }

    void restart(View const& now, std::string const& where) {
        ++found_.restarts;
        auto const image = TreeImage::of(manager_);
        auto const again = manager_ + "-again";
        image.become(again);
        for (auto const& [name, file] : image.files) {
            if (name.ends_with(".slate")) {
                Slate::verify(folderOf(again) + "/" + name, [&](Slate::Damage const& damage) {
                    violation("{}: {}", where, damage.text);
                });
            }
        }
        Agent agent{again, {}, {}};
        auto const up = [](Agent& each) { each.start(); };
        if (!inAProcess([&] {
                up(agent);
                agent.up->log->entryIs(patterned(Key{freshKey}, freshValue), ResourceKeys{},
                                       nullptr, 0, agent.up->stats, false);
            })) {
            violation("{}: an agent can't come up again", where);
            return;
        }
        look(where + ": behind a restart", [&] {
            View const stands = Onlooker{again}.look();
            View const expected = goneOn(restarted(now));
            return stands == expected
                       ? ""
                       : fmt::format("expected {}, found {}", textOf(expected), textOf(stands));
        });
        if (found_.restarts == effort_.secondKillAt) {
            Scenario const second{[](Agent&) {}, up, {stageBetween(now, restarted(now))}};
            Effort const lesser{.restartEvery = 3, .systemCallsAlone = true};
            found_.add(Run{second, lesser, manager_ + "-second", &image}.step());
        }
    }

    Scenario const& scenario_;
    Effort effort_;
    std::string manager_;
    TreeImage const* start_;
    Findings found_;
};

} // namespace

bool inAProcess(std::function<void()> const& work) {
    pid_t const pid = ::fork();
    if (pid == 0) {
        guarded(work);
        ::_exit(0);
    }
    int status = 0;
    return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void Agent::start() {
    up.emplace(manager, false);
    auto const versions = up->agent.group()->tableVersionMap();
    up->log->mountSlateConfig(
        0, versions
               ? LogVersion{versions->map().lookup(Constants::tableId, nullptr, nullptr).version}
               : 0);
}

void Findings::add(Findings const& other) {
    boundaries += other.boundaries;
    images += other.images;
    restarts += other.restarts;
    violations.insert(violations.end(), other.violations.begin(), other.violations.end());
}

Findings killBehindEveryInstruction(Scenario const& scenario, Effort const& effort,
                                    std::string const& manager) {
    auto found = Run{scenario, effort, manager, nullptr}.step();
    for (auto const* suffix : {"", "-dry", "-again", "-second", "-second-dry", "-second-again",
                               "-words", "-dry-words"}) {
        std::filesystem::remove_all(folderOf(manager + suffix));
    }
    return found;
}

} // namespace crash_test
