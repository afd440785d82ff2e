#include <Slate/Layout.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <crash/Killed.h>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

// Agents that do their work in another order. Each must be caught, or the tests of this folder
// prove nothing; and the same means in the right order must not be.
namespace crash_test {
namespace {

constexpr unsigned key = 1;

void oneKey(Agent& agent) {
    agent.start();
    agent.up->log->entryIs(patterned(Key{key}, 10), ResourceKeys{}, nullptr, 0, agent.up->stats,
                           false);
}

// The first finding, without the place and the details.
std::string firstOf(Findings const& found) {
    if (found.violations.empty()) {
        return "";
    }
    std::string text = found.violations.front();
    if (text.starts_with("behind stop ")) {
        text.erase(0, text.find(": ") + 2);
    }
    return text.starts_with("at the end") ? "at the end" : text;
}

// --- the order of the stores of a change

enum class Store { configuration, log, scratchpad, announcement };

std::string wrongWith(std::vector<Store> const& order, std::string const& manager) {
    Scenario const scenario{
        oneKey,
        [&](Agent& agent) {
            auto& log = *agent.up->log;
            auto const entry = patterned(Key{key}, 5);
            for (Store const store : order) {
                switch (store) {
                case Store::configuration:
                    agent.up->storedIs(ConfigSlateEntry{entry, ResourceKeys{}, 2, false});
                    break;
                case Store::log:
                    agent.up->loggedIs(LogSlateEntry{2, Asic::EntryFlags::none, 0, entry});
                    break;
                case Store::scratchpad:
                    log.tableEntryLog()->control()->scratchpadIs(2);
                    break;
                case Store::announcement:
                    agent.up->agent.group()->addLogEntry(Constants::tableId, 2, nullptr);
                    break;
                }
            }
        },
        {{{configItem(key), live(2, 5)}},
         {{logItem(2), write(key, 5)}},
         {{"scratchpad", "2"}},
         {{"announced", "2"}}}};
    auto const found = killBehindEveryInstruction(scenario, {.restartEvery = 20}, manager);
    return firstOf(found);
}

using enum Store;

TEST(PlantedOrder, NoneIsFoundInTheRightOne) {
    EXPECT_EQ(wrongWith({configuration, log, scratchpad, announcement}, "right-order"), "");
}

TEST(PlantedOrder, ScratchpadBeforeLogIsFound) {
    EXPECT_EQ(wrongWith({configuration, scratchpad, log, announcement}, "scratchpad-first"),
              "a reader: scratchpad is seen before what goes before it");
}

TEST(PlantedOrder, LogBeforeConfigurationIsFound) {
    EXPECT_EQ(wrongWith({log, configuration, scratchpad, announcement}, "log-first"),
              "a reader: log/2 is seen before what goes before it");
}

TEST(PlantedOrder, AnnouncementBeforeScratchpadIsFound) {
    EXPECT_EQ(wrongWith({configuration, log, announcement, scratchpad}, "announcement-first"),
              "a reader: announced is seen before what goes before it");
}

TEST(PlantedOrder, AChangeThatIsNeverAnnouncedIsFound) {
    EXPECT_EQ(wrongWith({configuration, log, scratchpad}, "not-announced"), "at the end");
}

// --- the order of the words of a store

// Every 8-byte word that a write of a present key changes in the configuration table's file, to be
// stored one by one in an order that the test chooses.
struct Word {
    enum Kind { control, payload, entry, retirement } kind;
    std::uint64_t offset;
    std::uint64_t value;
};

std::uint64_t wordAt(TreeImage::File const& file, std::uint64_t offset) {
    auto const page = file.pages.find(static_cast<std::size_t>(offset / pageBytes));
    std::uint64_t word = 0;
    if (page != file.pages.end()) {
        std::memcpy(&word, page->second.data() + offset % pageBytes, sizeof word);
    }
    return word;
}

std::vector<Word> wordsBetween(TreeImage::File const& before, TreeImage::File const& behind) {
    Slate::Superblock superblock{};
    std::memcpy(&superblock, before.pages.at(0).data(), sizeof superblock);
    std::vector<Word> words;
    for (auto const& [page, bytes] : behind.pages) {
        for (std::uint64_t at = page * pageBytes; at < (page + 1) * pageBytes; at += 8) {
            std::uint64_t const old = wordAt(before, at);
            std::uint64_t const now = wordAt(behind, at);
            if (old != now) {
                // The slot that is filled was never used; of the other one, only its state changes.
                auto const kind = at < superblock.directoryOffset ? Word::control
                                  : at < superblock.slotOffset    ? Word::entry
                                  : old != 0                      ? Word::retirement
                                                                  : Word::payload;
                words.push_back({kind, at, now});
            }
        }
    }
    return words;
}

std::string wrongWith(std::vector<Word::Kind> const& order, std::string const& manager) {
    auto const config = Constants::configSlatePath(0).str() + ".slate";
    struct Replay {
        std::vector<Word> words;
        char* at = nullptr;
    } replay;
    Scenario const scenario{
        [&](Agent& agent) {
            auto const other = agent.manager + "-words";
            TreeImage{}.become(other);
            // What a right agent makes of it, on files of its own.
            EXPECT_TRUE(inAProcess([&] {
                Agent right{other, {}, {}};
                oneKey(right);
                TreeImage::of(other).become(agent.manager);
                right.up->storedIs(
                    ConfigSlateEntry{patterned(Key{key}, 5), ResourceKeys{}, 2, false});
            }));
            replay.words = wordsBetween(TreeImage::of(agent.manager).files.at(config),
                                        TreeImage::of(other).files.at(config));
            std::ranges::stable_sort(replay.words, {}, [&](Word const& word) {
                return std::ranges::find(order, word.kind) - order.begin();
            });
            auto const path = folderOf(agent.manager) + "/" + config;
            int const fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
            auto const bytes = static_cast<std::size_t>(::lseek(fd, 0, SEEK_END));
            replay.at = static_cast<char*>(
                ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
        },
        [&](Agent&) {
            for (Word const& word : replay.words) {
                __atomic_store_n(reinterpret_cast<std::uint64_t*>(replay.at + word.offset),
                                 word.value, __ATOMIC_RELEASE);
            }
        },
        {{{configItem(key), live(2, 5)}}}};
    return firstOf(killBehindEveryInstruction(scenario, {.restartEvery = 4}, manager));
}

TEST(PlantedWords, NoneIsFoundInTheRightOrder) {
    EXPECT_EQ(
        wrongWith({Word::control, Word::payload, Word::entry, Word::retirement}, "right-words"),
        "");
}

TEST(PlantedWords, PublishBeforePayloadIsFound) {
    EXPECT_NE(
        wrongWith({Word::control, Word::entry, Word::payload, Word::retirement}, "publish-first"),
        "");
}

TEST(PlantedWords, OldFreedBeforeNewIsFound) {
    EXPECT_NE(
        wrongWith({Word::control, Word::payload, Word::retirement, Word::entry}, "freed-first"),
        "");
}

} // namespace
} // namespace crash_test
