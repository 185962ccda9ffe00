#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>

#include "base/text.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class SyncTest : public testing::Test, protected TestProgram {
 protected:
  SyncTest() {
    // The home bin of these tests, on the disk that drives c and d lie on.
    setenv("XDG_DATA_HOME", (Temp.Root() / "data").string().c_str(), 1);
  }
  ~SyncTest() override { unsetenv("XDG_DATA_HOME"); }

  const RunCounters& Mirror(bool bin = false) {
    if (Program.Store.Jobs.empty()) AddJob(BackupType::Synchronise);
    Program.Store.Jobs[0].UseRecycleBin = bin;
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    return Program.Context.Report.Counters;
  }

  /// What lies in a bin: the noted original path and the file's content.
  static std::multimap<std::string, std::string> BinContent(const fs::path& bin) {
    std::multimap<std::string, std::string> content;
    for (const auto& entry : fs::directory_iterator(bin / "files")) {
      const std::string info =
          ReadTestFile(bin / "info" / (entry.path().filename().string() + ".trashinfo"));
      const std::size_t begin = info.find("\nPath=") + 6, end = info.find('\n', begin);
      EXPECT_NE(info.find("\nDeletionDate=2009-09-23T15:04:05\n"), info.npos) << info;
      content.emplace(info.substr(begin, end - begin), fs::is_directory(entry.symlink_status())
                                                           ? "<folder>"
                                                           : ReadTestFile(entry.path()));
    }
    return content;
  }
};

TEST_F(SyncTest, NameAndKindDecideWhatStays) {
  WriteTestFile(Source() / "same", "new content");
  WriteTestFile(Source() / "file now" / "x", "x");
  WriteTestFile(Source() / "folder then", "f");
  WriteTestFile(Dest() / "same", "old");
  WriteTestFile(Dest() / "file now", "was a file");
  WriteTestFile(Dest() / "folder then" / "a", "a");
  WriteTestFile(Dest() / "gone.txt", "g");
  for (const char* name : {"1", "2", "sub/3"}) WriteTestFile(Dest() / "old" / name, "o");
  const RunCounters& counters = Mirror();
  EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
  EXPECT_EQ(counters.SyncDeletedFiles, 2U + 1U + 3U);
  EXPECT_EQ(counters.SyncDeletedFolders, 3U);
  EXPECT_EQ(counters.CopiedFiles, 3U);
  EXPECT_EQ(counters.SourceFiles, 3U + 1U + 3U) << "files removed with their folder count, too";
  EXPECT_EQ(counters.FailedFiles, 0U);
}

TEST_F(SyncTest, WhatRulesAndTypesLeaveOutStaysInTheMirror) {
  WriteTestFile(Source() / "Temp" / "x", "x");
  WriteTestFile(Source() / "a.tmp", "new");
  WriteTestFile(Dest() / "Temp" / "x", "kept");
  WriteTestFile(Dest() / "a.tmp", "kept");
  AddJob(BackupType::Synchronise).FileTypes = u"*.tmp";
  Program.Store.Jobs[0].ExcludeFileTypes = true;
  SetRules(true);
  const RunCounters& counters = Mirror();
  EXPECT_EQ(ReadTestFile(Dest() / "Temp" / "x"), "kept");
  EXPECT_EQ(ReadTestFile(Dest() / "a.tmp"), "kept");
  EXPECT_EQ(counters.ExcludedFolders, 1U);
  EXPECT_EQ(LogLines(), "排除資料夾 (成功)：C:\\src\\Temp\\\n");
}

