#include "RingFixture.h"

#include <csignal>
#include <fcntl.h>
#include <string_view>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace RingScribe {

namespace {

class RingFile : public RingFixture {
  protected:
    // Empty when the file could be made.
    std::string refusal(std::string const& file, std::size_t sizeBytes = smallBytes) {
        try {
            TraceFile made{file, sizeBytes};
        } catch (FileException const& failure) {
            return failure.what();
        }
        return {};
    }

    void expectRefusal(std::string const& file, std::string_view reason) {
        auto const text = refusal(file);
        EXPECT_NE(text.find(file), std::string::npos) << text;
        EXPECT_NE(text.find(reason), std::string::npos) << text;
    }
};

} // namespace

TEST_F(RingFile, IsTheOwnersAloneAndHasTheSizeAskedFor) {
    open(path(), smallBytes + 100);
    struct stat state {};
    ASSERT_EQ(::stat(path().c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 07777, 0600U);
    EXPECT_EQ(static_cast<std::size_t>(state.st_size), smallBytes);
}

TEST_F(RingFile, HasAllItsMemoryFromTheStart) {
    open(path(), smallBytes);
    struct stat state {};
    ASSERT_EQ(::stat(path().c_str(), &state), 0);
    EXPECT_GE(static_cast<std::size_t>(state.st_blocks) * 512, smallBytes);
}

TEST_F(RingFile, AFormerRingIsKeptAside) {
    int msgId = 0;
    open(path(), smallBytes);
    write(msgId, __FILE__, __LINE__, "C", "f", "former");
    open(path(), smallBytes);
    write(msgId, __FILE__, __LINE__, "C", "f", "former");
    write(msgId, __FILE__, __LINE__, "C", "f", "former");
    EXPECT_EQ(messagesOf(path() + ".old").size(), 1U);
    EXPECT_EQ(messagesOf(path()).size(), 2U);
}

TEST_F(RingFile, AnotherKindOfFileIsRefusedAndKept) {
    bytesAre(path(), "precious");
    expectRefusal(path(), "is there and is no ring file");
    EXPECT_EQ(bytesOf(path()), "precious");
}

TEST_F(RingFile, AnEmptyFileThatADeadMakerLeftIsReplaced) {
    bytesAre(path(), "");
    EXPECT_EQ(refusal(path()), "");
    EXPECT_FALSE(std::filesystem::exists(path() + ".old"));
}

TEST_F(RingFile, AZeroFileThatADeadMakerLeftIsReplaced) {
    bytesAre(path(), std::string(smallBytes, '\0'));
    EXPECT_EQ(refusal(path()), "");
}

TEST_F(RingFile, ALinkIsNotFollowed) {
    bytesAre(folder + "/target", "precious");
    std::filesystem::create_symlink(folder + "/target", path());
    expectRefusal(path(), "is a symbolic link");
    EXPECT_EQ(bytesOf(folder + "/target"), "precious");
}

TEST_F(RingFile, AFifoIsRefusedWithoutWaiting) {
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    expectRefusal(path(), "is no regular file");
}

TEST_F(RingFile, AMissingFolderIsNamed) {
    expectRefusal(folder + "/none/ring", "its folder does not exist");
}

TEST_F(RingFile, ARingThatALiveProcessWritesIsRefusedAndKept) {
    TraceFile const first{path(), smallBytes};
    expectRefusal(path(), "is being written by a live process");
    EXPECT_FALSE(std::filesystem::exists(path() + ".old"));
}

TEST_F(RingFile, ARingWhoseWriterWasKilledIsFree) {
    auto const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        TraceFile const file{path(), smallBytes};
        ::raise(SIGKILL);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(refusal(path()), "");
    EXPECT_TRUE(std::filesystem::exists(path() + ".old"));
}

TEST_F(RingFile, ASizeOutOfRangeIsRefusedAndTheRangeTold) {
    EXPECT_EQ(refusal(path(), smallBytes), "");
    auto const text = refusal(path(), smallBytes - 1);
    EXPECT_NE(text.find("a size of 86015 bytes was asked for; give 86016 to 1073811456 bytes."),
              std::string::npos)
        << text;
    EXPECT_NE(refusal(path(), std::size_t{2} << 30), "");
}

TEST_F(RingFile, AFullFileSystemIsAnExceptionAndLeavesNothing) {
    rlimit former{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &former), 0);
    auto* const formerAction = std::signal(SIGXFSZ, SIG_IGN);
    rlimit const small{4096, former.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    auto const text = refusal(path());
    ::setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, formerAction);

    EXPECT_NE(text.find("86016 bytes can't be allocated"), std::string::npos) << text;
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(RingFile, AfterAFailedOpenThereIsNoRing) {
    open(path(), smallBytes);
    EXPECT_THROW(open(folder + "/none/ring", smallBytes), FileException);
    EXPECT_EQ(defaultRingScribeHandle, nullptr);
}

TEST_F(RingFile, AForkedChildHasNoRingAndDoesNotHoldItsParents) {
    open(path(), smallBytes);
    int toChild[2];
    int toParent[2];
    ASSERT_EQ(::pipe(toChild), 0);
    ASSERT_EQ(::pipe(toParent), 0);
    auto const child = ::fork();
    ASSERT_GE(child, 0);
    char byte = 0;
    if (child == 0) {
        ::close(toChild[1]);
        bool const hasNone = defaultRingScribeHandle == nullptr && currentTraceFile() == nullptr;
        bool const told = ::write(toParent[1], "r", 1) == 1;
        [[maybe_unused]] auto const ended = ::read(toChild[0], &byte, 1);
        ::_exit(hasNone && told ? 0 : 1);
    }
    ASSERT_EQ(::read(toParent[0], &byte, 1), 1);
    ::close(toParent[0]);
    ::close(toParent[1]);
    ::close(toChild[0]);
    close();
    EXPECT_EQ(refusal(path()), ""); // free, although the child lives
    ::close(toChild[1]);
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

} // namespace RingScribe
