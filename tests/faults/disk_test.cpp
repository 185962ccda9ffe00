// Disks that are full, break, cannot be written or are of another kind: small mounts of their own
// where the system lets us, else a loaded object that imitates them.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>

#include "base/text.h"
#include "faults/world.h"
#include "support/variable.h"

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
    const bool log_failed = result.Errors.find("no log could be written") != std::string::npos;
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

/// Disks with marks of their own, mounted and taken away between the runs.
class AwayTest : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    for (const char* name : {"photos", "inner", "backup", "other"}) {
      std::ofstream(Image(name)).close();
      fs::resize_file(Image(name), 8 << 20);
      made_ = made_ && RunCommand({"/sbin/mkfs.ext4", "-q", "-F", Image(name)}).ExitCode == 0;
    }
    if (!made_ || !Mount("photos", photos_)) GTEST_SKIP() << "no right to mount an image";
    fs::create_directories(photos_ / "inner");
    ASSERT_TRUE(Mount("inner", photos_ / "inner"));
    ASSERT_TRUE(Mount("backup", backup_));
    for (int i = 0; i < 3; ++i) {
      WriteTestFile(photos_ / ("a" + std::to_string(i)), "x");
      WriteTestFile(photos_ / "inner" / ("b" + std::to_string(i)), "y");
    }
    job_.Source = photos_;
    job_.Dest = backup_ / "dst";
    job_.Make(GetParam());
    ASSERT_EQ(Run().ExitCode, 0);
    kept_ = Files();
  }
  ~AwayTest() override {
    for (const fs::path& point : {photos_ / "inner", photos_, backup_, photos_, backup_}) {
      Unmount(point);
    }
  }

  fs::path Image(const std::string& name) const { return job_.Temp.Root() / (name + ".img"); }
  bool Mount(const std::string& name, const fs::path& point) const {
    fs::create_directories(point);
    return RunCommand({"/bin/mount", "-o", "loop", Image(name), point}).ExitCode == 0;
  }
  static void Unmount(const fs::path& point) { RunCommand({"/bin/umount", "-l", point}); }
  CommandResult Run() const { return job_.Command({"run", "J"}); }
  std::string Kavrelctl(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all{KAVRELCTL, "--home", job_.Home};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const CommandResult result = RunCommand(all);
    return result.Output + result.Errors;
  }
  /// What lies at the destination, as far as it is a file.
  Tree Files() const {
    Tree files = ReadTree(job_.Dest);
    std::erase_if(files, [](const auto& entry) { return entry.second.Kind != 'F'; });
    return files;
  }
  void ExpectStopped(const std::string& why) const {
    const CommandResult result = Run();
    EXPECT_EQ(result.ExitCode, 6) << result.Output;
    EXPECT_NE(result.Errors.find(why), std::string::npos) << result.Errors;
    for (const char* command : {"preview", "show"}) {
      EXPECT_NE(Kavrelctl({command, "J"}).find(why), std::string::npos) << command;
    }
    EXPECT_NE(Kavrelctl({"list"}).find(why), std::string::npos);
    EXPECT_NE(job_.Log().find(": 檢查磁碟 (中斷)：" + why), std::string::npos);
  }

  RealJob job_;
  bool made_ = true;
  const fs::path photos_ = fs::canonical(job_.Temp.Root()) / "photos",
                 backup_ = fs::canonical(job_.Temp.Root()) / "backup";
  Tree kept_;
};

