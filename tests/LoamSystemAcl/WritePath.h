#pragma once

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <LoamSystemAcl/Ipv4SystemPolicyTcamEntryInterface.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <support/AgentInProcess.h>
#include <support/TraceCapture.h>
#include <typeinfo>
#include <utility>
#include <vector>

// One table of an agent, with what tests of the write path do to it and ask of it.
//
//     WritePath<TypeParam> t;
//     auto const handle = t.write(1, 7);      // key 1, value 7
//     EXPECT_EQ(t.places(1).version, 0U);
//     t.commitOne();
namespace LoamSystemAcl::write_path_test {

using Asic::EntryFlags;
using Asic::EntryVersion;
using Asic::LogVersion;
using Asic::MajorVersion;
using testing_support::TraceCapture;
using State = Asic::SwTableBase::EntryState;
using Dependency = Ombra::Ptr<Asic::DependencyEntryHandle const>;
using AnyHandle = Ombra::Ptr<Asic::OrderedSwTable::EntryHandle const>;
using Lines = std::vector<TraceCapture::Line>;

// The two tables that behaviour is tested on.
using TwoFamilies =
    testing::Types<Ipv4SystemPolicyTcamEntryFamily, Ipv4SystemPolicyTcamActionFamily>;

// How an invariant's text stands in the report of its failure.
inline testing::Matcher<std::string const&> failsWith(std::string const& text) {
    return testing::HasSubstr("Assertion `" + text + "' failed");
}

// A key as traces show it.
inline std::string shown(std::uint32_t key) {
    return fmt::format("{:#010x}", key);
}

// Where a key's newest operation shows.
struct Places {
    std::optional<std::uint64_t> version{}; // its major version in transientVersionForKey
    std::optional<std::uint64_t> add{};     // the major version of the wrapper in transientAddEntry
    std::optional<std::uint64_t> remove{};  // ... in transientRemoveEntry
    std::size_t queued = 0;                 // resolver entries of the table
    std::uint32_t inLog = 0;                // handles in the queue
    std::uint32_t logged = 0;               // records in the change log

    friend bool operator==(Places const&, Places const&) = default;
    friend std::ostream& operator<<(std::ostream& out, Places const& places) {
        auto const put = [&](char const* name, std::optional<std::uint64_t> const& value) {
            out << name << ' ' << (value ? std::to_string(*value) : "none") << ", ";
        };
        put("version", places.version);
        put("add", places.add);
        put("remove", places.remove);
        return out << "queued " << places.queued << ", in log " << places.inLog << ", logged "
                   << places.logged;
    }
};

template <typename F>
class WritePath {
  public:
    using Family = F;
    using Key = typename F::Key;
    using Entry = typename F::Entry;
    using SwTable = typename F::SwTable;
    using Handle = typename SwTable::EntryHandle;
    using HandlePtr = Ombra::Ptr<Handle const>;
    using Wrapper = typename F::EntryWrapper;
    using ResolverEntry = typename F::ResolverEntry;
    using Helper = typename F::SwTableHelperBase;
    using Handler = typename SwTable::ResponseHandler;
    using ConfigSlateEntry = typename F::ConfigSlateEntry;
    using LogSlateEntry = typename F::LogSlateEntry;

    explicit WritePath(Ombra::Ptr<Helper> const& helper = nullptr)
        : table{agent.template makeSwTable<F>(0, true, helper)} {}

    static Entry entryOf(std::uint32_t key, unsigned value) {
        Entry entry{Key{key}};
        entry.fields().back() = std::byte(value);
        return entry;
    }
    static unsigned valueOf(Entry const& entry) {
        return std::to_integer<unsigned>(entry.fields().back());
    }

    HandlePtr write(std::uint32_t key, unsigned value, Dependency const& dependency = nullptr) {
        return table->entryWrite(Key{key}, entryOf(key, value), dependency);
    }
    HandlePtr write(std::uint32_t key, unsigned value, Dependency const& dependency,
                    Handler const& handler) {
        return table->entryWriteWithResponseHandler(Key{key}, entryOf(key, value), dependency,
                                                    handler);
    }
    HandlePtr remove(std::uint32_t key, Dependency const& dependency = nullptr) {
        return table->entryRemove(Key{key}, dependency);
    }
    HandlePtr remove(std::uint32_t key, Dependency const& dependency, Handler const& handler) {
        return table->entryRemoveWithResponseHandler(Key{key}, dependency, handler);
    }
    void removeAll(Dependency const& dependency = nullptr) { table->entryRemoveAll(dependency); }

    // Writes and sees it through to the hardware's acknowledgement.
    void applied(std::uint32_t key, unsigned value) {
        write(key, value);
        commitAll();
        acknowledge();
    }

