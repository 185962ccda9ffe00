#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include "base/text.h"
#include "engine/restore.h"
#include "engine/verify.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class CompressedTest : public testing::Test, protected TestProgram {
 protected:
  fs::path archive_ = Dest() / "2009年09月23日15時.7z";

  BackupJob& Job() {
    if (Program.Store.Jobs.empty()) AddJob(BackupType::Compressed);
    return Program.Store.Jobs[0];
  }

  RunOutcome Restore(const std::u16string& name = u"2009年09月23日15時.7z") {
    return Program.RunRestoreNow(
        0, RestoreMode::Full, [&](const std::vector<ArchiveFile>&) { return std::optional(name); });
  }

  void MakeTree() {
    for (const char* name :
         {"碁 文件,1.txt", "-dash", "@at", "备份.txt", "wild*[1]?.txt", "q\"uote", "sub/深/er.bin",
          "back\\slash", "a;b'c$d%e", "a:b", "C:\\like a drive", "\\root"}) {
      WriteTestFile(Source() / name, std::string("content of ") + name);
      SetWritten(Source() / name, {1253718245, 123456700});
    }
    WriteTestFile(Source() / "empty", "");
    ASSERT_EQ(chmod((Source() / "empty").c_str(), 0640), 0);
    ASSERT_EQ(chmod((Source() / "@at").c_str(), 0666), 0);  // more than a usual mask leaves
    fs::create_symlink("sub/深", Source() / "link");
    SetWritten(Source() / "link", {1253718245, 123456700});
    fs::create_symlink("a:b", Source() / "in winter,\t");
    SetWritten(Source() / "in winter,\t", {1263718245, 0});
    SetWritten(Source() / "empty", {1253718245, 0});
  }

  /// Differences but for the times of folders, which an archive of files does not carry.
  std::string FileDifferences(const fs::path& a, const fs::path& b) {
    for (const fs::path& root : {a, b}) {
      for (const char* folder : {"sub/深", "sub", ""}) SetWritten(root / folder, {1, 0});
    }
    return TreeDifferences(a, b);
  }
};

TEST_F(CompressedTest, EveryLevelWithAndWithoutPasswordComesBackAsItWas) {
  const char* zone = getenv("TZ");
  const std::string zone_before = zone ? zone : "";
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);  // times of both halves of the year must hold
  MakeTree();
  const fs::path copy = Temp.Root() / "copy";
  for (const auto level :
       {CompressionLevel::Store, CompressionLevel::Fast, CompressionLevel::Full}) {
    for (const std::u16string_view password : {u"", u"秘 密-p \"x"}) {
      SCOPED_TRACE(static_cast<int>(level));
      Program.Context.Compression = level;
      BackupJob& job = Job();
      job.UsePassword = !password.empty();
      job.Password = password;
      fs::remove_all(Dest());
      ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
      EXPECT_EQ(job.LastRunResult.CopiedFiles, 15U);
      EXPECT_EQ(job.LastRunResult.FailedFiles, 0U);
      const std::string key = "-p" + ToUtf8(password);
      EXPECT_EQ(RunCommand({"/usr/bin/7zz", "t", key, archive_}).ExitCode, 0);
      if (!password.empty()) {
        EXPECT_EQ(RunCommand({"/usr/bin/7zz", "t", "-pwrong", archive_}).ExitCode, 2);
      }
      fs::rename(Source(), copy);
      ASSERT_EQ(Restore(), RunOutcome::Ran);
      EXPECT_EQ(job.LastRunResult.FailedFiles, 0U) << LogText(Program.Log.CurrentPath());
      EXPECT_EQ(FileDifferences(copy, Source()), "");
      fs::remove_all(Source());
      fs::rename(copy, Source());
    }
  }
  EXPECT_FALSE(fs::exists(Temp.Home() / "~complist.lst"));
  zone ? setenv("TZ", zone_before.c_str(), 1) : unsetenv("TZ");
}

