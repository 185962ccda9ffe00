// Disks that should be there, told of by what a job remembers; tests/faults/disk_test.cpp has real
// ones.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>

#include <algorithm>
#include <map>

#include "app/exit_code.h"
#include "app/run_health.h"
#include "base/text.h"
#include "core/job_form.h"
#include "engine/job_disks.h"
#include "engine/keep_newest.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// Everything below a folder: path, and when it was written.
std::map<fs::path, fs::file_time_type> Snapshot(const fs::path& folder) {
  std::map<fs::path, fs::file_time_type> found;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    found[entry.path()] = entry.last_write_time();
  }
  return found;
}

std::string TypeName(const testing::TestParamInfo<BackupType>& test) {
  constexpr const char* kNames[] = {"Full", "Differential", "Mirror", "Compressed"};
  return kNames[static_cast<int>(test.param)];
}

constexpr BackupType kTypes[] = {BackupType::Full, BackupType::Differential,
                                 BackupType::Synchronise, BackupType::Compressed};

class JobDisksTest : public testing::TestWithParam<BackupType>, protected TestProgram {
 protected:
  JobDisksTest() {
    setenv("XDG_DATA_HOME", (Temp.Root() / "data").c_str(), 1);
    if (GetParam() == BackupType::Compressed && !Program.Archiver.Present()) return;
    AddJob(GetParam()).Extras.MirroredTo = u"D:\\dst\\";
    Job().Enabled = true;
    Host.GoOn = false;
    MakeFiles(30);
  }
  ~JobDisksTest() override { unsetenv("XDG_DATA_HOME"); }
  void SetUp() override {
    if (Program.Store.Jobs.empty()) GTEST_SKIP() << "no archive program";
  }

  BackupJob& Job() { return Program.Store.Jobs[0]; }
  void MakeFiles(int count) const {
    fs::remove_all(Source());
    for (int i = 0; i < count; ++i) WriteTestFile(Source() / "sub" / std::to_string(i), "x");
    fs::create_directories(Source());
  }
  static std::u16string Real(const fs::path& path) { return TempFolder::Text(fs::canonical(path)); }
  /// What the test's own folders lie on.
  std::u16string Here() const {
    MountTable mounts;
    mounts.Load();
    const std::u16string point = mounts.PointOf(Real(Temp.Root()));
    return point.empty() ? std::u16string(u"/") : point;
  }
  FormCheck Apply(const JobForm& form) {
    return ApplyForm(
        form, Program.Store.Jobs, [&](const BackupJob& job) { return Program.NextRunTimeOf(job); },
        [](std::u16string_view) { return true; }, Job());
  }
  void ExpectRan(std::size_t questions) {
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    EXPECT_FALSE(Job().LastRunResult.Stopped);
    EXPECT_EQ(Host.Questions.size(), questions);
  }
  void ExpectStopped(RunRefusal refusal, std::u16string_view why) {
    const auto before = Snapshot(Temp.DriveD());
    const std::vector<std::u16string> made = Job().Extras.Made;
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
    EXPECT_EQ(Program.Context.Report.Refusal, refusal);
    EXPECT_EQ(ToUtf8(Program.Context.Report.RefusalText), ToUtf8(why));
    EXPECT_NE(LogLines().find(ToUtf8(why)), std::string::npos) << LogLines();
    EXPECT_TRUE(Snapshot(Temp.DriveD()) == before);
    EXPECT_EQ(Job().Extras.Made, made);
    EXPECT_EQ(JudgeRuns(Program.Store.Jobs, Program.LogRows.Rows(), Clock.Now()).State,
              Health::Failed);
    const RunPlan plan = Foresee(Job()).Plan;
    ASSERT_FALSE(plan.Warnings.empty());
    EXPECT_EQ(ToUtf8(plan.Warnings[0]), ToUtf8(why));
  }
};

