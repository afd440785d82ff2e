#include "InspectFixture.h"

#include <Asic/InspectValues.h>
#include <Ombra/ValueToStrep.h>

#include <optional>

namespace LoamSystemAcl {
namespace {

using Code = Inspect::Error::Code;
using Inspect::Value;
using testing::HasSubstr;
using testing::StartsWith;

class InspectValue : public InspectTable {
  protected:
    // Shows the value both ways, and reads both back.
    static void roundTrips(Value const& value, std::string_view text, std::string_view json) {
        EXPECT_EQ(value.text(), text);
        EXPECT_EQ(value.json(), json);
        EXPECT_EQ(Value::parse(value.type(), value.text()), value) << text;
        EXPECT_EQ(Value::parse(value.type(), value.json()), value) << json;
    }
    template <typename T>
    static void refuses(std::initializer_list<std::string_view> texts) {
        for (auto const text : texts) {
            auto const refusal = refusalOf([&] { Value::parse(*Ombra::valueTypeOf<T>, text); });
            EXPECT_EQ(refusal.code, Code::wrongValue) << text;
        }
    }
    Ombra::ValueType const& keyType() const {
        return *inspected.attribute("entryWrite").arguments[0].type;
    }
};

TEST_F(InspectValue, BuiltInTypesAreShownAndReadBack) {
    roundTrips(Value{true}, "true", "true");
    roundTrips(Value{false}, "false", "false");
    roundTrips(Value::of(std::uint8_t{255}), "255", "255");
    roundTrips(Value::of(std::uint16_t{65535}), "65535", "65535");
    roundTrips(Value::of(std::uint32_t{7}), "7", "7");
    roundTrips(Value::of(~std::uint64_t{0}), "18446744073709551615", "18446744073709551615");
    roundTrips(Value::of(std::int32_t{-1}), "-1", "-1");
    roundTrips(Value{"a text"}, "a text", "\"a text\"");
}

TEST_F(InspectValue, JsonOfATextIsEscapedAndReadBack) {
    roundTrips(Value{"a\"b\\c\nd\x01"}, "a\"b\\c\nd\x01", "\"a\\\"b\\\\c\\u000ad\\u0001\"");
    roundTrips(Value{"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80"},
               "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80", "\"\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\"");
    EXPECT_EQ(Value{"\xff\xc0\x80"}.json(), "\"\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\"");
    EXPECT_EQ(Value::parse(*Ombra::valueTypeOf<Ombra::String>, "\"\\ud83d\\ude00\\u00e4\"").text(),
              "\xf0\x9f\x98\x80\xc3\xa4");
    refuses<Ombra::String>({"\"\\ud83d\"", "\"\\q\"", "\"\\u12\"", "\"a\"b\"", "\"\\\""});
}

TEST_F(InspectValue, WhatIsNoValueOfABuiltInTypeIsRefused) {
    refuses<bool>({"", "1", "True", "yes"});
    refuses<std::uint8_t>({"", "256", "-1", "1 2", "0x", "0x100", "1.0", "+1"});
    refuses<std::uint16_t>({"65536"});
    refuses<std::uint32_t>({"4294967296"});
    refuses<std::uint64_t>({"18446744073709551616", "0xg"});
    refuses<std::int32_t>({"2147483648", "-2147483649", ""});
    auto const refusal =
        refusalOf([] { Value::parse(*Ombra::valueTypeOf<std::uint16_t>, "65536"); });
    EXPECT_THAT(refusal.text, HasSubstr("65536"));
    EXPECT_THAT(refusal.text, HasSubstr("a number from 0 to 65535"));
}

TEST_F(InspectValue, TheSystemsOwnValuesAreShownAndReadBack) {
    roundTrips(Value::of(Asic::SwTableId{0x0808040e}), "08:08:040e", "\"08:08:040e\"");
    roundTrips(Value::of(Asic::MajorVersion{}), "invalid", "\"invalid\"");
    roundTrips(Value::of(Asic::MajorVersion{3}), "3", "3");
    roundTrips(Value::of(Asic::EntryVersion{}), "invalid", "\"invalid\"");
    roundTrips(Value::of(Asic::EntryVersion{3, 1}), "3.1", "\"3.1\"");
    roundTrips(Value::of(Asic::TableVersion{Asic::SwTableId{0x08080404}, 17}), "08:08:0404@17",
               "\"08:08:0404@17\"");
    roundTrips(Value::of(Asic::EntryFlags::none), "none", "\"none\"");
    roundTrips(Value::of(static_cast<Asic::EntryFlags>(5)),
               "flagEntryDeleted|flagSuppressIdenticalWrites",
               "\"flagEntryDeleted|flagSuppressIdenticalWrites\"");
    roundTrips(Value::of(State::entryApplied), "entryApplied", "\"entryApplied\"");
    roundTrips(Value::of(static_cast<State>(3)), "3", "\"3\"");
}

TEST_F(InspectValue, WhatIsNoneOfTheSystemsOwnValuesIsRefused) {
    refuses<Asic::SwTableId>(
        {"", "08:08:40e", "8:08:0404", "08-08-0404", "08:08:04xx", "08:08:0x04", "4294967296"});
    refuses<Asic::MajorVersion>({"", "none", "18446744073709551616"});
    refuses<Asic::EntryVersion>({"", "3", "3.65536", ".1", "3.", "3.1.2"});
    refuses<Asic::TableVersion>({"", "08:08:0404", "@1", "08:08:0404@", "08:08:0404@x"});
    refuses<Asic::EntryFlags>({"", "flagNothing", "flagEntryDeleted|", "8"});
    refuses<State>({"", "entrySomething", "256"});
}

TEST_F(InspectValue, AKeyIsItsNumber) {
    auto const key = Value{42U}.as(keyType(), "a key");
    roundTrips(key, "0x0000002a", "\"0x0000002a\"");
    EXPECT_EQ(key.asNumber(), 42U);
    EXPECT_EQ(Value::parse(keyType(), "42"), key);
    EXPECT_EQ(Value::parse(keyType(), "\"42\""), key);
    EXPECT_FALSE(key == Value{42U}); // of another type
}

TEST_F(InspectValue, AnEntryIsItsKeyAndItsBytes) {
    auto const entry = valueOf(42, 0x0705);
    EXPECT_THAT(entry.text(), StartsWith("{key: 0x0000002a, fields: 0100000000000000000005"));
    std::string bytes;
    Ombra::Impl::hexText(entryOf(42, 0x0705).fields(), bytes);
    EXPECT_EQ(entry.json(), "{\"key\": \"0x0000002a\", \"fields\": \"" + bytes + "\"}");
    EXPECT_EQ(Value::parse(entryType(), entry.text()), entry);
    EXPECT_EQ(Value::parse(entryType(), entry.json()), entry);
    EXPECT_EQ(entry.bytes().size(), Entry{}.fields().size());
    EXPECT_EQ(Value::record(entryType(), 42, entry.bytes()), entry);
    EXPECT_EQ(Value::parse(entryType(), "{key: 7, fields: }").bytes()[0], std::byte{0});
}

TEST_F(InspectValue, WhatIsNoEntryIsRefused) {
    std::string const tooLong(2 * Entry{}.fields().size() + 2, '0');
    for (std::string const& text :
         {std::string{}, std::string{"{}"}, std::string{"{key: 1}"}, std::string{"{fields: 00}"},
          std::string{"{key: 1, fields: 0}"}, std::string{"{key: 1, fields: 0g}"},
          std::string{"{key: 4294967296, fields: 00}"}, std::string{"key: 1, fields: 00"},
          std::string{"{key: 1, fields: 00, more: 1}"}, std::string{"{key: 1, key: 2}"},
          "{key: 1, fields: " + tooLong + "}"}) {
        auto const refusal = refusalOf([&] { Value::parse(entryType(), text); });
        EXPECT_EQ(refusal.code, Code::wrongValue) << text;
    }
    std::vector<std::byte> const tooFew(3);
    EXPECT_EQ(refusalOf([&] { Value::record(entryType(), 1, tooFew); }).code, Code::wrongValue);
    auto const one = entryOf(1);
    EXPECT_EQ(
        refusalOf([&] { Value::record(entryType(), std::uint64_t{1} << 32, one.fields()); }).code,
        Code::wrongValue);
}

TEST_F(InspectValue, ValuesOfATableAreDisplayedThroughItsModule) {
    auto const& module = *Ombra::ModuleInspectData::find("Ipv4SystemPolicyTcamEntryTypes");
    Key const key{42};
    Entry const entry = entryOf(42, 7);
    EXPECT_EQ(Ombra::Impl::valueToStrep(module, 0, &key), fmt::format("{}", key));
    EXPECT_EQ(Ombra::Impl::valueToStrep(module, 1, &entry), fmt::format("{}", entry));
    EXPECT_EQ(Ombra::Impl::valueToStrep(module, 2, &entry.logEntry()),
              fmt::format("{}", entry.logEntry()));
    EXPECT_EQ(Ombra::Impl::valueToStrep(module, 3, &entry.rsrcKeys()), "{}");
    auto const type = table->typeData();
    EXPECT_THAT(Ombra::Impl::valueToStrep(*type.module, type.index, table.get()).str(),
                StartsWith("Ipv4SystemPolicyTcamEntrySwTable@0x"));
}

TEST_F(InspectValue, PointersHandlersAndNothing) {
    EXPECT_THAT(Value{inspected}.text(), StartsWith("Ipv4SystemPolicyTcamEntrySwTable@0x"));
    EXPECT_THAT(Value{inspected}.json(), StartsWith("\"Ipv4SystemPolicyTcamEntrySwTable@0x"));
    EXPECT_EQ(Value{}.json(), "null");
    EXPECT_EQ(inspected.get("transientAddEntry", 1U).text(), "none");
    EXPECT_EQ(inspected.get("transientAddEntry", 1U).json(), "null");
    EXPECT_EQ(Value{Ombra::NodeHandler{}}.text(), "none");
    EXPECT_EQ(Value{Ombra::NodeHandler{[](auto const&) {}}}.text(), "a handler");
    EXPECT_EQ(refusalOf([] { Value{}.asBool(); }).code, Code::wrongValue);
    EXPECT_EQ(refusalOf([] { Value{true}.asNumber(); }).code, Code::wrongValue);
    EXPECT_EQ(refusalOf([] { Value{true}.asObject(); }).code, Code::wrongValue);
    EXPECT_EQ(refusalOf([] { Value{true}.asString(); }).code, Code::wrongValue);
}

TEST_F(InspectValue, AHandlerOfAnyNodeIsMadeOneOfTheDeclaredClass) {
    auto const& declared = *inspected.attribute("entryWrite").arguments[3].type;
    unsigned calls = 0;
    Value const any{Ombra::NodeHandler{[&](auto const&) { ++calls; }}};
    EXPECT_FALSE(any.is(declared));
    Value const typed = any.as(declared, "the handler");
    EXPECT_TRUE(typed.is(declared));
    EXPECT_EQ(typed.as(declared, "the same").text(), "a handler");
    (*static_cast<Table::ResponseHandler const*>(typed.data()))(nullptr);
    EXPECT_EQ(calls, 1U);
    EXPECT_EQ(refusalOf([&] { typed.as(any.type(), "another"); }).code, Code::wrongValue);
}

TEST_F(InspectValue, OptionalsAndLists) {
    using Optional = std::optional<Asic::EntryVersion>;
    Value const full = Value::of(Optional{Asic::EntryVersion{1, 0}});
    EXPECT_EQ(full.text(), "1.0");
    EXPECT_EQ(full.element(0), Value::of(Asic::EntryVersion{1, 0}));
    EXPECT_EQ(Value::of(Optional{}).json(), "null");
    EXPECT_EQ(Value::of(Optional{}).count(), 0U);
    Value const list = Value::of(std::vector<std::uint32_t>{1, 2});
    EXPECT_EQ(list.json(), "[1, 2]");
    EXPECT_EQ(list.element(1).asNumber(), 2U);
    EXPECT_EQ(refusalOf([&] { list.element(2); }).code, Code::wrongValue);
    EXPECT_EQ(Value::of(std::vector<std::uint32_t>{}).text(), "[]");
}

TEST_F(InspectValue, CopiesAndMovesLikeWhatItHolds) {
    Value entry = valueOf(1, 7); // too large for the room within
    Value copy = entry;
    Value moved = std::move(entry);
    EXPECT_EQ(copy, moved);
    EXPECT_NE(copy.data(), moved.data());
    Value text{"a text that is longer than what a small string holds"};
    Value textMoved = std::move(text);
    copy = textMoved;
    EXPECT_EQ(copy, textMoved);
    auto& same = copy;
    copy = same;
    EXPECT_EQ(copy, textMoved);
    auto const references = table->refCount();
    {
        Value const first{inspected};
        Value second = first;
        Value const third = std::move(second);
        EXPECT_EQ(table->refCount(), references + 2);
    }
    EXPECT_EQ(table->refCount(), references);
}

} // namespace
} // namespace LoamSystemAcl