TEST_F(CompressedTest, TheLogListsTheArchiveInItsColumns) {
  WriteTestFile(Source() / "文件.bin", std::string(1234567, 'x'));
  SetWritten(Source() / "文件.bin", {1253718244, 0});
  WriteTestFile(Source() / "z\nnewline", "cannot stand in a list");
  fs::create_hard_link(Source() / "文件.bin", Temp.Root() / "another name");
  ASSERT_EQ(Program.RunJobNow(Job().JobIndex), RunOutcome::Ran);
  const CivilTime t = ToCivil(LocalTime({1253718244, 0}));
  char modified[64];
  snprintf(modified, sizeof modified, "%04d/%02d/%02d %02d:%02d:%02d", t.Year, t.Month, t.Day,
           t.Hour, t.Minute, t.Second);
  const std::string rule =
      "--------------- ------- ---------- -------- ---------- "
      "------------------------------------\r\n";
  const std::string log = LogText(Program.Log.CurrentPath());
  const std::string expected =
      "\r\n來源資料夾：C:\\src\r\n目標資料夾：D:\\dst\\\r\n壓縮檔名稱：D:\\dst\\"
      "2009年09月23日15時.7z\r\n\r\n" +
      rule + "  檔 案 大 小    類 型    日  期    時  間   CRC 校驗  檔 案 名 稱\r\n" + rule +
      "      1,234,567  7-Zip  " + modified + "  ";
  EXPECT_NE(log.find(expected), log.npos) << log;
  EXPECT_NE(log.find("  文件.bin\r\n" + rule + std::string(55, ' ') +
                     "檔案 / 資料夾總計： 1 個\r\n" + rule),
            log.npos)
      << log;
  EXPECT_NE(log.find(": 備份檔案 (失敗)：C:\\src\\z␊newline\r\n"), log.npos);
  EXPECT_NE(log.find(": 壓縮檔不保留硬連結，個別存放的名稱總計：1\r\n"), log.npos) << log;
  EXPECT_EQ(Program.LogRows.Rows().back().Failed, 1U);
}