TEST_P(JobDisksTest, ADiskThatIsAwayStopsTheRunBeforeItsFirstChange) {
  fs::create_directories(Source() / "inner");
  ExpectRan(0);
  WriteTestFile(Source() / "sub" / "new", "x");
  const std::u16string inner = Real(Source() / "inner"), source = Real(Source()),
                       drive = Real(Temp.DriveD());
  const KnownMount holder{true, Here(), {}};
  const struct {
    std::vector<KnownMount> Mounts;
    std::u16string Why;
  } cases[] = {{{{true, source, {}}}, u"來源磁碟沒有掛載：" + source},
               {{holder, {true, inner, {u"12-ab:/"}}}, u"來源資料夾中的磁碟沒有掛載：" + inner},
               {{{false, drive, {u"12-ab:/"}}}, u"目標磁碟沒有掛載：" + drive}};
  std::size_t questions = Host.Questions.size();
  for (const auto& [mounts, why] : cases) {
    Job().Extras.Mounts = mounts;
    ExpectStopped(RunRefusal::DiskAway, why);
    EXPECT_EQ(Job().Extras.Mounts, mounts);
    Host.GoOn = true;
    ExpectRan(questions += 2);
    Host.GoOn = false;
    ExpectRan(questions);  // What was agreed to is what the job relies on from then on.
  }
  // The mount point has gone with the disk.
  Job().Extras.Mounts = {holder, {true, inner, {}}};
  fs::remove(Source() / "inner");
  ExpectStopped(RunRefusal::DiskAway, u"來源資料夾中的磁碟沒有掛載：" + inner);
  Program.Context.Force = true;
  ExpectRan(questions + 1);
}

TEST_P(JobDisksTest, ARestoreAsksAboutTheDisksThatItReadsOrFills) {
  fs::create_directories(Source() / "inner");
  ExpectRan(0);
  fs::remove_all(Source() / "sub");
  const ArchivePicker newest = NewestArchive;
  const auto restores = [&](const RestorePick* pick, bool passes) {
    const std::size_t asked = Host.Questions.size();
    const RunOutcome outcome = pick ? Program.RunRestorePickedNow(0, *pick, newest)
                                    : Program.RunRestoreNow(0, RestoreMode::Full, newest);
    EXPECT_EQ(outcome, passes ? RunOutcome::Ran : RunOutcome::Guarded);
    EXPECT_EQ(Job().LastRunResult.Stopped, !passes);
    EXPECT_EQ(Host.Questions.size(), asked + (passes ? 0 : 1));
    EXPECT_EQ(fs::exists(Source() / "sub" / "0"), passes && (!pick || pick->Target.empty()));
    EXPECT_FALSE(Program.State.CancelRequested);
    fs::remove_all(Source() / "sub");
  };
  RestorePick whole, some, elsewhere, own;
  whole.Paths.Add(u"");
  some.Paths.Add(u"sub");
  elsewhere.Paths.Add(u"");
  elsewhere.Target = TempFolder::Text(Temp.Root() / "elsewhere");
  own.Paths.Add(u"");
  own.Target = u"C:\\src";
  using Mounts = std::vector<KnownMount>;
  const KnownMount holder{true, Here(), {}};
  for (const auto& [mounts, picked, aside] :
       {std::tuple(Mounts{{true, Real(Source()), {}}}, false, true),
        std::tuple(Mounts{holder, {true, Real(Source() / "inner"), {}}}, true, true),
        std::tuple(Mounts{{false, Real(Dest()), {}}}, false, false)}) {
    Job().Extras.Mounts = mounts;
    restores(nullptr, false);
    restores(&whole, false);
    restores(&some, picked);
    restores(&elsewhere, aside);
    restores(&own, false);
    EXPECT_EQ(Job().Extras.Mounts, mounts);
  }
  Program.Context.Force = true;
  restores(nullptr, true);
}

TEST_P(JobDisksTest, WhatTheRunDoesNotComeToMayBeAway) {
  fs::create_directories(Source() / "inner" / "Temp");
  const auto away = [&](const fs::path& point) {
    Job().Extras.Mounts = {{true, Here(), {}}, {true, Real(point), {}}, {false, Here(), {}}};
  };
  SetRules(true);
  away(Source() / "inner" / "Temp");
  ExpectRan(0);
  fs::create_directories(Temp.DriveC() / "elsewhere");
  away(Temp.DriveC() / "elsewhere");
  ExpectRan(0);
  Job().IncludeSubfolders = false;
  away(Source() / "inner");
  ExpectRan(0);
}

