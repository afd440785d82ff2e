#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <support/Programs.h>
#include <vector>

// What each program says to a command line that it can't take: which word is wrong, what was
// expected or what to do; and the status that its manual page tells.
namespace {

using testing::HasSubstr;
using testing_support::Programs;

struct Case {
    char const* name;
    std::vector<std::string> words;
    int status;
    std::vector<std::string> told;
};

Case const cases[] = {
    {"AgentWithoutPolicy", {"loam-agent", "--once"}, 64, {"--policy is required", "--help"}},
    {"AgentOfAUnitOutOfRange",
     {"loam-agent", "--policy", "p", "--unit", "70000"},
     64,
     {"--unit: Value 70000 not in range 0 to 65535", "--help"}},
    {"AgentOfAUnitThatIsNoNumber",
     {"loam-agent", "--policy", "p", "--unit", "two"},
     64,
     {"--unit: Value two not in range 0 to 65535"}},
    {"AgentOfAWordTooMuch", {"loam-agent", "--policy", "p", "q"}, 64, {"not expected: q"}},
    {"AgentOfAMissingPolicy",
     {"loam-agent", "--policy", "/nonexistent/p.json"},
     2,
     {"loam-agent: /nonexistent/p.json: cannot be opened: No such file or directory; expected a "
      "policy file that this user can read\n"}},
    {"AgentOfAFolder",
     {"loam-agent", "--policy", "/"},
     2,
     {"loam-agent: /: not a regular file; expected a policy in JSON\n"}},
    {"HardwareOfNoCapacity",
     {"loam-hw", "--capacity", "0"},
     2,
     {"--capacity: Value 0 not in range 1 to 16777216"}},
    {"HardwareOfAnUnknownBackend", {"loam-hw", "--backend", "chip"}, 2, {"chip", "{model}"}},
    {"HardwareOfNoEntry",
     {"loam-hw", "--refuse", "foo"},
     2,
     {"'foo' is no entry; expected TABLE:KEY, for instance "}},
    {"HardwareOfNoTable",
     {"loam-hw", "--refuse", "NoTable:1"},
     1,
     {"loam-hw: 'NoTable' is no table; `loamctl tables` lists them\n"}},
    {"HardwareBelowAMissingFolder",
     {"loam-hw", "--root", "/nonexistent/a/b"},
     1,
     {"loam-hw: /nonexistent/a: there is no such folder; make it, or choose another one for "
      "shared memory\n"}},
    {"LoamctlWithoutACommand",
     {"loamctl"},
     2,
     {"loamctl: a command is missing\n", "there is: tables, "}},
    {"LoamctlOfNoCommand",
     {"loamctl", "--json", "tabels"},
     2,
     {"loamctl: there is no command 'tabels'\n", "there is: tables, "}},
    {"LoamctlOfAnUnknownOption",
     {"loamctl", "tables", "--wide"},
     2,
     {"loamctl: tables: The following argument was not expected: --wide\n",
      "loamctl tables --help"}},
    {"LoamctlOfAMissingFolder",
     {"loamctl", "--root", "/nonexistent", "tables"},
     2,
     {"loamctl: /nonexistent: there is no such folder; an agent makes it when it starts"}},
    {"GeneratorOfTooManyEntries",
     {"loam-policy-gen", "-n", "65001"},
     2,
     {"--entries: Value 65001 not in range 0 to 65000"}},
    {"GeneratorOfAnUnknownType", {"loam-policy-gen", "-t", "ipv5"}, 2, {"ipv5", "ipv4,ipv6,l2"}},
    {"GeneratorIntoAMissingFolder",
     {"loam-policy-gen", "-n", "1", "-o", "/nonexistent/p.json"},
     1,
     {"loam-policy-gen: /nonexistent/p.json: cannot be written: No such file or directory\n"}},
};

class CommandLine : public testing::TestWithParam<Case> {};

TEST_P(CommandLine, IsRefusedWithItsWordAndWhatWasExpected) {
    Programs programs;
    auto words = GetParam().words;
    words.front() = Programs::program(words.front());
    auto const ran = programs.run(words);
    EXPECT_EQ(ran.status, GetParam().status) << ran.err;
    EXPECT_EQ(ran.out, "");
    for (auto const& told : GetParam().told) {
        EXPECT_THAT(ran.err, HasSubstr(told));
    }
}

INSTANTIATE_TEST_SUITE_P(Of, CommandLine, testing::ValuesIn(cases),
                         [](auto const& one) { return std::string{one.param.name}; });

} // namespace
