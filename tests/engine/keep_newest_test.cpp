#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <set>

#include "app/run_health.h"
#include "base/text.h"
#include "engine/states.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class KeepNewestTest : public testing::Test, protected TestProgram {
 protected:
  KeepNewestTest() {
    setenv("XDG_DATA_HOME", (Temp.Root() / "data").c_str(), 1);
    WriteTestFile(Source() / "a", "x");
  }
  ~KeepNewestTest() override { unsetenv("XDG_DATA_HOME"); }

  void RunOnDay(int day, RunOutcome outcome = RunOutcome::Ran) {
    Clock.Set(*FromCivil(2009, 9, day, 1));
    EXPECT_EQ(Program.RunJobNow(0), outcome);
  }
  /// The names in a folder, in order.
  static std::string Names(const fs::path& folder) {
    std::set<std::string> names;
    if (fs::exists(folder)) {
      for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name != ".kavrel-sums") names.insert(name);
      }
    }
    std::string text;
    for (const std::string& name : names) text += name + " ";
    return text;
  }
  std::string Bin() const { return Names(Temp.Root() / "data/Trash/files"); }
};

TEST_F(KeepNewestTest, OldDatedFoldersOfTheJobAloneGoToTheBin) {
  BackupJob& job = AddJob();
  job.Destination.Path = u"D:\\<yyyy>\\<dd>\\";
  job.AddSourceFolder = true;
  job.Extras.KeepNewest = 2;
  const fs::path year = Temp.DriveD() / "2009";
  WriteTestFile(year / "01" / "src" / "mine", "x");  // Not of this job, although it looks like it.
  WriteTestFile(year / "11" / "other", "x");
  for (const int day : {1, 10, 11, 12}) RunOnDay(day);
  EXPECT_EQ(Names(year), "01 11 12 ") << "an empty day goes, a folder that others made stays";
  EXPECT_EQ(LogLines(), ": 舊備份移到資源回收筒 (成功)：D:\\2009\\10\\src\\\n");
  // An interrupted run counts for nothing, and what it made belongs to the job once it is whole.
  Host.AtPump = [&] { Program.State.CancelRequested |= fs::exists(year / "13"); };
  RunOnDay(13);
  Host.AtPump = {};
  EXPECT_EQ(Names(year), "01 11 12 13 ");
  Clock.Set(*FromCivil(2009, 9, 13, 1));
  const RunPlan plan = Foresee(job).Plan;
  ASSERT_FALSE(plan.Steps.empty());
  EXPECT_EQ(plan.Steps.back().Path, u"D:\\2009\\11\\src\\");
  EXPECT_EQ(plan.Steps.back().Reason, PlanReason::Outdated);
  EXPECT_EQ(Bin(), "src ");
  RunOnDay(13);
  EXPECT_EQ(Names(year / "11"), "other ");
  EXPECT_EQ(Bin(), "src src.2 ");
}

TEST_F(KeepNewestTest, FailuresKeepEverythingAndWhatHoldsTheSourceStays) {
  BackupJob& job = AddJob();
  job.Destination.Path = u"D:\\<dd>\\";
  job.Extras.KeepNewest = 1;
  RunOnDay(10);
  fs::create_directories(Temp.DriveD() / "11" / "a" /
                         "blocks");  // A folder where a file should go.
  RunOnDay(11);
  EXPECT_EQ(Names(Temp.DriveD()), "10 11 ");
  RunOnDay(12);
  EXPECT_EQ(Names(Temp.DriveD()), "11 12 ") << "the one that a run did not make stays";
  EXPECT_EQ(Bin(), "10 ");
  EXPECT_EQ(LogLines(), ": 舊備份移到資源回收筒 (成功)：D:\\10\\\n");
  // The source has moved into the last backup: that one is not taken from under it.
  fs::rename(Source(), Temp.DriveC() / "aside");
  fs::create_directory_symlink(Temp.DriveD() / "12", Source());
  RunOnDay(13);
  EXPECT_EQ(Names(Temp.DriveD()), "11 12 13 ");
  EXPECT_EQ(job.LastRunResult.WarningFiles, 1U);
  // Something else under the name of an old backup is not the job's.
  fs::remove(Source());
  fs::rename(Temp.DriveC() / "aside", Source());
  fs::remove_all(Temp.DriveD() / "13");
  WriteTestFile(Temp.DriveD() / "13", "a file now");
  RunOnDay(14);
  EXPECT_EQ(Names(Temp.DriveD()), "11 13 14 ");
}

