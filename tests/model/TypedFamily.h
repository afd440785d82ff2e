#pragma once

#include "LibraryUnderTest.h"

#include <Asic/Constants.h>
#include <Asic/GroupSlates.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

// The operations of `FamilyUnderTest` for the classes of one family.
namespace model {

template <typename F>
class TypedFamily final : public FamilyUnderTest {
  public:
    using FamilyUnderTest::FamilyUnderTest;
    using SwTable = typename F::SwTable;
    using EntryKey = typename F::Key;
    using Entry = typename F::Entry;

    bool up() const override { return intf_ != nullptr; }
    bool made(unsigned unit) const override { return units_[unit].table != nullptr; }
    void letGo() override {
        units_ = {};
        madeInOrder_.clear();
        statusSubscription_.end();
        intf_ = nullptr;
    }
    Asic::SwTableId tableId() const override { return F::Constants::tableId; }

    AnyHandle write(unsigned unit, Key key, Value value, AnyHandle const& dependency,
                    Reaction const& reaction, bool answers) override {
        // The key within the entry is another one: the argument rules.
        auto const entry = entryOf((key + value) % keyCount, value);
        auto const& table = *units_[unit].table;
        return answers ? writable(table).entryWriteWithResponseHandler(
                             EntryKey{key}, entry, dependency, handler(unit, reaction))
                       : writable(table).entryWrite(EntryKey{key}, entry, dependency);
    }
    AnyHandle remove(unsigned unit, Key key, AnyHandle const& dependency, Reaction const& reaction,
                     bool answers) override {
        auto const& table = *units_[unit].table;
        return answers ? writable(table).entryRemoveWithResponseHandler(EntryKey{key}, dependency,
                                                                        handler(unit, reaction))
                       : writable(table).entryRemove(EntryKey{key}, dependency);
    }
    void removeAll(unsigned unit, AnyHandle const& dependency, Reaction const& reaction,
                   bool answers) override {
        auto const& table = *units_[unit].table;
        if (answers) {
            writable(table).entryRemoveAllWithResponseHandler(dependency, handler(unit, reaction));
        } else {
            writable(table).entryRemoveAll(dependency);
        }
    }
    AnyHandle update(unsigned unit, Key key) override {
        return units_[unit].table->updateEntry(EntryKey{key});
    }
    void clear(unsigned unit) override { units_[unit].table->clearTable(false); }
    void mark(unsigned unit) override { units_[unit].table->mark(); }
    void sweep(unsigned unit) override { units_[unit].table->sweep(); }
    bool marking(unsigned unit) const override { return units_[unit].table->inMarkingState(); }
    std::vector<Key> order(unsigned unit) const override {
        std::vector<Key> result;
        for (auto i = std::as_const(*units_[unit].table).entryIteratorConst(); i; ++i) {
            result.push_back(i->key().number());
        }
        return result;
    }

    AnyHandle foreign(unsigned unit, Key key, unsigned state) override {
        auto const handle = SwTable::entryHandleFactory(Asic::EntryVersion::first(), EntryKey{key},
                                                        units_[unit].table.get());
        handle->entryStateIs(static_cast<Asic::SwTableBase::EntryState>(state));
        return handle;
    }

    void makeTable(unsigned unit, bool reset, bool ownHelper) override {
        if (!intf_) {
            intf_ = world_.agent().template tableIntf<F>();
            statusSubscription_ =
                intf_->swTableStatus()->publisher()->subscribe([this](Ombra::Change const&) {
                    world_.events.push_back(
                        {Event::pending, family_, 0, intf_->swTableStatus()->pendingHwWrites()});
                });
        }
        units_[unit].table = intf_->makeSwTable(
            static_cast<Asic::UnitId>(unit),
            ownHelper ? Ombra::ptrIs<OwnHelper>(*this, unit) : Ombra::Ptr<OwnHelper>{}, reset);
        noteMade(unit);
    }

    void helper(unsigned unit, HelperMode mode, Reaction const& reaction) override {
        units_[unit].helperMode = mode;
        units_[unit].helperReaction = reaction;
    }

    void watch(unsigned unit, unsigned field, Reaction const& reaction) override {
        units_[unit].subscription.end();
        if (field != 0) {
            units_[unit].subscription = units_[unit].table->publisher()->subscribe(
                [this, unit, field, reaction](Ombra::Change const& change) {
                    changed(unit, change, field, reaction);
                });
        }
    }

    void statusVersion(unsigned unit, Version version) override {
        units_[unit].table->tableStatusVersion(version);
    }

    void reconcile() override {
        intf_->reconcile();
        for (unsigned unit = 0; unit < unitCount; ++unit) {
            auto const id = static_cast<Asic::UnitId>(unit);
            if (!made(unit) && intf_->swTableSet()->swTableHas(id)) {
                units_[unit].table = Ombra::dynamicCast<SwTable>(intf_->swTableSet()->swTable(id));
                noteMade(unit);
            }
        }
    }

    std::vector<unsigned> unitOrder() const override { return madeInOrder_; }