TEST_P(JobDisksTest, WhatLiesOverAPlaceOrBehindItsLinkIsNotTheSource) {
  fs::create_directories(Temp.Root() / "real");
  fs::rename(Source(), Temp.Root() / "real" / "src");
  fs::create_directory_symlink(Temp.Root() / "real" / "src", Source());
  ExpectRan(0);
  ExpectRan(0);
  // The place was on another disk then.
  for (KnownMount& known : Job().Extras.Mounts) {
    if (known.OfSource) known = {true, Real(Temp.Root() / "real"), {}};
  }
  fs::remove(Source());
  fs::create_directories(Temp.Root() / "other");
  WriteTestFile(Temp.Root() / "other" / "stray", "x");
  fs::create_directory_symlink(Temp.Root() / "other", Source());
  ExpectStopped(RunRefusal::DiskAway, u"來源磁碟沒有掛載：" + Real(Temp.Root() / "real"));
  // It was a disk inside the folder that the link leads to now.
  for (KnownMount& known : Job().Extras.Mounts) {
    if (known.OfSource) known = {true, Real(Temp.Root() / "other") + u"/disk", {}};
  }
  ExpectStopped(RunRefusal::DiskAway,
                u"來源磁碟沒有掛載：" + Real(Temp.Root() / "other") + u"/disk");
  for (KnownMount& known : Job().Extras.Mounts) {
    if (known.OfSource) known = {true, Real(Temp.Root() / "real"), {}};
  }
  if (mount("none", (Temp.Root() / "real").c_str(), "tmpfs", 0, "size=512k") != 0) return;
  ExpectStopped(RunRefusal::DiskAway, u"來源不在先前的磁碟上：" + Real(Temp.Root() / "other"));
  umount2((Temp.Root() / "real").c_str(), MNT_DETACH);
  // Something is mounted over it.
  for (KnownMount& known : Job().Extras.Mounts) {
    if (known.OfSource) known = {true, Here(), {}};
  }
  ASSERT_EQ(mount("none", (Temp.Root() / "other").c_str(), "tmpfs", 0, "size=512k"), 0);
  if (Here() == u"/") {
    ExpectStopped(RunRefusal::DiskAway,
                  u"來源磁碟不是先前的那一個：" + Real(Temp.Root() / "other"));
  }
  umount2((Temp.Root() / "other").c_str(), MNT_DETACH);
}

TEST_P(JobDisksTest, AnEmptyOrShrunkenSourceLetsNoOldBackupGo) {
  Job().Destination.Path = GetParam() == BackupType::Compressed ? u"D:\\dst\\" : u"D:\\<dd>\\";
  Job().Extras.KeepNewest = 2;
  int day = 10;
  const auto next = [&] { Clock.Set(*FromCivil(2009, 9, day++, 1)); };
  for (int i = 0; i < 3; ++i) {
    next();
    ExpectRan(0);
  }
  EXPECT_EQ(Job().Extras.Made.size(), 2U);
  for (int i = 0; i < 3; ++i) {
    next();
    MakeFiles(0);
    ExpectStopped(RunRefusal::Shrunk, u"來源沒有可備份的檔案：C:\\src\\，前一份備份有 30 個檔案");
    MakeFiles(1);  // A stray file where the disk was mounted.
    ExpectStopped(RunRefusal::Shrunk, u"可備份的檔案只有 1 個，前一份備份有 30 個檔案");
  }
  // Nor an archive of the same hour.
  Clock.Set(*FromCivil(2009, 9, 12, 1, 30));
  ExpectStopped(RunRefusal::Shrunk, u"可備份的檔案只有 1 個，前一份備份有 30 個檔案");
  MakeFiles(15);  // Half of them may go.
  const std::size_t questions = Host.Questions.size();
  next();
  ExpectRan(questions);
  MakeFiles(0);
  Host.GoOn = true;
  next();
  ExpectRan(questions + 1);
}

