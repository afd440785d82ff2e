#pragma once

#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>
#include <Slate/SlateMapBase.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <support/AgentInProcess.h>
#include <support/TraceCapture.h>
#include <vector>

// A table on unit 0 of an agent that has nothing else, with short words for what tests of iteration
// and maintenance do to it and ask it. Keys are told by their numbers.
namespace LoamSystemAcl {

class TableInUse : public testing::Test {
  protected:
    TableInUse() {
        Slate::corruptionSinkIs([this](auto const& line) { damageReports.push_back(line); });
    }
    ~TableInUse() override { Slate::corruptionSinkIs({}); }

    using Family = Ipv4SystemPolicyTcamEntryFamily;
    using Table = Family::SwTable;
    using Key = Family::Key;
    using Entry = Family::Entry;
    using State = Asic::SwTableBase::EntryState;
    using Numbers = std::vector<unsigned>;
    using Handle = Ombra::Ptr<Table::EntryHandle const>;

    static Entry entryOf(unsigned number, unsigned value = 1) {
        Entry entry{Key{number}};
        entry.fields()[10] = static_cast<std::byte>(value);
        entry.fields()[11] = static_cast<std::byte>(value >> 8);
        return entry;
    }

    Handle write(unsigned number, unsigned value = 1) {
        return table->entryWrite(Key{number}, entryOf(number, value), nullptr);
    }
    Handle remove(unsigned number) { return table->entryRemove(Key{number}, nullptr); }

    // Commits the next `most` operations, whatever they are.
    std::size_t commit(std::size_t most) {
        return agent.group()->groupResolver()->run(most).committed;
    }
    std::size_t commitAll() { return agent.resolve(); }

    // The hardware side has applied all that is logged.
    void acknowledge() { agent.acknowledge(table->tableId(), table->entryLog()->tableVersion()); }

    // Entries that are committed and applied, with nothing pending.
    void committed(Numbers const& numbers, unsigned value = 1) {
        for (unsigned const number : numbers) {
            write(number, value);
        }
        commitAll();
        acknowledge();
    }

    // The pending writes in the order of their collection.
    static Numbers pendingOrder(Table const& of) {
        Numbers result;
        for (Table::TransientAddEntry::IteratorConst i{of.transientAddEntryColl()}; i; ++i) {
            result.push_back(i->fwkKey().number());
        }
        return result;
    }
    Numbers pendingOrder() const { return pendingOrder(*table); }

    Family::ConfigSlate::Map& records(Asic::UnitId unitId = 0) const {
        return table->entryLog()->tableConfigSlate(unitId)->swTableEntries();
    }
    Family::ConfigSlateEntry record(unsigned number) const {
        return records().lookup(Key{number}, nullptr);
    }
    bool recordHas(unsigned number) const {
        bool found = false;
        static_cast<void>(records().lookup(Key{number}, &found));
        return found;
    }

    // The records, those in deletion too, in the order of the configuration table.
    Numbers recordOrder() const {
        Numbers result;
        for (Family::ConfigSlate::Map::IteratorConst i{&records()}; i; ++i) {
            result.push_back(i->key().number());
        }
        return result;
    }

    // Flips a bit of a record, as failing memory would.
    void damage(unsigned number) const {
        auto const& stored = records().lookup(Key{number}, nullptr);
        auto* const bytes =
            reinterpret_cast<std::byte*>(const_cast<Family::ConfigSlateEntry*>(&stored));
        bytes[sizeof(Key) + 5] ^= std::byte{0x20};
    }

    std::uint32_t logRecords() const {
        return table->entryLog()->tableEntryLog()->entryLogConfig().memberCount();
    }
    Asic::LogVersion tableVersion() const { return table->entryLog()->tableVersion(); }
    Family::LogSlateEntry logRecord(Asic::LogVersion version) const {
        return table->entryLog()->tableEntryLog()->entryLogConfig().lookup(version, nullptr);
    }

    // What is left of an iteration.
    static Numbers rest(Table::EntryIteratorConst iterator) {
        Numbers result;
        for (; iterator; ++iterator) {
            result.push_back(iterator->key().number());
        }
        return result;
    }

    std::vector<Ombra::String> damageReports;
    testing_support::AgentInProcess agent;
    Ombra::Ptr<Table> table = agent.makeSwTable<Family>(0);
};

// The part of `all` from `first` on, and the part behind it.
inline std::vector<unsigned> from(std::vector<unsigned> const& all, unsigned first) {
    return {std::ranges::find(all, first), all.end()};
}
inline std::vector<unsigned> behind(std::vector<unsigned> const& all, unsigned first) {
    auto result = from(all, first);
    result.erase(result.begin());
    return result;
}
inline std::vector<unsigned> joined(std::vector<unsigned> left,
                                    std::vector<unsigned> const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace LoamSystemAcl
