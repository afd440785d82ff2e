#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <apps/hw/AtomicFile.h>
#include <apps/hw/ControlFile.h>
#include <filesystem>
#include <unistd.h>

namespace LoamHw {

namespace {

class ControlFileTest : public testing::Test {
  protected:
    ControlFileTest() : path{"/tmp/hw-control-XXXXXX"} { ::close(::mkstemp(path.data())); }
    ~ControlFileTest() override { std::filesystem::remove(path); }

    std::string path;
    Faults start;
};

} // namespace

TEST_F(ControlFileTest, WithoutAFileNothingChanges) {
    ControlFile control{path + ".missing"};
    EXPECT_FALSE(control.changed(start));
    EXPECT_EQ(control.takeTrouble(), "");
}

TEST_F(ControlFileTest, ChangedTextIsGivenOnce) {
    ControlFile control{path};
    EXPECT_EQ(writeAtomically(path, R"({"slow-us": 5})"), "");
    auto const faults = control.changed(start);
    ASSERT_TRUE(faults);
    EXPECT_EQ(faults->slowUs, 5U);
    EXPECT_FALSE(control.changed(start));
}

TEST_F(ControlFileTest, RemovedFileGivesWhatTheProgramWasStartedWith) {
    start.capacity = 77;
    ControlFile control{path};
    writeAtomically(path, R"({"slow-us": 5})");
    control.changed(start);
    std::filesystem::remove(path);
    EXPECT_EQ(control.changed(start), start);
}

TEST_F(ControlFileTest, FileThatIsNotUnderstoodIsReportedOnceAndChangesNothing) {
    ControlFile control{path};
    writeAtomically(path, "{\"slow-us\": ");
    EXPECT_FALSE(control.changed(start));
    EXPECT_THAT(control.takeTrouble(), testing::HasSubstr(path));
    EXPECT_FALSE(control.changed(start));
    EXPECT_EQ(control.takeTrouble(), "");
}

TEST_F(ControlFileTest, FolderInPlaceOfTheFileIsReported) {
    ControlFile control{"/tmp"};
    EXPECT_FALSE(control.changed(start));
    EXPECT_THAT(control.takeTrouble(), testing::HasSubstr("/tmp: can't be read"));
}

} // namespace LoamHw