TEST_F(KeepNewestTest, WhatHasFailuresTakesNoWholeOnesPlace) {
  BackupJob& job = AddJob();
  job.Destination.Path = u"D:\\<dd>\\";
  job.Extras.KeepNewest = 2;
  for (const fs::path& path : {Temp.Root(), Temp.Home(), Temp.Home() / "Log", Temp.DriveD()}) {
    fs::create_directories(path);
    fs::permissions(path, fs::perms::all);
  }
  RunOnDay(10);
  RunOnDay(11);
  fs::permissions(Source() / "a", fs::perms::none);
  {
    const Unprivileged user;
    RunOnDay(12);
    RunOnDay(13);
  }
  fs::permissions(Source() / "a", fs::perms::owner_all);
  EXPECT_EQ(Names(Temp.DriveD()), "10 11 12 13 ");
  RunOnDay(14);
  EXPECT_EQ(Names(Temp.DriveD()), "11 12 13 14 ");
  RunOnDay(15);
  EXPECT_EQ(Names(Temp.DriveD()), "14 15 ");
}

TEST_F(KeepNewestTest, AFileThatCannotBeLookedAtKeepsEverythingAndIsNoGoodBackup) {
  WriteTestFile(Source() / "sub" / "a", "x");
  for (const fs::path& path :
       {Temp.Root(), Temp.Home(), Temp.Home() / "Log", Temp.DriveD(), Temp.Root() / "data"}) {
    fs::create_directories(path);
    fs::permissions(path, fs::perms::all);
  }
  BackupJob& job = AddJob(BackupType::Differential);
  job.Enabled = true;
  job.Destination.Path = u"D:\\<dd>\\";
  job.Extras.KeepNewest = 1;
  const auto run = [&](int day, mode_t mode) {
    ASSERT_EQ(chmod((Source() / "sub").c_str(), mode), 0);
    const Unprivileged user;
    RunOnDay(day);
  };
  const auto health = [&] {
    return JudgeRuns(Program.Store.Jobs, Program.LogRows.Rows(), Clock.Now()).State;
  };
  run(10, 0755);
  run(11, 0444);
  EXPECT_EQ(job.LastRunResult.UnseenFiles, 1U);
  EXPECT_EQ(Names(Temp.DriveD()), "10 11 ");
  EXPECT_EQ(health(), Health::Failed);
  run(12, 0755);
  EXPECT_EQ(Names(Temp.DriveD()), "12 ");
  EXPECT_EQ(health(), Health::Good);
}

TEST_F(KeepNewestTest, AClockThatIsAheadTwiceMakesNothingOld) {
  BackupJob& job = AddJob(BackupType::Differential);
  job.Destination.Path = u"D:\\<yyyy>-<mm>-<dd>\\";
  job.Extras.KeepPlan = u"24h:1h 30d:1d";
  job.Extras.DeletesOld = true;
  for (const int day : {0, 1, 2, 400, 3, 402, 403, 404, 405, 406, 407}) {
    Clock.Set(*FromCivil(2009, 9, 1, 1) + std::chrono::days(day));
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  }
  EXPECT_TRUE(
      Names(Temp.DriveD()).starts_with("2009-09-01 2009-09-02 2009-09-03 2009-09-04 2010-10-06 "))
      << Names(Temp.DriveD());
}