TEST_P(AwayTest, WhatWasMountedInTheLastRunIsMissedInTheNext) {
  Unmount(photos_ / "inner");
  ExpectStopped("來源資料夾中的磁碟沒有掛載：" + (photos_ / "inner").string());
  ASSERT_TRUE(Mount("other", photos_ / "inner"));
  ExpectStopped("來源資料夾中的磁碟不是先前的那一個：" + (photos_ / "inner").string());
  Unmount(photos_ / "inner");
  Unmount(photos_);
  WriteTestFile(photos_ / "stray", "x");
  ExpectStopped("來源磁碟沒有掛載：" + photos_.string());
  EXPECT_EQ(job_.Command({"restore", "J"}).ExitCode, 6);
  EXPECT_EQ(ReadTree(photos_).size(), 1U) << "the mount point was filled";
  EXPECT_EQ(job_.Command({"restore", "J", "--to", job_.Temp.Root() / "other"}).ExitCode, 0);
  ASSERT_TRUE(Mount("photos", photos_) && Mount("inner", photos_ / "inner"));
  EXPECT_TRUE(Files() == kept_);

  Unmount(backup_);
  ExpectStopped("目標磁碟沒有掛載：" + backup_.string());
  EXPECT_TRUE(fs::is_empty(backup_));
  const CommandResult restored = job_.Command({"restore", "J"});
  EXPECT_EQ(restored.ExitCode, 5);
  EXPECT_NE(restored.Errors.find("目標磁碟沒有掛載："), std::string::npos) << restored.Errors;
  fs::remove(backup_);
  ExpectStopped("目標磁碟沒有掛載：" + backup_.string());
  EXPECT_FALSE(fs::exists(backup_));
  ASSERT_TRUE(Mount("backup", backup_));
  EXPECT_EQ(Run().ExitCode, 0);
  EXPECT_TRUE(Files().size() == kept_.size());
}

TEST_P(AwayTest, TheSameDiskMountedInAnotherWayIsTheSame) {
  Unmount(photos_ / "inner");
  WriteTestFile(photos_ / "inner" / "c", "z");
  WriteTestFile(photos_ / "elsewhere" / "d", "z");
  const auto bind = [&](const char* name) {
    const fs::path inner = photos_ / "inner";
    return mount((photos_ / name).c_str(), inner.c_str(), "", MS_BIND, "");
  };
  ASSERT_EQ(bind("inner"), 0);
  Kavrelctl({"edit", "J", "--adopt"});
  EXPECT_EQ(Run().ExitCode, 0) << "what is adopted is right as it is";
  Unmount(photos_ / "inner");
  EXPECT_EQ(Run().ExitCode, 0) << "the same folder without a mount of its own";
  ASSERT_EQ(bind("elsewhere"), 0);
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  EXPECT_EQ(Run().ExitCode, 0);
  Unmount(photos_ / "inner");
  ExpectStopped("來源資料夾中的磁碟沒有掛載：" + (photos_ / "inner").string());
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  EXPECT_EQ(Run().ExitCode, 0);

  // Disks that take turns are asked about once each.
  Unmount(backup_);
  ASSERT_TRUE(Mount("other", backup_));
  ExpectStopped("目標磁碟不是先前的那一個：" + backup_.string());
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  for (const char* disk : {"backup", "other"}) {
    Unmount(backup_);
    ASSERT_TRUE(Mount(disk, backup_));
    EXPECT_EQ(Run().ExitCode, 0) << disk;
  }
}

