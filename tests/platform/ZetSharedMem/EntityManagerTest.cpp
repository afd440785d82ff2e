#include "SlateFixture.h"

#include <Slate/Exceptions.h>
#include <Slate/Store.h>

#include <gtest/gtest.h>

#include <csignal>
#include <support/LateFile.h>
#include <sys/stat.h>
#include <sys/wait.h>

using namespace SharedMemTest;
using ZetSharedMem::EntityManager;

namespace {

// A manager of its own for each test, in files or local.
class Managers : public testing::TestWithParam<bool> {
  protected:
    Ombra::Ptr<EntityManager> another() const {
        return Ombra::ptrIs<EntityManager>(name_, GetParam());
    }
    ~Managers() override { manager_->discardLocal(); }

    std::string const name_ =
        "m" + std::to_string(testing::UnitTest::GetInstance()->current_test_info()->line());
    Ombra::Ptr<EntityManager> const manager_ = another();
};

// In files alone.
class Files : public testing::Test {
  protected:
    std::string const name_ =
        "f" + std::to_string(testing::UnitTest::GetInstance()->current_test_info()->line());
    Ombra::Ptr<EntityManager> const manager_ = Ombra::ptrIs<EntityManager>(name_, false);
    std::string const folder_ = rootFolder.path + "/root/" + name_;
};

std::uint32_t valueAt(Table const& table, std::uint32_t key) {
    bool found = false;
    Entry const entry = table.map().lookup(Key{key}, &found);
    return found ? entry.value : 0;
}

} // namespace

TEST_P(Managers, GiveTheEntityThatWasMounted) {
    EXPECT_FALSE(manager_->getEntity("a/b"));
    auto const table = mount(manager_, "a/b");
    ASSERT_TRUE(table);
    EXPECT_EQ(manager_->getEntity("a/b"), table);
    EXPECT_EQ(table->path(), "a/b");
    EXPECT_TRUE(table->writable());
    EXPECT_FALSE(table->stale());
}

TEST_P(Managers, CompleteAMountOnlyWhenTheGroupIsClosed) {
    auto const group = manager_->getMountGroup();
    EXPECT_FALSE(group->mount("a", "Test::Table", mountInfo()));
    EXPECT_FALSE(manager_->getEntity("a"));
    group->doClose();
    EXPECT_TRUE(manager_->getEntity("a"));
    EXPECT_TRUE(group->mount("a", "Test::Table", mountInfo()));
}

TEST_P(Managers, AFirstCreationIsEmptyAndNotWiped) {
    auto const table = mount(manager_, "a");
    EXPECT_EQ(table->map().memberCount(), 0U);
    EXPECT_FALSE(table->control()->wiped());
    EXPECT_EQ(table->control()->scratchpad(), 0U);
}

TEST_P(Managers, ASecondMountOfThePathGivesTheSameEntity) {
    auto const table = mount(manager_, "a");
    EXPECT_EQ(mount(manager_, "a"), table);
}

TEST_P(Managers, ARestartFindsRecordsAndScratchpad) {
    {
        auto const table = mount(manager_, "a");
        table->recordIs(entryOf(1, 10));
        table->recordIs(entryOf(2, 20));
        table->recordDel(Key{1});
        table->control()->scratchpadIs(99);
    }
    manager_->closeAll();
    EXPECT_FALSE(manager_->getEntity("a"));
    auto const table = mount(manager_, "a");
    EXPECT_EQ(valueAt(*table, 1), 0U);
    EXPECT_EQ(valueAt(*table, 2), 20U);
    EXPECT_EQ(table->map().memberCount(), 1U);
    EXPECT_EQ(table->control()->scratchpad(), 99U);
    EXPECT_FALSE(table->control()->wiped());
}

TEST_P(Managers, RefuseASecondWriter) {
    auto const table = mount(manager_, "a");
    EXPECT_THROW(mount(another(), "a"), ZetSharedMem::WriterExistsException);
    table->close();
    EXPECT_TRUE(mount(another(), "a"));
}

TEST_P(Managers, AForgottenEntityIsReadableButRefusesChanges) {
    auto const table = mount(manager_, "a");
    table->recordIs(entryOf(1, 10));
    manager_->forgetEntity("a");
    EXPECT_EQ(valueAt(*table, 1), 10U);
    EXPECT_THROW(table->recordIs(entryOf(1, 11)), Slate::ReadOnlyException);
    EXPECT_FALSE(table->writable());
}

TEST_P(Managers, AReaderFollowsTheWriter) {
    auto const readers = another();
    EXPECT_FALSE(mount(readers, "a", readInfo()));
    auto const table = mount(manager_, "a");
    auto const reader = mount(readers, "a", readInfo());
    ASSERT_TRUE(reader);
    EXPECT_FALSE(reader->writable());
    table->recordIs(entryOf(1, 10));
    EXPECT_EQ(valueAt(*reader, 1), 10U);
    table->recordIs(entryOf(1, 11));
    EXPECT_EQ(valueAt(*reader, 1), 11U);
    EXPECT_EQ(reader->map().memberCount(), 1U);
    EXPECT_THROW(reader->recordIs(entryOf(1, 12)), Slate::ReadOnlyException);
    table->control()->scratchpadIs(5);
    EXPECT_EQ(reader->control()->scratchpad(), 5U);
}

