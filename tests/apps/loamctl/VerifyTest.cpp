#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <support/Programs.h>

namespace {

using testing::HasSubstr;
using testing_support::policyOf;
using testing_support::Programs;

std::string ipv4ConfigFile(Programs const& programs) {
    return programs.managerFolder() + "/LoamSystemAcl.LoamSystemAcl/LoamSystemAcl/"
                                      "Ipv4SystemPolicyTcamEntry/config/0.slate";
}

// Turns one bit inside the first slot that holds a record.
void damageARecord(std::string const& path) {
    auto const text = testing_support::contentOf(path);
    // Port 179 stands in each record; a record's bytes are nowhere else in the file.
    auto const at = text.rfind(std::string{"\xb3\x00\xb3\x00", 4});
    ASSERT_NE(at, std::string::npos);
    std::fstream file{path, std::ios::in | std::ios::out | std::ios::binary};
    file.seekp(static_cast<std::streamoff>(at));
    file.put('\xb2');
}

void programTen(Programs& programs) {
    programs.policyIs(policyOf(10));
    auto const hw = programs.startHw();
    ASSERT_EQ(programs.runAgent().status, 0);
}

TEST(Verify, OfAWholeTreeFindsNothing) {
    Programs programs;
    programTen(programs);
    auto const ran = programs.ctl({"verify"});
    EXPECT_EQ(ran.status, 0) << ran.out;
    EXPECT_THAT(ran.out, testing::EndsWith("are whole, 0 damages\n"));
}

TEST(Verify, NamesFileSlotAndKeyOfADamagedRecord) {
    Programs programs;
    programTen(programs);
    damageARecord(ipv4ConfigFile(programs));
    auto const ran = programs.ctl({"verify"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.out, HasSubstr("damage: " + ipv4ConfigFile(programs) + " slot "));
    EXPECT_THAT(ran.out, HasSubstr(" key 0x"));
    EXPECT_THAT(ran.out, testing::EndsWith("1 damages\n"));
}

TEST(Verify, TellsTheSameInJson) {
    Programs programs;
    programTen(programs);
    damageARecord(ipv4ConfigFile(programs));
    auto const json = nlohmann::json::parse(programs.ctl({"verify", "--json"}).out);
    EXPECT_EQ(json["damages"], 1);
    unsigned told = 0;
    for (auto const& file : json["files"]) {
        for (auto const& damage : file["damages"]) {
            ++told;
            EXPECT_TRUE(damage["slot"].is_number());
            EXPECT_TRUE(damage["key"].is_number());
        }
    }
    EXPECT_EQ(told, 1U);
}

TEST(Show, OfADamagedTableFailsAndPointsToVerify) {
    Programs programs;
    programTen(programs);
    damageARecord(ipv4ConfigFile(programs));
    auto const ran = programs.ctl({"show", "ipv4entry"});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.err, HasSubstr("see loamctl verify"));
}

} // namespace