TEST_P(AwayTest, WhatIsMountedForTheFirstTimeHidesOrTakesNothingUnasked) {
  if (GetParam() == std::string("compressed"))
    GTEST_SKIP() << "an archive's folders are not looked at";
  // What holds nothing of a backup may be mounted over.
  const auto stick = [&](const fs::path& point) {
    EXPECT_TRUE(Mount("other", point));
    WriteTestFile(point / "photo", "precious");
  };
  WriteTestFile(photos_ / "sub" / "s", "x");
  fs::create_directories(photos_ / "new");
  ASSERT_EQ(Run().ExitCode, 0);
  stick(photos_ / "new");
  EXPECT_EQ(Run().ExitCode, 0);
  Unmount(photos_ / "new");
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  stick(photos_ / "sub");
  ExpectStopped("來源資料夾中掛載了先前沒有的磁碟：" + (photos_ / "sub").string());
  Unmount(photos_ / "sub");
  ASSERT_EQ(mount("none", (photos_ / "sub").c_str(), "tmpfs", 0, "size=4m"), 0);
  ExpectStopped("來源資料夾中掛載了先前沒有的磁碟：" + (photos_ / "sub").string());
  Unmount(photos_ / "sub");
  EXPECT_EQ(Run().ExitCode, 0);
  const fs::path copy = fs::canonical(job_.Dest) / "sub";
  stick(copy);
  ExpectStopped("目標資料夾中掛載了先前沒有的磁碟：" + copy.string());
  EXPECT_EQ(job_.Command({"restore", "J"}).ExitCode, 6);
  EXPECT_EQ(job_.Command({"restore", "J", "--only", "a0"}).ExitCode, 0);
  EXPECT_EQ(ReadTestFile(copy / "photo"), "precious");
  Unmount(copy);
  EXPECT_EQ(Run().ExitCode, 0);
  // Whatever has no mark of its own may follow a disk that has one, once that was agreed to.
  Unmount(backup_);
  ASSERT_EQ(mount("none", backup_.c_str(), "tmpfs", 0, "size=4m"), 0);
  ExpectStopped("目標磁碟不是先前的那一個：" + backup_.string());
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  EXPECT_EQ(Run().ExitCode, 0);
  Unmount(backup_);
  ExpectStopped("目標磁碟沒有掛載：" + backup_.string());
}

TEST_P(AwayTest, AFolderIsKnownByWhateverMountItIsReached) {
  Unmount(photos_ / "inner");
  const fs::path deep = photos_ / "deep" / "er";
  WriteTestFile(deep / "d", "z");
  ASSERT_EQ(Kavrelctl({"edit", "J", "--adopt", "--source", deep}).find("錯誤"), std::string::npos);
  ASSERT_EQ(Run().ExitCode, 0);
  const auto bind = [](const fs::path& from, const fs::path& to) {
    return mount(from.c_str(), to.c_str(), "", MS_BIND, "");
  };
  ASSERT_EQ(bind(deep, deep), 0);
  EXPECT_EQ(Run().ExitCode, 0);
  Unmount(deep);
  WriteTestFile(photos_ / "else" / "er" / "d", "z");
  ASSERT_EQ(bind(photos_ / "else", photos_ / "deep"), 0);
  ExpectStopped("來源磁碟沒有掛載：" + deep.string());
  Unmount(photos_ / "deep");
  EXPECT_EQ(Run().ExitCode, 0);
  // Its disk, mounted over one of its own folders, shows its top there.
  Unmount(photos_);
  ASSERT_TRUE(Mount("photos", photos_));
  ASSERT_EQ(Kavrelctl({"edit", "J", "--adopt"}).find("錯誤"), std::string::npos);
  ASSERT_EQ(Run().ExitCode, 0);
  ASSERT_TRUE(Mount("photos", deep));
  ExpectStopped("來源不在先前的磁碟上：" + deep.string());
  Unmount(deep);
}

TEST_P(AwayTest, ADiskThatComesAndGoesIsAskedAboutOnceWhereNothingIsRemoved) {
  // Any name will do for a mount point.
  const fs::path stick = photos_ / "st\tick\\134";
  ASSERT_TRUE(Mount("other", stick));
  WriteTestFile(stick / "s", "z");
  ASSERT_EQ(Run().ExitCode, 0);
  const bool removes = GetParam() == std::string("sync"),
             packs = GetParam() == std::string("compressed");
  Unmount(stick);
  EXPECT_EQ(Run().ExitCode, 6);
  EXPECT_EQ(job_.Command({"verify", "J"}).ExitCode, packs ? 0 : 6);
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(Mount("other", stick));
    EXPECT_EQ(Run().ExitCode, 0);
    Unmount(stick);
    EXPECT_EQ(Run().ExitCode, removes ? 6 : 0);
  }
}

INSTANTIATE_TEST_SUITE_P(, AwayTest, testing::Values("full", "differential", "sync", "compressed"),
                         [](const auto& test) { return std::string(test.param); });

