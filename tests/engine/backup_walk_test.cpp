#include "engine/backup_walk.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <set>

#include "base/text.h"
#include "engine/run_planner.h"
#include "files/path.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class BackupWalkTest : public testing::Test, protected TestProgram {
 protected:
  const RunCounters& Run(BackupJob& job) {
    EXPECT_EQ(RunBackupJob(Program.Context, job).Outcome, RunOutcome::Ran);
    return Program.Context.Report.Counters;
  }

  std::vector<std::u16string> CopiedNames() {
    std::vector<std::u16string> names;
    for (const auto& entry : fs::recursive_directory_iterator(Dest())) {
      if (IsBackupsOwn(FromUtf8(entry.path().filename().string()))) continue;
      if (!entry.is_directory()) names.push_back(FromUtf8(entry.path().filename().string()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }
};

TEST_F(BackupWalkTest, FullRunMakesAnExactCopyWithHostileNamesLinksAndReadOnlyFolders) {
  WriteTestFile(Source() / "文件" / "碁銹 report.txt", "content");
  WriteTestFile(Source() / "new\nline" / "quote\"d 'x'.txt", "q");
  WriteTestFile(Source() / "bytes\xff\xc3.bin", std::string(300000, 'b'));
  WriteTestFile(Source() / std::string(255, 'n'), "long name");
  WriteTestFile(Source() / "read only" / "deep" / "file", "r");
  WriteTestFile(Source() / ".hidden", "");
  fs::create_directories(Source() / "empty" / "nested");
  fs::create_symlink("../../outside", Source() / "link");
  fs::create_directory_symlink("..", Source() / "loop");
  ASSERT_EQ(mkfifo((Source() / "pipe").c_str(), 0600), 0);
  ASSERT_EQ(chmod((Source() / ".hidden").c_str(), 0604), 0);
  ASSERT_EQ(chmod((Source() / "read only").c_str(), 0555), 0);
  SetWritten(Source() / "文件" / "碁銹 report.txt", {1000000000, 987654321});
  SetWritten(Source() / "empty", {900000000, 1});
  fs::permissions(Temp.Root(), fs::perms::all);
  fs::permissions(Temp.DriveD(), fs::perms::all);
  for (const fs::path& path : {Temp.Home(), Temp.Home() / "Log"}) {
    fs::permissions(path, fs::perms::all);
  }
  BackupJob& job = AddJob();
  {
    // A user's copy of a read-only folder must take the files of that folder, too.
    const Unprivileged user;
    const RunCounters& counters = Run(job);
    EXPECT_EQ(counters.SourceFiles, 9U);
    EXPECT_EQ(counters.CopiedFiles, 8U);
    EXPECT_EQ(counters.ExcludedFiles, 1U);
    EXPECT_EQ(counters.FailedFiles, 0U);
    EXPECT_EQ(counters.WarningFiles, 0U);
    EXPECT_EQ(counters.Folders, 7U);
  }
  EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
  EXPECT_EQ(LogLines(), ": 略過特殊檔案 (成功)：C:\\src\\pipe\n");

  SetJobType(job, BackupType::Differential);
  const RunCounters& again = Run(job);
  EXPECT_EQ(again.CopiedFiles, 0U);
  EXPECT_EQ(again.UnchangedFiles, 8U);
  EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
}

TEST_F(BackupWalkTest, TreesDeeperThanTheSystemsPathLimitAreCopied) {
  std::u16string path = u"C:\\src";
  for (int i = 0; i < 40; ++i) path += u"\\" + std::u16string(200, u'd');
  const Result<Folder> folder = Temp.Files().MakeFolders(path);
  ASSERT_TRUE(folder);
  FileStatus readable;
  readable.Mode = 0600;
  Result<File> file = folder->MakeFile(u"leaf", readable);
  ASSERT_EQ(file->Write("deep"), 0);
  EXPECT_EQ(Run(AddJob()).CopiedFiles, 1U);
  path.replace(0, 6, u"D:\\dst");
  EXPECT_EQ(Temp.Files().Status(path + u"\\leaf")->Size, 4U);
}

TEST_F(BackupWalkTest, ALargeFolderWhoseNamesDifferInLetterCaseAloneIsCopiedWhole) {
  constexpr std::uint64_t kMany = 2000;  // Several times what the system lists at once.
  for (std::uint64_t i = 0; i < kMany; ++i) {
    const std::string name = "a file of a large folder " + std::to_string(i / 2);
    WriteTestFile(Source() / (i % 2 != 0 ? name : "A" + name.substr(1)), "x");
  }
  BackupJob& job = AddJob();
  EXPECT_EQ(Run(job).CopiedFiles, kMany);
  EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
}

TEST_F(BackupWalkTest, DifferentialRunCopiesWhatChangedInSizeTimeDayOrLinkTarget) {
  // The last second of a day and the first of the next, by the local calendar.
  tm day{};
  day.tm_year = 109, day.tm_mon = 8, day.tm_mday = 24, day.tm_isdst = -1;
  const std::int64_t midnight = mktime(&day);
  const struct {
    const char* Name;
    std::int64_t Source, Dest;
    std::size_t SourceSize, DestSize;
    bool Copied;
  } cases[] = {
      {"same", midnight + 100, midnight + 100, 5, 5, false},
      {"one second older", midnight + 101, midnight + 100, 5, 5, false},
      {"one second newer", midnight + 100, midnight + 101, 5, 5, false},
      {"two seconds older", midnight + 102, midnight + 100, 5, 5, true},
      {"two seconds newer", midnight + 100, midnight + 102, 5, 5, true},
      {"other day", midnight - 1, midnight, 5, 5, true},
      {"other size", midnight + 100, midnight + 100, 6, 5, true},
  };
  for (const auto& c : cases) {
    WriteTestFile(Source() / c.Name, std::string(c.SourceSize, 's'));
    WriteTestFile(Dest() / c.Name, std::string(c.DestSize, 'd'));
    SetWritten(Source() / c.Name, {c.Source, 0});
    SetWritten(Dest() / c.Name, {c.Dest, 0});
  }
  std::error_code no_links;
  fs::create_symlink("aaa", Source() / "link", no_links);
  if (!no_links) {
    fs::create_symlink("bbb", Dest() / "link");
    SetWritten(Source() / "link", {midnight, 0});
    SetWritten(Dest() / "link", {midnight, 0});
  }

  const RunCounters& counters = Run(AddJob(BackupType::Differential));
  for (const auto& c : cases) {
    EXPECT_EQ(ReadTestFile(Dest() / c.Name),
              c.Copied ? std::string(c.SourceSize, 's') : std::string(c.DestSize, 'd'))
        << c.Name;
  }
  EXPECT_TRUE(no_links || fs::read_symlink(Dest() / "link") == "aaa");
  EXPECT_EQ(counters.CopiedFiles, no_links ? 4U : 5U);
  EXPECT_EQ(counters.UnchangedFiles, 3U);
}

TEST_F(BackupWalkTest, ASecondSaveWithinTheSameSecondsIsCopied) {
  const std::int64_t then = 1258000000;
  WriteTestFile(Source() / "letter", "one");
  SetWritten(Source() / "letter", {then, 300000000});
  BackupJob& job = AddJob(BackupType::Differential);
  Run(job);
  ASSERT_EQ(ReadTestFile(Dest() / "letter"), "one");
  const auto changed = [&](const fs::path& path) {
    const FileTime time = Temp.Files().Status(TempFolder::Text(path))->Changed;
    return std::pair(time.Seconds, time.Nanoseconds);
  };
  // A whole second may be meant, on a disk that keeps the parts of others.
  const std::pair<FileTime, std::string> saves[] = {
      {{then + 1, 900000001}, "two"}, {{then + 1, 0}, "ten"}, {{then + 2, 500000001}, "six"}};
  for (const auto& [time, text] : saves) {
    do {  // The clock of file systems goes in steps.
      WriteTestFile(Source() / "letter", text);
      SetWritten(Source() / "letter", time);
    } while (changed(Source() / "letter") <= changed(Dest() / "letter"));
    EXPECT_EQ(Run(job).CopiedFiles, 1U);
    EXPECT_EQ(ReadTestFile(Dest() / "letter"), text);
    EXPECT_EQ(Run(job).CopiedFiles, 0U);
  }
}

TEST_F(BackupWalkTest, DestinationInsideTheSourceIsNeverCopiedIntoItself) {
  WriteTestFile(Source() / "a", "x");
  BackupJob& job = AddJob();
  job.Destination.Path = u"c:\\SRC\\backup";
  const fs::path other_case = Temp.DriveC() / "SRC";
  if (!fs::exists(other_case)) fs::create_directory_symlink("src", other_case);
  const RunCounters& counters = Run(job);
  EXPECT_EQ(counters.CopiedFiles, 1U);
  EXPECT_EQ(counters.FailedFiles, 0U);
  EXPECT_EQ(ReadTestFile(Source() / "backup" / "a"), "x");
  EXPECT_FALSE(fs::exists(Source() / "backup" / "backup"));
}

TEST_F(BackupWalkTest, WhatFormerRunsMadeInsideTheSourceIsNotBackedUp) {
  WriteTestFile(Source() / "sub" / "a", "x");
  fs::create_directories(Source() / "linked");
  fs::create_directory_symlink(Source() / "linked", Temp.DriveD() / "link");
  std::uint32_t files = 1, linked = 0;
  for (const std::u16string place : {u"C:\\src\\states\\", u"D:\\link\\"}) {
    for (const BackupType type : {BackupType::Full, BackupType::Compressed}) {
      BackupJob& job = AddJob(type);
      if (job.Compressed && !Program.Archiver.Present()) continue;
      job.Destination.Path = place + (job.Compressed ? u"z<dd>\\" : u"<dd>\\");
      const std::uint32_t before = files;
      if (!job.Compressed) linked = before;
      for (int day = 1; day < 4; ++day, files += job.Compressed ? 1 : before) {
        Clock.Set(*FromCivil(2009, 9, day, 1));
        // What another job has made is a part of it, but nothing of its own runs before.
        EXPECT_EQ(Run(job).CopiedFiles, before) << ToUtf8(job.Destination.Path) << day;
      }
    }
  }
  // A copy that somebody made of a state is a file like all others.
  BackupJob& job = *std::ranges::find(Program.Store.Jobs, u"D:\\link\\<dd>\\",
                                      [](const BackupJob& one) { return one.Destination.Path; });
  const std::string state = (Source() / "linked" / "01").string();
  ASSERT_EQ(std::system(("cp -a '" + state + "' '" + Source().string() + "/sub'").c_str()), 0);
  Clock.Set(*FromCivil(2009, 9, 11, 1));
  EXPECT_EQ(Run(job).CopiedFiles, files - 3 * linked + linked);
}

TEST_F(BackupWalkTest, WhetherRulesCountIsNeverGuessed) {
  WriteTestFile(Source() / "a.tmp", "x");
  ASSERT_TRUE(Program.Preferences.SetExcEnabled(true));
  const fs::path settings = Temp.Home() / "Settings.ini", aside = Temp.Home() / "aside";
  fs::rename(settings, aside);
  fs::create_directory(settings);
  ASSERT_TRUE(Program.Load());
  const ExclusionRule rule{true, u"r", u"*", u"*", u"*.tmp", u"", u"", u""};
  ASSERT_TRUE(Program.Exclusions.SaveExclusions({rule}));
  EXPECT_EQ(Run(AddJob()).FailedFiles, 1U);
  EXPECT_NE(LogLines().find(": 讀取排除規則的設定 (失敗)"), std::string::npos) << LogLines();
  fs::remove(settings);
  fs::rename(aside, settings);
  fs::remove(Dest() / "a.tmp");
  const RunCounters& counters = Run(Program.Store.Jobs[0]);
  EXPECT_EQ(counters.FailedFiles, 0U);
  EXPECT_EQ(counters.ExcludedFiles, 1U);
  EXPECT_FALSE(fs::exists(Dest() / "a.tmp"));
}

TEST_F(BackupWalkTest, ASourceThatIsLeftOutAsAWholeIsAFailedRun) {
  WriteTestFile(Source() / "deep" / "a", "x");
  std::error_code no_links;
  fs::create_directory_symlink(Temp.DriveC(), Temp.DriveD() / "up", no_links);
  BackupJob& job = AddJob();
  job.Source.Path = u"C:\\src\\deep\\";
  const auto plan_fails = [&] {
    RunPlan plan;
    BackupJob planned = job;
    planned.Source.WorkPath = planned.Source.Path;
    planned.Destination.WorkPath = planned.Destination.Path;
    return PlanWalk(Program.Context, planned, plan).FailedFiles;
  };
  // The destination is, or holds, the source, by its path and through a link.
  for (const char16_t* place :
       {u"C:\\src\\deep\\", u"C:\\src\\", u"D:\\up\\src\\", u"D:\\up\\src\\deep\\"}) {
    if (no_links && place[0] == u'D') continue;
    job.Destination.Path = place;
    EXPECT_EQ(plan_fails(), 1U);
    const RunCounters counters = Run(job);
    EXPECT_EQ(counters.CopiedFiles, 0U);
    EXPECT_EQ(counters.FailedFiles, 1U);
    EXPECT_EQ(LogLines(), ": 來源位於目標之內，沒有備份 (失敗)：C:\\src\\deep\\\n");
  }

  job.Destination.Path = u"D:\\dst\\";
  WriteTestFile(Temp.Home() / "Exc.txt", "x\r\n");
  SetRules(true);
  ASSERT_TRUE(Program.Exclusions.SaveExclusions({{true, u"r", u"*", u"deep", u"*", {}, {}, {}}}));
  EXPECT_EQ(plan_fails(), 1U);
  EXPECT_EQ(Run(job).FailedFiles, 1U);
  EXPECT_EQ(LogLines(),
            "排除資料夾 (成功)：C:\\src\\deep\\\n"
            ": 排除規則排除了整個來源，沒有備份 (失敗)：C:\\src\\deep\\\n");
}

TEST_F(BackupWalkTest, DestinationReachedThroughALinkIsRecognised) {
  WriteTestFile(Source() / "a", "x");
  fs::create_directories(Source() / "inner");
  fs::create_directory_symlink(Source() / "inner", Temp.DriveD() / "dst");
  BackupJob& job = AddJob();
  for (int round = 0; round < 3; ++round) EXPECT_EQ(Run(job).CopiedFiles, 1U);
  EXPECT_FALSE(fs::exists(Source() / "inner" / "inner"));
}

TEST_F(BackupWalkTest, PatternListsDecideWhatTakesPart) {
  for (const char* name : {"a.txt", "B.TXT", "c.doc", "x.tmp", "y.TMP", "none"}) {
    WriteTestFile(Source() / name, name);
  }
  BackupJob& job = AddJob();
  const struct {
    std::u16string_view Types;
    bool Exclude;
    std::uint32_t Handled;
    std::vector<std::u16string> Copied;
  } cases[] = {
      // Two patterns that find the same names: each is handled twice, the second pattern's last.
      {u"*.txt;*.TXT", false, 4, {u"B.TXT", u"a.txt"}},
      {u"*.doc;*.*", false, 7, {u"B.TXT", u"a.txt", u"c.doc", u"none", u"x.tmp", u"y.TMP"}},
      {u"*.tmp", true, 5, {u"B.TXT", u"a.txt", u"c.doc", u"none", u"y.TMP"}},
      {u"*.*", true, 0, {}},
      {u"", false, 0, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.Types));
    fs::remove_all(Dest());
    fs::create_directories(Dest());
    job.FileTypes = c.Types;
    job.ExcludeFileTypes = c.Exclude;
    for (int round = 0; round < 2; ++round) {
      const RunCounters& counters = Run(job);
      EXPECT_EQ(counters.SourceFiles, c.Handled);
      EXPECT_EQ(counters.CopiedFiles, c.Handled);
      EXPECT_EQ(CopiedNames(), c.Copied);
      if (round == 0) fs::remove_all(Dest());
    }
  }
}

TEST_F(BackupWalkTest, RulesThatCannotBeReadAreToldAndReadAsSoonAsTheyCan) {
  WriteTestFile(Source() / "a.bak", "x");
  const fs::path file = Temp.Home() / "Exc.txt";
  const std::string rules = "R\tTrue\t*\t*\t*.bak\r\n";
  fs::remove(file);
  fs::create_directory(file);
  SetRules(true);
  Program.Exclusions.LoadExclusions();
  BackupJob& job = AddJob();
  EXPECT_EQ(Run(job).FailedFiles, 1U);
  EXPECT_NE(LogLines().find("讀取排除規則 (失敗)"), std::string::npos);
  fs::remove(file);
  WriteTestFile(file, rules);
  EXPECT_EQ(Run(job).FailedFiles, 0U);
  EXPECT_EQ(Program.Context.Report.Counters.ExcludedFiles, 1U);
}

TEST_F(BackupWalkTest, TheBuiltInRulesKeepTheirTargetsOutOfDrivesSharesAndOtherDisks) {
  SetRules(true);
  const bool disk = mount("none", Temp.Root().c_str(), "tmpfs", 0, "size=16m") == 0;
  if (!disk) GTEST_SKIP() << "no right to mount a disk of its own";
  Program.Mounts.Load();
  const struct {
    fs::path Place;
    std::u16string Source;
    bool IsRoot;  ///< rules that begin at the root of a disk apply
  } sources[] = {
      {Temp.DriveC(), u"C:\\", true},
      {Temp.Home() / "drives/unc/server/share", u"\\\\server\\share\\", false},
      {Temp.Root(), TempFolder::Text(Temp.Root()) + u"/", true},
      {Temp.Root() / "folder", TempFolder::Text(Temp.Root()) + u"/folder/", false},
  };
  const std::vector<ExclusionRule> rules = Program.Exclusions.Rules();
  for (const auto& source : sources) {
    SCOPED_TRACE(ToUtf8(source.Source));
    std::size_t excluded_folders = 0, excluded_files = 0;
    for (const fs::path& place : {source.Place, source.Place / "deep" / "er"}) {
      for (const ExclusionRule& rule : rules) {
        std::string name = ToUtf8(rule.File == u"*" ? rule.Folder : rule.File);
        const bool anchored = name.starts_with('\\');
        std::erase(name, '\\');
        const bool applies = !anchored || (source.IsRoot && place == source.Place);
        if (rule.File == u"*") {
          WriteTestFile(place / name / "inside", "x");
          excluded_folders += applies;
        } else {
          WriteTestFile(place / name, "x");
          excluded_files += applies;
        }
      }
    }
    BackupJob& job = AddJob();
    job.Source.Path = source.Source;
    job.Destination.Path = source.Source + u"Temp" + PathSeparator(source.Source);
    const RunCounters counters = Run(job);
    EXPECT_EQ(counters.ExcludedFolders, excluded_folders);
    EXPECT_EQ(counters.ExcludedFiles, excluded_files);
    for (const auto& entry : fs::directory_iterator(source.Place)) fs::remove_all(entry);
  }
  // A run makes the program folder, which lies in it, the process's own.
  fs::current_path("/");
  EXPECT_EQ(umount2(Temp.Root().c_str(), MNT_DETACH), 0);
}

TEST_F(BackupWalkTest, FilesAboveTheLimitCountAsCopiedWithoutBytes) {
  WriteTestFile(Source() / "at limit", std::string(102400, 'x'));
  WriteTestFile(Source() / "above", std::string(102401, 'x'));
  BackupJob& job = AddJob();
  job.LimitFileSize = true;
  job.MaxFileSizeKB = 100;
  const RunCounters& counters = Run(job);
  EXPECT_EQ(counters.CopiedFiles, 2U);
  EXPECT_EQ(counters.CopiedBytes, 102400U);
  EXPECT_EQ(CopiedNames(), std::vector<std::u16string>{u"at limit"});
}

TEST_F(BackupWalkTest, SubfoldersAreLeftOutWhenTheJobSaysSo) {
  WriteTestFile(Source() / "a", "x");
  WriteTestFile(Source() / "sub" / "b", "x");
  BackupJob& job = AddJob();
  job.IncludeSubfolders = false;
  EXPECT_EQ(Run(job).Folders, 1U);
  EXPECT_FALSE(fs::exists(Dest() / "sub"));
}

TEST_F(BackupWalkTest, EveryFailureIsCountedLoggedAndTheRestIsCopied) {
  WriteTestFile(Source() / "good" / "a", "x");
  WriteTestFile(Source() / "folder here", "file in source");
  WriteTestFile(Dest() / "folder here" / "kept", "kept");
  WriteTestFile(Source() / "file there" / "b", "x");
  WriteTestFile(Dest() / "file there", "kept");
  WriteTestFile(Source() / "unreadable" / "c", "x");
  WriteTestFile(Temp.Root() / "outside" / "d", "kept");
  WriteTestFile(Source() / "linked" / "d", "must not get out");
  fs::create_directory_symlink(Temp.Root() / "outside", Dest() / "linked");
  ASSERT_EQ(chmod((Source() / "unreadable").c_str(), 0), 0);
  fs::permissions(Temp.Root(), fs::perms::all);
  for (const fs::path& path : {Temp.Home(), Temp.Home() / "Log", Temp.DriveD(), Dest()}) {
    fs::permissions(path, fs::perms::all);
  }
  {
    const Unprivileged user;
    const RunCounters& counters = Run(AddJob());
    EXPECT_EQ(counters.CopiedFiles, 1U);
    EXPECT_EQ(counters.FailedFiles, 4U);
  }
  const std::string lines = LogLines();
  for (const char* line :
       {": 備份檔案 (失敗)：C:\\src\\folder here\n", ": 建立目錄 (失敗)：D:\\dst\\file there\\\n",
        ": 建立目錄 (失敗)：D:\\dst\\linked\\\n", ": 讀取目錄 (失敗)：C:\\src\\unreadable\\\n"}) {
    EXPECT_NE(lines.find(line), lines.npos) << line << "in\n" << lines;
  }
  EXPECT_EQ(ReadTestFile(Dest() / "folder here" / "kept"), "kept");
  EXPECT_EQ(ReadTestFile(Dest() / "file there"), "kept");
  EXPECT_EQ(ReadTestFile(Temp.Root() / "outside" / "d"), "kept");
}

TEST_F(BackupWalkTest, AFullDiskFailsOnlyWhatDoesNotFitAndKeepsTheOldFiles) {
  if (mount("none", Temp.DriveD().c_str(), "tmpfs", 0, "size=512k") != 0) {
    GTEST_SKIP() << "no right to mount a small disk";
  }
  WriteTestFile(Source() / "big", std::string(900000, 'n'));
  WriteTestFile(Source() / "small", "n");
  WriteTestFile(Dest() / "big", "old");
  const RunCounters counters = Run(AddJob());
  const std::string lines = LogLines(), big = ReadTestFile(Dest() / "big"),
                    small = ReadTestFile(Dest() / "small");
  const std::size_t files = CopiedNames().size();
  umount2(Temp.DriveD().c_str(), MNT_DETACH);
  EXPECT_EQ(counters.CopiedFiles, 1U);
  EXPECT_EQ(counters.FailedFiles, 1U);
  EXPECT_TRUE(lines.starts_with(": 檢查可用空間 (繼續)：")) << lines;
  EXPECT_TRUE(lines.ends_with("\n: 備份檔案 (失敗)：C:\\src\\big\n")) << lines;
  EXPECT_EQ(big, "old");
  EXPECT_EQ(small, "n");
  EXPECT_EQ(files, 2U);
}

TEST_F(BackupWalkTest, FilesThatVanishAreFailuresOfAFullRunAndSilentInADifferentialOne) {
  Program.Context.CopyAhead = false;  // The second file would be copied before it goes.
  for (const bool differential : {false, true}) {
    WriteTestFile(Source() / "a", "x");
    WriteTestFile(Source() / "b", "x");
    // At the first pump the first file is at work; the other one goes.
    Host.AtPump = [&] {
      if (!Host.Names.empty()) fs::remove(Source() / (Host.Names[0] == u"a" ? "b" : "a"));
    };
    Host.Names.clear();
    fs::remove_all(Dest());
    const RunCounters& counters =
        Run(AddJob(differential ? BackupType::Differential : BackupType::Full));
    EXPECT_EQ(counters.CopiedFiles, 1U);
    EXPECT_EQ(counters.FailedFiles, differential ? 0U : 1U);
    EXPECT_EQ(counters.UnchangedFiles, differential ? 1U : 0U);
  }
}

TEST_F(BackupWalkTest, NobodyElseMayLookIntoACopyBeforeItHasItsPermissions) {
  for (int i = 0; i < 50; ++i) WriteTestFile(Source() / "sub" / std::to_string(i), "x");
  fs::permissions(Source(), fs::perms(0751));
  std::set<fs::perms> seen;
  Host.AtPump = [&] {
    if (fs::exists(Dest())) seen.insert(fs::status(Dest()).permissions());
  };
  Run(AddJob());
  seen.erase(fs::perms(0751));  // At its end.
  EXPECT_EQ(seen, std::set({fs::perms::owner_all}));
  EXPECT_EQ(fs::status(Dest()).permissions(), fs::perms(0751));
}

TEST_F(BackupWalkTest, CancelStopsTheWalkAndItsBookkeepingIsDone) {
  for (int i = 0; i < 50; ++i) WriteTestFile(Source() / std::to_string(i), "x");
  Host.AtPump = [&] {
    if (Host.Names.size() == 10) Program.State.CancelRequested = true;
  };
  BackupJob& job = AddJob();
  const DateTime due = job.NextRun = Clock.Now() - std::chrono::hours(1);
  const RunCounters& counters = Run(job);
  EXPECT_TRUE(job.LastRunResult.Stopped);
  EXPECT_LT(counters.CopiedFiles, 11U);
  EXPECT_GT(counters.CopiedFiles, 7U);
  EXPECT_GT(job.NextRun, due);
  EXPECT_EQ(StatusText(Program.LogRows.Rows().back()), u"備份中斷");
}

}  // namespace
}  // namespace kavrel
