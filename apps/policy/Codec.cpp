#include <fmt/format.h>

#include <apps/policy/ActionLayout.h>
#include <apps/policy/Codec.h>
#include <apps/policy/EntryLayout.h>
#include <apps/policy/Transfer.h>

namespace LoamPolicy {

namespace {

/// What a record of each kind is laid out by and made of; the one list of the seven.
template <class Visit>
decltype(auto) withKind(PolicyKind kind, Visit visit) {
    switch (kind) {
    case PolicyKind::EgressOlp:
        return visit(OlpEntryLayout{}, OlpActionLayout{}, OlpMatch{});
    case PolicyKind::Ipv4System:
        return visit(Ipv4EntryLayout{}, IpActionLayout{}, Ipv4Match{});
    case PolicyKind::Ipv6System:
        return visit(Ipv6EntryLayout{}, IpActionLayout{}, Ipv6Match{});
    case PolicyKind::MacSystem:
        return visit(MacEntryLayout{}, MacActionLayout{}, MacMatch{});
    case PolicyKind::MplsSystem:
        return visit(MplsEntryLayout{}, MplsActionLayout{}, MplsMatch{});
    case PolicyKind::TunnelTermination:
        return visit(TunnelEntryLayout{}, TunnelActionLayout{}, TunnelMatch{});
    case PolicyKind::VxlanAnycast:
        break;
    }
    return visit(VxlanEntryLayout{}, VxlanActionLayout{}, VxlanMatch{});
}

DecodeError wrongSize(std::size_t found, std::size_t expected) {
    return {fmt::format("{} bytes behind the key, expected {}", found, expected)};
}

/// Empty when all that was read makes sense.
std::string complaint(FieldReader const& reader, std::uint32_t format) {
    if (format != recordFormat) {
        return fmt::format("record format {}, expected {}", format, recordFormat);
    }
    if (reader.badOffset()) {
        return fmt::format("the field at offset {} holds no possible value", *reader.badOffset());
    }
    return {};
}

} // namespace

std::size_t fieldsSize(PolicyKind kind, TableHolds holds) {
    return withKind(kind, [&](auto entryLayout, auto actionLayout, auto) -> std::size_t {
        return (holds == TableHolds::Entries ? decltype(entryLayout)::recordSize
                                             : decltype(actionLayout)::recordSize) -
               keySize;
    });
}

std::vector<std::byte> encodeEntry(Entry const& entry) {
    PolicyKind const kind = kindOf(entry.match);
    std::vector<std::byte> fields(fieldsSize(kind, TableHolds::Entries));
    FieldWriter writer(fields);
    writer(EntryHeadLayout::format, recordFormat);
    writer(EntryHeadLayout::priority, entry.priority);
    writer(EntryHeadLayout::actionKey, entry.actionKey);
    std::visit([&](auto const& match) { transfer(writer, match); }, entry.match);
    return fields;
}

std::vector<std::byte> encodeAction(PolicyKind kind, Action const& action) {
    std::vector<std::byte> fields(fieldsSize(kind, TableHolds::Actions));
    FieldWriter writer(fields);
    writer(ActionHeadLayout::format, recordFormat);
    withKind(kind, [&](auto, auto layout, auto) {
        storeActionHead(writer, action);
        transferActionRest<decltype(layout)>(writer, action);
    });
    return fields;
}

std::variant<Entry, DecodeError> decodeEntry(PolicyKind kind, std::span<std::byte const> fields) {
    if (auto const size = fieldsSize(kind, TableHolds::Entries); fields.size() != size) {
        return wrongSize(fields.size(), size);
    }
    FieldReader reader(fields);
    std::uint32_t format = 0;
    Entry entry;
    reader(EntryHeadLayout::format, format);
    reader(EntryHeadLayout::priority, entry.priority);
    reader(EntryHeadLayout::actionKey, entry.actionKey);
    withKind(kind, [&](auto, auto, auto match) {
        transfer(reader, match);
        entry.match = match;
    });
    if (auto reason = complaint(reader, format); !reason.empty()) {
        return DecodeError{std::move(reason)};
    }
    return entry;
}

std::variant<Action, DecodeError> decodeAction(PolicyKind kind, std::span<std::byte const> fields) {
    if (auto const size = fieldsSize(kind, TableHolds::Actions); fields.size() != size) {
        return wrongSize(fields.size(), size);
    }
    FieldReader reader(fields);
    std::uint32_t format = 0;
    Action action;
    reader(ActionHeadLayout::format, format);
    withKind(kind, [&](auto, auto layout, auto) {
        loadActionHead(reader, action);
        transferActionRest<decltype(layout)>(reader, action);
    });
    if (auto reason = complaint(reader, format); !reason.empty()) {
        return DecodeError{std::move(reason)};
    }
    return action;
}

} // namespace LoamPolicy