TEST_F(CompressedTest, FilterLimitAndASecondRunOfTheHour) {
  WriteTestFile(Source() / "at.doc", std::string(102400, 'x'));
  WriteTestFile(Source() / "above.doc", std::string(102401, 'x'));
  WriteTestFile(Source() / "deep" / "other.txt", "x");
  BackupJob& job = Job();
  job.LimitFileSize = true;
  job.MaxFileSizeKB = 100;
  job.FileTypes = u"*.DOC";
  job.IncludeSubfolders = false;
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  job.FileTypes = u"*.doc";
  job.ExcludeFileTypes = true;
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  // An old version that was put back takes the place of the newer one.
  WriteTestFile(Source() / "deep" / "other.txt", "older");
  SetWritten(Source() / "deep" / "other.txt", {1'000'000'000, 0});
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  ClsArc archiver(Program.Archiver, Program.Files);
  archiver.OpenArchive(u"D:\\dst\\2009年09月23日15時.7z");
  ASSERT_EQ(archiver.ArrayCount(), 1);
  EXPECT_EQ(archiver.Entries[0].FileName, u"at.doc");
  EXPECT_EQ(archiver.Entries[1].FileName, u"deep/other.txt");
  EXPECT_EQ(archiver.Entries[1].FileSize, u"5");
}

TEST_F(CompressedTest, ASecondRunOfTheHourTakesWhatThereIsAndCostsNothing) {
  for (const std::u16string_view password : {u"", u"secret"}) {
    fs::remove_all(Dest());
    fs::remove_all(Source());
    for (const char* name : {"older", "alike", "gone", "closed", "link/x", "name", "folder/a/b"}) {
      WriteTestFile(Source() / name, "first");
      SetWritten(Source() / name, {1253718245, 0});
    }
    Job().UsePassword = !password.empty();
    Job().Password = password;
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    for (const char* name : {"gone", "link", "name", "folder"}) fs::remove_all(Source() / name);
    for (const char* name : {"older", "alike", "closed", "name/a/b", "folder"}) {
      WriteTestFile(Source() / name, "other");
    }
    fs::create_symlink("name", Source() / "link");
    SetWritten(Source() / "older", {1153718245, 0});
    SetWritten(Source() / "alike", {1253718245, 0});
    fs::permissions(Source() / "closed", fs::perms::none);
    fs::permissions(Temp.Root(), fs::perms::all);
    for (const auto& path : {Temp.Home(), Temp.Home() / "Log", Temp.DriveD(), Dest(), archive_}) {
      fs::permissions(path, fs::perms::all);
    }
    {
      const Unprivileged user;
      ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    }
    EXPECT_EQ(Job().LastRunResult.CopiedFiles, 5U);
    EXPECT_EQ(Job().LastRunResult.FailedFiles, 1U) << "the closed one";
    fs::remove_all(Source());
    ASSERT_EQ(Restore(), RunOutcome::Ran);
    EXPECT_EQ(Job().LastRunResult.FailedFiles, 0U) << LogLines();
    for (const auto& [name, bytes] : std::map<std::string, std::string>{{"older", "other"},
                                                                        {"alike", "other"},
                                                                        {"gone", "first"},
                                                                        {"closed", "first"},
                                                                        {"name/a/b", "other"},
                                                                        {"folder", "other"}}) {
      EXPECT_EQ(ReadTestFile(Source() / name), bytes) << name;
    }
    EXPECT_TRUE(fs::is_symlink(Source() / "link"));
    EXPECT_EQ(std::distance(fs::directory_iterator(Dest()), {}), 2)
        << "archive and list of sums, no half archive";
  }
}

/// A letter of a password that stands nowhere as a whole but where it is tested.
char Letter(std::size_t i) {
  return static_cast<char>('A' + (i * 7 + 3) % 26);
}
constexpr std::size_t kLetters = 24;

/// How often that password stands in the memory of this process, as UTF-8 or UTF-16.
int TracesInMemory() {
  int traces = 0;
  std::ifstream maps("/proc/self/maps"), memory("/proc/self/mem");
  for (std::string line; std::getline(maps, line);) {
    unsigned long begin = 0, end = 0;
    char mode[5] = "";
    // The largest ones belong to a sanitizer.
    if (sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, mode) != 3 || mode[1] != 'w' ||
        end - begin > 1UL << 30) {
      continue;
    }
    std::vector<char> bytes(end - begin);
    memory.clear();
    memory.seekg(static_cast<std::streamoff>(begin));
    memory.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const auto size = static_cast<std::size_t>(memory.gcount());
    for (std::size_t at = 0; at + 2 * kLetters < size; ++at) {
      if (bytes[at] != Letter(0)) continue;
      for (const std::size_t width : {1U, 2U}) {
        std::size_t i = 0;
        while (i < kLetters && bytes[at + i * width] == Letter(i)) ++i;
        traces += i == kLetters;
      }
    }
    Wipe(bytes);  // A sanitizer holds on to memory that was given back.
  }
  return traces;
}

TEST_F(CompressedTest, APasswordIsInNoMemoryAfterItsJob) {
  WriteTestFile(Source() / "碁", "content");
  {
    Secret password;
    password.reserve(kLetters);
    for (std::size_t i = 0; i < kLetters; ++i) password.push_back(static_cast<char16_t>(Letter(i)));
    Job().UsePassword = true;
    Job().Password = password;
  }
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  ASSERT_TRUE(Program.ReloadJobs());
  ASSERT_EQ(Restore(), RunOutcome::Ran);
  EXPECT_EQ(Job().LastRunResult.CopiedFiles, 1U);
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 0U);
  EXPECT_GT(TracesInMemory(), 0);
  Program.Store.Jobs.clear();
  EXPECT_EQ(TracesInMemory(), 0);
}

TEST_F(CompressedTest, ACancelKeepsTheEarlierArchiveAndThePasswordIsOnNoCommandLine) {
  WriteTestFile(Source() / "a", "first");
  BackupJob& job = Job();
  job.UsePassword = true;
  job.Password = u"TopSecret4711";
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  const std::string before = ReadTestFile(archive_);
  std::string noise;
  noise.resize(40000000);
  for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<char>(i * i >> 7);
  WriteTestFile(Source() / "big", noise);
  // What a killed run of an earlier day left behind.
  WriteTestFile(archive_.string() + ".tmp", "half an archive");
  Program.Context.Compression = CompressionLevel::Full;
  bool working = false;
  const auto look = [&](std::uint64_t, std::uint64_t) {
    for (const auto& process : fs::directory_iterator("/proc")) {
      const std::string line = ReadTestFile(process.path() / "cmdline");
      working = working || line.find("7zz") != line.npos;
      const std::string seen = line + ReadTestFile(process.path() / "environ");
      EXPECT_EQ(seen.find("TopSecret4711"), seen.npos) << seen;
    }
  };
  Host.AtProgress = [&](std::uint64_t total, std::uint64_t done) {
    look(total, done);
    Program.State.CancelRequested = true;
  };
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  Host.AtProgress = {};
  EXPECT_TRUE(std::exchange(working, false));
  EXPECT_TRUE(job.LastRunResult.Stopped);
  EXPECT_EQ(ReadTestFile(archive_), before);
  EXPECT_FALSE(fs::exists(archive_.string() + ".tmp"));
  const std::string log = LogText(Program.Log.CurrentPath());
  EXPECT_EQ(log.find("TopSecret4711"), log.npos) << log;
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_FALSE(job.LastRunResult.Stopped);
  Host.AtProgress = look;
  ASSERT_EQ(Restore(), RunOutcome::Ran);
  EXPECT_TRUE(working);
}

