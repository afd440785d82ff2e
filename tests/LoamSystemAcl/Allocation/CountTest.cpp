#include <LoamSystemAcl/Allocation/NewCalls.h>
#include <LoamSystemAcl/WritePath.h>
#include <Ombra/MemTrack.h>

#include <cstdint>
#include <utility>

// How often memory is asked for, from wherever in the program: objects and arrays that the trackers
// count, and the language's own `new`, which no operation below calls.
namespace LoamSystemAcl {
namespace {

using namespace write_path_test;
using Key = EntryPath::Key;

struct Asked {
    std::uint64_t objects; // and arrays of them
    std::uint64_t news;

    friend bool operator==(Asked const&, Asked const&) = default;
    friend std::ostream& operator<<(std::ostream& out, Asked const& asked) {
        return out << asked.objects << " objects, " << asked.news << " calls of new";
    }
};

std::uint64_t objectsSoFar() {
    std::uint64_t objects = 0;
    for (auto const& each : Zet::AllocTrackTypeInfo::dump()) {
        objects += each.allocated;
    }
    for (auto const& each : Ombra::MemTrack::dump()) {
        objects += each.allocated;
    }
    return objects;
}

template <typename Work>
Asked askedBy(Work const& work) {
    auto const objects = objectsSoFar();
    auto const news = newCalls();
    work();
    auto const newsMade = newCalls() - news; // before the trackers are asked, who make a list
    return {objectsSoFar() - objects, newsMade};
}

// Key 1 is committed, 2 written over its record, 3 written, 4 removed; 5 was never there.
class AllocationCount : public testing::Test {
  protected:
    AllocationCount() {
        for (unsigned const number : {1U, 2U, 4U}) {
            t.applied(number, 7);
        }
        t.write(2, 8);
        t.write(3, 8);
        t.remove(4);
    }

    EntryPath t;
};

TEST_F(AllocationCount, OfEveryLookupIsNone) {
    for (unsigned number = 1; number <= 5; ++number) {
        SCOPED_TRACE(number);
        Key const key{number};
        EXPECT_EQ(askedBy([&] { static_cast<void>(t.table->entryRead(key)); }), (Asked{0, 0}));
        EXPECT_EQ(askedBy([&] { static_cast<void>(t.table->entryHas(key)); }), (Asked{0, 0}));
        EXPECT_EQ(askedBy([&] { static_cast<void>(t.table->entryFromConfig(key)); }),
                  (Asked{0, 0}));
    }
    EXPECT_EQ(askedBy([&] { static_cast<void>(t.table->entrys()); }), (Asked{0, 0}));
    EXPECT_EQ(askedBy([&] { static_cast<void>(t.table->hasPendingHwWrites()); }), (Asked{0, 0}));
}

TEST_F(AllocationCount, OfAWholeIterationIsItsState) {
    static_cast<void>(t.table->entryIteratorConst()); // the class is known to its tracker
    unsigned given = 0;
    EXPECT_EQ(askedBy([&] {
                  for (auto at = t.table->entryIteratorConst(); at; ++at) {
                      ++given;
                  }
              }),
              (Asked{1, 0}));
    EXPECT_EQ(given, 3U);
}

TEST_F(AllocationCount, OfAWriteAndOfARemoveIsTheirThreeObjects) {
    auto const entry = EntryPath::entryOf(3, 9);
    EXPECT_EQ(askedBy([&] { t.table->entryWrite(Key{3}, entry, nullptr); }), (Asked{3, 0}));
    EXPECT_EQ(askedBy([&] { t.table->entryRemove(Key{4}, nullptr); }), (Asked{3, 0}));
}

} // namespace
} // namespace LoamSystemAcl
