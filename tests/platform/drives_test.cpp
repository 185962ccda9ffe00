#include "platform/drives.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

using Names = std::vector<std::u16string>;

TEST(Drives, LeadWhereTheyAreToldUntilTheyAreToldOtherwise) {
  const TempFolder temp;
  const FileSystem& files = temp.Files();
  const std::u16string disk = TempFolder::Text(temp.Root() / "磁碟"), other = disk + u"2";
  fs::create_directories(temp.Root() / "磁碟/資料");
  EXPECT_EQ(DriveFolder(files, u"E:"), u"");
  ASSERT_EQ(MapDrive(files, u"E:", disk), 0);
  EXPECT_EQ(DriveFolder(files, u"e:"), disk);
  EXPECT_TRUE(files.FolderExists(u"E:\\資料\\"));
  ASSERT_EQ(MapDrive(files, u"E:", other), 0);
  EXPECT_EQ(DriveFolder(files, u"E:"), other) << "known although it is missing";
  EXPECT_FALSE(files.FolderExists(u"E:\\"));

  ASSERT_EQ(MapDrive(files, u"\\\\NAS\\Data", disk), 0);
  EXPECT_TRUE(files.FolderExists(u"\\\\nas\\data\\資料"));
  EXPECT_EQ(MappedDrives(files), (Names{u"C:", u"D:", u"E:", u"\\\\nas\\data"}));
  ASSERT_EQ(UnmapDrive(files, u"\\\\Nas\\DATA"), 0);
  ASSERT_EQ(UnmapDrive(files, u"E:"), 0);
  EXPECT_EQ(UnmapDrive(files, u"E:"), ENOENT);
  EXPECT_EQ(MappedDrives(files), (Names{u"C:", u"D:"}));
  EXPECT_TRUE(fs::is_directory(temp.Root() / "磁碟/資料")) << "only the links went";
  EXPECT_FALSE(fs::exists(temp.Home() / "drives/unc"));
}

TEST(Drives, FilesInTheirPlaceAndWrongNamesAreRefused) {
  const TempFolder temp;
  WriteTestFile(temp.DriveC() / "file", "x");
  EXPECT_EQ(DriveFolder(temp.Files(), u"C:"), TempFolder::Text(temp.DriveC()));
  EXPECT_EQ(MapDrive(temp.Files(), u"C:", u"/tmp"), EEXIST);
  EXPECT_EQ(UnmapDrive(temp.Files(), u"C:"), ENOTEMPTY);
  EXPECT_EQ(ReadTestFile(temp.DriveC() / "file"), "x");
  EXPECT_EQ(MapDrive(temp.Files(), u"D:", u"/tmp"), 0) << "an empty folder holds nothing";
  for (const char16_t* drive : {u"", u"C:\\", u"1:", u"\\\\nas", u"\\\\..\\x", u"\\\\a\\b\\c"}) {
    EXPECT_EQ(MapDrive(temp.Files(), drive, u"/tmp"), EINVAL);
  }
  EXPECT_EQ(MapDrive(temp.Files(), u"E:", u"relative"), EINVAL);
}

}  // namespace
}  // namespace kavrel
