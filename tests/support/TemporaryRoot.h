#pragma once

#include <Orbis/EntityManager.h>
#include <ZetSharedMem/EntityManager.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

// A folder in memory for the files of a test program's managers, made before its first test and
// removed after its last one. One source file of the program registers it:
//
//     testing::Environment* const root =
//         testing::AddGlobalTestEnvironment(new testing_support::TemporaryRoot);
namespace testing_support {

class TemporaryRoot : public testing::Environment {
  public:
    void SetUp() override {
        std::string path = "/dev/shm/loam-test-XXXXXX";
        ASSERT_NE(::mkdtemp(path.data()), nullptr) << "no folder can be made in /dev/shm";
        path_ = path;
        maker_ = ::getpid();
        ZetSharedMem::setRoot(path_.string());
        Orbis::setRoot(path_.string());
    }

    void TearDown() override {
        if (!path_.empty() && maker_ == ::getpid()) { // a forked child leaves it alone
            std::filesystem::remove_all(path_);
        }
    }

  private:
    std::filesystem::path path_;
    pid_t maker_ = 0;
};

// Where the file of an entity lies.
inline std::filesystem::path fileOf(Ombra::String const& manager, Ombra::String const& path) {
    return std::filesystem::path{ZetSharedMem::root().str()} / manager.str() /
           (path.str() + ".slate");
}

} // namespace testing_support