TEST_F(CompressedTest, WhatCannotBeReadIsCountedAndTheRestPacked) {
  for (const char* name : {"a", "b", "deep/locked"}) WriteTestFile(Source() / name, "content");
  ASSERT_EQ(mkfifo((Source() / "pipe").c_str(), 0644), 0);
  ASSERT_EQ(chmod((Source() / "deep" / "locked").c_str(), 0), 0);
  fs::permissions(Temp.Root(), fs::perms::all);
  for (const auto& path : {Temp.Home(), Temp.Home() / "Log", Temp.DriveD()}) {
    fs::permissions(path, fs::perms::all);
  }
  Job();
  WriteTestFile(Source() / "empty", "");
  // The second run of the hour finds most of it packed already.
  for (int run = 0; run < 2; ++run) {
    const Unprivileged user;
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    EXPECT_EQ(Job().LastRunResult.CopiedFiles, 3U);
    EXPECT_EQ(Job().LastRunResult.FailedFiles, 1U);
  }
  const std::string lines = LogLines();
  EXPECT_TRUE(lines.starts_with(": 略過特殊檔案 (成功)：C:\\src\\pipe\n")) << lines;
  EXPECT_NE(LogText(Program.Log.CurrentPath()).find("deep/locked"), std::string::npos);
  EXPECT_EQ(RunCommand({"/usr/bin/7zz", "t", archive_}).ExitCode, 0);
}

TEST_F(CompressedTest, WhatCannotBeReplacedIsCountedAndTheRestRestored) {
  for (const char* name : {"a", "檔 : b", "c"}) WriteTestFile(Source() / name, "content");
  ASSERT_EQ(Program.RunJobNow(Job().JobIndex), RunOutcome::Ran);
  fs::remove_all(Source());
  WriteTestFile(Source() / "a" / "in the way", "stays");
  EXPECT_EQ(Restore(), RunOutcome::Ran);
  EXPECT_EQ(Job().LastRunResult.CopiedFiles, 2U);
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 1U);
  EXPECT_EQ(Job().LastRunResult.CopiedBytes, 14U);
  EXPECT_EQ(ReadTestFile(Source() / "a" / "in the way"), "stays");
  EXPECT_EQ(ReadTestFile(Source() / "c"), "content");
}

TEST_F(CompressedTest, ReadOnlyFoldersTakeWhatIsRestoredAndStayReadOnly) {
  for (const char* name : {"a", "sub/b", "sub/deep/c"}) WriteTestFile(Source() / name, "good");
  Job();
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  fs::remove_all(Source() / "sub" / "deep");
  for (const char* name : {"a", "sub/b"}) WriteTestFile(Source() / name, "spoilt");
  if (geteuid() == 0) {
    ASSERT_EQ(RunCommand({"/bin/chown", "-R", "65534:65534", Temp.Root()}).ExitCode, 0);
  }
  fs::permissions(Source() / "sub", fs::perms(0555));
  fs::permissions(Source(), fs::perms(0555));
  {
    const Unprivileged user;
    ASSERT_EQ(Restore(), RunOutcome::Ran);
  }
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 0U) << LogLines();
  for (const char* name : {"a", "sub/b", "sub/deep/c"}) {
    EXPECT_EQ(ReadTestFile(Source() / name), "good") << name;
  }
  EXPECT_EQ(fs::status(Source()).permissions(), fs::perms(0555));
  EXPECT_EQ(fs::status(Source() / "sub").permissions(), fs::perms(0555));
  for (const auto& entry : fs::directory_iterator(Source())) {
    EXPECT_FALSE(entry.path().filename().string().starts_with("pt"));
  }
}

