#pragma once

#include <Asic/Identifiers.h>
#include <Ombra/Node.h>
#include <Ombra/Ptr.h>
#include <Ombra/String.h>
#include <Zet/Entity.h>

#include <cstdint>
#include <set>

// The root of every software table, and of every ticket for an operation on one.
namespace Asic {

class LOAM_EXPORT SwTableBase : public Zet::Entity {
  public:
    // Where an operation stands. The numbers are part of the system; 3 and 6 are failures that
    // others than the table set, and 2 is used by nobody.
    enum class EntryState : std::uint8_t {
        entryPending = 0, // waits in the resolver
        entryInLog = 1,   // committed; the hardware side has not confirmed it yet
        entryApplied = 4, // the hardware side has confirmed it
        entryFailed = 5,  // refused, because what it depends on failed
    };

    // Any state but `entryPending` answers a dependant; these three answer it with no.
    static constexpr bool isFailure(EntryState state) noexcept {
        auto const number = static_cast<unsigned>(state);
        return number == 3 || number == 5 || number == 6;
    }

    class EntryHandle;

    SwTableBase(SwTableId tableId, UnitId unitId) noexcept : tableId_{tableId}, unitId_{unitId} {}
    ~SwTableBase() override;

    // Asks the table to have its hardware twin made, and tells it that this was done. The tables of
    // this system have none of their own: the hardware side makes it from the change log.
    virtual void doCreateHwTable();
    virtual void doCreateHwTableResponse();

    SwTableId tableId() const noexcept { return tableId_; }
    UnitId unitId() const noexcept { return unitId_; }

  private:
    SwTableId tableId_;
    UnitId unitId_;
};

// The caller's ticket for one operation. Others who are given it as something to depend on see it
// through `DependencyEntryHandle`.
class LOAM_EXPORT SwTableBase::EntryHandle : public Ombra::Node {
  public:
    ~EntryHandle() override;

    EntryState entryState() const noexcept { return entryState_; }

    // Stores the state and, when it is another one, tells `handleEntryState`.
    void entryStateIs(EntryState state) {
        if (state != entryState_) {
            entryState_ = state;
            handleEntryState();
        }
    }

    // The state has changed. Does nothing unless a class says otherwise.
    virtual void handleEntryState();

    // Where in the hardware the operation's entry went, for a field of another entry that refers to
    // it. Not known on this side of the log: all ones, and no suggestions.
    virtual Index hwIndexForDependentField() const;
    virtual void handleIndexSuggestions(std::set<Index> const& suggestions) const;

    // The operation's place in its table's log; version 0 while it has none.
    virtual TableVersion entryTableVersion() const = 0;

    virtual Ombra::String tableName() const = 0;
    virtual SwTableId tableId() const = 0;

  private:
    EntryState entryState_ = EntryState::entryPending;
};

// A read-only view of an operation that another one depends on.
using DependencyEntryHandle = SwTableBase::EntryHandle;

} // namespace Asic

template <>
struct fmt::formatter<Asic::SwTableBase::EntryState> : fmt::formatter<unsigned> {
    template <typename Context>
    auto format(Asic::SwTableBase::EntryState state, Context& context) const {
        return fmt::formatter<unsigned>::format(static_cast<unsigned>(state), context);
    }
};
