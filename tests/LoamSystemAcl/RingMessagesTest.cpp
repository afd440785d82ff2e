#include "TableInUse.h"

#include <LoamSystemAcl/Ipv4SystemPolicyTcamActionInterface.h>
#include <RingScribe/Reader.h>
#include <RingScribe/Write.h>

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace LoamSystemAcl {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A folder of the test's own, and no ring trace before and after.
class RingMessages : public testing::Test {
  protected:
    using Family = Ipv4SystemPolicyTcamEntryFamily;
    using Key = Family::Key;
    using Entry = Family::Entry;
    using Agent = testing_support::AgentInProcess;

    static constexpr std::size_t ringBytes = 1 << 20;

    struct Seen {
        std::string text;
        std::string className;
        std::string function;
        std::string types;

        friend bool operator==(Seen const&, Seen const&) = default;
    };

    RingMessages() {
        RingScribe::close();
        std::string name =
            (std::filesystem::temp_directory_path() / "ring-messages-XXXXXX").string();
        folder = ::mkdtemp(name.data());
    }
    ~RingMessages() override {
        RingScribe::close();
        std::filesystem::remove_all(folder);
    }

    std::string path() const { return folder + "/ring"; }
    void openRing() const { RingScribe::open(path(), ringBytes); }

    static std::vector<Seen> seenIn(std::string const& file) {
        std::vector<Seen> all;
        RingScribe::Reader reader{file};
        reader.forEach([&](RingScribe::Reader::Msg const& msg) {
            all.push_back({msg.text(), msg.description->className, msg.description->function,
                           msg.description->format});
        });
        return all;
    }
    std::vector<std::string> texts() const {
        std::vector<std::string> all;
        for (auto const& seen : seenIn(path())) {
            all.push_back(seen.text);
        }
        return all;
    }

    static void write(Ombra::Ptr<Family::SwTable> const& table, unsigned number) {
        table->entryWrite(Key{number}, Entry{Key{number}}, nullptr);
    }

    // Everything that writes a message: two tables made, one of them with two entries from before,
    // and a sweep that removes these.
    static void allThree(Agent& agent) {
        auto const before = agent.makeSwTable<Family>(4);
        write(before, 1);
        write(before, 2);
        agent.resolve();
        agent.restart();
        agent.makeSwTable<Family>(3, true);
        agent.makeSwTable<Family>(4, false)->sweep();
    }

    static std::vector<Seen> expectedOfAllThree() {
        std::string const table = "Ipv4SystemPolicyTcamEntry";
        std::string const intf = table + "Interface";
        return {
            {" Clearing entries for table: " + table + ", unitId: 4", intf, "makeSwTable", "s"},
            {" Clearing entries for table: " + table + ", unitId: 3", intf, "makeSwTable", "s"},
            {" Restored 2 entries for table: " + table + ", unitId: 4", intf, "makeSwTable", "is"},
            {"Swept 2 entries", table + "SwTable", "sweep", "i"}};
    }

    std::string folder;
};

TEST_F(RingMessages, AreThreeWithTheirTextsAndArguments) {
    openRing();
    {
        Agent agent;
        allThree(agent);
    }
    EXPECT_EQ(seenIn(path()), expectedOfAllThree());
}

TEST_F(RingMessages, CarryTheirArgumentsInNativeWidth) {
    openRing();
    Agent agent;
    allThree(agent);
    std::vector<std::vector<std::uint64_t>> values;
    std::vector<std::size_t> sizes;
    RingScribe::Reader reader{path()};
    reader.forEach([&](RingScribe::Reader::Msg const& msg) {
        values.emplace_back();
        for (auto const& argument : msg.arguments) {
            values.back().push_back(argument.value);
        }
        sizes.push_back(msg.bytes.size());
    });
    EXPECT_THAT(values,
                ElementsAre(ElementsAre(4), ElementsAre(3), ElementsAre(2, 4), ElementsAre(2)));
    EXPECT_THAT(sizes, ElementsAre(2, 2, 4 + 2, 4));
}

TEST_F(RingMessages, OutliveAProcessThatWasKilled) {
    auto const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        openRing();
        Agent agent;
        allThree(agent);
        ::raise(SIGKILL);
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_EQ(WTERMSIG(status), SIGKILL);
    EXPECT_EQ(seenIn(path()), expectedOfAllThree());
}

TEST_F(RingMessages, OfAFirstStartRestoreNothing) {
    openRing();
    Agent agent;
    agent.makeSwTable<Family>(0, false);
    EXPECT_THAT(texts(),
                ElementsAre(" Restored 0 entries for table: Ipv4SystemPolicyTcamEntry, unitId: 0"));
}

TEST_F(RingMessages, TellOfASweepWithoutAPhase) {
    Agent agent;
    auto const table = agent.makeSwTable<Family>(0);
    openRing();
    table->sweep();
    EXPECT_THAT(texts(), ElementsAre("Swept 0 entries"));
}

TEST_F(RingMessages, TellNothingOfATableThatExistsAlready) {
    Agent agent;
    agent.makeSwTable<Family>(0);
    openRing();
    agent.makeSwTable<Family>(0, false);
    agent.makeSwTable<Family>(0, true);
    EXPECT_THAT(texts(), IsEmpty());
}

TEST_F(RingMessages, AreDescribedOnce) {
    openRing();
    Agent agent;
    auto const table = agent.makeSwTable<Family>(0);
    table->sweep();
    auto const described = [this] {
        RingScribe::Reader const reader{path()};
        return std::pair{reader.descriptions().size(), reader.superblock().descriptionUsedBytes};
    };
    auto const first = described();
    EXPECT_EQ(first.first, 2U);
    for (int i = 0; i < 5; ++i) {
        table->sweep();
    }
    EXPECT_EQ(described(), first);
    EXPECT_EQ(texts().size(), 7U);
}

TEST_F(RingMessages, OfEachTableHaveANumberOfTheirOwn) {
    openRing();
    Agent agent;
    agent.makeSwTable<Family>(0)->sweep();
    agent.makeSwTable<Ipv4SystemPolicyTcamActionFamily>(0)->sweep();
    RingScribe::Reader const reader{path()};
    EXPECT_EQ(reader.descriptions().size(), 4U);
    EXPECT_THAT(texts(),
                ElementsAre(" Clearing entries for table: Ipv4SystemPolicyTcamEntry, unitId: 0",
                            "Swept 0 entries",
                            " Clearing entries for table: Ipv4SystemPolicyTcamAction, unitId: 0",
                            "Swept 0 entries"));
}

TEST_F(RingMessages, KeepTheirNumberInTheNextFileAndAreDescribedThereToo) {
    Agent agent;
    auto const table = agent.makeSwTable<Family>(0);
    openRing();
    table->sweep();
    int const number = RingScribe::Reader{path()}.descriptions().begin()->first;
    RingScribe::open(folder + "/next", ringBytes);
    table->sweep();
    RingScribe::Reader const next{folder + "/next"};
    ASSERT_EQ(next.descriptions().size(), 1U);
    EXPECT_EQ(next.descriptions().begin()->first, number);
}

TEST_F(RingMessages, GoToTheThreadsOwnFileInMultiThreadedUse) {
    RingScribe::open(path(), ringBytes, RingScribe::Threads::many);
    Agent agent;
    agent.makeSwTable<Family>(0);
    std::vector<std::string> found;
    for (auto const& file : std::filesystem::directory_iterator{folder}) {
        for (auto const& seen : seenIn(file.path().string())) {
            found.push_back(seen.text);
        }
    }
    EXPECT_THAT(found,
                ElementsAre(" Clearing entries for table: Ipv4SystemPolicyTcamEntry, unitId: 0"));
}

TEST_F(RingMessages, AreWrittenWithEveryTraceLevelOff) {
    Zet::TraceHandle::levelsIs("*", 0);
    std::size_t traced = 0;
    auto former = Ombra::traceSinkIs([&](auto const&) { ++traced; });
    openRing();
    {
        Agent agent;
        allThree(agent);
    }
    Ombra::traceSinkIs(std::move(former));
    EXPECT_EQ(traced, 0U);
    EXPECT_EQ(seenIn(path()), expectedOfAllThree());
}

TEST_F(RingMessages, HaveTheTextsOfTheTracesNextToThem) {
    openRing();
    testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntry*", 1U << 2 | 1U << 6};
    Agent agent;
    allThree(agent);
    std::vector<std::string> traced;
    for (auto const& line : traces.lines) {
        if (line.level == 6 || line.text.starts_with(" Clearing") ||
            line.text.starts_with(" Restored")) {
            traced.push_back(line.text);
        }
    }
    EXPECT_EQ(traced, texts());
}

TEST_F(RingMessages, WithoutARingNothingIsWrittenAndAllElseIsTheSame) {
    auto const tracedBy = [] {
        testing_support::TraceCapture traces{"*", 1U << 2 | 1U << 3 | 1U << 6};
        Agent agent;
        allThree(agent);
        auto const table = agent.makeSwTable<Family>(4, false);
        EXPECT_FALSE(table->inMarkingState());
        EXPECT_EQ(table->entrys(), 0U);
        EXPECT_EQ(table->stats()->entryRemoveCnt(), 2U);
        std::vector<std::string> result;
        for (auto const& line : traces.lines) {
            result.push_back(
                fmt::format("{} {} {} {}", line.level, line.handle, line.function, line.text));
        }
        return result;
    };
    auto const without = tracedBy();
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    openRing();
    EXPECT_EQ(tracedBy(), without);
    EXPECT_EQ(texts().size(), 4U);
}

TEST_F(RingMessages, CountTheRestoredEntriesOnlyForWhoListens) {
    Agent agent;
    auto const walks = [&] {
        testing_support::TraceCapture traces{"Ipv4SystemPolicyTcamEntryEntryLog", 1U << 8};
        agent.makeSwTable<Family>(0, false);
        agent.restart();
        return std::ranges::count_if(traces.lines,
                                     [](auto const& line) { return line.function == "entrys"; });
    };
    EXPECT_EQ(walks(), 0);
    openRing();
    EXPECT_EQ(walks(), 1);
}

using RingMessagesDeathTest = RingMessages;

TEST_F(RingMessagesDeathTest, AMessageNumberIsNeverNegative) {
    int msgId = -1;
    EXPECT_DEATH(
        {
            openRing(); // the child has none of its own
            RingScribe::write(msgId, __FILE__, __LINE__, "C", "f", "text");
        },
        "Assertion `msgId_ >= 0' failed");
}

} // namespace
} // namespace LoamSystemAcl