TEST_F(CompressedTest, APlanTellsEntryByEntryWhatTheRestoreThenDoes) {
  for (const char* name : {"a", "sub/b", "sub/deep/c", "taken"})
    WriteTestFile(Source() / name, "x");
  fs::create_symlink("../../elsewhere", Source() / "bad");
  fs::create_symlink("sub/b", Source() / "sub" / "good");
  Job().UsePassword = true;
  Job().Password = u"right";
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  if (geteuid() == 0) {
    ASSERT_EQ(RunCommand({"/bin/chown", "-R", "65534:65534", Temp.Root()}).ExitCode, 0);
  }
  const Unprivileged user;
  const fs::path target = Temp.Root() / "target";
  RestorePick pick;
  pick.Paths.Add(u"");
  pick.Target = TempFolder::Text(target);
  RestoreRequest request;
  request.Picker = [](const std::vector<ArchiveFile>& archives) { return archives[0].Name; };
  request.Pick = &pick;
  const auto agree = [&](std::uint32_t copied, const std::set<std::string>& failed,
                         const char* obstacle = nullptr) {
    RunPlan plan;
    RunCounters planned;
    RunState state;
    EXPECT_EQ(PlanRestore(Program.Context, Host, state, Job(), request, plan, planned),
              RunOutcome::Ran);
    EXPECT_EQ(Program.RunRestoreNow(0, request), RunOutcome::Ran);
    const RunCounters& done = Program.Context.Report.Counters;
    EXPECT_EQ(planned.CopiedFiles, copied);
    EXPECT_EQ(done.CopiedFiles, copied) << LogLines();
    EXPECT_EQ(planned.FailedFiles, done.FailedFiles) << LogLines();
    EXPECT_EQ(planned.SourceFiles, done.SourceFiles);
    std::set<std::string> plans, tells;
    for (const PlanStep& step : plan.Steps) {
      if (step.Action == PlanAction::Fail) plans.insert(ToUtf8(step.Path));
    }
    const std::string log = LogText(Program.RunLogPath()), label = ": 還原檔案 (失敗)：";
    for (std::size_t at = log.find(label); at != log.npos; at = log.find(label, at + 1)) {
      const std::size_t begin = at + label.size();
      tells.insert(log.substr(begin, log.find('\r', begin) - begin));
    }
    EXPECT_EQ(plans, failed);
    EXPECT_EQ(tells, failed);
    ASSERT_EQ(plan.Warnings.size(), obstacle ? 1U : 0U);
    if (!obstacle) return;
    EXPECT_NE(ToUtf8(plan.Warnings[0]).find(obstacle), std::string::npos);
    EXPECT_NE(log.find("無法還原壓縮檔 (失敗)："), log.npos);
  };
  const std::set<std::string> all{"a", "bad", "sub/b", "sub/deep/c", "sub/good", "taken"};
  fs::create_directories(target / "taken");
  agree(4, {"bad", "taken"});
  EXPECT_NE(LogText(Program.RunLogPath()).find(": 原因：連結指向目標之外"), std::string::npos);
  EXPECT_TRUE(fs::is_symlink(target / "sub" / "good"));
  // Folders that their owner may list, but not enter.
  fs::remove(target / "taken");
  for (const char* name : {"a", "sub/b", "sub/deep/c"}) WriteTestFile(target / name, "changed");
  for (const char* name : {"sub/deep", "sub", ""})
    ASSERT_EQ(chmod((target / name).c_str(), 0444), 0);
  agree(5, {"bad"});
  for (const char* name : {"", "sub", "sub/deep"}) {
    EXPECT_EQ(fs::status(target / name).permissions(), fs::perms(0444));
    ASSERT_EQ(chmod((target / name).c_str(), 0755), 0);
  }
  EXPECT_EQ(ReadTestFile(target / "sub" / "deep" / "c"), "x");
  fs::create_symlink(Temp.Root() / "nowhere", Temp.Root() / "dangling");
  pick.Target = TempFolder::Text(Temp.Root() / "dangling");
  agree(0, all, "目標資料夾不存在，也無法建立");
  pick.Target = TempFolder::Text(target);
  fs::remove_all(target);
  Job().Password = u"wrong";
  agree(0, all, "(密碼錯誤)");
  EXPECT_TRUE(std::none_of(fs::directory_iterator(Temp.Home()), {},
                           [](const auto& entry) { return entry.path().extension() == ".lst"; }));
}

