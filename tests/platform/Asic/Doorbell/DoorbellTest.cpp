#include <Asic/Doorbell.h>
#include <Ombra/Exception.h>
#include <ZetSharedMem/EntityManager.h>
#include <ZetSharedMem/Exceptions.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Asic {

namespace {

// A root with a path that is longer than a socket's address has room for, and a manager of its own
// for each test.
class DoorbellTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        std::string name = "/tmp/doorbell-XXXXXX";
        top = ::mkdtemp(name.data());
        auto const deep = top + "/" + std::string(120, 'd');
        std::filesystem::create_directory(deep);
        ZetSharedMem::setRoot(deep + "/root");
    }
    static void TearDownTestSuite() { std::filesystem::remove_all(top); }

    std::string file(std::string const& name) const {
        return ZetSharedMem::root().str() + "/" + manager.str() + "/doorbell/" + name;
    }

    static bool readable(int fd) {
        pollfd waited{fd, POLLIN, 0};
        return ::poll(&waited, 1, 0) == 1;
    }

    static mode_t modeOf(std::string const& path) {
        struct stat status = {};
        EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }

    static inline std::string top;
    Ombra::String manager =
        std::string{testing::UnitTest::GetInstance()->current_test_info()->name()};
};

} // namespace

TEST_F(DoorbellTest, RingMakesTheReceiverReadableAndDrainingTakesAllRings) {
    DoorbellReceiver bell{manager, DoorbellReceiver::hw};
    DoorbellRinger ringer{manager, DoorbellReceiver::hw};
    EXPECT_FALSE(readable(bell.fd()));
    EXPECT_TRUE(ringer.ring());
    EXPECT_TRUE(ringer.ring());
    EXPECT_TRUE(readable(bell.fd()));
    EXPECT_TRUE(bell.drain());
    EXPECT_FALSE(readable(bell.fd()));
    EXPECT_FALSE(bell.drain());
}

TEST_F(DoorbellTest, FolderAndSocketAreForThisUserAlone) {
    DoorbellReceiver const bell{manager, DoorbellReceiver::agent};
    EXPECT_EQ(modeOf(file("")), 0700U);
    EXPECT_EQ(modeOf(file("agent")), 0600U);
}

TEST_F(DoorbellTest, RingingNobodyDoesNothing) {
    DoorbellRinger ringer{manager, DoorbellReceiver::hw};
    EXPECT_FALSE(ringer.ring());
    EXPECT_FALSE(std::filesystem::exists(file("")));
}

TEST_F(DoorbellTest, RingerFindsAReceiverThatComesLater) {
    DoorbellRinger ringer{manager, DoorbellReceiver::hw};
    EXPECT_FALSE(ringer.ring());
    DoorbellReceiver bell{manager, DoorbellReceiver::hw};
    EXPECT_TRUE(ringer.ring());
    EXPECT_TRUE(bell.drain());
}

TEST_F(DoorbellTest, RingerNeverBlocksOnAReceiverThatTakesNothing) {
    DoorbellReceiver bell{manager, DoorbellReceiver::hw};
    DoorbellRinger ringer{manager, DoorbellReceiver::hw};
    int taken = 0;
    while (ringer.ring()) {
        ASSERT_LT(++taken, 1'000'000);
    }
    EXPECT_GT(taken, 0);
    EXPECT_TRUE(bell.drain());
    EXPECT_TRUE(ringer.ring());
}

TEST_F(DoorbellTest, ReceiverTakesThePlaceOfOneThatWasKilled) {
    auto const child = ::fork();
    if (child == 0) {
        DoorbellReceiver const bell{manager, DoorbellReceiver::hw};
        ::kill(::getpid(), SIGKILL);
    }
    ::waitpid(child, nullptr, 0);
    ASSERT_TRUE(std::filesystem::exists(file("hw")));
    DoorbellRinger ringer{manager, DoorbellReceiver::hw};
    EXPECT_FALSE(ringer.ring());
    DoorbellReceiver bell{manager, DoorbellReceiver::hw};
    EXPECT_TRUE(ringer.ring());
    EXPECT_TRUE(bell.drain());
}

TEST_F(DoorbellTest, ReceiverRemovesItsSocketButNotItsSuccessors) {
    { DoorbellReceiver first{manager, DoorbellReceiver::hw}; }
    EXPECT_FALSE(std::filesystem::exists(file("hw")));
    auto former = std::make_unique<DoorbellReceiver>(manager, DoorbellReceiver::hw);
    DoorbellReceiver later{manager, DoorbellReceiver::hw};
    former.reset();
    DoorbellRinger ringer{manager, DoorbellReceiver::hw};
    EXPECT_TRUE(ringer.ring());
    EXPECT_TRUE(later.drain());
}

TEST_F(DoorbellTest, RingerGoesOnWhenTheFolderWasRemovedAndMadeAnew) {
    auto former = std::make_unique<DoorbellReceiver>(manager, DoorbellReceiver::hw);
    DoorbellRinger ringer{manager, DoorbellReceiver::hw};
    EXPECT_TRUE(ringer.ring());
    std::filesystem::remove_all(file(""));
    former.reset();
    DoorbellReceiver bell{manager, DoorbellReceiver::hw};
    EXPECT_TRUE(ringer.ring());
    EXPECT_TRUE(bell.drain());
}

TEST_F(DoorbellTest, FolderThatIsOpenToOthersIsRefusedByName) {
    { DoorbellReceiver const bell{manager, DoorbellReceiver::hw}; }
    std::filesystem::permissions(file(""), std::filesystem::perms::all);
    try {
        DoorbellReceiver const bell{manager, DoorbellReceiver::hw};
        FAIL() << "expected a refusal";
    } catch (ZetSharedMem::UnsafePathException const& refusal) {
        EXPECT_NE(refusal.msg().str().find(manager.str() + "/doorbell"), std::string::npos);
    }
}

TEST_F(DoorbellTest, NameThatIsNoFileNameIsRefused) {
    EXPECT_THROW(DoorbellRinger(manager, "../hw"), Ombra::Exception);
    EXPECT_THROW(DoorbellReceiver(manager, std::string(65, 'x')), Ombra::Exception);
}

} // namespace Asic