TEST_F(KeepNewestTest, APlanThinsByAgeAndKeepsWhatIsPinnedAndAllUnderAWrongClock) {
  BackupJob& job = AddJob(BackupType::Differential);
  job.Destination.Path = u"D:\\<yyyy>-<mm>-<dd> <hh>\\";
  job.Extras.KeepPlan = u"24h:all 7d:1d 2mo:1mo";
  DateTime now = *FromCivil(2009, 9, 1, 1);
  const auto run = [&] {
    Clock.Set(now);
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    now += std::chrono::hours(12);
  };
  run();
  ASSERT_EQ(PinState(Temp.Files(), job, u"D:\\2009-09-01 01\\", true), 0);
  for (int i = 1; i < 27; ++i) run();
  // Two a day up to the 14th, 01:00.
  const std::string thinned =
      "2009-09-01 01 2009-09-06 13 2009-09-07 13 2009-09-08 13 2009-09-09 13 2009-09-10 13 "
      "2009-09-11 13 "
      "2009-09-12 13 2009-09-13 01 2009-09-13 13 2009-09-14 01 ";
  EXPECT_EQ(Names(Temp.DriveD()), thinned);
  EXPECT_EQ(job.Extras.Made.size(), 11U);
  // A clock that is years ahead, or a rest of years, makes nothing old.
  const DateTime right = now;
  now = *FromCivil(2030, 1, 1, 1);
  const std::string bin = Bin();
  run();
  EXPECT_EQ(Bin(), bin);
  EXPECT_EQ(job.Extras.Rests.size(), 1U);
  // Nor does what is dated after now once it is set right again.
  now = right;
  run();
  EXPECT_EQ(Bin(), bin);
  run();
  EXPECT_EQ(LogLines(),
            ": 舊備份移到資源回收筒 (成功)：D:\\2009-09-06 13\\\n"
            ": 舊備份移到資源回收筒 (成功)：D:\\2009-09-13 01\\\n");
  EXPECT_NE(Names(Temp.DriveD()).find("2030-01-01 01"), std::string::npos);
  // What a preview tells is what the run does.
  now += std::chrono::hours(24);
  Clock.Set(now);
  const RunPlan plan = Foresee(job).Plan;
  std::string planned;
  for (const PlanStep& step : plan.Steps) {
    if (step.Reason != PlanReason::Thinned) continue;
    planned += ": 舊備份移到資源回收筒 (成功)：" + ToUtf8(step.Path) + "\n";
  }
  EXPECT_NE(planned, "");
  run();
  EXPECT_EQ(LogLines(), planned);
  // More than half goes at once only when somebody has chosen the plan.
  job.Extras.KeepPlan = u"1h:all";
  const std::string before = Bin();
  run();
  EXPECT_TRUE(LogLines().starts_with(": 依保留計畫一次要移除過半的舊備份")) << LogLines();
  EXPECT_EQ(job.LastRunResult.WarningFiles, 1U);
  EXPECT_EQ(Bin(), before);
  // A run that was killed before it could note what it made has made it all the same.
  job.Extras.Made.clear();
  job.Extras.KeepAgreed = true;
  run();
  EXPECT_NE(Names(Temp.DriveD()).find("2009-09-01 01"), std::string::npos) << "pinned";
  const std::string left = Names(Temp.DriveD());
  // Three that are whole, the pinned one and that of 2030, each of two words.
  EXPECT_EQ(std::count(left.begin(), left.end(), ' '), 2 * 5) << left;
}

TEST_F(KeepNewestTest, DeletedFoldersAreGoneAndLeaveTheOthersWhole) {
  BackupJob& job = AddJob(BackupType::Differential);
  job.Destination.Path = u"D:\\<dd>\\";
  job.Extras.KeepNewest = 2;
  job.Extras.DeletesOld = true;
  WriteTestFile(Source() / "in" / "locked", "x");
  fs::permissions(Source() / "in", fs::perms::owner_read | fs::perms::owner_exec);
  RunOnDay(10);
  for (const int day : {11, 12}) RunOnDay(day);
  EXPECT_EQ(Names(Temp.DriveD()), "11 12 ");
  EXPECT_EQ(ReadTestFile(Temp.DriveD() / "12" / "in" / "locked"), "x");
  EXPECT_EQ(Names(Temp.DriveD() / "11"), Names(Source()));
  EXPECT_EQ(Bin(), "");
  EXPECT_EQ(LogLines(), ": 刪除舊備份 (成功)：D:\\10\\\n");
  Clock.Set(*FromCivil(2009, 9, 13, 1));
  const RunPlan plan = Foresee(job).Plan;
  ASSERT_FALSE(plan.Steps.empty());
  EXPECT_EQ(plan.Steps.back().Action, PlanAction::Delete);
  EXPECT_EQ(plan.Steps.back().Path, u"D:\\11\\");
}

TEST_F(KeepNewestTest, OldArchivesOfTheJobAloneGoToTheBin) {
  if (!Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  BackupJob& job = AddJob(BackupType::Compressed);
  job.Extras.KeepNewest = 2;
  WriteTestFile(Dest() / "2009年09月01日01時.7z", "");
  for (const int day : {10, 11, 12}) RunOnDay(day);
  EXPECT_EQ(Names(Dest()), "2009年09月01日01時.7z 2009年09月11日01時.7z 2009年09月12日01時.7z ");
  EXPECT_EQ(Bin(), "2009年09月10日01時.7z ");
}

}  // namespace
}  // namespace kavrel