TEST_F(CompressedTest, NoDamageOfAnArchiveReachesAFileThatItIsRestoredOver) {
  // So many that what the archiver says of them is cut off, and names that look like what it says.
  std::mt19937 random(1);
  std::map<std::string, std::string> contents;
  for (int i = 0; i < 1200; ++i) {
    std::string& content = contents["ERROR: CRC Failed : a long name \b " + std::to_string(i)];
    for (int c = 0; c < 300; ++c) content += static_cast<char>(random());
  }
  for (const auto& [name, content] : contents) WriteTestFile(Source() / name, content);
  ASSERT_EQ(Program.RunJobNow(Job().JobIndex), RunOutcome::Ran);
  const std::string whole = ReadTestFile(archive_);
  for (std::size_t at = 0; at + 512 < whole.size(); at += whole.size() / 7) {
    std::string damaged = whole;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(at), 512, '\0');
    WriteTestFile(archive_, damaged);
    EXPECT_EQ(Restore(), RunOutcome::Ran);
    EXPECT_GT(Job().LastRunResult.FailedFiles, 0U);
    std::size_t lost = 0;
    for (const auto& [name, content] : contents) lost += ReadTestFile(Source() / name) != content;
    EXPECT_EQ(lost, 0U) << at;
  }
}

TEST_F(CompressedTest, ArchivesInTheirOwnSourceAreNotPackedAgain) {
  WriteTestFile(Source() / "a", "x");
  WriteTestFile(Source() / "backups" / "b", "packed, too");
  WriteTestFile(Source() / "2009年09月23日14時.7z", "another job's");
  WriteTestFile(Source() / "backups" / "2009年09月23日14時.7z", "this job's");
  Job().Destination.Path = u"C:\\src\\backups\\";
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(Program.Archiver.SevenZipGetFileCount(u"C:\\src\\backups\\2009年09月23日15時.7z"), 3);
}

TEST_F(CompressedTest, HalfArchivesOfKilledRunsOfOtherHoursGo) {
  WriteTestFile(Source() / "a", "x");
  const std::string day = Dest() / "2009年09月22日";
  for (const char* name : {"14時.7z", "14時.7z.tmp", "15時.7z.tmp"}) WriteTestFile(day + name, "x");
  WriteTestFile(Dest() / "mine.7z.tmp", "x");
  SetWritten(day + "14時.7z.tmp", FileTimeOf(Clock.Now() - std::chrono::hours(2), 0));
  SetWritten(day + "15時.7z.tmp", FileTimeOf(Clock.Now() - std::chrono::minutes(2), 0));
  SetWritten(Dest() / "mine.7z.tmp", {0, 0});
  ASSERT_EQ(Program.RunJobNow(Job().JobIndex), RunOutcome::Ran);
  EXPECT_FALSE(fs::exists(day + "14時.7z.tmp"));
  EXPECT_TRUE(fs::exists(day + "14時.7z"));
  EXPECT_TRUE(fs::exists(day + "15時.7z.tmp")) << "another program may be at work on it";
  EXPECT_TRUE(fs::exists(Dest() / "mine.7z.tmp"));
}

TEST_F(CompressedTest, AWrongOrMissingPasswordFailsAtOnceAndChangesNothing) {
  WriteTestFile(Source() / "a", "first");
  WriteTestFile(Source() / "large", std::string(1000000, 'x'));
  BackupJob& job = Job();
  job.UsePassword = true;
  job.Password = u"right";
  Program.Context.Compression = CompressionLevel::Store;
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  WriteTestFile(Source() / "a", "changed since");
  WriteTestFile(Source() / "large", "changed, too");
  for (const bool given : {true, false}) {
    job.UsePassword = given;
    job.Password = u"wrong";
    EXPECT_EQ(Restore(), RunOutcome::Ran);
    EXPECT_EQ(job.LastRunResult.FailedFiles, 2U);
    EXPECT_EQ(Program.Context.Report.Counters.SourceFiles, 2U);
    EXPECT_EQ(ReadTestFile(Source() / "a"), "changed since");
    EXPECT_EQ(ReadTestFile(Source() / "large"), "changed, too");
    EXPECT_EQ(LogLines(),
              ": 無法還原壓縮檔 (失敗)：D:\\dst\\2009年09月23日15時.7z (密碼錯誤)\n"
              ": 還原檔案 (失敗)：a\n: 還原檔案 (失敗)：large\n");
  }
}

