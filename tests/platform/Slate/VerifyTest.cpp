#include "StoreFixture.h"

#include <Slate/Verify.h>

#include <gtest/gtest.h>

using namespace SlateTest;
using Slate::Order;

namespace {

struct Outcome {
    Slate::VerifyResult result;
    std::vector<Slate::Damage> damages;
};

Outcome verified(int fd) {
    Outcome outcome;
    outcome.result =
        Slate::verify(Slate::FileDescriptor{::dup(fd)}, "store",
                      [&](Slate::Damage const& damage) { outcome.damages.push_back(damage); });
    EXPECT_EQ(outcome.result.damages, outcome.damages.size());
    return outcome;
}

class Verified : public testing::Test {
  protected:
    Verified() {
        for (std::uint64_t key = 0; key < 10; ++key) {
            put(*writer_, key, 1);
        }
        put(*writer_, 100, 1); // the journal names its slot, and none of the others
    }

    MemoryFile const file_{specOf(Order::keyMix, 16)};
    Slate::Geometry const geometry_ = Slate::Geometry::of(file_.spec(), "store");
    std::unique_ptr<Slate::Store> const writer_ = file_.writer();
};

} // namespace

TEST_F(Verified, AWholeStoreHasNoDamage) {
    Outcome const outcome = verified(file_.fd());
    EXPECT_EQ(outcome.result.records, 11U);
    EXPECT_TRUE(outcome.damages.empty());
}

TEST_F(Verified, ADamagedRecordIsNamedByFileSlotAndKey) {
    std::uint64_t const record = geometry_.slotOffset + 3 * geometry_.slotStride + 24;
    file_.wordAtIs(record, file_.wordAt(record) ^ 4);
    Outcome const outcome = verified(file_.fd());
    ASSERT_EQ(outcome.damages.size(), 1U);
    EXPECT_EQ(outcome.damages[0].file, "store");
    EXPECT_EQ(outcome.damages[0].slot, 3U);
    EXPECT_EQ(outcome.damages[0].key, 3U);
    EXPECT_TRUE(outcome.damages[0].text.starts_with("store: slot 3, key 3: expected checksum "));
    EXPECT_EQ(outcome.result.records, 10U);
}

TEST_F(Verified, ALostEntryIsFoundByItsLiveSlot) {
    Slate::Bucket bucket{};
    for (std::uint64_t number = 0; number < geometry_.bucketCount; ++number) {
        std::uint64_t const offset = geometry_.directoryOffset + number * sizeof bucket;
        for (std::uint64_t at = 0; at < 56; at += 8) {
            if (Slate::entryNumber(file_.wordAt(offset + at)) == 3) {
                file_.wordAtIs(offset + at, 0);
            }
        }
    }
    Outcome const outcome = verified(file_.fd());
    ASSERT_EQ(outcome.damages.size(), 1U);
    EXPECT_EQ(outcome.damages[0].slot, 2U);
    EXPECT_EQ(outcome.damages[0].key, 2U);
    EXPECT_NE(outcome.damages[0].text.find("expected an entry in directory chain"),
              std::string::npos);
}

TEST_F(Verified, ADamagedScratchpadCopyIsFound) {
    file_.wordAtIs(Slate::controlOffset + 144, 1);
    Outcome const outcome = verified(file_.fd());
    ASSERT_EQ(outcome.damages.size(), 1U);
    EXPECT_TRUE(outcome.damages[0].text.starts_with("store: scratchpad copy 1: expected a check"));
}

TEST_F(Verified, AnUnfitFileIsReportedWithItsReason) {
    file_.wordAtIs(0, 0);
    Outcome const outcome = verified(file_.fd());
    ASSERT_EQ(outcome.damages.size(), 1U);
    EXPECT_TRUE(outcome.damages[0].text.starts_with("store: it is no store file"));
}

TEST_F(Verified, NothingIsChangedByIt) {
    std::vector<char> before(static_cast<std::size_t>(geometry_.fileBytes));
    std::vector<char> after(static_cast<std::size_t>(geometry_.fileBytes));
    ASSERT_GT(::pread(file_.fd(), before.data(), before.size(), 0), 0);
    verified(file_.fd());
    ASSERT_GT(::pread(file_.fd(), after.data(), after.size(), 0), 0);
    EXPECT_EQ(before, after);
}

TEST(VerifyPath, DoesNotFollowASymbolicLinkAndReportsAMissingFile) {
    std::string const link = "/tmp/slate-verify-" + std::to_string(::getpid());
    ASSERT_EQ(::symlink("/etc/passwd", link.c_str()), 0);
    std::vector<std::string> texts;
    auto const note = [&](Slate::Damage const& damage) { texts.push_back(damage.text); };
    Slate::verify(link, note);
    Slate::verify(link + "-missing", note);
    ::unlink(link.c_str());
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0], link + ": Too many levels of symbolic links");
    EXPECT_EQ(texts[1], link + "-missing: No such file or directory");
}
