// Disks that are full, break or cannot be written: small mounts of their own.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>

#include "faults/world.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

class DiskTest : public testing::Test {
 protected:
  RealJob job_;
  fs::path disk_ = job_.Temp.Root() / "disk";

  void SetUp() override {
    fs::create_directories(job_.Source);
    fs::create_directories(disk_);
    if (mount("tmpfs", disk_.c_str(), "tmpfs", 0, "size=1m") != 0) {
      GTEST_SKIP() << "no right to mount";
    }
    job_.Dest = disk_ / "dst";
  }
  ~DiskTest() override {
    while (umount2(disk_.c_str(), MNT_DETACH) == 0) continue;
  }

  CommandResult Backup(const char* type) {
    job_.Make(type);
    return job_.Run();
  }
  /// Fills the disk but for this many bytes.
  void Fill(std::size_t left) const {
    fs::remove(disk_ / "filler");
    const std::size_t free = fs::space(disk_).available;
    WriteTestFile(disk_ / "filler", std::string(free - std::min(left, free), 'x'));
  }
};

TEST_F(DiskTest, ADiskThatFillsInTheMidstOfAFileKeepsItsOldVersion) {
  WriteTestFile(job_.Source / "big", std::string(900'000, 'n'));
  WriteTestFile(job_.Source / "small", "new");
  WriteTestFile(job_.Dest / "big", std::string(300'000, 'o'));
  WriteTestFile(job_.Dest / "small", "old");
  for (const char* type : {"full", "sync"}) {
    const CommandResult result = Backup(type);
    EXPECT_EQ(result.ExitCode, 1);
    EXPECT_EQ(Figure(result.Output, kFailed), 1) << result.Output;
    const Tree found = ReadTree(job_.Dest);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found.at("big").Bytes, std::string(300'000, 'o'));
    EXPECT_EQ(found.at("small").Bytes, "new");
  }
}

std::string Noise(std::size_t length) {
  std::string noise(length, '\0');
  unsigned state = 1;
  for (char& c : noise) c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return noise;
}

TEST_F(DiskTest, WhatCannotFitIsSaidBeforeAnythingIsCopied) {
  for (int i = 0; i < 6; ++i) {
    WriteTestFile(job_.Source / std::to_string(i), std::string(300'000, 'n'));
    WriteTestFile(job_.Dest / std::to_string(i), std::string(100'000, 'o'));
  }
  job_.Make("sync");
  const CommandResult result = job_.Command({"run", "J"});
  EXPECT_EQ(result.ExitCode, 7) << result.Output << result.Errors;
  EXPECT_EQ(ReadTestFile(job_.Dest / "0"), std::string(100'000, 'o'));
  EXPECT_NE(RunCommand({KAVRELCTL, "--home", job_.Home, "log", "--show", "1"})
                .Output.find(": 檢查可用空間 (中斷)：目標磁碟空間不足，需要 1.24 MB，可用 "),
            std::string::npos);
  EXPECT_EQ(RunCommand({KAVRELCTL, "--home", job_.Home, "run", "J", "--force"}).ExitCode, 1);
}

TEST_F(DiskTest, PreviewAndRunFindTheSameRoom) {
  const auto fits = [&](bool fit, const char* what) {
    const std::string preview = RunCommand({KAVRELCTL, "--home", job_.Home, "preview", "J"}).Errors;
    EXPECT_EQ(preview.find("目標磁碟空間不足") == preview.npos, fit) << what << preview;
    const CommandResult result = RunCommand({KAVRELCTL, "--home", job_.Home, "run", "J"});
    EXPECT_EQ(result.ExitCode, fit ? 0 : 7) << what << result.Output << result.Errors;
  };
  // A disk of its own, of which the source takes a part.
  const fs::path disk = job_.Temp.Root() / "source-disk", inner = disk / "src" / "inner";
  fs::create_directories(disk);
  ASSERT_EQ(mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=4m"), 0);
  job_.Source = disk / "src";
  WriteTestFile(job_.Source / "a", std::string(100'000, 'a'));
  WriteTestFile(job_.Source / "image", std::string(600'000, 'i'));
  job_.Make("differential");
  fits(true, "first");
  // Larger than what is left, although its former self gives back as much.
  WriteTestFile(job_.Source / "image", std::string(600'001, 'j'));
  fits(false, "a file beside its former self");
  EXPECT_EQ(ReadTestFile(job_.Dest / "image"), std::string(600'000, 'i'));
  fs::remove(job_.Dest / "image");
  fs::remove(job_.Source / "image");
  WriteTestFile(job_.Source / "b", std::string(100'000, 'b'));
  fits(true, "less than before");
  for (int i = 0; i < 12; ++i) {
    WriteTestFile(job_.Source / ("grown" + std::to_string(i)), std::string(100'000, 'g'));
  }
  fits(false, "a source that has grown");
  for (int i = 0; i < 12; ++i) fs::remove(job_.Source / ("grown" + std::to_string(i)));
  fits(true, "as before");
  fs::create_directories(inner);
  ASSERT_EQ(mount("tmpfs", inner.c_str(), "tmpfs", 0, "size=4m"), 0);
  WriteTestFile(inner / "large", std::string(2'000'000, 'l'));
  fits(false, "a larger disk inside");
  umount2(inner.c_str(), MNT_DETACH);
  umount2(disk.c_str(), MNT_DETACH);
}

TEST_F(DiskTest, AFullDiskKeepsTheOldArchive) {
  WriteTestFile(job_.Source / "a", "first");
  EXPECT_EQ(Backup("compressed").ExitCode, 0);
  const Tree before = ReadTree(job_.Dest);
  WriteTestFile(job_.Source / "noise", Noise(1'500'000));
  EXPECT_EQ(job_.Run().ExitCode, 1);
  const Tree after = ReadTree(job_.Dest);
  ASSERT_EQ(after.size(), 1U);
  EXPECT_EQ(after.begin()->second.Bytes, before.begin()->second.Bytes);
}

TEST_F(DiskTest, ARestoreThatFillsTheDiskReplacesNothingByAPart) {
  job_.Source = disk_ / "src";
  job_.Dest = job_.Temp.DriveD() / "dst";
  WriteTestFile(job_.Source / "a", "packed");
  WriteTestFile(job_.Source / "big", Noise(400'000));
  EXPECT_EQ(Backup("compressed").ExitCode, 0);
  WriteTestFile(job_.Source / "a", "old");
  WriteTestFile(job_.Source / "big", "old");
  Fill(200'000);
  const CommandResult restored = job_.Command({"restore", "J"});
  EXPECT_EQ(restored.ExitCode, 1) << restored.Output;
  const Tree found = ReadTree(job_.Source);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_TRUE(found.at("big").Bytes == "old") << found.at("big").Bytes.size();
}

TEST_F(DiskTest, WhatCannotBeWrittenFailsEachFileAndChangesNothing) {
  WriteTestFile(job_.Source / "a", "newer");
  WriteTestFile(job_.Dest / "a", "old");
  WriteTestFile(job_.Dest / "gone", "old");
  const auto fails = [&](const char* how) {
    const CommandResult result = Backup("sync");
    EXPECT_EQ(result.ExitCode, 1) << how;
    EXPECT_EQ(Figure(result.Output, kFailed), 2) << how << result.Output;
    const Tree found = ReadTree(job_.Dest);
    ASSERT_EQ(found.size(), 2U) << how;
    EXPECT_EQ(found.at("a").Bytes, "old") << how;
  };
  ASSERT_EQ(mount("", disk_.c_str(), "", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
  fails("a read-only disk");
  ASSERT_EQ(mount("", disk_.c_str(), "", MS_REMOUNT, "size=1m"), 0);
  ASSERT_EQ(mount(job_.Dest.c_str(), job_.Dest.c_str(), "", MS_BIND, ""), 0);
  ASSERT_EQ(mount("", job_.Dest.c_str(), "", MS_REMOUNT | MS_BIND | MS_RDONLY, ""), 0);
  fails("a folder that is bound read-only");
  EXPECT_EQ(umount2(job_.Dest.c_str(), MNT_DETACH), 0);
}

TEST_F(DiskTest, AProgramFolderThatFillsAtAnyPointCostsTheLogButNeitherBackupNorStore) {
  job_.Home = disk_ / "home";
  job_.Dest = job_.Temp.Root() / "dst";
  WriteTestFile(job_.Source / "a", "new");
  fs::create_directories(job_.Home);
  job_.Make("full");
  const std::string store = ReadTestFile(job_.Home / "Backup.rtm");
  EXPECT_EQ(job_.Run().ExitCode, 0);
  unsigned told = 0, whole = 0;
  for (std::size_t pages = 0; pages < 12; ++pages) {
    fs::remove_all(job_.Dest);
    fs::remove_all(job_.Home / "Log");
    WriteTestFile(job_.Home / "Backup.rtm", store);
    Fill(pages * 4096);
    const CommandResult result = job_.Run();
    EXPECT_EQ(ReadTestFile(job_.Dest / "a"), "new") << pages;
    const std::string now = ReadTestFile(job_.Home / "Backup.rtm");
    const bool stored = now != store;
    EXPECT_EQ(std::count(now.begin(), now.end(), '\n'), 1) << pages;
    const bool log_failed = result.Errors.find("日誌無法寫入") != std::string::npos;
    ++(result.ExitCode == 0 ? whole : told);
    EXPECT_EQ(result.ExitCode == 0, result.Errors.empty()) << pages << result.Errors;
    EXPECT_TRUE(stored || result.Errors.find("Backup.rtm") != std::string::npos) << pages;
    EXPECT_TRUE(log_failed || job_.Log().find(kFailed) != std::string::npos) << pages;
    for (const auto& [path, entry] : ReadTree(job_.Home)) EXPECT_FALSE(path.ends_with(".tmp"));
  }
  EXPECT_GT(told, 0U);
  EXPECT_GT(whole, 0U);
}

/// A disk whose later part has broken off: what is in it gives errors.
TEST_F(DiskTest, ADiskThatBreaksCostsNoOldVersionAndNothingIsRemoved) {
  const fs::path image = job_.Temp.Root() / "image", broken = job_.Temp.Root() / "broken";
  fs::create_directories(broken);
  std::ofstream(image).close();
  fs::resize_file(image, 24 << 20);
  const auto mounted = [&] {
    return RunCommand({"/bin/mount", "-o", "loop", image, broken}).ExitCode == 0;
  };
  if (RunCommand({"/sbin/mkfs.ext4", "-q", "-F", image}).ExitCode != 0 || !mounted()) {
    GTEST_SKIP() << "no right to mount an image";
  }
  job_.Source = broken;
  job_.Dest = job_.Temp.DriveD() / "dst";
  for (int i = 0; i < 60; ++i) {
    const fs::path name = fs::path("d" + std::to_string(i % 6)) / std::to_string(i);
    WriteTestFile(broken / name, std::string(200'000, static_cast<char>('0' + i)));
    WriteTestFile(job_.Dest / name, "old");
  }
  ASSERT_EQ(RunCommand({"/bin/umount", broken}).ExitCode, 0);
  ASSERT_TRUE(mounted());
  fs::resize_file(image, 9 << 20);
  for (const char* type : {"sync", "differential"}) {
    const CommandResult result = Backup(type);
    EXPECT_EQ(result.ExitCode, 1) << result.Output;
    EXPECT_GT(Figure(result.Output, kFailed), 0) << result.Output;
    const Tree found = ReadTree(job_.Dest);
    std::size_t files = 0, old = 0;
    for (const auto& [path, entry] : found) {
      if (entry.Kind != 'F') continue;
      ++files;
      const bool is_old = entry.Bytes == "old";
      old += is_old;
      const char letter = static_cast<char>('0' + std::stoi(fs::path(path).filename()));
      EXPECT_TRUE(is_old || entry.Bytes == std::string(200'000, letter)) << path;
    }
    EXPECT_EQ(files, 60U);
    EXPECT_GT(old, 0U);
  }
  RunCommand({"/bin/umount", "-l", broken});
}

TEST(Unprivileged, WhatAUserMayNotReadOrWriteIsToldAndKept) {
  RealJob job;
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  WriteTestFile(job.Source / "a", "new a");
  WriteTestFile(job.Source / "closed/b", "new b");
  WriteTestFile(job.Source / "secret", "new secret");
  WriteTestFile(job.Source / "sub/c", "new c");
  for (const char* name : {"a", "closed/b", "secret", "sub/c"}) {
    WriteTestFile(job.Dest / name, "old");
  }
  job.Make("sync");
  EXPECT_EQ(RunCommand({"/bin/chown", "-R", "65534:65534", job.Temp.Root()}).ExitCode, 0);
  fs::permissions(job.Source / "secret", fs::perms::none);
  for (const fs::path& path : {job.Source / "closed", job.Dest / "sub"}) {
    EXPECT_EQ(RunCommand({"/bin/chown", "0:0", path}).ExitCode, 0);
    fs::permissions(path, fs::perms(path.filename() == "sub" ? 0755 : 0700));
  }
  job.StartedBy = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
  const CommandResult result = job.Run();
  EXPECT_EQ(result.ExitCode, 1) << result.Output << result.Errors;
  const Tree found = ReadTree(job.Dest);
  for (const auto& [name, bytes] : std::map<std::string, std::string>{
           {"a", "new a"}, {"closed/b", "old"}, {"secret", "old"}, {"sub/c", "old"}}) {
    EXPECT_TRUE(found.contains(name) && found.at(name).Bytes == bytes) << name;
  }
  const std::string log = job.Log();
  for (const char* what : {"closed/", "secret", "sub/"}) {
    EXPECT_NE(log.find((job.Source / what).string()), std::string::npos) << what << log;
  }
}

}  // namespace
}  // namespace kavrel::faults