    std::size_t commitAll() { return agent.resolve(); }
    std::size_t commitOne() { return resolver().run(1).committed; }

    // The hardware side has applied all that is logged.
    void acknowledge() { table->tableStatusVersion(table->entryLog()->tableVersion()); }

    // A handle of this table that is in no queue, in that state: something to depend on.
    Ombra::Ptr<Handle> handleIn(State state, LogVersion logVersion = 0) {
        auto const handle =
            SwTable::entryHandleFactory(EntryVersion::first(), Key{77}, table.get());
        handle->logVersionIs(logVersion);
        handle->entryStateIs(state);
        return handle;
    }

    // The agent dies and comes up again; its table is the same one, and marks.
    void restart() {
        table = nullptr;
        agent.restart();
        table = agent.template makeSwTable<F>(0, false);
    }

    Asic::GroupResolver& resolver() const { return *agent.group()->groupResolver(); }
    std::size_t queued() const { return resolver().queuedIn(typeid(ResolverEntry)); }
    Ombra::Ptr<ResolverEntry> head() const {
        return Ombra::staticCast<ResolverEntry>(resolver().headOf(typeid(ResolverEntry)));
    }

    Places places(std::uint32_t key) const {
        auto const majorOf = [](Ombra::Ptr<Wrapper> const& wrapper) {
            return wrapper ? std::optional{wrapper->entryHandle()->entryVersion().major()}
                           : std::nullopt;
        };
        Places result;
        if (auto const version = table->transientVersionForKeyGet(Key{key})) {
            result.version = version->major();
        }
        result.add = majorOf(table->transientAddEntry(Key{key}));
        result.remove = majorOf(table->transientRemoveEntry(Key{key}));
        result.queued = queued();
        result.inLog = table->entryHandleInLogQueue().size();
        result.logged = logged();
        return result;
    }

    auto& changes() const { return table->entryLog()->tableEntryLog()->entryLogConfig(); }
    std::uint32_t logged() const { return changes().memberCount(); }
    std::optional<LogSlateEntry> change(LogVersion version) const {
        bool found = false;
        LogSlateEntry const record = changes().lookup(version, &found, nullptr);
        return found ? std::optional{record} : std::nullopt;
    }
    std::optional<ConfigSlateEntry> config(std::uint32_t key) const {
        bool found = false;
        ConfigSlateEntry const record = table->entryLog()
                                            ->tableConfigSlate(table->unitId())
                                            ->swTableEntries()
                                            .lookup(Key{key}, &found, nullptr);
        return found ? std::optional{record} : std::nullopt;
    }

    // The needed places that were announced with a change of this table.
    std::vector<Asic::TableVersion> needed(LogVersion version) const {
        auto const slate = Ombra::dynamicCast<Asic::AnnouncementSlate>(agent.sharedMem()->getEntity(
            Asic::Constants::announcementSlatePath(agent.canonicalGroup(), table->tableId())));
        bool found = false;
        auto const record = slate->map().lookup(version, &found, nullptr);
        return found ? std::vector<Asic::TableVersion>(record.places.begin(),
                                                       record.places.begin() + record.count)
                     : std::vector<Asic::TableVersion>{};
    }

    static std::string tableName() { return F::Constants::tableName; }
    static std::string swTableName() { return tableName() + "SwTable"; }
    static std::string wrapperName() { return tableName() + "EntryWrapper"; }

    // A trace of the table's own functions, and one of the algorithms.
    static TraceCapture::Line own(unsigned level, std::string function, std::string text) {
        return {swTableName(), level, swTableName(), std::move(function), std::move(text)};
    }
    static TraceCapture::Line algorithm(unsigned level, std::string function, std::string text) {
        return {swTableName(), level, "OrderedSwTableAccessor", std::move(function),
                std::move(text)};
    }
    // What a set's look at the table's pending writes traces.
    static Lines looksAtPending(bool pending) {
        return {own(8, "hasPendingHwWrites", ""),
                algorithm(3, "hasPendingHwWrites",
                          fmt::format(" pendingHwWrites for swTable: tableId: {}, unitId0 is {}",
                                      F::Constants::tableId, pending))};
    }

    testing_support::AgentInProcess agent;
    Ombra::Ptr<SwTable> table;
};

using EntryPath = WritePath<Ipv4SystemPolicyTcamEntryFamily>;
using ActionPath = WritePath<Ipv4SystemPolicyTcamActionFamily>;

inline Lines operator+(Lines left, Lines const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

} // namespace LoamSystemAcl::write_path_test

namespace testing_support {

inline void PrintTo(TraceCapture::Line const& line, std::ostream* out) {
    *out << line.handle << ' ' << line.level << ' ' << line.className << "::" << line.function
         << " \"" << line.text << '"';
}

} // namespace testing_support
