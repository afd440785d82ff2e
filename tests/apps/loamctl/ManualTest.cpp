#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <regex>
#include <set>
#include <sstream>
#include <support/Programs.h>

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing_support::contentOf;
using testing_support::policyOf;
using testing_support::Programs;

// A manual page as plain text: without the hyphens' escapes, fonts and requests at line starts.
std::string manual(std::string const& program) {
    auto text = contentOf(LOAM_SOURCES "/docs/man/" + program + ".1");
    text = std::regex_replace(text, std::regex{R"(\\-)"}, "-");
    text = std::regex_replace(text, std::regex{R"(\\f[RIBP])"}, "");
    return std::regex_replace(text, std::regex{R"(\n\.[A-Z]+ ?)"}, "\n");
}

json commands(Programs& programs) {
    return json::parse(programs.ctl({"commands", "--json"}).out)["commands"];
}

TEST(Manual, TellsEachCommandOfLoamctlWithItsArgumentsAndOptions) {
    Programs programs;
    auto const page = manual("loamctl");
    auto const all = commands(programs);
    EXPECT_GT(all.size(), 20U);
    for (auto const& command : all) {
        auto const name = command["name"].get<std::string>();
        std::smatch entry;
        ASSERT_TRUE(std::regex_search(page, entry, std::regex{"\n" + name + "( .*)?\n"})) << name;
        for (auto const* list : {"arguments", "options"}) {
            for (auto const& each : command[list]) {
                if (auto const option = each["name"].get<std::string>();
                    option != "--help" && option != "--help-all" && option != "--plain") {
                    EXPECT_THAT(entry.str(), HasSubstr(option)) << name;
                }
            }
        }
    }
}

TEST(Manual, TellsEachOptionOfEachProgram) {
    Programs programs;
    for (auto const* program : {"loam-agent", "loam-hw", "loam-policy-gen", "loamctl"}) {
        auto const help = programs.run({Programs::program(program), "--help"}).out;
        auto const page = manual(program);
        std::regex const option{R"((--[a-z-]+))"};
        std::set<std::string> names;
        for (std::sregex_iterator i{help.begin(), help.end(), option}, end; i != end; ++i) {
            names.insert(i->str());
        }
        EXPECT_GT(names.size(), 3U) << program;
        for (auto const& name : names) {
            EXPECT_THAT(page, HasSubstr(name)) << program;
        }
    }
}

// What bash would offer for the line, whose last word is being written.
std::set<std::string> completions(Programs& programs, std::vector<std::string> words) {
    std::string line = "source " LOAM_SOURCES "/apps/completion/loamctl; COMP_WORDS=('" +
                       Programs::program("loamctl") + "'";
    for (auto const& word : words) {
        line += " '" + word + "'";
    }
    line += "); COMP_CWORD=" + std::to_string(words.size()) +
            "; _loamctl; printf '%s\\n' \"${COMPREPLY[@]}\"";
    auto const ran = programs.run({"/bin/bash", "-c", line});
    EXPECT_EQ(ran.err, "");
    std::istringstream out{ran.out};
    std::set<std::string> offered;
    for (std::string word; std::getline(out, word);) {
        offered.insert(word);
    }
    return offered;
}

TEST(Completion, OffersEachCommand) {
    Programs programs;
    auto const offered = completions(programs, {""});
    for (auto const& command : commands(programs)) {
        EXPECT_TRUE(offered.contains(command["name"])) << command["name"];
    }
    EXPECT_EQ(completions(programs, {"unit"}), (std::set<std::string>{"units"}));
}

TEST(Completion, OffersTheTablesOfTheFolderAndTheOptionsOfTheCommand) {
    Programs programs;
    programs.policyIs(policyOf(1));
    auto const agent = programs.startAgent();
    ASSERT_TRUE(agent->says("written: ")) << agent->err();
    EXPECT_EQ(completions(programs, {"--root", programs.root(), "show", "Mac"}),
              (std::set<std::string>{"MacSystemPolicyTcamAction", "MacSystemPolicyTcamEntry"}));
    EXPECT_TRUE(completions(programs, {"watch", "--"}).contains("--event"));
    EXPECT_TRUE(completions(programs, {"--root", programs.root(), "get", "gr"}).contains("group"));
}

} // namespace