    void turnOfHardware(unsigned most, unsigned refusedKey) override;
    void dieWithin(Step const& step) override;
    std::string differences(ReferenceModel const& model) const override;

  private:
    using ConfigRecord = typename F::ConfigSlateEntry;
    using LogRecord = typename F::LogSlateEntry;

    class OwnHelper final : public Zet::Tracked<OwnHelper, typename F::SwTableHelperBase> {
      public:
        OwnHelper(TypedFamily& family, unsigned unit) : family_{family}, unit_{unit} {}

        void finalizeOnSuccess(Ombra::Ptr<typename F::EntryWrapper> const& wrapper, bool isDelete,
                               Ombra::Ptr<SwTable> const& swTable) override {
            family_.finalize(unit_, *wrapper, isDelete);
            static_cast<void>(swTable);
        }
        bool finalizeOnResourceUpdate(Ombra::Ptr<typename F::EntryWrapper> const& wrapper,
                                      Ombra::Ptr<SwTable> const&, bool) override {
            family_.world_.events.push_back({Event::helperAsked, tableOf(family_.family_, unit_), 0,
                                             wrapper->key().number(),
                                             valueOf(wrapper->swTableEntry())});
            if (family_.units_[unit_].helperMode == HelperMode::change) {
                change(*wrapper);
            }
            return true;
        }

      private:
        TypedFamily& family_;
        unsigned unit_;
    };

    struct Unit {
        Ombra::Ptr<SwTable> table;
        HelperMode helperMode{};
        Reaction helperReaction{};
        Ombra::Subscription subscription;
    };

    void noteMade(unsigned unit) {
        if (std::ranges::find(madeInOrder_, unit) == madeInOrder_.end()) {
            madeInOrder_.push_back(unit);
        }
    }

    static SwTable& writable(SwTable const& table) { return const_cast<SwTable&>(table); }
    static Entry entryOf(Key key, Value value) {
        Entry entry{EntryKey{key}};
        entry.fields().back() = static_cast<std::byte>(value);
        return entry;
    }
    template <typename AnyEntry>
    static Value valueOf(AnyEntry const& entry) {
        return std::to_integer<Value>(entry.fields().back());
    }
    static void change(typename F::EntryWrapper& wrapper) {
        wrapper.swTableEntry().fields().back() ^= std::byte{8};
    }

    typename SwTable::ResponseHandler handler(unsigned unit, Reaction const& reaction) {
        return [this, unit, reaction](AnyHandle const& handle) {
            world_.respond(tableOf(family_, unit), handle, reaction);
        };
    }

    void finalize(unsigned unit, typename F::EntryWrapper& wrapper, bool isDelete) {
        auto const value = valueOf(wrapper.swTableEntry());
        world_.events.push_back({Event::helperCalled, tableOf(family_, unit), 0,
                                 wrapper.key().number(), value * 2 + (isDelete ? 1 : 0)});
        switch (units_[unit].helperMode) {
        case HelperMode::nothing:
            break;
        case HelperMode::change:
            change(wrapper);
            break;
        case HelperMode::react:
            world_.react(units_[unit].helperReaction);
            break;
        case HelperMode::fail:
            throw HelperFailure{};
        case HelperMode::die:
            throw AgentDied{};
        }
    }

    void changed(unsigned unit, Ombra::Change const& change, unsigned field,
                 Reaction const& reaction) {
        auto const id = static_cast<unsigned>(change.fieldId);
        std::uint64_t number = 0;
        if (change.keyIsEq != nullptr) {
            number = static_cast<EntryKey const*>(change.key)->number();
        } else if (change.key != nullptr) {
            number = *static_cast<std::uint32_t const*>(change.key);
        }
        world_.events.push_back({Event::changed, tableOf(family_, unit), id, number});
        if (id == field) {
            world_.reactUnlessQuiet(reaction);
        }
    }

    auto& log() const { return *intf_->entryLog()->tableEntryLog(); }
    auto& config(unsigned unit) const {
        return *intf_->entryLog()->tableConfigSlate(static_cast<Asic::UnitId>(unit));
    }
    Ombra::Ptr<Asic::AnnouncementSlate> announcements() const {
        return Ombra::dynamicCast<Asic::AnnouncementSlate>(
            world_.agent().sharedMem()->getEntity(Asic::Constants::announcementSlatePath(
                testing_support::AgentInProcess::canonicalGroup(), tableId())));
    }

    std::string readDifferences(unsigned unit, ReferenceModel const& model) const;
    std::string tableDifferences(unsigned unit, ReferenceModel const& model) const;
    std::string storedDifferences(ReferenceModel const& model) const;

    Ombra::Ptr<typename F::Interface> intf_;
    Ombra::Subscription statusSubscription_;
    std::array<Unit, unitCount> units_{};
    std::vector<unsigned> madeInOrder_; // units, as the set tells them of the hardware's progress
};

} // namespace model

#include "TypedFamilyCompare.h"
#include "TypedFamilyHardware.h"
