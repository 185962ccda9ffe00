// Disks that come, go and are mounted in other ways between the runs.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <fstream>

#include "faults/world.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

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
  EXPECT_EQ(job_.Command({"verify", "J"}).ExitCode, 6) << "the files are hidden, not missing";
  Unmount(photos_ / "sub");
  ASSERT_EQ(mount("none", (photos_ / "sub").c_str(), "tmpfs", 0, "size=4m"), 0);
  ExpectStopped("來源資料夾中掛載了先前沒有的磁碟：" + (photos_ / "sub").string());
  Unmount(photos_ / "sub");
  EXPECT_EQ(Run().ExitCode, 0);
  const fs::path copy = fs::canonical(job_.Dest) / "sub";
  stick(copy);
  ExpectStopped("目標資料夾中掛載了先前沒有的磁碟：" + copy.string());
  EXPECT_EQ(job_.Command({"restore", "J"}).ExitCode, 6);
  EXPECT_EQ(job_.Command({"verify", "J"}).ExitCode, 6);
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

TEST_P(AwayTest, WhatLiesInsideIsKnownByWhateverPathLeadsThere) {
  const fs::path link = job_.Temp.Root() / "link", moved = job_.Temp.Root() / "moved";
  fs::create_directory_symlink(photos_, link);
  Kavrelctl({"edit", "J", "--adopt", "--source", link});
  ASSERT_EQ(Run().ExitCode, 0);
  Unmount(photos_ / "inner");
  Unmount(photos_);
  ASSERT_TRUE(Mount("photos", moved));
  fs::remove(link);
  fs::create_directory_symlink(moved, link);
  ExpectStopped("來源資料夾中的磁碟沒有掛載：" + (moved / "inner").string());
  ASSERT_TRUE(Mount("inner", moved / "inner"));
  EXPECT_EQ(Run().ExitCode, 0);
  // Nor does one run that does not come there forget it.
  Kavrelctl({"edit", "J", "--no-subfolders"});
  EXPECT_EQ(Run().ExitCode, 0);
  Kavrelctl({"edit", "J", "--subfolders"});
  Unmount(moved / "inner");
  EXPECT_EQ(Run().ExitCode, 6);
  // What a run may do without, a restore asks about.
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  const bool removes = GetParam() == std::string("sync");
  EXPECT_EQ(job_.Command({"restore", "J"}).ExitCode == 0, removes);
  EXPECT_EQ(fs::exists(moved / "inner" / "b0"), false);
  Unmount(moved);
}

TEST_P(AwayTest, ADiskInsideTheDestinationIsAskedAboutWheneverItGoes) {
  if (GetParam() == std::string("compressed")) GTEST_SKIP() << "an archive is one file";
  // The destination may lie in its source.
  Kavrelctl({"edit", "J", "--adopt", "--dest", photos_ / "bk"});
  WriteTestFile(photos_ / "sub" / "s", "x");
  ASSERT_EQ(Run().ExitCode, 0);
  job_.Dest = photos_ / "bk";
  const fs::path copy = job_.Dest / "sub";
  ASSERT_TRUE(Mount("other", copy));
  ExpectStopped("目標資料夾中掛載了先前沒有的磁碟：" + copy.string());
  EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
  EXPECT_EQ(Run().ExitCode, 0);
  for (int i = 0; i < 2; ++i) {
    Unmount(copy);
    EXPECT_EQ(Run().ExitCode, 6);
    EXPECT_EQ(job_.Command({"run", "J", "--force"}).ExitCode, 0);
    EXPECT_EQ(Run().ExitCode, 0) << "as was agreed to";
    ASSERT_TRUE(Mount("other", copy));
    const bool knows = Run().ExitCode == 0;
    EXPECT_TRUE(knows || job_.Command({"run", "J", "--force"}).ExitCode == 0);
  }
  Unmount(copy);
}

INSTANTIATE_TEST_SUITE_P(, AwayTest, testing::Values("full", "differential", "sync", "compressed"),
                         [](const auto& test) { return std::string(test.param); });