/// The same folder by a way on which it has another number.
TEST(RelayedTest, WhatIsSeenThroughAnotherProgramIsTheSamePlace) {
  if (access("/usr/bin/bindfs", X_OK) != 0) GTEST_SKIP() << "no bindfs";
  RealJob job;
  job.Source = job.Temp.Root() / "s";
  WriteTestFile(job.Source / "a", "x");
  fs::create_directories(job.Source / "backup");
  const fs::path view = job.Temp.Root() / "view";
  fs::create_directories(view);
  if (RunCommand({"/usr/bin/bindfs", job.Source, view}).ExitCode != 0) GTEST_SKIP() << "no FUSE";
  job.Dest = view / "backup";
  job.Make("full");
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(job.Run().ExitCode, 0);
    EXPECT_EQ(ReadTree(job.Dest).size(), 1U) << "copied into itself";
  }
  const auto ctl = [&](const std::vector<std::string>& arguments) {
    std::vector<std::string> all{KAVRELCTL, "--home", job.Home};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return RunCommand(all).ExitCode;
  };
  EXPECT_EQ(ctl({"verify", "J"}), 0) << "misses what no run copies";
  // Another job's backup is that, too.
  WriteTestFile(job.Temp.Root() / "other" / "b", "y");
  ASSERT_EQ(ctl({"add", "--name", "O", "--type", "sync", "--source", job.Temp.Root() / "other",
                 "--dest", job.Source / "backup", "--no-source-folder"}),
            0);
  EXPECT_EQ(ctl({"run", "O"}), 6);
  EXPECT_EQ(ReadTestFile(job.Source / "backup" / "a"), "x");
  RunCommand({"/bin/umount", "-l", view});
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

/// Disks that take "A" and "a" for one entry.
class OtherDiskTest : public testing::TestWithParam<std::pair<const char*, const char*>> {};

std::string Folded(const std::string& path) {
  return ToUtf8(ToLower(FromUtf8(path)));
}

