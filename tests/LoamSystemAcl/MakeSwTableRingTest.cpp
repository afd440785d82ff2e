#include "EntryLogFixture.h"

#include <RingScribe/Reader.h>
#include <RingScribe/TraceHandle.h>

#include <filesystem>
#include <string>
#include <support/TemporaryRoot.h>
#include <vector>

// What the making of a table leaves in the ring trace.
namespace LoamSystemAcl::entry_log_test {
namespace {

class MakeSwTableRing : public EntryLogTest {
  public:
    MakeSwTableRing() { RingScribe::open(file.string(), 1U << 18); }
    ~MakeSwTableRing() override {
        RingScribe::close();
        std::filesystem::remove(file);
    }

    struct Message {
        std::string format;
        std::string className;
        std::string function;
        std::string text;
        friend bool operator==(Message const&, Message const&) = default;
    };

    std::vector<Message> messages() const {
        std::vector<Message> all;
        RingScribe::Reader{file.string()}.forEach([&](RingScribe::Reader::Msg const& msg) {
            all.push_back({msg.description->format, msg.description->className,
                           msg.description->function, msg.text()});
        });
        return all;
    }

    std::filesystem::path const file =
        std::filesystem::path{ZetSharedMem::root().str()} / "make-sw-table.ring";
};

TEST_F(MakeSwTableRing, ANewTablesResetIsOneMessageWithTheUnit) {
    intf->makeSwTable(258, nullptr, true);
    EXPECT_EQ(messages(),
              std::vector{(
                  Message{"s", interfaceHandle, "makeSwTable",
                          " Clearing entries for table: Ipv4SystemPolicyTcamEntry, unitId: 258"})});
}

TEST_F(MakeSwTableRing, ARestoreIsOneMessageWithTheCountAndTheUnit) {
    log->mountSlateConfig(0, 0);
    for (unsigned number = 1; number <= 3; ++number) {
        write(Key{number}, number);
    }
    restart();
    intf->makeSwTable(0, nullptr, false);
    EXPECT_EQ(messages(),
              std::vector{(
                  Message{"is", interfaceHandle, "makeSwTable",
                          " Restored 3 entries for table: Ipv4SystemPolicyTcamEntry, unitId: 0"})});
}

TEST_F(MakeSwTableRing, IsWrittenWithEveryTraceLevelOffAndDescribedOnce) {
    intf->makeSwTable(1, nullptr, true);
    intf->makeSwTable(2, nullptr, true);
    intf->makeSwTable(1, nullptr, false); // exists: no message
    EXPECT_EQ(messages().size(), 2U);
    EXPECT_EQ(RingScribe::Reader{file.string()}.descriptions().size(), 1U);
}

} // namespace
} // namespace LoamSystemAcl::entry_log_test