TEST_P(JobDisksTest, ASourceThatGoesAfterTheGuardsLetsNoOldBackupGoEither) {
  if (GetParam() == BackupType::Compressed) return;
  Job().Destination.Path = u"D:\\<dd>\\";
  Job().Extras.KeepNewest = 1;
  Program.Context.CopyAhead = false;
  WriteTestFile(Source() / "first", "x");
  ExpectRan(0);
  Clock.Set(*FromCivil(2009, 9, 24, 1));
  // What did not change shows no progress.
  WriteTestFile(Source() / "first", "changed");
  Host.AtProgress = [&](auto...) {
    for (int i = 0; i < 30; ++i) fs::remove(Source() / "sub" / std::to_string(i));
  };
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Temp.DriveD() / "23" / "sub" / "0"), "x");
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 1U);
  EXPECT_NE(LogLines().find(": 備份途中來源或目標不見了 (失敗)："), std::string::npos);
}

TEST_P(JobDisksTest, ADiskThatComesOrGoesDuringARunCostsNothingOfItsBackup) {
  if (GetParam() == BackupType::Compressed) return;
  Program.Context.CopyAhead = false;
  const fs::path disk = Source() / "disk", sub = Source() / "sub", copy = Temp.DriveD() / "dst";
  fs::create_directories(disk);
  if (mount("none", disk.c_str(), "tmpfs", 0, "size=512k") != 0) GTEST_SKIP() << "no right to";
  WriteTestFile(disk / "f", "x");
  WriteTestFile(Source() / "first", "1");
  ExpectRan(0);
  WriteTestFile(Source() / "first", "12");
  Host.AtProgress = [&](auto...) { umount2(disk.c_str(), MNT_DETACH); };
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(copy / "disk" / "f"), "x");
  EXPECT_GT(Job().LastRunResult.FailedFiles, 0U);
  // The folder that it was mounted on may go with it.
  ASSERT_EQ(mount("none", disk.c_str(), "tmpfs", 0, "size=512k"), 0);
  WriteTestFile(disk / "f", "x");
  Host.AtProgress = nullptr;
  ExpectRan(0);
  WriteTestFile(Source() / "first", "123");
  Host.AtProgress = [&](auto...) {
    umount2(disk.c_str(), MNT_DETACH);
    fs::remove(disk);
  };
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(copy / "disk" / "f"), "x");
  fs::create_directories(disk);
  ASSERT_EQ(mount("none", disk.c_str(), "tmpfs", 0, "size=512k"), 0);
  // What comes hides what was there.
  WriteTestFile(Source() / "first", "1234");
  Host.AtProgress = [&](auto...) {
    if (!fs::is_empty(sub)) mount("none", sub.c_str(), "tmpfs", 0, "size=512k");
  };
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_GT(Job().LastRunResult.FailedFiles, 0U);
  Host.AtProgress = nullptr;
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
  EXPECT_EQ(ReadTestFile(copy / "sub" / "0"), "x");
  umount2(sub.c_str(), MNT_DETACH);
  umount2(disk.c_str(), MNT_DETACH);
}