TEST_F(SyncTest, LinksGoAndWhatTheyPointToStays) {
  for (const bool bin : {false, true}) {
    WriteTestFile(Temp.Root() / "outside" / "file", "precious");
    WriteTestFile(Source() / "a", "x");
    SetWritten(Source() / "a", {1000000000, 0});
    fs::create_directories(Dest() / "old");
    fs::create_directory_symlink(Temp.Root() / "outside", Dest() / "link");
    fs::create_directory_symlink(Temp.Root() / "outside", Dest() / "old" / "link");
    const RunCounters& counters = Mirror(bin);
    EXPECT_EQ(counters.FailedFiles, 0U);
    EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
    EXPECT_EQ(ReadTestFile(Temp.Root() / "outside" / "file"), "precious");
  }
}

TEST_F(SyncTest, ASourceThatCannotBeReadRemovesNothing) {
  WriteTestFile(Source() / "locked" / "a", "x");
  WriteTestFile(Source() / "open" / "b", "x");
  WriteTestFile(Dest() / "locked" / "old", "kept");
  WriteTestFile(Dest() / "open" / "old", "goes");
  ASSERT_EQ(chmod((Source() / "locked").c_str(), 0), 0);
  fs::permissions(Temp.Root(), fs::perms::all);
  for (const auto& path : {Temp.Home(), Temp.Home() / "Log", Temp.DriveD(), Dest(),
                           Dest() / "locked", Dest() / "open"}) {
    fs::permissions(path, fs::perms::all);
  }
  {
    const Unprivileged user;
    const RunCounters& counters = Mirror();
    EXPECT_EQ(counters.FailedFiles, 1U);
    EXPECT_EQ(counters.SyncDeletedFiles, 1U);
  }
  EXPECT_EQ(ReadTestFile(Dest() / "locked" / "old"), "kept");
  EXPECT_FALSE(fs::exists(Dest() / "open" / "old"));
  EXPECT_NE(LogLines().find(": 讀取目錄 (失敗)：C:\\src\\locked\\\n"), std::string::npos);
}

TEST_F(SyncTest, ADestinationThatHoldsTheSourceKeepsIt) {
  WriteTestFile(Source() / "deep" / "a", "x");
  AddJob(BackupType::Synchronise).Source.Path = u"C:\\src\\deep\\";
  BackupJob& job = Program.Store.Jobs[0];
  job.Extras.GuardMirror = false;
  for (const bool bin : {false, true}) {
    WriteTestFile(Temp.DriveC() / "other", "not in the source");
    fs::remove(Temp.DriveD() / "up");
    fs::create_directory_symlink(Temp.DriveC(), Temp.DriveD() / "up");
    for (const char16_t* place : {u"C:\\", u"D:\\up\\"}) {
      job.Destination.Path = place;
      const RunCounters& counters = Mirror(bin);
      EXPECT_EQ(counters.CopiedFiles, 0U);
      EXPECT_EQ(counters.FailedFiles, 1U);
      EXPECT_TRUE(fs::exists(Temp.DriveC() / "other"));
      EXPECT_EQ(ReadTestFile(Source() / "deep" / "a"), "x");
    }
  }
}

TEST_F(SyncTest, ADestinationThatIsTheSourceIsLeftAlone) {
  WriteTestFile(Source() / "a", "x");
  fs::create_directory_symlink(Source(), Dest());
  EXPECT_EQ(Mirror().CopiedFiles, 0U);
  EXPECT_EQ(ReadTestFile(Source() / "a"), "x");
}