TEST_P(OtherDiskTest, NamesThatItMixesUpOrRefusesAreToldAndNoneIsLost) {
  const auto [how, type] = GetParam();
  const bool fat = std::string(how) == "fat", odd = std::string(how) == "odd",
             mirror = std::string(type) == "sync", full = std::string(type) == "full";
  RealJob job;
  std::vector<std::string> names{"plain", "Name",  "name",      "NAME",      "sub/odd", "Dir/x",
                                 "dir/x", "dir/y", "sub/A.txt", "sub/a.TXT", "sub/Dir"};
  // One of the two folders, and of the files of one name all but one.
  long expected = 4;
  if (fat) {
    for (const char* refused :
         {"a:b", "a?b", "a*b", "a\"b", "a<b", "a>b", "a|b", "dot.", "no?/x"}) {
      names.emplace_back(refused);
      ++expected;
    }
  }
  // Three names of which the disk takes but two for one, whichever is listed first.
  for (int i = 0; !fat && i < 8; ++i) {
    const std::string letter(1, static_cast<char>('a' + i));
    for (const std::string& name : {"t" + letter, "T" + letter, "t" + letter + "."}) {
      names.push_back(name);
    }
    ++expected;
  }
  std::map<std::string, std::string> content;
  for (const std::string& name : names) {
    // Each of a size of its own.
    content[name] = name + std::string(content.size(), '.');
    WriteTestFile(job.Source / name, content[name]);
    SetWritten(job.Source / name, {1'710'000'001, 999'000'000});
  }
  WriteTestFile(job.Source / "one", std::string(5000, '1'));
  for (const char* name : {"two", "sub/three"}) {
    fs::create_hard_link(job.Source / "one", job.Source / name);
  }
  job.Make(type);
  const Tree source = ReadTree(job.Source);
  const EnvironmentVariable preload("LD_PRELOAD", FAULT_INJECTOR);
  const EnvironmentVariable disk("KAVREL_DISK", how + (":" + job.Dest.string()));
  const EnvironmentVariable asan("ASAN_OPTIONS", "verify_asan_link_order=0");
  std::vector<std::string> missing;
  const auto look = [&] {
    std::map<std::string, std::string> there;
    for (const auto& [path, entry] : ReadTree(job.Dest)) {
      EXPECT_TRUE(there.emplace(Folded(path), entry.Bytes).second) << path;
    }
    EXPECT_EQ(there.contains("gone"), !mirror);
    missing.clear();
    for (const std::string& name : names) {
      if (fs::exists(job.Source / name) && there[Folded(name)] != content[name]) {
        missing.push_back(name);
      }
    }
  };
  // In the second run everything is there already.
  for (const int run : {1, 2}) {
    fs::remove_all(job.Home / "Log");
    // Of the size and time of another file.
    WriteTestFile(job.Dest / "gone", std::string(content["Name"].size(), 'g'));
    SetWritten(job.Dest / "gone", {1'710'000'001, 999'000'000});
    const CommandResult result = job.Run();
    EXPECT_EQ(result.ExitCode, 1) << result.Output << result.Errors;
    EXPECT_EQ(Figure(result.Output, kFailed), expected) << result.Output << job.Log();
    EXPECT_TRUE(run == 1 || full || Figure(result.Output, kCopied) == 0) << result.Output;
    look();
    const std::string log = job.Log();
    // Told once, where there are no links, or where no number tells them.
    const std::size_t told = log.find("目標無法建立硬連結");
    EXPECT_EQ(told != log.npos, fat || odd) << log;
    EXPECT_EQ(told, log.rfind("目標無法建立硬連結")) << log;
    const Tree copies = ReadTree(job.Dest);
    EXPECT_TRUE(copies.at("one").SameContent(copies.at("sub/three")));
    EXPECT_EQ(copies.at("one").Names, fat || odd ? 1U : 3U);
    for (const std::string& name : missing) {
      const std::string folder = name.substr(0, name.find('/'));
      EXPECT_TRUE(log.find((job.Source / name).string() + "\r\n") != std::string::npos ||
                  log.find((job.Dest / folder).string() + "/\r\n") != std::string::npos)
          << name << "\n"
          << log;
    }
    EXPECT_FALSE(missing.empty());
  }
  for (const auto& [path, entry] : ReadTree(job.Source)) {
    EXPECT_TRUE(source.at(path).SameContent(entry)) << path;
  }
  if (fat && !full) {
    // Owners and permissions that it does not hold are not set again in each run.
    EXPECT_EQ(chown((job.Source / "plain").c_str(), 1234, 1234) == 0 || geteuid() != 0, true);
    fs::permissions(job.Source / "plain", fs::perms(0600));
    fs::permissions(job.Source / "sub", fs::perms(0700));
    const CommandResult again = job.Run();
    EXPECT_EQ(again.Output.find("更新屬性"), std::string::npos) << again.Output;
    EXPECT_EQ(again.Output.find("警告"), std::string::npos) << again.Output << job.Log();
  }
  // Once a name has its place alone, it gets it.
  for (const char* name : {"Name", "NAME", "Dir/x", "Dir", "sub/a.TXT"}) {
    fs::remove(job.Source / name);
  }
  const CommandResult result = job.Run();
  EXPECT_EQ(Figure(result.Output, kFailed), expected - 4) << result.Output << job.Log();
  look();
  EXPECT_EQ(missing.size(), static_cast<std::size_t>(expected - 4));
}

INSTANTIATE_TEST_SUITE_P(, OtherDiskTest,
                         testing::Values(std::pair("fold", "full"), std::pair("fold", "sync"),
                                         std::pair("fold", "differential"),
                                         std::pair("fat", "full"), std::pair("fat", "sync"),
                                         std::pair("fat", "differential"), std::pair("odd", "full"),
                                         std::pair("odd", "sync"), std::pair("lower", "sync"),
                                         std::pair("lower", "differential")),
                         [](const auto& test) {
                           return std::string(test.param.first) + "_" + test.param.second;
                         });

}  // namespace
}  // namespace kavrel::faults