TEST_P(JobDisksTest, WhatIsRememberedIsWhatTheRunBeganWithAndStillHad) {
  const fs::path disk = Source() / "sub" / "disk";
  fs::create_directories(disk);
  const auto put = [&] { return mount("none", disk.c_str(), "tmpfs", 0, "size=512k") == 0; };
  const auto take = [&] { umount2(disk.c_str(), MNT_DETACH); };
  if (!put()) GTEST_SKIP() << "no right to";
  const std::u16string why = u"來源資料夾中的磁碟沒有掛載：" + Real(disk);
  const auto knows = [&] {
    return std::ranges::any_of(Job().Extras.Mounts, [&](const KnownMount& known) {
      return known.OfSource && known.Point == Real(disk);
    });
  };
  WriteTestFile(disk / "f", "x");
  // What goes behind the last look costs no memory of it.
  RunContext& context = Program.Context;
  SetRunPaths(Job(), Clock);
  ASSERT_TRUE(PassDiskCheck(context, Job()));
  EXPECT_EQ(LostDisks(context, Job()), u"");
  take();
  EXPECT_EQ(ToUtf8(LostDisks(context, Job())), ToUtf8(why));
  RememberDisks(context, Job());
  EXPECT_TRUE(knows());
  Job().Extras.Mounts.clear();
  if (GetParam() == BackupType::Compressed) return;

  // What goes while its files are copied, behind the walk's look at it, fails the run, also one
  // that knew of no disk, and is missed from then on.
  context.CopyAhead = false;
  for (const std::string_view content : {"1st", "second"}) {
    ASSERT_TRUE(put());
    WriteTestFile(disk / "f", content);
    Host.AtProgress = [&](std::uint64_t total, auto) {
      if (total == content.size()) take();
    };
    context.Force = content == "1st";
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    context.Force = false;
    EXPECT_EQ(Job().LastRunResult.FailedFiles, 1U) << LogLines();
    EXPECT_NE(LogLines().find(": 備份途中來源或目標不見了 (失敗)："), std::string::npos);
    EXPECT_EQ(ReadTestFile(Dest() / "sub" / "disk" / "f"), content);
    ExpectStopped(RunRefusal::DiskAway, why);
  }
  // The answer takes its time, and the disk comes meanwhile.
  Host.AtProgress = nullptr;
  Host.GoOn = true;
  Host.AtQuestion = [&] {
    ASSERT_TRUE(put());
    WriteTestFile(disk / "f", "x");
  };
  ExpectRan(Host.Questions.size() + 1);
  EXPECT_EQ(Job().LastRunResult.FailedFiles, 0U);
  EXPECT_TRUE(knows());
  take();
}

TEST_P(JobDisksTest, APlaceThatGoesWithItsDiskIsNoneThatCannotBeHad) {
  const fs::path disk = Temp.DriveD();
  if (mount("none", disk.c_str(), "tmpfs", 0, "size=4m") != 0) GTEST_SKIP() << "no right to";
  bool gone = false;
  Host.AtProgress = [&](auto...) {
    if (!gone) gone = umount2(disk.c_str(), MNT_DETACH) == 0;
  };
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  ASSERT_TRUE(gone);
  // 7-Zip may have made one of its own in the meantime.
  EXPECT_TRUE(GetParam() == BackupType::Compressed || !fs::exists(Dest()));
  EXPECT_EQ(CodeOfBackup(Program.Context, Job()), kSomeFailed);
  const std::string log = LogText(Program.Log.CurrentPath());
  EXPECT_NE(log.find("目標磁碟沒有掛載："), std::string::npos) << log;
}

TEST_P(JobDisksTest, ARestoreThatADiskLeavesHasFailed) {
  const fs::path disk = Source() / "z", away = Temp.Root() / "elsewhere" / "z";
  WriteTestFile(disk / "f", "x");
  ExpectRan(0);
  RestorePick elsewhere, some;
  elsewhere.Paths.Add(u"");
  some.Paths.Add(u"sub");
  elsewhere.Target = some.Target = TempFolder::Text(away.parent_path());
  const RestorePick* const picks[] = {nullptr, &elsewhere, &some};
  for (const RestorePick* pick : picks) {
    const fs::path& point = pick ? away : disk;
    fs::remove_all(point);
    fs::remove_all(point.parent_path() / "sub");
    fs::create_directories(point);
    if (mount("none", point.c_str(), "tmpfs", 0, "size=512k") != 0) GTEST_SKIP() << "no right to";
    bool gone = false;
    Host.AtProgress = [&](auto...) {
      if (!gone) gone = umount2(point.c_str(), MNT_DETACH) == 0;
    };
    const ArchivePicker newest = NewestArchive;
    // Nobody is asked, and it is told all the same.
    Program.Context.Force = true;
    const RunOutcome outcome = pick ? Program.RunRestorePickedNow(0, *pick, newest)
                                    : Program.RunRestoreNow(0, RestoreMode::Full, newest);
    EXPECT_EQ(outcome, RunOutcome::Ran);
    ASSERT_TRUE(gone);
    EXPECT_EQ(Job().LastRunResult.FailedFiles > 0, pick != &some) << LogLines();
    EXPECT_TRUE(fs::exists(point.parent_path() / "sub" / "0"));
    // What it comes to afterwards is not filled, and told as what it is.
    EXPECT_TRUE(fs::is_empty(point));
    const std::u16string why =
        (pick ? u"還原位置中的磁碟沒有掛載：" : u"來源資料夾中的磁碟沒有掛載：") + Real(point);
    EXPECT_EQ(LogLines().find(ToUtf8(why)) != std::string::npos, pick != &some) << LogLines();
  }
}

