#include "LibraryUnderTest.h"
#include "TypedFamily.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>

namespace model {

struct LibraryUnderTest::Quiet {
    explicit Quiet(unsigned& depth) : depth_{++depth} {}
    ~Quiet() { --depth_; }
    unsigned& depth_;
};

LibraryUnderTest::LibraryUnderTest() {
    families_[0] =
        std::make_unique<TypedFamily<LoamSystemAcl::Ipv4SystemPolicyTcamEntryFamily>>(*this, 0);
    families_[1] =
        std::make_unique<TypedFamily<LoamSystemAcl::Ipv4SystemPolicyTcamActionFamily>>(*this, 1);
}

LibraryUnderTest::~LibraryUnderTest() {
    handles_.clear();
    for (auto& family : families_) {
        family->letGo();
    }
}

void LibraryUnderTest::take(Step const& step, ReferenceModel& model) {
    events.clear();
    fuel_ = model.fuel;
    committedLast_ = 0;
    model_ = &model;
    model.orders.clear();
    unsigned const unit = unitOf(step.table);
    bool const made = family(step.table).made(unit);
    noteOrders(model);
    try {
        switch (step.kind) {
        case Kind::act:
            if (made) {
                auto const dependency = step.depends == 0 || step.depends > handles_.size()
                                            ? AnyHandle{}
                                            : handles_[handles_.size() - step.depends];
                act(step.act, step.table, step.key, step.value, dependency, step.reaction,
                    step.reaction.act != Act::none);
            }
            break;
        case Kind::foreign:
            if (made) {
                keep(family(step.table).foreign(unit, step.key, step.value));
            }
            break;
        case Kind::makeTable:
            family(step.table).makeTable(unit, step.value % 2 != 0, step.value / 2 % 2 != 0);
            break;
        case Kind::helper:
            if (made) {
                family(step.table).helper(unit, static_cast<HelperMode>(step.value), step.reaction);
            }
            break;
        case Kind::watch:
            if (made) {
                family(step.table).watch(unit, step.value, step.reaction);
            }
            break;
        case Kind::commit:
            if (auto const group = agent_.group()) {
                committedLast_ = group->groupResolver()->run(step.value).committed;
            }
            break;
        case Kind::hardware:
            if (family(step.table).up() && step.value != 0) {
                family(step.table).turnOfHardware(step.value, step.key);
            }
            break;
        case Kind::poll:
            if (auto const group = agent_.group()) {
                group->pollTableVersions();
            }
            break;
        case Kind::acknowledge:
            if (made) {
                family(step.table).statusVersion(unit, step.value);
            }
            break;
        case Kind::sweepAll:
            if (auto const group = agent_.group()) {
                for (auto const& table : group->sweepableSwTables()) {
                    unsigned const of = table->tableId() == families_[0]->tableId() ? 0 : 1;
                    if (families_[of]->marking(table->unitId())) {
                        ordersPush(families_[of]->order(table->unitId()));
                    }
                }
                Quiet const quiet{quiet_};
                group->sweepSwTables();
            }
            break;
        case Kind::reconcile:
            for (auto& each : families_) {
                if (each->up()) {
                    each->reconcile();
                }
            }
            break;
        case Kind::restart:
            restart(step.value);
            break;
        case Kind::dieWithin:
            if (made) {
                family(step.table).dieWithin(step);
                restart(0);
                events = {{Event::died}};
            }
            break;
        }
    } catch (HelperFailure const&) {
        events.push_back({Event::failed});
    } catch (AgentDied const&) {
        restart(0);
        events = {{Event::died}};
    }
}

void LibraryUnderTest::act(Act act, unsigned table, Key key, Value value,
                           AnyHandle const& dependency, Reaction const& reaction, bool answers) {
    auto& of = family(table);
    unsigned const unit = unitOf(table);
    switch (act) {
    case Act::none:
        break;
    case Act::write:
        keep(of.write(unit, key, value, dependency, reaction, answers));
        break;
    case Act::remove:
        keep(of.remove(unit, key, dependency, reaction, answers));
        break;
    case Act::removeAll: {
        Quiet const quiet{quiet_};
        of.removeAll(unit, dependency, reaction, answers);
        break;
    }
    case Act::update:
        keep(of.update(unit, key));
        break;
    case Act::clear:
        of.clear(unit);
        break;
    case Act::mark:
        of.mark(unit);
        break;
    case Act::sweep: {
        if (of.marking(unit)) {
            ordersPush(of.order(unit));
        }
        Quiet const quiet{quiet_};
        of.sweep(unit);
        break;
    }
    case Act::die:
        throw AgentDied{};
    }
}

void LibraryUnderTest::keep(AnyHandle const& handle) {
    if (handle) {
        numberOf_[handle.get()] = handles_.size();
        handles_.push_back(handle);
    }
}

void LibraryUnderTest::react(Reaction const& reaction) {
    if (fuel_ == 0 || reaction.act == Act::none ||
        !family(reaction.table).made(unitOf(reaction.table))) {
        return;
    }
    --fuel_;
    act(reaction.act, reaction.table, reaction.key, reaction.value, nullptr, reaction, true);
}

void LibraryUnderTest::reactUnlessQuiet(Reaction const& reaction) {
    if (quiet_ == 0) {
        react(reaction);
    }
}

void LibraryUnderTest::respond(unsigned table, AnyHandle const& handle, Reaction const& reaction) {
    auto const found = numberOf_.find(handle.get());
    events.push_back({Event::response, table, 0,
                      found == numberOf_.end() ? ~std::size_t{0} : found->second,
                      static_cast<std::uint64_t>(handle->entryState())});
    react(reaction);
}

void LibraryUnderTest::appliedIs(unsigned family, Version version) {
    applied[family] = version;
    agent_.appliedIs(families_[family]->tableId(), version);
}

void LibraryUnderTest::ordersPush(std::vector<Key> order) {
    model_->orders.push_back(std::move(order));
}

void LibraryUnderTest::noteOrders(ReferenceModel& model) {
    model.familyOrder.clear();
    auto const group = agent_.group();
    if (!group) {
        return;
    }
    for (Asic::GroupInterface::SwTableSets::IteratorConst i{group->swTableSets()}; i; ++i) {
        unsigned const of = i->fwkKey() == families_[0]->tableId() ? 0 : 1;
        model.familyOrder.push_back(of);
        model.unitOrder[of] = families_[of]->unitOrder();
    }
}

void LibraryUnderTest::restart(unsigned choices) {
    handles_.clear();
    numberOf_.clear();
    for (auto& each : families_) {
        each->letGo();
    }
    agent_.restart();
    quiet_ = 0;
    for (unsigned table = 0; table < tableCount; ++table) {
        unsigned const choice = choices >> table * 2 & 3;
        if (choice != 3) {
            family(table).makeTable(unitOf(table), choice == 1, choice == 2);
        }
    }
    events.clear();
}

std::string LibraryUnderTest::differences(ReferenceModel const& model) const {
    std::string result;
    auto const seen = inOrder(events);
    auto const expected = inOrder(model.events);
    if (seen != expected) {
        auto const told = [](Events const& all) {
            std::string text;
            for (auto const& each : all) {
                std::ostringstream line;
                line << each;
                text += "    " + line.str() + "\n";
            }
            return text;
        };
        result +=
            "other events; the library told\n" + told(seen) + "  and the model\n" + told(expected);
    }
    result += differ("handles", handles_.size(), model.handles.size());
    result += differ("commits of this step", committedLast_, model.committedLast);
    for (std::size_t i = 0; result.empty() && i < handles_.size(); ++i) {
        auto const& expectedHandle = *model.handles[i];
        result += differ("state of a handle", static_cast<unsigned>(handles_[i]->entryState()),
                         expectedHandle.state);
        result +=
            differ("log version of a handle", handles_[i]->logVersion(), expectedHandle.logVersion);
        result += differ("version of a handle", handles_[i]->entryVersion().major(),
                         expectedHandle.entryVersion);
        if (!result.empty()) {
            result = fmt::format("handle {}: {}", i, result);
        }
    }
    for (auto const& family : families_) {
        result += family->differences(model);
    }
    for (auto const& [place, entries] : model.hardware) {
        auto const found = hardware.find(place);
        if (found == hardware.end() ? !entries.empty() : found->second != entries) {
            result += fmt::format("the hardware's entries of family {}, unit {} differ\n",
                                  place.first, place.second);
        }
    }
    return result;
}

} // namespace model