TEST_F(SyncTest, WhatCannotBeRemovedIsLoggedByNameAndKeepsItsFolder) {
  WriteTestFile(Source() / "a", "x");
  WriteTestFile(Source() / "keep" / "b", "x");
  WriteTestFile(Dest() / "keep" / "stuck", "s");
  WriteTestFile(Dest() / "old" / "inner" / "stuck", "s");
  fs::permissions(Temp.Root(), fs::perms::all);
  for (const auto& path :
       {Temp.Home(), Temp.Home() / "Log", Temp.DriveD(), Dest(), Dest() / "old"}) {
    fs::permissions(path, fs::perms::all);
  }
  for (const auto& path : {Dest() / "keep", Dest() / "old" / "inner"}) {
    ASSERT_EQ(chmod(path.c_str(), 0555), 0);
    if (geteuid() != 0) GTEST_SKIP() << "needs folders of another user";
  }
  {
    const Unprivileged user;
    const RunCounters& counters = Mirror();
    // stuck in keep; b in keep; stuck in inner, inner itself, old itself
    EXPECT_EQ(counters.FailedFiles, 5U);
  }
  EXPECT_EQ(ReadTestFile(Dest() / "old" / "inner" / "stuck"), "s");
  const std::string lines = LogLines();
  EXPECT_NE(lines.find(": 刪除檔案 (失敗)：stuck\n"), lines.npos) << lines;
  EXPECT_NE(lines.find(": 刪除目錄 (失敗)：D:\\dst\\old\\inner\\\n"), lines.npos) << lines;
}

TEST_F(SyncTest, AReadOnlyFolderOfTheMirrorFollowsItsSource) {
  WriteTestFile(Source() / "fixed" / "a", "x");
  WriteTestFile(Dest() / "fixed" / "a", "x");
  WriteTestFile(Dest() / "fixed" / "old" / "b", "goes");
  WriteTestFile(Dest() / "fixed" / "old.txt", "goes");
  ASSERT_EQ(chmod((Source() / "fixed").c_str(), 0555), 0);
  fs::permissions(Temp.Root(), fs::perms::all);
  for (const auto& path : {Temp.Home(), Temp.Home() / "Log", Temp.DriveD()}) {
    fs::permissions(path, fs::perms::all);
  }
  for (const char* name : {"", "fixed", "fixed/a", "fixed/old", "fixed/old/b", "fixed/old.txt"}) {
    const fs::path path = Dest() / name;
    ASSERT_EQ(chmod(path.c_str(), fs::is_directory(path) ? 0555 : 0444), 0);
    ASSERT_TRUE(geteuid() != 0 || chown(path.c_str(), 65534, 65534) == 0);
  }
  {
    const Unprivileged user;
    EXPECT_EQ(Mirror().FailedFiles, 0U) << LogLines();
  }
  EXPECT_FALSE(fs::exists(Dest() / "fixed" / "old"));
  EXPECT_FALSE(fs::exists(Dest() / "fixed" / "old.txt"));
  EXPECT_EQ(fs::status(Dest() / "fixed").permissions(), fs::perms(0555));
}

TEST_F(SyncTest, WhatIsMountedInsideTheMirrorIsNoLeftOver) {
  WriteTestFile(Source() / "part" / "a", "precious");
  fs::create_directories(Dest() / "old" / "mounted");
  if (mount((Source() / "part").c_str(), (Dest() / "old" / "mounted").c_str(), "", MS_BIND,
            nullptr) != 0) {
    GTEST_SKIP() << "no right to mount a folder";
  }
  const RunCounters counters = Mirror();
  umount2((Dest() / "old" / "mounted").c_str(), MNT_DETACH);
  EXPECT_EQ(ReadTestFile(Source() / "part" / "a"), "precious");
  EXPECT_EQ(counters.FailedFiles, 2U) << "the mounted folder and the one that it lies in";
}

TEST_F(SyncTest, OtherDisksHaveTheirOwnBinAndWithoutOneNothingIsRemoved) {
  if (mount("none", Temp.DriveD().c_str(), "tmpfs", 0, "size=4m") != 0) {
    GTEST_SKIP() << "no right to mount a disk of its own";
  }
  WriteTestFile(Source() / "a", "x");
  WriteTestFile(Dest() / "old 檔", "content");
  const fs::path bin = Temp.DriveD() / (".Trash-" + std::to_string(geteuid()));
  RunCounters counters = Mirror(true);
  EXPECT_EQ(counters.RecycledFiles, 1U);
  EXPECT_EQ(BinContent(bin),
            (std::multimap<std::string, std::string>{{"dst/old%20%E6%AA%94", "content"}}));
  fs::remove_all(bin);
  WriteTestFile(bin, "a file where the bin should be");
  WriteTestFile(Dest() / "old", "kept");
  counters = Mirror(true);
  const std::string kept = ReadTestFile(Dest() / "old"), lines = LogLines();
  umount2(Temp.DriveD().c_str(), MNT_DETACH);
  EXPECT_EQ(kept, "kept");
  EXPECT_EQ(counters.FailedFiles, 1U);
  EXPECT_EQ(lines, ": 移到資源回收筒 (失敗)：old\n");
}

