#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <support/Programs.h>

namespace {

using testing::HasSubstr;
using testing_support::contentIs;
using testing_support::contentOf;
using testing_support::policyOf;
using testing_support::Programs;

// Ten rules in tables and hardware, both ended; gives the dump.
std::string programTen(Programs& programs) {
    programs.policyIs(policyOf(10));
    auto const hw = programs.startHw();
    EXPECT_EQ(programs.runAgent().status, 0);
    EXPECT_EQ(programs.endHwAndCompare(*hw).status, 0);
    return contentOf(programs.dumpFile());
}

TEST(Compare, FindsAnEntryThatHardwareLacks) {
    Programs programs;
    auto const dump = programTen(programs);
    contentIs(programs.dumpFile(), dump.substr(dump.find('\n') + 1));
    auto const ran = programs.ctl({"compare", programs.dumpFile()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.out, HasSubstr(": only in the table\n"));
    EXPECT_THAT(ran.out, HasSubstr("1 differences among 20 entries"));
}

TEST(Compare, FindsAnEntryThatOnlyHardwareHas) {
    Programs programs;
    auto const dump = programTen(programs);
    contentIs(programs.dumpFile(), dump + "MacSystemPolicyTcamEntry 2 0x00000009 00ff\n");
    auto const ran = programs.ctl({"compare", programs.dumpFile()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(
        ran.out,
        HasSubstr("MacSystemPolicyTcamEntry unit 2 key 0x00000009: only in the hardware\n"));
}

TEST(Compare, FindsAnEntryThatDiffersInOneBit) {
    Programs programs;
    auto dump = programTen(programs);
    auto& digit = dump[dump.rfind('\n') - 1];
    digit = digit == '0' ? '1' : '0';
    contentIs(programs.dumpFile(), dump);
    auto const ran = programs.ctl({"compare", programs.dumpFile(), "--json"});
    EXPECT_EQ(ran.status, 1);
    auto const json = nlohmann::json::parse(ran.out);
    EXPECT_EQ(json["differences"], 1);
    EXPECT_NE(json["first-differences"][0]["in-table"],
              json["first-differences"][0]["in-hardware"]);
}

TEST(Compare, TellsTwentyDifferencesAndTheNumberOfTheOthers) {
    Programs programs;
    programs.policyIs(policyOf(15));
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("hardware operations: 30")) << agent->err();
    contentIs(programs.dumpFile(), "");
    auto const ran = programs.ctl({"compare", programs.dumpFile()});
    EXPECT_EQ(ran.status, 1);
    EXPECT_THAT(ran.out, HasSubstr("... and 10 more\n"));
    EXPECT_THAT(ran.out, HasSubstr("30 of them wait for the hardware side"));
}

TEST(Compare, RefusesADumpThatIsNone) {
    Programs programs;
    programTen(programs);
    struct Case {
        char const* text;
        char const* reason;
    };
    for (auto const& [text, reason] :
         {Case{"hello\n", "line 1: expected a table's name, a unit, a key and bytes"},
          Case{"MacSystemPolicyTcamEntry x 0x1 00\n", "line 1: 'x' is no unit"},
          Case{"MacSystemPolicyTcamEntry 0 1 00\n", "line 1: '1' is no key"},
          Case{"Mac 0 0x1 00\n", "'Mac' is the name of no table"},
          Case{"MacSystemPolicyTcamEntry 0 0x1 00\nMacSystemPolicyTcamEntry 0 0x1 00\n",
               "stands there twice"}}) {
        contentIs(programs.dumpFile(), text);
        auto const ran = programs.ctl({"compare", programs.dumpFile()});
        EXPECT_EQ(ran.status, 2) << text;
        EXPECT_THAT(ran.err, HasSubstr(reason));
    }
}

TEST(Compare, RefusesADumpThatIsMissing) {
    Programs programs;
    programTen(programs);
    auto const ran = programs.ctl({"compare", programs.scratch("missing")});
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.err, HasSubstr("No such file"));
}

} // namespace