TEST_P(JobDisksTest, AFileThatIsMountedOverAnotherIsADisk) {
  Program.Context.CopyAhead = GetParam() == BackupType::Differential;
  const fs::path real = Temp.Root() / "real", file = Source() / "sub" / "z",
                 copy = Dest() / "sub" / "z", first = Source() / "first";
  const auto bind = [&](const fs::path& over) {
    return mount(real.c_str(), over.c_str(), "", MS_BIND, "") == 0;
  };
  const auto take = [&](const fs::path& over) { umount2(over.c_str(), MNT_DETACH); };
  WriteTestFile(real, "REAL");
  WriteTestFile(file, "below");
  WriteTestFile(first, "1");
  if (!bind(file)) GTEST_SKIP() << "no right to";
  const std::u16string point = Real(file);
  ExpectRan(0);
  ExpectRan(0);
  take(file);
  ExpectStopped(RunRefusal::DiskAway, u"來源資料夾中的磁碟沒有掛載：" + point);
  if (GetParam() == BackupType::Compressed) return;
  EXPECT_EQ(ReadTestFile(copy), "REAL");
  // One that goes during a run keeps its copy, also when the file below goes with it.
  const std::size_t asked = Host.Questions.size();
  for (const bool remains : {true, false}) {
    ASSERT_TRUE(bind(file));
    Host.AtProgress = nullptr;
    ExpectRan(asked);
    WriteTestFile(first, remains ? "12" : "123");
    Host.AtProgress = [&](auto...) {
      take(file);
      if (!remains) fs::remove(file);
    };
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    EXPECT_GT(Job().LastRunResult.FailedFiles, 0U);
    EXPECT_EQ(ReadTestFile(copy), "REAL");
    WriteTestFile(file, "below");
  }
  // One that comes hides what the backup has.
  Job().Extras.Mounts.clear();
  Host.AtProgress = nullptr;
  ExpectRan(asked);
  ASSERT_EQ(ReadTestFile(copy), "below");
  WriteTestFile(first, "1234");
  WriteTestFile(file, "below, and changed");
  Host.AtProgress = [&](auto...) {
    if (ReadTestFile(file) != "REAL") bind(file);
  };
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_GT(Job().LastRunResult.FailedFiles, 0U);
  Host.AtProgress = nullptr;
  ExpectStopped(RunRefusal::DiskAway, u"來源資料夾中掛載了先前沒有的磁碟：" + point);
  EXPECT_EQ(ReadTestFile(copy), "below");
  take(file);
  ASSERT_TRUE(bind(copy));
  ExpectStopped(RunRefusal::DiskAway, u"目標資料夾中掛載了先前沒有的磁碟：" + Real(copy));
  EXPECT_EQ(ReadTestFile(real), "REAL");
  take(copy);
}