TEST_F(SyncTest, AMirrorAtTheTopOfADiskLeavesItsBinAndTheSystemsFoldersAlone) {
  fs::create_directories(Dest());
  if (mount("none", Dest().c_str(), "tmpfs", 0, "size=4m") != 0) {
    GTEST_SKIP() << "no right to mount a disk of its own";
  }
  WriteTestFile(Source() / "a", "x");
  const std::string bin = ".Trash-" + std::to_string(geteuid());
  for (const char* name : {"lost+found/part", "System Volume Information/x", "$RECYCLE.BIN/x"}) {
    WriteTestFile(Dest() / name, "the disk's");
  }
  // The source may be the top of another disk, which keeps the same there.
  for (const auto& name : {bin + "/mine", std::string("lost+found/mine")}) {
    WriteTestFile(Source() / name, "the source's");
  }
  WriteTestFile(Dest() / "old", "content");
  WriteTestFile(Dest() / "below" / "lost+found", "not at the top");
  const RunCounters first = Mirror(true), second = Mirror(true);
  const auto in_bin = BinContent(Dest() / bin);
  const bool system = fs::exists(Dest() / bin / "mine") &&
                      fs::exists(Dest() / "lost+found" / "part") &&
                      fs::exists(Dest() / "lost+found" / "mine") &&
                      fs::exists(Dest() / "System Volume Information" / "x") &&
                      fs::exists(Dest() / "$RECYCLE.BIN" / "x");
  umount2(Dest().c_str(), MNT_DETACH);
  EXPECT_EQ(first.RecycledFiles, 2U);
  EXPECT_EQ(in_bin.size(), 3U) << "two files and the folder of one";
  EXPECT_EQ(second.RecycledFiles + second.RecycledFolders + second.FailedFiles, 0U);
  EXPECT_TRUE(system);
}

/// A random tree and random changes of it: additions, changed content, removals, renames, files
/// that become folders and folders that become files.
class RandomTree {
 public:
  RandomTree(fs::path root, unsigned seed) : root_(std::move(root)), random_(seed) {
    fs::create_directories(root_);
    folders_.push_back(root_);
  }

  void Grow(int files) {
    for (int i = 0; i < files; ++i) AddFile();
  }

  void Change(int changes) {
    for (int i = 0; i < changes; ++i) {
      const std::size_t at = random_() % files_.size();
      const fs::path path = files_[at];
      switch (random_() % 6) {
        case 0:
          AddFile();
          break;
        case 1:
          Write(path);
          break;
        case 2:
          fs::remove(path);
          Forget(at);
          break;
        case 3: {
          const fs::path to = path.parent_path() / NewName();
          fs::rename(path, to);
          files_[at] = to;
          break;
        }
        case 4: {
          fs::remove(path);
          files_[at] = path / NewName();
          Write(files_[at]);
          break;
        }
        default: {
          const fs::path folder = path.parent_path();
          if (folder == root_ || random_() % 8) break;
          fs::remove_all(folder);
          std::erase_if(files_, [&](const fs::path& f) { return Below(f, folder); });
          std::erase_if(folders_,
                        [&](const fs::path& f) { return f == folder || Below(f, folder); });
          files_.push_back(folder);
          Write(folder);
        }
      }
    }
  }