/// A job into a folder of its source that it sees through another program, by another number.
struct ViewedJob : RealJob {
  ViewedJob() {
    Source = Temp.Root() / "s";
    Dest = View / "backup";
    WriteTestFile(Source / "a", "x");
    fs::create_directories(Source / "backup");
    fs::create_directories(View);
    IsSeen = access("/usr/bin/bindfs", X_OK) == 0 &&
             RunCommand({"/usr/bin/bindfs", Source, View}).ExitCode == 0;
  }
  ~ViewedJob() {
    if (IsSeen) RunCommand({"/bin/umount", "-l", View});
  }
  const fs::path View = Temp.Root() / "view";
  bool IsSeen = false;
};

/// The same folder by a way on which it has another number.
TEST(RelayedTest, WhatIsSeenThroughAnotherProgramIsTheSamePlace) {
  ViewedJob job;
  if (!job.IsSeen) GTEST_SKIP() << "no bindfs, or no FUSE";
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
  // The other way round: the source by the view. A copy of the backup is no backup of the job's.
  EXPECT_EQ(RunCommand({"/bin/cp", "-a", job.Dest, job.Source / "old"}).ExitCode, 0);
  fs::create_directories(job.Source / "copies");
  fs::rename(job.Source / "old", job.Source / "copies" / "backup");
  ASSERT_EQ(ctl({"edit", "J", "--source", job.View, "--dest", job.Source / "backup", "--adopt"}),
            0);
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(ctl({"run", "J"}), 0);
    EXPECT_FALSE(fs::exists(job.Source / "backup" / "backup")) << "copied into itself";
    EXPECT_TRUE(fs::exists(job.Source / "backup" / "copies" / "backup" / "a"));
  }
  EXPECT_EQ(ctl({"verify", "J"}), 0);
  // And onto a disk of that kind what is restored goes, like onto any other.
  fs::remove(job.Source / "a");
  EXPECT_EQ(ctl({"restore", "J"}), 0);
  EXPECT_EQ(ReadTestFile(job.Source / "a"), "x");
  EXPECT_EQ(ReadTestFile(job.Source / "backup" / "a"), "x");
}

/// What is mounted for one test.
class View {
 public:
  View(const fs::path& of, const fs::path& at) : at_(at) {
    fs::create_directories(at);
    There = access("/usr/bin/bindfs", X_OK) == 0 &&
            RunCommand({"/usr/bin/bindfs", of, at}).ExitCode == 0;
  }
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  ~View() {
    if (There) RunCommand({"/bin/umount", "-l", at_});
  }
  bool There = false;

 private:
  const fs::path at_;
};

TEST(RelayedTest, ADestinationThatShowsTheSourceLosesNothing) {
  RealJob job;
  const fs::path disk = job.Temp.Root() / "disk", inner = disk / "x" / "src";
  for (const char* name : {"a", "b", "x/deep", "src/a"}) WriteTestFile(inner / name, "new");
  WriteTestFile(inner / "x" / "b", "would take the place of the other b");
  const View whole(disk, job.Temp.Root() / "whole"), part(disk / "x", job.Temp.Root() / "part"),
      root(inner, job.Temp.Root() / "root"), same(disk / "x", job.Temp.Root() / "same");
  if (!whole.There || !part.There || !root.There || !same.There) GTEST_SKIP() << "no bindfs";
  const Tree before = ReadTree(inner);
  int count = 0;
  const auto adds = [&](const fs::path& source, const fs::path& dest, const std::string& type) {
    return job
        .Command({"add", "--name", std::to_string(++count), "--type", type, "--source", source,
                  "--dest", dest, "--no-source-folder"})
        .Errors;
  };
  const auto runs = [&](int number) {
    EXPECT_NE(job.Command({"run", std::to_string(number), "--force"}).ExitCode, 0) << number;
    EXPECT_EQ(ReadTree(inner), before) << number;
  };
  // The destination is the source, or holds it.
  for (const char* type : {"full", "differential", "sync"}) {
    for (const auto& [source, dest] :
         {std::pair(inner, job.Temp.Root() / "root"), std::pair(job.Temp.Root() / "root", inner),
          std::pair(job.Temp.Root() / "whole/x/src", disk),
          std::pair(inner, job.Temp.Root() / "same")}) {
      const std::string warning = adds(source, dest, type);
      EXPECT_NE(warning.find("什麼都不會備份"), std::string::npos) << count << warning;
      const std::string name = std::to_string(count);
      EXPECT_EQ(job.Command({"preview", name}).ExitCode, 1) << count;
      EXPECT_NE(job.Command({"verify", name}).ExitCode, 0) << count;
    }
  }
  // A view may tell a second late what a run has changed.
  for (int number = 1; number <= count; ++number) runs(number);
  // Only what lies in the destination shows it: it neither goes nor is written to.
  for (const auto& [dest, type] :
       {std::pair(disk, "sync"), std::pair(disk / "x", "sync"), std::pair(disk / "x", "full")}) {
    adds(job.Temp.Root() / "root", dest, type);
    runs(count);
  }
}

