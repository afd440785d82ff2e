#include "StoreFixture.h"

#include <Slate/Words.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <support/CommonMapping.h>
#include <thread>

// The thread sanitizer finds writers that store as the library must not, by the means of
// ThreadsTest.cpp. Each runs in a process of its own, which the sanitizer ends with its status.
using namespace SlateTest;

namespace {

constexpr int foundARace = 66; // the sanitizer's status

// A record's slot, where it lies in the mapping.
struct Slot {
    std::uint64_t state;
    std::uint64_t key;
    std::uint32_t checksum;
    std::uint32_t reserved;
    Record record;
};

// A reader looks a record up, again and again, while `store` stores to its slot.
[[noreturn]] void raceAndExit(std::function<void(Slot&)> const& store) {
    testing_support::CommonMapping const common;
    MemoryFile const file{specOf(Slate::Order::keyMix, 32)};
    auto const writer = file.writer();
    put(*writer, 1, 1);
    auto* const record = static_cast<std::byte const*>(writer->lookup(1, nullptr));
    auto* const slot =
        reinterpret_cast<Slot*>(const_cast<std::byte*>(record - offsetof(Slot, record)));
    // Relaxed, so that they order nothing that the library should order itself.
    std::atomic<int> looks{0};
    std::atomic<bool> over{false};
    std::thread thread{[&] {
        auto const reader = file.reader();
        while (!over.load(std::memory_order_relaxed)) {
            get(*reader, 1);
            looks.fetch_add(1, std::memory_order_relaxed);
        }
    }};
    for (int stores = 0; stores < 1000 || looks.load(std::memory_order_relaxed) < 1000; ++stores) {
        store(*slot);
    }
    over.store(true, std::memory_order_relaxed);
    thread.join();
    std::exit(0);
}

TEST(PlantedRace, AStateWordThatIsWrittenPlainlyIsFound) {
    EXPECT_EXIT(raceAndExit([](Slot& slot) {
                    auto* const state = const_cast<std::uint64_t volatile*>(&slot.state);
                    *state = *state;
                }),
                testing::ExitedWithCode(foundARace), "data race");
}

TEST(PlantedRace, APartOfARecordThatIsWrittenPlainlyIsFound) {
    EXPECT_EXIT(raceAndExit([](Slot& slot) { slot.record.value = 1; }),
                testing::ExitedWithCode(foundARace), "data race");
}

TEST(PlantedRace, WhatTheLibraryStoresIsNone) {
    EXPECT_EXIT(raceAndExit([](Slot& slot) {
                    __atomic_store_n(&slot.state, slot.state, __ATOMIC_RELEASE);
                }),
                testing::ExitedWithCode(0), "");
}

} // namespace