 private:
  static bool Below(const fs::path& path, const fs::path& folder) {
    return path.generic_string().starts_with(folder.generic_string() + "/");
  }
  std::string NewName() {
    static constexpr const char* kStems[] = {"檔案", "file", "碁 b", "x.tmp", ".hidden"};
    return kStems[random_() % 5] + std::to_string(++counter_);
  }
  void AddFile() {
    if (random_() % 12 == 0) {
      folders_.push_back(folders_[random_() % folders_.size()] / NewName());
      fs::create_directory(folders_.back());
    }
    files_.push_back(folders_[random_() % folders_.size()] / NewName());
    Write(files_.back());
  }
  void Write(const fs::path& path) {
    WriteTestFile(path, std::string(random_() % 300, 'x') + std::to_string(++counter_));
    SetWritten(path,
               {1000000000 + 10 * counter_, static_cast<std::int32_t>(random_() % 1000000000)});
  }
  void Forget(std::size_t at) {
    files_[at] = files_.back();
    files_.pop_back();
  }

  const fs::path root_;
  std::mt19937 random_;
  std::vector<fs::path> folders_, files_;
  int counter_ = 0;
};

struct Entries {
  std::set<std::string> Files, Folders;
};

Entries EntriesOf(const fs::path& root) {
  Entries entries;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (IsBackupsOwn(FromUtf8(entry.path().filename().string()))) continue;
    (entry.is_directory() ? entries.Folders : entries.Files)
        .insert(entry.path().generic_string().substr(root.generic_string().size()));
  }
  return entries;
}

std::uint32_t CountMissing(const std::set<std::string>& from, const std::set<std::string>& in) {
  return static_cast<std::uint32_t>(std::count_if(
      from.begin(), from.end(), [&](const std::string& name) { return !in.contains(name); }));
}

TEST_F(SyncTest, AMirrorFollowsAThousandRandomChangesOfALargeTree) {
  // KAVREL_MIRROR_FILES=20000 takes longer; file systems are slow after so many removals.
  const char* wanted = getenv("KAVREL_MIRROR_FILES");
  const int files_wanted = wanted ? atoi(wanted) : 4000;
  RandomTree tree(Source(), 11);
  tree.Grow(files_wanted);
  EXPECT_GE(Mirror().CopiedFiles, static_cast<std::uint32_t>(files_wanted));
  ASSERT_EQ(TreeDifferences(Source(), Dest()), "");

  for (const bool bin : {false, true}) {
    tree.Change(1000);
    const Entries before = EntriesOf(Dest()), after = EntriesOf(Source());
    std::multiset<std::string> removed;
    for (const std::string& name : before.Files) {
      if (!after.Files.contains(name)) removed.insert(ReadTestFile(Dest().string() + name));
    }
    const RunCounters counters = Mirror(bin);
    EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
    EXPECT_EQ(counters.FailedFiles, 0U);
    const std::uint32_t files = CountMissing(before.Files, after.Files);
    const std::uint32_t folders = CountMissing(before.Folders, after.Folders);
    EXPECT_EQ(bin ? counters.RecycledFiles : counters.SyncDeletedFiles, files);
    EXPECT_EQ(bin ? counters.RecycledFolders : counters.SyncDeletedFolders, folders);
    EXPECT_EQ(bin ? counters.SyncDeletedFiles : counters.RecycledFiles, 0U);
    EXPECT_GE(counters.CopiedFiles, CountMissing(after.Files, before.Files));
    // Elsewhere the bin is the system's own, which nobody else looks into.
    if (bin && fs::path::preferred_separator == '/') {
      std::multiset<std::string> recycled;
      for (const auto& [path, content] : BinContent(Temp.Root() / "data" / "Trash")) {
        EXPECT_TRUE(path.starts_with("/")) << path;
        if (content != "<folder>") recycled.insert(content);
      }
      EXPECT_EQ(recycled, removed);
    }
  }
}

