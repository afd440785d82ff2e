#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <apps/hw/Faults.h>
#include <stdexcept>

namespace LoamHw {

namespace {

std::string faultIn(char const* json) {
    try {
        faultsFromJson(nlohmann::json::parse(json));
        return {};
    } catch (std::invalid_argument const& failure) {
        return failure.what();
    }
}

} // namespace

TEST(RefusedEntry, KeyIsDecimalOrHexadecimal) {
    EXPECT_EQ(refusedFromText("Foo:17"), Faults::Refused("Foo", 17));
    EXPECT_EQ(refusedFromText("Foo:0xffffffff"), Faults::Refused("Foo", 0xffffffff));
}

TEST(RefusedEntry, AnythingElseIsRefused) {
    for (char const* text :
         {"", ":", "Foo", "Foo:", ":1", "Foo:0x", "Foo:-1", "Foo:1x", "Foo:4294967296"}) {
        EXPECT_THROW(refusedFromText(text), std::invalid_argument) << text;
    }
}

TEST(FaultsJson, WhatIsWrittenIsReadBack) {
    Faults faults;
    faults.capacity = 9;
    faults.slowUs = 8;
    faults.stopAfter = 0;
    faults.refuse.insert({"Foo", 0x10064});
    EXPECT_EQ(faultsFromJson(toJson(faults)), faults);
}

TEST(FaultsJson, MissingMembersAreOff) {
    EXPECT_EQ(faultsFromJson(nlohmann::json::object()), Faults{});
}

TEST(FaultsJson, WhatIsWrongIsNamed) {
    EXPECT_THAT(faultIn("[]"), testing::HasSubstr("one JSON object"));
    EXPECT_THAT(faultIn(R"({"slow": 1})"), testing::HasSubstr("\"slow\" is not known"));
    EXPECT_THAT(faultIn(R"({"capacity": 0})"), testing::HasSubstr("\"capacity\" is 0"));
    EXPECT_THAT(faultIn(R"({"slow-us": -1})"), testing::HasSubstr("\"slow-us\" is -1"));
    EXPECT_THAT(faultIn(R"({"refuse": [3]})"), testing::HasSubstr("'3' is no entry"));
    EXPECT_THAT(faultIn(R"({"refuse": "Foo:1"})"), testing::HasSubstr("list"));
}

} // namespace LoamHw
