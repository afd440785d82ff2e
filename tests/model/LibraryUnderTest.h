#pragma once

#include "ReferenceModel.h"
#include "Script.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <support/AgentInProcess.h>
#include <unordered_map>
#include <vector>

// The library, an agent's code around it, and a hardware side that takes changes as it is told:
// what the steps of a script drive, beside the reference model.
namespace model {

class LibraryUnderTest;

using AnyHandle = Ombra::Ptr<Asic::OrderedSwTable::EntryHandle const>;

// One family's interface, its tables on all units, and its files.
class FamilyUnderTest {
  public:
    explicit FamilyUnderTest(LibraryUnderTest& world, unsigned family)
        : world_{world}, family_{family} {}
    virtual ~FamilyUnderTest() = default;
    FamilyUnderTest(FamilyUnderTest const&) = delete;
    FamilyUnderTest& operator=(FamilyUnderTest const&) = delete;

    virtual bool up() const = 0;
    virtual bool made(unsigned unit) const = 0;
    virtual void letGo() = 0; // of everything of this run of the agent
    virtual Asic::SwTableId tableId() const = 0;

    virtual AnyHandle write(unsigned unit, Key key, Value value, AnyHandle const& dependency,
                            Reaction const& reaction, bool answers) = 0;
    virtual AnyHandle remove(unsigned unit, Key key, AnyHandle const& dependency,
                             Reaction const& reaction, bool answers) = 0;
    virtual void removeAll(unsigned unit, AnyHandle const& dependency, Reaction const& reaction,
                           bool answers) = 0;
    virtual AnyHandle update(unsigned unit, Key key) = 0;
    virtual void clear(unsigned unit) = 0;
    virtual void mark(unsigned unit) = 0;
    virtual void sweep(unsigned unit) = 0;
    virtual std::vector<Key> order(unsigned unit) const = 0; // of an iteration
    virtual bool marking(unsigned unit) const = 0;

    virtual AnyHandle foreign(unsigned unit, Key key, unsigned state) = 0;
    virtual void makeTable(unsigned unit, bool reset, bool ownHelper) = 0;
    virtual void helper(unsigned unit, HelperMode mode, Reaction const& reaction) = 0;
    virtual void watch(unsigned unit, unsigned field, Reaction const& reaction) = 0;
    virtual void statusVersion(unsigned unit, Version version) = 0;
    virtual void reconcile() = 0;
    virtual std::vector<unsigned> unitOrder() const = 0;
    virtual void turnOfHardware(unsigned most, unsigned refusedKey) = 0;
    virtual void dieWithin(Step const& step) = 0;

    // What differs from the model; empty when nothing does.
    virtual std::string differences(ReferenceModel const& model) const = 0;

  protected:
    LibraryUnderTest& world_;
    unsigned family_;
};

class LibraryUnderTest {
  public:
    LibraryUnderTest();
    ~LibraryUnderTest();
    LibraryUnderTest(LibraryUnderTest const&) = delete;
    LibraryUnderTest& operator=(LibraryUnderTest const&) = delete;

    // Takes a step, and leaves in the model what the library alone decides (see there).
    void take(Step const& step, ReferenceModel& model);

    std::string differences(ReferenceModel const& model) const;

    // --- for the families

    testing_support::AgentInProcess& agent() { return agent_; }
    Events events;
    std::map<std::pair<unsigned, unsigned>, std::map<Key, Value>> hardware;
    std::array<std::optional<Version>, familyCount> applied{};

    void react(Reaction const& reaction);
    void reactUnlessQuiet(Reaction const& reaction);
    void respond(unsigned table, AnyHandle const& handle, Reaction const& reaction);
    void appliedIs(unsigned family, Version version);
    void ordersPush(std::vector<Key> order);

  private:
    struct Quiet;

    void act(Act act, unsigned table, Key key, Value value, AnyHandle const& dependency,
             Reaction const& reaction, bool answers);
    void keep(AnyHandle const& handle);
    void restart(unsigned choices);
    void noteOrders(ReferenceModel& model);
    FamilyUnderTest& family(unsigned table) { return *families_[familyOf(table)]; }

    testing_support::AgentInProcess agent_;
    std::array<std::unique_ptr<FamilyUnderTest>, familyCount> families_;
    std::vector<AnyHandle> handles_;
    std::unordered_map<void const*, std::size_t> numberOf_; // of the handles above
    std::size_t committedLast_ = 0;
    unsigned fuel_ = 0;
    unsigned quiet_ = 0;
    ReferenceModel* model_ = nullptr;
};

} // namespace model
