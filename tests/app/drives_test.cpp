#include "app/drives.h"

#include <gtest/gtest.h>

#include "platform/drives.h"
#include "support/test_program.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class DrivesTest : public testing::Test {
 protected:
  DrivesTest() {
    BackupJob& first = test_.AddJob();
    first.Destination.Path = u"e:\\備份\\<yyyy>\\";
    test_.AddJob().Destination.Path = u"\\\\NAS\\Backup\\x\\";
    BackupJob& removed = test_.AddJob();
    removed.Source.Path = u"Z:\\";
    removed.Deleted = true;
  }
  std::u16string Asked() const {
    std::u16string text;
    for (const DriveUse& use : DrivesToAskAbout(test_.Program)) text += use.Drive + u";";
    return text;
  }
  std::u16string Disk(const char* name) const { return TempFolder::Text(test_.Temp.Root() / name); }

  TestProgram test_;
};

TEST_F(DrivesTest, OnlyWhatJobsNeedAndNobodyLeftIsAskedAbout) {
  std::vector<ExclusionRule> rules = test_.Program.Exclusions.Rules();
  rules.push_back({true, u"舊碟", u"F:", u"*", u"x", {}, {}, {}});
  rules.push_back({true, u"每個", u"?:", u"*", u"x", {}, {}, {}});
  ASSERT_TRUE(test_.Program.Exclusions.SaveExclusions(rules));
  const std::vector<DriveUse> uses = UsedDrives(test_.Program);
  ASSERT_EQ(uses.size(), 5U);
  EXPECT_EQ(uses[0].Drive, u"C:");
  EXPECT_EQ(uses[0].Jobs.size(), 2U);
  EXPECT_EQ(DriveStateOf(test_.Program, uses[0]), DriveState::Ready);
  EXPECT_EQ(uses[1].Drive, u"E:");
  EXPECT_EQ(DriveStateOf(test_.Program, uses[1]), DriveState::Unmapped);
  EXPECT_EQ(uses[3].Drive, u"F:");
  EXPECT_EQ(uses[3].Rules, std::vector<std::u16string>{u"舊碟"});
  EXPECT_EQ(uses[4].Drive, u"D:") << "mapped, but not used";

  EXPECT_EQ(Asked(), u"E:;\\\\NAS\\Backup;");
  ASSERT_EQ(MapDrive(test_.Program.Files, u"E:", Disk("gone")), 0);
  EXPECT_EQ(DriveStateOf(test_.Program, UsedDrives(test_.Program)[1]), DriveState::FolderMissing);
  EXPECT_EQ(Asked(), u"\\\\NAS\\Backup;") << "a disk that is away is known";
  LeaveDrives(test_.Program, UsedDrives(test_.Program));
  EXPECT_EQ(Asked(), u"");
  test_.AddJob().Source.Path = u"G:\\neu\\";
  EXPECT_EQ(Asked(), u"G:;") << "another one comes later";
}

TEST_F(DrivesTest, ADiskThatHoldsAJobsFolderIsProposed) {
  fs::create_directories(test_.Temp.Root() / "one/src");
  fs::create_directories(test_.Temp.Root() / "two/備份");
  const std::vector<std::u16string> volumes{Disk("none"), Disk("one"), Disk("two")};
  EXPECT_EQ(SuggestDriveFolder(test_.Program, u"E:", volumes), Disk("two"));
  EXPECT_EQ(SuggestDriveFolder(test_.Program, u"C:", volumes), Disk("one"));
  EXPECT_EQ(SuggestDriveFolder(test_.Program, u"Z:", volumes), u"");
  EXPECT_EQ(CheckDriveFolder(test_.Program, Disk("one")), u"");
  EXPECT_NE(CheckDriveFolder(test_.Program, Disk("none")), u"");
  EXPECT_NE(CheckDriveFolder(test_.Program, Disk("home/drives")), u"") << "a drive in itself";
}

}  // namespace
}  // namespace kavrel
