// Disks that are full or cannot be written, for real: small mounts of their own.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <fstream>

#include "faults/world.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

class DiskTest : public testing::Test {
 protected:
  TempFolder temp_;
  fs::path source_ = temp_.DriveC() / "src", disk_ = temp_.Root() / "disk", home_ = temp_.Home();
  bool mounted_ = false;

  void SetUp() override {
    fs::create_directories(source_);
    fs::create_directories(disk_);
    mounted_ = mount("tmpfs", disk_.c_str(), "tmpfs", 0, "size=1m") == 0;
    if (!mounted_) GTEST_SKIP() << "no right to mount";
  }
  ~DiskTest() override {
    if (mounted_) umount2(disk_.c_str(), MNT_DETACH);
  }

  CommandResult Backup(const char* type) {
    Add(type, disk_ / "dst");
    return RunCommand({KAVRELCTL, "--home", home_, "run", "J"});
  }
  void Add(const char* type, const fs::path& dest) const {
    EXPECT_EQ(RunCommand({KAVRELCTL, "--home", home_, "add", "--name", "J", "--type", type,
                          "--source", source_, "--dest", dest, "--no-source-folder"})
                  .ExitCode,
              0);
  }
  void Fill() const {
    std::ofstream out(disk_ / "filler", std::ios::binary);
    out << std::string(2 << 20, 'x');
  }
};

TEST_F(DiskTest, ADiskThatFillsInTheMidstOfAFileKeepsItsOldVersion) {
  WriteTestFile(source_ / "big", std::string(900'000, 'n'));
  WriteTestFile(source_ / "small", "new");
  WriteTestFile(disk_ / "dst" / "big", std::string(300'000, 'o'));
  WriteTestFile(disk_ / "dst" / "small", "old");
  for (const char* type : {"full", "sync"}) {
    const CommandResult result = Backup(type);
    EXPECT_EQ(result.ExitCode, 1);
    EXPECT_NE(result.Output.find("備份失敗檔案總計　：1"), std::string::npos) << result.Output;
    const Tree found = ReadTree(disk_ / "dst");
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found.at("big").Bytes, std::string(300'000, 'o'));
    EXPECT_EQ(found.at("small").Bytes, "new");
    EXPECT_EQ(RunCommand({KAVRELCTL, "--home", home_, "remove", "J"}).ExitCode, 0);
  }
}

TEST_F(DiskTest, AReadOnlyDiskFailsEachFileAndChangesNothing) {
  WriteTestFile(source_ / "a", "newer");
  WriteTestFile(disk_ / "dst" / "a", "old");
  WriteTestFile(disk_ / "dst" / "gone", "old");
  ASSERT_EQ(mount("", disk_.c_str(), "", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
  const CommandResult result = Backup("sync");
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_NE(result.Output.find("備份失敗檔案總計　：2"), std::string::npos) << result.Output;
  const Tree found = ReadTree(disk_ / "dst");
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found.at("a").Bytes, "old");
}

TEST_F(DiskTest, AFullProgramFolderCostsTheLogButNeitherBackupNorStore) {
  home_ = disk_ / "home";
  fs::create_directories(home_);
  WriteTestFile(source_ / "a", "new");
  Add("full", temp_.Root() / "dst");
  const std::string store = ReadTestFile(home_ / "Backup.rtm");
  Fill();
  const CommandResult result = RunCommand({KAVRELCTL, "--home", home_, "run", "J"});
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_NE(result.Errors.find("no log could be written"), std::string::npos) << result.Errors;
  EXPECT_NE(result.Errors.find("Backup.rtm"), std::string::npos) << result.Errors;
  EXPECT_EQ(ReadTestFile(temp_.Root() / "dst" / "a"), "new");
  EXPECT_EQ(ReadTestFile(home_ / "Backup.rtm"), store);
}

}  // namespace
}  // namespace kavrel::faults