TEST_P(Managers, ALostCollectionIsWipedUntilTheMarkIsCleared) {
    mount(manager_, "a")->recordIs(entryOf(1, 10));
    manager_->closeAll();
    // Another capacity is another layout: what is there can't be used.
    auto table = mount(manager_, "a", mountInfo(ZetSlate::ZetSlateType::writer, 200));
    EXPECT_TRUE(table->control()->wiped());
    EXPECT_EQ(table->map().memberCount(), 0U);
    EXPECT_EQ(table->control()->scratchpad(), 0U);
    table->recordIs(entryOf(2, 20));
    manager_->closeAll();
    table = mount(manager_, "a", mountInfo(ZetSlate::ZetSlateType::writer, 200));
    EXPECT_TRUE(table->control()->wiped()) << "the mark outlives the process";
    EXPECT_EQ(valueAt(*table, 2), 20U);
    table->control()->clearWiped();
    EXPECT_FALSE(table->control()->wiped());
    manager_->closeAll();
    EXPECT_FALSE(
        mount(manager_, "a", mountInfo(ZetSlate::ZetSlateType::writer, 200))->control()->wiped());
}

TEST_P(Managers, FindEntitiesAtAndBelowAPath) {
    mount(manager_, "group/config/0");
    mount(manager_, "group/config/17");
    mount(manager_, "group/configuration");
    mount(manager_, "group/config");
    manager_->closeAll();
    mount(manager_, "group/config/17");
    auto const found =
        manager_->findEntities("group/config", ZetSharedMem::ZetSharedMemType::slate);
    ASSERT_EQ(found->size(), 3U);
    EXPECT_EQ(found->count.at("group/config"), 1U);
    EXPECT_EQ(found->count.at("group/config/0"), 1U);
    EXPECT_EQ(found->count.at("group/config/17"), 1U);
    EXPECT_EQ(manager_->findEntities("none", ZetSharedMem::ZetSharedMemType::slate)->size(), 0U);
}

TEST_P(Managers, KeepSeveralKindsOfEntities) {
    auto const log = mount<Log>(manager_, "log");
    mount(manager_, "table")->recordIs(entryOf(1, 10));
    for (std::uint64_t version = 1; version <= 100; ++version) {
        Change change;
        change.version = version;
        change.value = static_cast<std::uint32_t>(version * 2);
        log->recordIs(change);
    }
    EXPECT_EQ(log->map().memberCount(), 100U);
    bool found = false;
    EXPECT_EQ(log->map().lookup(50, &found).value, 100U);
    EXPECT_TRUE(found);
}

TEST_P(Managers, RefusePathsThatLeadElsewhere) {
    std::string const control{"a\x01"};
    for (std::string const& path : {std::string{}, std::string{"/a"}, std::string{"a/"},
                                    std::string{"a//b"}, std::string{".."}, std::string{"a/../b"},
                                    std::string{".hidden"}, std::string(300, 'x'), control}) {
        EXPECT_THROW(mount(manager_, path), ZetSharedMem::MountException) << path;
    }
}

