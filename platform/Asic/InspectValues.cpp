#include <Asic/InspectValues.h>
#include <Zet/ModuleTables.h>

#include <array>
#include <utility>

namespace Asic {

constinit Ombra::ModuleInspectData const orderedTableTypesModule =
    Zet::ModuleTables<SwTableId, MajorVersion, EntryVersion, TableVersion, EntryFlags,
                      SwTableBase::EntryState,
                      GroupResolver::RunResult>::module("OrderedTableTypes");

namespace {

[[maybe_unused]] bool const announced = [] {
    Ombra::ModuleInspectData::loaded(orderedTableTypesModule);
    return true;
}();

} // namespace
} // namespace Asic

namespace Ombra {

using namespace Asic;
using Impl::parseNumber;

namespace {

std::string_view withoutQuotes(std::string_view text) {
    bool const quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return quoted ? text.substr(1, text.size() - 2) : text;
}

template <typename T>
void textInQuotes(T const& value, std::string& out) {
    jsonString(fmt::format("{}", value), out);
}

// Hexadecimal digits, exactly so many.
bool digits(std::string_view text, std::size_t count, std::uint64_t& number) {
    return text.size() == count &&
           parseNumber(fmt::format("0x{}", text), ~std::uint64_t{0}, number);
}

constexpr std::array<std::pair<EntryFlags, std::string_view>, 3> flagNames{
    {{EntryFlags::flagEntryDeleted, "flagEntryDeleted"},
     {EntryFlags::flagTableDeleted, "flagTableDeleted"},
     {EntryFlags::flagSuppressIdenticalWrites, "flagSuppressIdenticalWrites"}}};

using State = SwTableBase::EntryState;
constexpr std::array<std::pair<State, std::string_view>, 4> stateNames{
    {{State::entryPending, "entryPending"},
     {State::entryInLog, "entryInLog"},
     {State::entryApplied, "entryApplied"},
     {State::entryFailed, "entryFailed"}}};

} // namespace

void ValueTraits<SwTableId>::json(SwTableId const& id, std::string& out) {
    textInQuotes(id, out);
}

std::optional<SwTableId> ValueTraits<SwTableId>::parse(std::string_view text) {
    text = withoutQuotes(text);
    std::uint64_t agent = 0;
    std::uint64_t group = 0;
    std::uint64_t table = 0;
    if (text.size() == 10 && text[2] == ':' && text[5] == ':') {
        bool const good = digits(text.substr(0, 2), 2, agent) &&
                          digits(text.substr(3, 2), 2, group) && digits(text.substr(6), 4, table);
        return good ? fromNumber(agent << 24 | group << 16 | table) : std::nullopt;
    }
    return parseNumber(text, 0xffffffff, table) ? fromNumber(table) : std::nullopt;
}

std::optional<SwTableId> ValueTraits<SwTableId>::fromNumber(std::uint64_t number) {
    return number <= 0xffffffff ? std::optional{SwTableId{static_cast<std::uint32_t>(number)}}
                                : std::nullopt;
}

void ValueTraits<MajorVersion>::json(MajorVersion const& version, std::string& out) {
    version.valid() ? void(out += fmt::format("{}", version.number())) : void(out += "\"invalid\"");
}

std::optional<MajorVersion> ValueTraits<MajorVersion>::parse(std::string_view text) {
    std::uint64_t number = 0;
    if (withoutQuotes(text) == "invalid") {
        return MajorVersion{};
    }
    return parseNumber(text, ~std::uint64_t{0}, number) ? std::optional{MajorVersion{number}}
                                                        : std::nullopt;
}

void ValueTraits<EntryVersion>::json(EntryVersion const& version, std::string& out) {
    textInQuotes(version, out);
}

std::optional<EntryVersion> ValueTraits<EntryVersion>::parse(std::string_view text) {
    text = withoutQuotes(text);
    if (text == "invalid") {
        return EntryVersion{};
    }
    auto const point = text.find('.');
    std::uint64_t major = 0;
    std::uint64_t minor = 0;
    bool const good = point != text.npos &&
                      parseNumber(text.substr(0, point), ~std::uint64_t{0}, major) &&
                      parseNumber(text.substr(point + 1), 0xffff, minor);
    return good ? std::optional{EntryVersion{major, static_cast<std::uint16_t>(minor)}}
                : std::nullopt;
}

void ValueTraits<TableVersion>::json(TableVersion const& place, std::string& out) {
    textInQuotes(place, out);
}

std::optional<TableVersion> ValueTraits<TableVersion>::parse(std::string_view text) {
    text = withoutQuotes(text);
    auto const at = text.find('@');
    std::uint64_t version = 0;
    if (at == text.npos || !parseNumber(text.substr(at + 1), ~std::uint64_t{0}, version)) {
        return std::nullopt;
    }
    auto const table = ValueTraits<SwTableId>::parse(text.substr(0, at));
    return table ? std::optional{TableVersion{*table, version}} : std::nullopt;
}

void ValueTraits<EntryFlags>::text(EntryFlags flags, std::string& out) {
    auto const before = out.size();
    for (auto const& [flag, name] : flagNames) {
        if (flagHas(flags, flag)) {
            out += out.size() == before ? "" : "|";
            out += name;
        }
    }
    out += out.size() == before ? "none" : "";
}

void ValueTraits<EntryFlags>::json(EntryFlags flags, std::string& out) {
    out += '"';
    text(flags, out);
    out += '"';
}

std::optional<EntryFlags> ValueTraits<EntryFlags>::parse(std::string_view text) {
    text = withoutQuotes(text);
    std::uint64_t bits = 0;
    if (text == "none") {
        return EntryFlags::none;
    }
    if (parseNumber(text, 7, bits)) {
        return fromNumber(bits);
    }
    while (true) {
        auto const end = std::min(text.find('|'), text.size());
        auto const* const found = std::ranges::find(flagNames, text.substr(0, end),
                                                    &decltype(flagNames)::value_type::second);
        if (found == flagNames.end()) {
            return std::nullopt;
        }
        bits |= static_cast<unsigned>(found->first);
        if (end == text.size()) {
            return fromNumber(bits);
        }
        text.remove_prefix(end + 1);
    }
}

std::optional<EntryFlags> ValueTraits<EntryFlags>::fromNumber(std::uint64_t number) {
    return number <= 7 ? std::optional{static_cast<EntryFlags>(number)} : std::nullopt;
}

void ValueTraits<State>::text(State state, std::string& out) {
    auto const* const found =
        std::ranges::find(stateNames, state, &decltype(stateNames)::value_type::first);
    out += found == stateNames.end() ? fmt::format("{}", static_cast<unsigned>(state))
                                     : std::string{found->second};
}

void ValueTraits<State>::json(State state, std::string& out) {
    out += '"';
    text(state, out);
    out += '"';
}

std::optional<State> ValueTraits<State>::parse(std::string_view text) {
    std::uint64_t number = 0;
    auto const* const found = std::ranges::find(stateNames, withoutQuotes(text),
                                                &decltype(stateNames)::value_type::second);
    if (found != stateNames.end()) {
        return found->first;
    }
    return parseNumber(text, 0xff, number) ? fromNumber(number) : std::nullopt;
}

std::optional<State> ValueTraits<State>::fromNumber(std::uint64_t number) {
    return number <= 0xff ? std::optional{static_cast<State>(number)} : std::nullopt;
}

void ValueTraits<GroupResolver::RunResult>::text(Result const& result, std::string& out) {
    out += fmt::format("{{committed: {}, more: {}}}", result.committed, result.more);
}

void ValueTraits<GroupResolver::RunResult>::json(Result const& result, std::string& out) {
    out += fmt::format("{{\"committed\": {}, \"more\": {}}}", result.committed, result.more);
}

} // namespace Ombra