TEST_P(JobDisksTest, AJobThatComesBackToAPlaceKnowsItsDisks) {
  ExpectRan(0);
  const std::u16string source = Real(Source()), drive = Real(Temp.DriveD());
  for (KnownMount& known : Job().Extras.Mounts) {
    if (!known.OfSource) known = {false, drive, {u"12-ab:/"}};
  }
  const std::vector<KnownMount> mounts = Job().Extras.Mounts;
  JobForm form = FormOf(Job());
  for (const char16_t* away : {u"D:\\other\\", u"D:\\a third\\"}) {
    form.Destination = away;
    ASSERT_EQ(Apply(form), FormCheck::Ok);
    ExpectRan(0);
    // What is known of the source is known wherever it goes.
    const std::vector<KnownMount> known = Job().Extras.Mounts;
    Job().Extras.Mounts = {{true, source, {}}};
    ExpectStopped(RunRefusal::DiskAway, u"來源磁碟沒有掛載：" + source);
    Job().Extras.Mounts = known;
    ASSERT_TRUE(Program.Store.SaveJobs());
    ASSERT_TRUE(Program.Store.LoadJobs());
    Host.Questions.clear();
  }
  form.Destination = u"D:\\dst\\";
  ASSERT_EQ(Apply(form), FormCheck::Ok);
  ExpectStopped(RunRefusal::DiskAway, u"目標磁碟沒有掛載：" + drive);
  // Another source of the same destination knows that, too.
  WriteTestFile(Temp.DriveC() / "other" / "a", "x");
  form.Source = u"C:\\other\\";
  ASSERT_EQ(Apply(form), FormCheck::Ok);
  ExpectStopped(RunRefusal::DiskAway, u"目標磁碟沒有掛載：" + drive);
  form.Source = u"C:\\src\\";
  ASSERT_EQ(Apply(form), FormCheck::Ok);
  EXPECT_EQ(Job().Extras.Mounts, mounts);
}

TEST_P(JobDisksTest, AnotherSourceOrDestinationIsAnotherStory) {
  Job().Destination.Path = GetParam() == BackupType::Compressed ? u"D:\\dst\\" : u"D:\\<dd>\\";
  Job().Extras.KeepNewest = 1;
  ExpectRan(0);
  const std::u16string old = Job().Extras.Made.at(0);
  Job().Extras.Mounts = {{true, Real(Source()), {}}};
  WriteTestFile(Temp.DriveC() / "other" / "a", "x");
  JobForm form = FormOf(Job());
  form.Enabled = false;
  ASSERT_EQ(Apply(form), FormCheck::Ok);
  EXPECT_EQ(Job().Extras.Made.size(), 1U) << "other changes leave what is known";
  const JobExtras before = Job().Extras;
  form.Source = u"C:\\other";
  ASSERT_EQ(Apply(form), FormCheck::Ok);
  JobExtras expected;
  expected.KeepNewest = 1;
  expected.Id = before.Id;
  expected.DestinationPlace = before.DestinationPlace;
  expected.Former = {{{u"C:\\src\\", Job().Destination.Path}, before}};
  EXPECT_EQ(Job().Extras, expected);
  Clock.Set(*FromCivil(2009, 9, 24, 1));
  ExpectRan(0);
  EXPECT_TRUE(Program.Files.Status(old.ends_with(u'\\') ? old.substr(0, old.size() - 1) : old))
      << "the only backup of the former source";
}

TEST_P(JobDisksTest, JobsThatWaitForTheirDisksDoNotHoldUpTheRest) {
  const auto ran = [&] { return fs::exists(Temp.DriveD() / "second" / "sub" / "0"); };
  for (const bool batch : {true, false}) {
    Program.Store.Jobs.resize(1);
    Job().Extras.Mounts = {{true, Real(Source()), {}}};
    BackupJob& second = AddJob();
    second.Destination.Path = u"D:\\second\\";
    second.Enabled = true;
    fs::remove_all(Temp.DriveD() / "second");
    if (batch) {
      Program.Schedule.RunCheckedJobs();
    } else {
      for (BackupJob& job : Program.Store.Jobs) job.NextRun = Clock.Now();
      Program.Tick();
    }
    EXPECT_TRUE(ran()) << batch;
  }
}

INSTANTIATE_TEST_SUITE_P(, JobDisksTest, testing::ValuesIn(kTypes), TypeName);

}  // namespace
}  // namespace kavrel
