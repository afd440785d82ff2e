#include "SlateFixture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

// What somebody may have put where a manager keeps its folders and files. Everything is refused
// with a text that names the path and tells what to do, and nothing that was planted is touched.
using namespace SharedMemTest;
using ZetSharedMem::EntityManager;

namespace {

class Planted : public testing::Test {
  protected:
    Planted() {
        std::ofstream{victim_} << "precious";
        ::chmod(victim_.c_str(), 0600);
    }

    void expectRefused(std::string const& path, std::string const& reason) {
        for (bool const writing : {true, false}) {
            try {
                mount(manager_, path, writing ? mountInfo() : readInfo());
                ADD_FAILURE() << path;
            } catch (ZetSharedMem::UnsafePathException const& exception) {
                EXPECT_NE(exception.msg().str().find(reason), std::string::npos) << exception.msg();
                EXPECT_NE(exception.msg().str().find(name_), std::string::npos) << exception.msg();
            }
        }
        std::string content;
        std::ifstream{victim_} >> content;
        EXPECT_EQ(content, "precious");
    }

    std::string const name_ =
        "h" + std::to_string(testing::UnitTest::GetInstance()->current_test_info()->line());
    Ombra::Ptr<EntityManager> const manager_ = Ombra::ptrIs<EntityManager>(name_, false);
    std::string const folder_ = rootFolder.path + "/root/" + name_;
    std::string const victim_ = rootFolder.path + "/victim";

    // Makes the manager's folder the way that the manager does.
    void makeFolder() { mount(manager_, "ordinary"); }
};

} // namespace

TEST_F(Planted, SymbolicLinkForAFile) {
    makeFolder();
    ASSERT_EQ(::symlink(victim_.c_str(), (folder_ + "/a.slate").c_str()), 0);
    expectRefused("a", "it is a symbolic link, expected a regular file");
}

TEST_F(Planted, SymbolicLinkForAFolder) {
    makeFolder();
    ASSERT_EQ(::symlink("/tmp", (folder_ + "/a").c_str()), 0);
    expectRefused("a/b", "symbolic links are not followed here");
}

TEST_F(Planted, SymbolicLinkForTheOwnerFile) {
    makeFolder();
    ASSERT_EQ(::symlink(victim_.c_str(), (folder_ + "/a.owner").c_str()), 0);
    EXPECT_THROW(mount(manager_, "a"), ZetSharedMem::UnsafePathException);
}

TEST_F(Planted, PipeForAFile) {
    makeFolder();
    ASSERT_EQ(::mkfifo((folder_ + "/a.slate").c_str(), 0600), 0);
    expectRefused("a", "it is no regular file");
}

TEST_F(Planted, FolderForAFile) {
    makeFolder();
    ASSERT_EQ(::mkdir((folder_ + "/a.slate").c_str(), 0700), 0);
    expectRefused("a", "it is no regular file");
}

TEST_F(Planted, HardLinkForAFile) {
    makeFolder();
    ASSERT_EQ(::link(victim_.c_str(), (folder_ + "/a.slate").c_str()), 0);
    expectRefused("a", "it has 2 names, expected 1");
}

TEST_F(Planted, FileThatOthersMayRead) {
    mount(manager_, "a");
    manager_->closeAll();
    ASSERT_EQ(::chmod((folder_ + "/a.slate").c_str(), 0644), 0);
    expectRefused("a", "its mode is 0644, expected 0600");
}

TEST_F(Planted, FolderThatOthersMayEnter) {
    makeFolder();
    ASSERT_EQ(::chmod(folder_.c_str(), 0755), 0);
    expectRefused("a", "its mode is 0755, expected 0700");
}

TEST_F(Planted, HugeFileIsNotMapped) {
    mount(manager_, "a");
    manager_->closeAll();
    ASSERT_EQ(::truncate((folder_ + "/a.slate").c_str(), off_t{1} << 42), 0);
    auto const table = mount(manager_, "a");
    EXPECT_TRUE(table->control()->wiped());
}

TEST_F(Planted, SocketForTheNewFileIsReplaced) {
    makeFolder();
    std::string const path = folder_ + "/a.slate.new";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    int const fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr const*>(&address), sizeof address), 0);
    EXPECT_TRUE(mount(manager_, "a"));
    ::close(fd);
}

// The folder in which all users make theirs: another user was first.
TEST_F(Planted, RootFolderOfAnotherUser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can play another user";
    }
    mount(Ombra::ptrIs<EntityManager>("first", false), "a"); // makes the folder around the managers
    ASSERT_EQ(::mkdir(folder_.c_str(), 0700), 0);
    ASSERT_EQ(::chown(folder_.c_str(), 65534, 65534), 0);
    expectRefused("a", "it belongs to user 65534, expected user 0");
    ASSERT_EQ(::chown(folder_.c_str(), 0, 0), 0); // root may lack the right to remove it otherwise
}

TEST_F(Planted, FileOfAnotherUser) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can play another user";
    }
    mount(manager_, "a");
    manager_->closeAll();
    ASSERT_EQ(::chown((folder_ + "/a.slate").c_str(), 65534, 65534), 0);
    expectRefused("a", "it belongs to user 65534, expected user 0");
}

TEST_F(Planted, AnotherUserCanNeitherReadNorWriteNorLock) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can play another user";
    }
    mount(manager_, "a")->recordIs(entryOf(1, 10));
    manager_->closeAll();
    pid_t const child = ::fork();
    if (child == 0) {
        if (::setresuid(65534, 65534, 65534) != 0) {
            ::_exit(2);
        }
        bool const locked = ::open((folder_ + "/a.owner").c_str(), O_RDWR) >= 0;
        bool const read = ::open((folder_ + "/a.slate").c_str(), O_RDONLY) >= 0;
        bool const made = ::open((folder_ + "/b.slate").c_str(), O_RDWR | O_CREAT, 0600) >= 0;
        ::_exit(locked || read || made ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(mount(manager_, "a"));
}
