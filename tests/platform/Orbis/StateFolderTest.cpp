#include "StoreFixture.h"

#include <csignal>
#include <fstream>
#include <support/LateFile.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace Orbis {

namespace {

class StateFolder : public StoreFixture {
  protected:
    static mode_t modeOf(std::string const& path) {
        struct stat state {};
        return ::stat(path.c_str(), &state) == 0 ? state.st_mode & 07777 : 0;
    }

    void expectRefusal(std::string const& object, std::string const& reason) {
        auto const text = refusal([] { shared(); });
        EXPECT_NE(text.find(object), std::string::npos) << text;
        EXPECT_NE(text.find(reason), std::string::npos) << text;
    }
};

} // namespace

TEST_F(StateFolder, IsTheOwnersAlone) {
    auto const former = ::umask(0);
    shared();
    ::umask(former);
    EXPECT_EQ(modeOf(folder + "/switch"), 0700U);
    EXPECT_EQ(modeOf(stateFolder()), 0700U);
    EXPECT_EQ(modeOf(stateFolder() + "/entities"), 0600U);
    Asic::GenId::create(shared(), "generation");
    EXPECT_EQ(modeOf(stateFolder() + "/entities"), 0600U);
}

TEST_F(StateFolder, LiesUnderDevShmUnlessAProgramSaysOtherwise) {
    EXPECT_EQ(formerRoot.str(), "/dev/shm/loam-" + std::to_string(::geteuid()));
}

TEST_F(StateFolder, OfTheYear2040IsReadAndChanged) {
    Asic::GenId::create(shared(), "generation")->majorIdInc(7);
    for (std::string const each : {"/entities", ""}) {
        ASSERT_TRUE(testing_support::madeLate(stateFolder() + each)) << each;
    }
    auto const generation = Asic::GenId::create(shared(), "generation");
    generation->majorIdInc(1);
    EXPECT_EQ(generation->majorId(), 8U);
}

TEST_F(StateFolder, TheRootIsMade) {
    setRoot(folder + "/root");
    shared();
    EXPECT_EQ(modeOf(folder + "/root"), 0700U);
}

TEST_F(StateFolder, ARootWithoutAFolderAboveIsNamed) {
    setRoot(folder + "/none/root");
    expectRefusal(folder + "/none/root", "can't be made: No such file or directory");
}

TEST_F(StateFolder, ANameThatIsNoFolderNameIsRefused) {
    for (char const* name : {"", ".", "..", ".hidden", "a/b", "a b", "a\nb"}) {
        EXPECT_NE(refusal([&] { shared(name); }).find("the name is no folder name"),
                  std::string::npos)
            << "'" << name << "'";
    }
    EXPECT_EQ(refusal([] { shared("Unit-1_a.b"); }), "");
}

TEST_F(StateFolder, AFolderThatIsOpenToOthersIsRefusedWithItsMode) {
    std::filesystem::create_directory(folder + "/switch");
    ::chmod((folder + "/switch").c_str(), 0750);
    expectRefusal(folder + "/switch", "has the mode 0750, which lets others in. Set it to 0700.");
}

TEST_F(StateFolder, ARootThatOthersMayWriteIsRefused) {
    ::chmod(folder.c_str(), 0777);
    expectRefusal(folder, "has the mode 0777");
    ::chmod(folder.c_str(), 0755);
    EXPECT_EQ(refusal([] { shared(); }), "");
}

TEST_F(StateFolder, ALinkInThePlaceOfAFolderIsRefused) {
    std::filesystem::create_directory(folder + "/elsewhere");
    std::filesystem::create_directory_symlink(folder + "/elsewhere", folder + "/switch");
    expectRefusal(folder + "/switch", "is no folder");
}

TEST_F(StateFolder, AForeignFileIsRefusedAndKept) {
    shared();
    std::ofstream{stateFolder() + "/entities", std::ios::trunc} << std::string(10'000, 'x');
    expectRefusal(stateFolder(),
                  "is damaged or foreign. Move the folder away; a new store is made.");
    EXPECT_EQ(std::filesystem::file_size(stateFolder() + "/entities"), 10'000U);
}

TEST_F(StateFolder, ACutFileIsRefused) {
    auto manager = shared();
    for (int i = 0; i < 300; ++i) {
        Asic::GenId::create(manager, std::to_string(i));
    }
    manager = nullptr;
    for (std::uintmax_t const bytes : {8192, 24, 23, 0}) {
        std::filesystem::resize_file(stateFolder() + "/entities", bytes);
        expectRefusal(stateFolder(), "damaged");
    }
}

TEST_F(StateFolder, AMissingFileIsRefused) {
    shared();
    std::filesystem::remove(stateFolder() + "/entities");
    expectRefusal(stateFolder() + "/entities", "No such file or directory");
}

TEST_F(StateFolder, ALinkInThePlaceOfAFileIsRefused) {
    shared();
    std::filesystem::rename(stateFolder() + "/entities", folder + "/entities");
    std::filesystem::create_symlink(folder + "/entities", stateFolder() + "/entities");
    expectRefusal(stateFolder() + "/entities", "is no regular file");
}

TEST_F(StateFolder, WhatADeadMakerLeftIsRemoved) {
    std::filesystem::create_directories(stateFolder() + ".new");
    std::filesystem::permissions(folder + "/switch", std::filesystem::perms{0700});
    std::ofstream{stateFolder() + ".new/entities"} << "half";
    EXPECT_EQ(refusal([] { Asic::GenId::create(shared(), "generation"); }), "");
    EXPECT_FALSE(std::filesystem::exists(stateFolder() + ".new"));
    std::ofstream{stateFolder() + "/entities.new"} << "half";
    EXPECT_EQ(refusal([] { Asic::GenId::create(shared(), "other"); }), "");
    EXPECT_FALSE(std::filesystem::exists(stateFolder() + "/entities.new"));
}

TEST_F(StateFolder, AStoreWithoutRoomIsAnExceptionAndNotASignal) {
    EXPECT_EQ(inChild([] {
                  std::signal(SIGXFSZ, SIG_IGN);
                  rlimit const none{0, 0};
                  ::setrlimit(RLIMIT_FSIZE, &none);
                  return refusal([] { shared(); }).find("can't be written: File too large") ==
                         std::string::npos;
              }),
              0);
    EXPECT_EQ(refusal([] { shared(); }), "");
}

TEST_F(StateFolder, AStoreThatCantGrowKeepsWhatItHolds) {
    Asic::GenId::create(shared(), "generation")->majorIdInc(4);
    EXPECT_EQ(inChild([] {
                  auto const manager = shared();
                  std::signal(SIGXFSZ, SIG_IGN);
                  rlimit const small{32768, 32768};
                  ::setrlimit(RLIMIT_FSIZE, &small);
                  auto const text = refusal([&] {
                      for (int i = 0; i < 100'000; ++i) {
                          Asic::GenId::create(manager, std::to_string(i));
                      }
                  });
                  if (text.find("State store") == std::string::npos) {
                      return 1;
                  }
                  return Asic::GenId::create(manager, "generation")->majorId() == 4 ? 0 : 2;
              }),
              0);
    auto const generation = Asic::GenId::create(shared(), "generation");
    generation->majorIdInc(1);
    EXPECT_EQ(generation->majorId(), 5U);
}

} // namespace Orbis