TEST_F(CompressedTest, EntriesThatWouldLeaveTheFolderAreRefused) {
  const fs::path work = Temp.Root() / "work", outside = Temp.Root() / "outside";
  WriteTestFile(outside / "kept", "precious");
  WriteTestFile(work / "good.txt", "good");
  fs::create_directories(Dest());
  const auto archive_of = [&](const char* name, const char* entry, bool link) {
    const std::string script =
        "import zipfile,sys\nz=zipfile.ZipFile(sys.argv[1],'w')\ni=zipfile.ZipInfo(sys.argv[2])\n"
        "i.create_system=3\ni.external_attr=(0o120777 if sys.argv[4]=='1' else 0o100644)<<16\n"
        "z.writestr(i,sys.argv[3])\nz.writestr('good.txt','good')\nz.close()\n";
    ASSERT_EQ(RunCommand({"/usr/bin/env", "python3", "-c", script, (Dest() / name).string(), entry,
                          outside.string(), link ? "1" : "0"})
                  .ExitCode,
              0);
  };
  archive_of("up.7z", "../evil", false);
  archive_of("deep.7z", "a/../../evil", false);
  archive_of("absolute.7z", (outside / "evil").c_str(), false);
  archive_of("link.7z", "way", true);
  Job();
  for (const std::u16string name : {u"up.7z", u"deep.7z", u"absolute.7z"}) {
    SCOPED_TRACE(ToUtf8(name));
    EXPECT_EQ(Restore(name), RunOutcome::Ran);
    EXPECT_EQ(Job().LastRunResult.FailedFiles, 2U);
    EXPECT_FALSE(fs::exists(Source() / "good.txt"));
    EXPECT_NE(LogLines().find("evil"), std::string::npos) << LogLines();
  }
  // A link that points out is not made; the rest is restored.
  EXPECT_EQ(Restore(u"link.7z"), RunOutcome::Ran);
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 1U);
  EXPECT_EQ(ReadTestFile(Source() / "good.txt"), "good");
  EXPECT_FALSE(fs::is_symlink(fs::symlink_status(Source() / "way")));
  // Nor one that gets out by way of another link, or one cut short behind its check.
  const std::string script =
      "import zipfile,sys\nz=zipfile.ZipFile(sys.argv[1],'w')\n"
      "def link(n,t):\n i=zipfile.ZipInfo(n)\n i.create_system=3\n"
      " i.external_attr=0o120777<<16\n z.writestr(i,t)\n"
      "link('p/q/up','../..')\nlink('out','p/q/up/../evil')\nlink('cut','p/../..\\0x')\n"
      "link('fine','p/../p/q')\nz.close()\n";
  ASSERT_EQ(RunCommand({"/usr/bin/env", "python3", "-c", script, (Dest() / "chain.7z").string()})
                .ExitCode,
            0);
  EXPECT_EQ(Restore(u"chain.7z"), RunOutcome::Ran);
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 2U) << LogLines();
  EXPECT_TRUE(fs::is_symlink(fs::symlink_status(Source() / "fine")));
  for (const char* name : {"out", "cut"}) {
    EXPECT_FALSE(fs::exists(fs::symlink_status(Source() / name)));
  }
  // Nor is anything written through a link that is in the folder already.
  fs::create_directory_symlink(outside, Source() / "way");
  archive_of("through.7z", "way/evil", false);
  EXPECT_EQ(Restore(u"through.7z"), RunOutcome::Ran);
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 2U);
  EXPECT_FALSE(fs::exists(outside / "evil"));
  EXPECT_FALSE(fs::exists(Temp.DriveC() / "evil"));
  EXPECT_EQ(ReadTestFile(outside / "kept"), "precious");
}

TEST(CompressedWithoutArchiver, NothingIsWritten) {
  const char* const set = getenv("PATH");
  const std::string path = set ? set : "";
  setenv("PATH", "/nonexistent", 1);
  {
    TestProgram program;
    WriteTestFile(program.Source() / "a", "x");
    program.AddJob(BackupType::Compressed);
    EXPECT_EQ(program.Program.RunJobNow(0), RunOutcome::NoArchiver);
    EXPECT_FALSE(fs::exists(program.Dest()));
    fs::create_directories(program.Dest());
    EXPECT_EQ(program.Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::NoArchiver);
  }
  setenv("PATH", path.c_str(), 1);
}

}  // namespace
}  // namespace kavrel