TEST(RelayedTest, AnArchiveSeenThroughAnotherProgramIsNotPackedIntoTheNext) {
  ViewedJob job;
  if (!job.IsSeen) GTEST_SKIP() << "no bindfs, or no FUSE";
  job.Make("compressed");
  if (job.Run().ExitCode != 0) GTEST_SKIP() << "no archive program";
  fs::path archive;
  for (const auto& entry : fs::directory_iterator(job.Source / "backup")) {
    if (entry.path().extension() == ".7z") archive = entry.path();
  }
  const auto packs = [&](const std::string& name) {
    const std::string plan = RunCommand({KAVRELCTL, "--home", job.Home, "preview", "J"}).Output;
    EXPECT_NE(plan.find(" a\n"), plan.npos) << plan;
    return plan.find(name) != plan.npos;
  };
  EXPECT_FALSE(packs(".7z")) << "its own";
  // A copy of it is a file like others.
  RunCommand({"/bin/cp", "-a", archive, job.Source});
  EXPECT_TRUE(packs(" " + archive.filename().string()));
  EXPECT_FALSE(packs("backup/" + archive.filename().string()));
}

TEST(RelayedTest, AServerThatHangsHoldsUpNothingThatNeedsNoDisk) {
  if (access("/usr/bin/bindfs", X_OK) != 0) GTEST_SKIP() << "no bindfs";
  RealJob job;
  const fs::path view = job.Temp.Root() / "view", link = job.Temp.Root() / "link";
  fs::create_directories(job.Temp.Root() / "s" / "sub");
  WriteTestFile(job.Source / "a", "x");
  fs::create_directories(view);
  fs::create_directory_symlink(view, link);
  const BackgroundCommand server({"/usr/bin/bindfs", "-f", job.Temp.Root() / "s", view});
  struct stat under {
  }, above{};
  for (int i = 0; i < 200 && (stat(view.c_str(), &above) != 0 || above.st_dev == under.st_dev);
       ++i) {
    ASSERT_EQ(stat(job.Temp.Root().c_str(), &under), 0);
    usleep(20'000);
  }
  if (above.st_dev == under.st_dev) GTEST_SKIP() << "no FUSE";
  const auto ends = [&](std::vector<std::string> arguments, int code) {
    std::vector<std::string> all{"/usr/bin/timeout", "100", KAVRELCTL, "--home", job.Home};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const CommandResult result = RunCommand(all);
    EXPECT_EQ(result.ExitCode, code) << arguments[0] << result.Output << result.Errors;
    return result;
  };
  // The job has been to the server, its backup has moved since.
  job.Dest = view / "backup";
  job.Make("full");
  ends({"run", "J"}, 0);
  ends({"add", "--name", "By link", "--source", job.Source, "--dest", link / "sub"}, 0);
  const fs::path moved = job.Temp.DriveD() / "moved";
  RunCommand({"/bin/cp", "-a", job.Temp.Root() / "s" / "backup", moved});
  ends({"add", "--name", "Other", "--source", job.Source, "--dest", moved / "inside"}, 0);
  kill(server.Process(), SIGSTOP);
  const CommandResult list = ends({"list"}, 0);
  EXPECT_NE(list.Errors.find("J: 目標沒有回應：" + job.Dest.string()), std::string::npos)
      << list.Errors;
  ends({"list", "--json"}, 0);
  ends({"show", "J"}, 0);
  ends({"status"}, 0);
  ends({"edit", "J", "--enable"}, 0);
  ends({"add", "--name", "New", "--source", link / "sub", "--dest", view / "sub"}, 0);
  ends({"edit", "New", "--dest", job.Temp.DriveD() / "new"}, 0);
  ends({"remove", "New"}, 0);
  // The place that a mark names is not waited for.
  ends({"run", "Other"}, 6);
  kill(server.Process(), SIGCONT);
  RunCommand({"/bin/umount", "-l", view});
}

/// What the root of a copy holds beside its files has little room on such a disk.
TEST(RoomForAttributesTest, TheMarkMakesWayForWhatTheSourceHas) {
  RealJob job;
  const fs::path disk = job.Temp.Root() / "disk", image = job.Temp.Root() / "image";
  fs::create_directories(disk);
  WriteTestFile(image, std::string(8 << 20, '\0'));
  if (RunCommand({"/sbin/mkfs.ext4", "-q", "-F", image}).ExitCode != 0 ||
      RunCommand({"/bin/mount", "-o", "loop", image, disk}).ExitCode != 0) {
    GTEST_SKIP() << "no right to mount";
  }
  job.Source = disk / "src";
  job.Dest = disk / "dst";
  WriteTestFile(job.Source / "a", "x");
  const auto give = [&](char letter, std::size_t size) {
    const std::string value(size, letter);
    return setxattr(job.Source.c_str(), "user.large", value.data(), size, 0) == 0;
  };
  std::size_t most = 4096;
  while (most > 0 && !give('a', most)) most -= 8;
  ASSERT_GT(most, 500U);
  const auto carried = [&] {
    const CommandResult result = RunCommand({KAVRELCTL, "--home", job.Home, "run", "J"});
    EXPECT_EQ(result.ExitCode, 0) << result.Output << result.Errors;
    EXPECT_EQ(result.Output.find("警告"), std::string::npos) << result.Output << job.Log();
    std::string copy(8192, '\0'), own(8192, '\0');
    const ssize_t size = getxattr(job.Dest.c_str(), "user.large", copy.data(), copy.size());
    const ssize_t wanted = getxattr(job.Source.c_str(), "user.large", own.data(), own.size());
    EXPECT_EQ(size, wanted);
    EXPECT_EQ(copy, own);
    EXPECT_TRUE(fs::exists(job.Dest / ".kavrel-owner"));
    EXPECT_EQ(getxattr(job.Dest.c_str(), "user.kavrel.owner", nullptr, 0), -1);
    EXPECT_EQ(RunCommand({KAVRELCTL, "--home", job.Home, "run", "J"}).ExitCode, 0);
  };
  job.Make("sync");
  carried();
  // The source's have grown since there was room for both.
  for (const char* type : {"differential", "full"}) {
    fs::remove_all(job.Dest);
    job.Make(type);
    ASSERT_TRUE(give('b', 10));
    ASSERT_EQ(job.Run().ExitCode, 0);
    ASSERT_GT(getxattr(job.Dest.c_str(), "user.kavrel.owner", nullptr, 0), 0);
    ASSERT_TRUE(give('c', most));
    carried();
  }
  RunCommand({"/bin/umount", "-l", disk});
}

}  // namespace
}  // namespace kavrel::faults