TEST_P(Managers, NameAnUnknownType) {
    try {
        manager_->getMountGroup()->mount("a", "Test::Unknown", mountInfo());
        FAIL();
    } catch (ZetSharedMem::MountException const& exception) {
        EXPECT_EQ(exception.msg(),
                  "a: no class Test::Unknown is registered in this process; is its "
                  "library loaded?");
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Managers, testing::Bool(), [](auto const& parameter) {
    return parameter.param ? "Local" : "InFiles";
});

TEST(ManagerNames, GiveOneManagerForEachNameAndFlag) {
    auto const files = EntityManager::getEntityManager("one", false);
    EXPECT_EQ(EntityManager::getEntityManager("one", false), files);
    EXPECT_NE(EntityManager::getEntityManager("one", true), files);
    EXPECT_NE(EntityManager::getEntityManager("two", false), files);
    EXPECT_THROW(EntityManager::getEntityManager("a/b", false), ZetSharedMem::MountException);
    EXPECT_THROW(EntityManager::getEntityManager("..", false), ZetSharedMem::MountException);
}

TEST(ManagerNames, TheRootIsSetBeforeTheFirstManager) {
    auto const manager = EntityManager::getEntityManager("one", false);
    EXPECT_THROW(ZetSharedMem::setRoot("/dev/shm/elsewhere"), ZetSharedMem::MountException);
}

TEST_F(Files, AreForThisUserAlone) {
    mount(manager_, "a/b");
    struct stat status {};
    for (std::string const folder : {"", "/a"}) {
        ASSERT_EQ(::stat((folder_ + folder).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0700U);
    }
    ASSERT_EQ(::stat((folder_ + "/a/b.slate").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(status.st_nlink, 1U);
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/a/b.slate.new"));
}

TEST_F(Files, OfTheYear2040AreOpenedByReaderAndWriter) {
    mount(manager_, "a")->recordIs(entryOf(1, 11));
    manager_->closeAll();
    for (std::string const each : {"/a.slate", ""}) {
        ASSERT_TRUE(testing_support::madeLate(folder_ + each)) << each;
    }
    auto const readers = Ombra::ptrIs<EntityManager>(name_, false);
    auto const reader = mount(readers, "a", readInfo());
    ASSERT_TRUE(reader);
    EXPECT_EQ(valueAt(*reader, 1), 11U);
    auto const writer = mount(manager_, "a");
    EXPECT_FALSE(writer->control()->wiped());
    EXPECT_EQ(valueAt(*writer, 1), 11U);
}

TEST_F(Files, ASecondWriterProcessIsNamed) {
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    pid_t const child = ::fork();
    if (child == 0) {
        auto const manager = Ombra::ptrIs<EntityManager>(name_, false);
        auto const table = mount(manager, "a");
        bool const written = ::write(pipeEnds[1], "x", 1) == 1;
        ::pause();
        ::_exit(written ? 0 : 1);
    }
    char ready = 0;
    ASSERT_EQ(::read(pipeEnds[0], &ready, 1), 1);
    try {
        mount(manager_, "a");
        ADD_FAILURE();
    } catch (ZetSharedMem::WriterExistsException const& exception) {
        EXPECT_EQ(exception.msg(), folder_ + "/a.slate: process " + std::to_string(child) +
                                       " writes this collection; stop that process first");
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_TRUE(mount(manager_, "a")) << "the lock dies with its process";
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
}

TEST_F(Files, AMissingFileIsALoss) {
    mount(manager_, "a")->recordIs(entryOf(1, 10));
    manager_->closeAll();
    std::filesystem::remove(folder_ + "/a.slate");
    EXPECT_TRUE(mount(manager_, "a")->control()->wiped());
}

TEST_F(Files, AreMadeAnewWhenTheyAreNoStore) {
    struct Case {
        char const* name;
        void (*damage)(std::string const& file);
    };
    Case const cases[] = {
        {"truncated", [](std::string const& file) { std::filesystem::resize_file(file, 5000); }},
        {"empty", [](std::string const& file) { std::filesystem::resize_file(file, 0); }},
        {"grown",
         [](std::string const& file) {
             std::filesystem::resize_file(file, std::filesystem::file_size(file) + 1);
         }},
        {"foreign",
         [](std::string const& file) {
             std::filesystem::resize_file(file, 0);
             std::filesystem::resize_file(file, 100'000);
         }},
    };
    for (Case const& one : cases) {
        mount(manager_, one.name)->recordIs(entryOf(1, 10));
        manager_->closeAll();
        std::string const file = folder_ + "/" + one.name + ".slate";
        one.damage(file);
        EXPECT_THROW(mount(manager_, one.name, readInfo()), Slate::BadFileException) << one.name;
        auto const table = mount(manager_, one.name);
        EXPECT_TRUE(table->control()->wiped()) << one.name;
        EXPECT_EQ(table->map().memberCount(), 0U);
        EXPECT_TRUE(std::filesystem::exists(file + ".bad")) << one.name;
        table->recordIs(entryOf(1, 11));
        EXPECT_EQ(valueAt(*table, 1), 11U);
    }
}

TEST_F(Files, AReaderSeesThatItsFileWasReplaced) {
    mount(manager_, "a")->recordIs(entryOf(1, 10));
    auto const readers = Ombra::ptrIs<EntityManager>(name_, false);
    auto const reader = mount(readers, "a", readInfo());
    EXPECT_FALSE(reader->stale());
    manager_->closeAll();
    mount(manager_, "a", mountInfo(ZetSlate::ZetSlateType::writer, 200));
    EXPECT_TRUE(reader->stale());
    EXPECT_EQ(valueAt(*reader, 1), 10U) << "what is mapped stays readable";
    readers->forgetEntity("a");
    EXPECT_FALSE(mount(readers, "a", readInfo())->stale());
}

TEST_F(Files, AnUnfinishedCreationIsDoneAgain) {
    mount(manager_, "a");
    manager_->closeAll();
    std::filesystem::rename(folder_ + "/a.slate", folder_ + "/a.slate.new");
    std::filesystem::remove(folder_ + "/a.owner");
    auto const table = mount(manager_, "a");
    EXPECT_FALSE(table->control()->wiped()) << "it never was complete";
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/a.slate.new"));
}

TEST_F(Files, AMissingRootIsNoEntityForAReader) {
    auto const nobody = Ombra::ptrIs<EntityManager>("nobody-wrote-here", false);
    EXPECT_FALSE(mount(nobody, "a/b/c", readInfo()));
    EXPECT_FALSE(std::filesystem::exists(rootFolder.path + "/root/nobody-wrote-here"));
}
