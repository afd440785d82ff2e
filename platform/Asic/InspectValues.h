#pragma once

#include <Asic/GroupResolver.h>
#include <Asic/Identifiers.h>
#include <Asic/SwTableBase.h>
#include <Ombra/ModuleInspectData.h>
#include <Ombra/ValueTypeOf.h>

#include <optional>
#include <string>
#include <string_view>

// The identifiers, versions and states of the ordered-table platform, as the inspection layer shows
// and reads them.
namespace Asic {

LOAM_EXPORT extern Ombra::ModuleInspectData const orderedTableTypesModule;

} // namespace Asic

template <>
struct fmt::formatter<Asic::EntryVersion> {
    constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }
    template <typename Context>
    auto format(Asic::EntryVersion const& version, Context& context) const {
        return version.valid()
                   ? fmt::format_to(context.out(), "{}.{}", version.major(), version.minor())
                   : fmt::format_to(context.out(), "invalid");
    }
};

namespace Ombra {

template <>
struct TypeOf<Asic::SwTableId> {
    static constexpr std::string_view name = "Asic::SwTableId";
    static constexpr TypeData data{&Asic::orderedTableTypesModule, 0};
};
template <>
struct LOAM_EXPORT ValueTraits<Asic::SwTableId> {
    static constexpr char const* doc = "Identity of a table: agent, group and table.";
    static constexpr char const* expects =
        "two, two and four hexadecimal digits as 08:08:0404, or their number";
    static void json(Asic::SwTableId const& id, std::string& out);
    static std::optional<Asic::SwTableId> parse(std::string_view text);
    static std::uint64_t toNumber(Asic::SwTableId const& id) { return id.number(); }
    static std::optional<Asic::SwTableId> fromNumber(std::uint64_t number);
};

template <>
struct TypeOf<Asic::MajorVersion> {
    static constexpr std::string_view name = "Asic::MajorVersion";
    static constexpr TypeData data{&Asic::orderedTableTypesModule, 1};
};
template <>
struct LOAM_EXPORT ValueTraits<Asic::MajorVersion> {
    static constexpr char const* doc = "A 64-bit version of which all ones is invalid.";
    static constexpr char const* expects = "a number, or \"invalid\"";
    static void json(Asic::MajorVersion const& version, std::string& out);
    static std::optional<Asic::MajorVersion> parse(std::string_view text);
    static std::uint64_t toNumber(Asic::MajorVersion const& version) { return version.number(); }
    static std::optional<Asic::MajorVersion> fromNumber(std::uint64_t number) {
        return Asic::MajorVersion{number};
    }
};

template <>
struct TypeOf<Asic::EntryVersion> {
    static constexpr std::string_view name = "Asic::EntryVersion";
    static constexpr TypeData data{&Asic::orderedTableTypesModule, 2};
};
template <>
struct LOAM_EXPORT ValueTraits<Asic::EntryVersion> {
    static constexpr char const* doc = "Which of the overlapping operations of a key one is.";
    static constexpr char const* expects =
        "major and minor number with a point between, as 3.0, or \"invalid\"";
    static void json(Asic::EntryVersion const& version, std::string& out);
    static std::optional<Asic::EntryVersion> parse(std::string_view text);
};

template <>
struct TypeOf<Asic::TableVersion> {
    static constexpr std::string_view name = "Asic::TableVersion";
    static constexpr TypeData data{&Asic::orderedTableTypesModule, 3};
};
template <>
struct LOAM_EXPORT ValueTraits<Asic::TableVersion> {
    static constexpr char const* doc = "One entry's place in one table's log.";
    static constexpr char const* expects = "table and version, as 08:08:0404@17";
    static void json(Asic::TableVersion const& place, std::string& out);
    static std::optional<Asic::TableVersion> parse(std::string_view text);
};

template <>
struct TypeOf<Asic::EntryFlags> {
    static constexpr std::string_view name = "Asic::EntryFlags";
    static constexpr TypeData data{&Asic::orderedTableTypesModule, 4};
};
template <>
struct LOAM_EXPORT ValueTraits<Asic::EntryFlags> {
    static constexpr char const* doc = "What an operation is and how it is committed.";
    static constexpr char const* expects =
        "\"none\", or flagEntryDeleted, flagTableDeleted, flagSuppressIdenticalWrites with \"|\" "
        "between";
    static void text(Asic::EntryFlags flags, std::string& out);
    static void json(Asic::EntryFlags flags, std::string& out);
    static std::optional<Asic::EntryFlags> parse(std::string_view text);
    static std::uint64_t toNumber(Asic::EntryFlags flags) { return static_cast<unsigned>(flags); }
    static std::optional<Asic::EntryFlags> fromNumber(std::uint64_t number);
};

template <>
struct TypeOf<Asic::SwTableBase::EntryState> {
    static constexpr std::string_view name = "Asic::SwTableBase::EntryState";
    static constexpr TypeData data{&Asic::orderedTableTypesModule, 5};
};
template <>
struct LOAM_EXPORT ValueTraits<Asic::SwTableBase::EntryState> {
    using State = Asic::SwTableBase::EntryState;
    static constexpr char const* doc = "Where an operation stands.";
    static constexpr char const* expects =
        "entryPending, entryInLog, entryApplied, entryFailed, or a number from 0 to 255";
    static void text(State state, std::string& out);
    static void json(State state, std::string& out);
    static std::optional<State> parse(std::string_view text);
    static std::uint64_t toNumber(State state) { return static_cast<unsigned>(state); }
    static std::optional<State> fromNumber(std::uint64_t number);
};

template <>
struct TypeOf<Asic::GroupResolver::RunResult> {
    static constexpr std::string_view name = "Asic::GroupResolver::RunResult";
    static constexpr TypeData data{&Asic::orderedTableTypesModule, 6};
};
template <>
struct LOAM_EXPORT ValueTraits<Asic::GroupResolver::RunResult> {
    using Result = Asic::GroupResolver::RunResult;
    static constexpr char const* doc = "How many operations a run committed, and whether there are "
                                       "more that are ready. Its number is the first of the two.";
    static constexpr char const* expects = "what a run gives";
    static void text(Result const& result, std::string& out);
    static void json(Result const& result, std::string& out);
    static std::uint64_t toNumber(Result const& result) { return result.committed; }
    static std::optional<Result> fromNumber(std::uint64_t) { return std::nullopt; }
};

} // namespace Ombra