TEST_F(SyncTest, RestoreBringsBackWhatItsModePrescribes) {
  RandomTree tree(Source(), 5);
  tree.Grow(300);
  std::error_code no_links;
  fs::create_symlink("nowhere", Source() / "link", no_links);
  BackupJob& job = AddJob(BackupType::Differential);
  job.AddSourceFolder = true;
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  const fs::path backup = Dest() / "src";
  const DateTime next_run = job.NextRun, last_run = job.LastRun;
  const std::string store = ReadTestFile(Temp.Home() / "Backup.rtm");

  // Full: also over a newer target. Incremental: what is the same stays untouched.
  WriteTestFile(Source() / "changed", "original");
  SetWritten(Source() / "changed", {1000000000, 0});
  WriteTestFile(backup / "changed", "backed up");
  SetWritten(backup / "changed", {900000000, 0});
  WriteTestFile(backup / "same", "same size a");
  WriteTestFile(Source() / "same", "same size b");
  SetWritten(backup / "same", {900000000, 0});
  SetWritten(Source() / "same", {900000001, 0});
  WriteTestFile(Source() / "not in the backup", "stays");
  EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Incremental), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Source() / "changed"), "backed up");
  EXPECT_EQ(ReadTestFile(Source() / "same"), "same size b");
  EXPECT_EQ(job.LastRunResult.CopiedFiles, 1U);
  EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Source() / "same"), "same size a");
  EXPECT_EQ(job.LastRunResult.CopiedFiles, Program.Context.Report.Counters.SourceFiles);
  EXPECT_EQ(job.LastRunResult.Folders, 0U);
  EXPECT_EQ(ReadTestFile(Source() / "not in the backup"), "stays");

  fs::remove_all(Source());
  EXPECT_EQ(Program.RunRestoreNow(0, static_cast<RestoreMode>(2)), RunOutcome::Ran);
  EXPECT_EQ(Program.Context.Report.Counters.SourceFiles, 0U)
      << "a mode that is none restores no files";
  EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::Ran);
  EXPECT_EQ(TreeDifferences(backup, Source()), "");
  EXPECT_EQ(job.NextRun, next_run);
  EXPECT_EQ(job.LastRun, last_run);
  EXPECT_EQ(ReadTestFile(Temp.Home() / "Backup.rtm"), store);
  EXPECT_EQ(StatusText(Program.LogRows.Rows().back()), u"還原完成");
  const std::string log = LogText(Program.Log.CurrentPath());
  EXPECT_NE(
      log.find(
          "\r\n還原排程名稱　　　：測試 0\r\n還原執行狀態　　　：還原完成\r\n來源檔案總計　　　："),
      log.npos)
      << log;
}

TEST_F(SyncTest, ARestoreWithoutABackupOrOntoWhatIsInTheWayFails) {
  WriteTestFile(Source() / "a", "x");
  BackupJob& job = AddJob();
  EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::SourceMissing);
  EXPECT_TRUE(Program.LogRows.Rows().empty());
  WriteTestFile(Dest() / "a", "backup");
  WriteTestFile(Dest() / "b" / "c", "backup");
  fs::remove(Source() / "a");
  WriteTestFile(Source() / "a" / "inner", "in the way");
  WriteTestFile(Source() / "b", "in the way");
  EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::Ran);
  EXPECT_EQ(job.LastRunResult.FailedFiles, 2U);
  EXPECT_EQ(LogLines(), ": 還原檔案 (失敗)：D:\\dst\\a\n: 建立目錄 (失敗)：C:\\src\\b\\\n");
  const std::string log = LogText(Program.Log.CurrentPath());
  EXPECT_NE(log.find(": 原因：Could Not Open Destination File (錯誤："), log.npos) << log;
  EXPECT_EQ(ReadTestFile(Source() / "a" / "inner"), "in the way");
  EXPECT_EQ(ReadTestFile(Source() / "b"), "in the way");
}

}  // namespace
}  // namespace kavrel
