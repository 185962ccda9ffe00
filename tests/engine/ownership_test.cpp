#include "engine/ownership.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "app/backup_browser.h"
#include "base/text.h"
#include "engine/tree_count.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// Two jobs with the defaults, whose sources bear one name.
class OwnershipTest : public testing::Test, protected TestProgram {
 protected:
  OwnershipTest() {
    setenv("XDG_DATA_HOME", (Temp.Root() / "data").string().c_str(), 1);
    WriteTestFile(Temp.DriveC() / "a" / "docs" / "mine", "a");
    WriteTestFile(Temp.DriveC() / "b" / "docs" / "theirs", "b");
    Host.GoOn = false;
  }
  ~OwnershipTest() override { unsetenv("XDG_DATA_HOME"); }

  BackupJob& Add(std::u16string_view drive_folder, BackupType type = BackupType::Differential,
                 std::u16string_view destination = u"D:\\") {
    BackupJob& job = AddJob(type);
    job.Source.Path = u"C:\\" + std::u16string(drive_folder) + u"\\docs\\";
    job.Destination.Path = destination;
    job.AddSourceFolder = true;
    return job;
  }
  void AddBoth(BackupType type = BackupType::Differential,
               std::u16string_view destination = u"D:\\") {
    Add(u"a", type, destination);
    Add(u"b", type, destination);
  }
  BackupJob& Job(std::size_t index) { return Program.Store.Jobs[index]; }
  RunOutcome Run(std::int32_t job) { return Program.RunJobNow(job); }
  RunOutcome Restore(std::int32_t job) {
    return Program.RunRestoreNow(job, RestoreMode::Full, NewestArchive);
  }
  void OnDay(int day) { Clock.Set(*FromCivil(2009, 9, day, 1)); }
  bool Logged(const std::string& text) const { return LogLines().find(text) != std::string::npos; }
  static std::size_t Count(const fs::path& folder) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
  }
  /// What the job's mark says, on a disk with or without a place for remarks.
  std::string MarkText() const {
    const Result<std::string> remark = Temp.Files().OpenFolder(u"D:\\docs\\")->ReadRemark({});
    return remark ? *remark : ReadTestFile(Place() / ".kavrel-owner");
  }
  void SetMark(const std::string& text) const {
    const Result<Folder> folder = Temp.Files().OpenFolder(u"D:\\docs\\");
    if (folder->WriteRemark({}, text)) WriteTestFile(Place() / ".kavrel-owner", text);
  }
  /// As on a disk that has no place for remarks.
  void MakeMarkAFile() const {
    WriteTestFile(Place() / ".kavrel-owner", MarkText());
    Temp.Files().OpenFolder(u"D:\\docs\\")->WriteRemark({}, {});
  }
  fs::path Place() const { return Temp.DriveD() / "docs"; }
};

TEST_F(OwnershipTest, ARunAsksBeforeItEntersWhatAnotherJobMade) {
  AddBoth();
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Run(1), RunOutcome::Guarded);
  EXPECT_TRUE(Job(1).LastRunResult.Stopped);
  EXPECT_FALSE(Program.State.CancelRequested);
  EXPECT_EQ(StatusText(Program.LogRows.Rows().back()), u"備份中斷");
  EXPECT_TRUE(Logged("目標歸屬檢查 (中斷)：D:\\docs 是排程「測試 0」的備份，來源：C:\\a\\docs\\"));
  EXPECT_FALSE(fs::exists(Place() / "theirs"));
  const RunPlan plan = Foresee(Job(1)).Plan;
  ASSERT_EQ(plan.Warnings.size(), 1U);
  // The job itself goes on without a question, after a start of the program as well.
  ASSERT_TRUE(Program.Store.LoadJobs());
  EXPECT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Host.Questions.size(), 1U);
  // Where the user wants both in one place, neither takes all of it for its own.
  Host.GoOn = true;
  EXPECT_EQ(Run(1), RunOutcome::Ran);
  Host.GoOn = false;
  EXPECT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Run(1), RunOutcome::Ran);
  EXPECT_EQ(Restore(0), RunOutcome::Guarded);
  EXPECT_TRUE(Logged("備份歸屬檢查 (中斷)"));
  EXPECT_FALSE(fs::exists(Temp.DriveC() / "a" / "docs" / "theirs"));
  // A mirror's whole run makes it one job's again, after its question.
  SetJobType(Job(0), BackupType::Synchronise);
  EXPECT_EQ(Run(0), RunOutcome::Guarded);
  Host.GoOn = true;
  EXPECT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(TreeDifferences(Temp.DriveC() / "a" / "docs", Place()), "");
  Host.GoOn = false;
  EXPECT_EQ(Run(1), RunOutcome::Guarded);
  EXPECT_EQ(Restore(0), RunOutcome::Ran);
  // The user may say whose it is from now on. What the other one made stays known as found there.
  Job(1).Extras.Adopt = true;
  EXPECT_EQ(Run(1), RunOutcome::Ran);
  EXPECT_EQ(Run(1), RunOutcome::Ran);
  EXPECT_EQ(Run(0), RunOutcome::Guarded);
  EXPECT_FALSE(*IsMadeBy(Temp.Files(), Job(1), u"D:\\docs\\"));
}

TEST_F(OwnershipTest, ABackupInsideAnothersDestinationStaysApart) {
  // The one writes to D:\\docs\\, the other to D:\\ and has a folder of that name.
  Add(u"b");
  BackupJob& outer = AddJob(BackupType::Synchronise);
  outer.Source.Path = u"C:\\a\\";
  outer.Destination.Path = u"D:\\";
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  Host.GoOn = true;
  ASSERT_EQ(Run(1), RunOutcome::Ran);
  EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 1U);
  EXPECT_TRUE(Logged(": 屬於其他排程的備份，沒有處理 (失敗)：D:\\docs\\")) << LogLines();
  EXPECT_EQ(ReadTestFile(Place() / "theirs"), "b");
  EXPECT_FALSE(fs::exists(Place() / "mine"));
  EXPECT_EQ(Restore(1), RunOutcome::Ran);
  EXPECT_FALSE(fs::exists(Temp.DriveC() / "a" / "docs" / "theirs"));
}

TEST_F(OwnershipTest, ABackupStaysItsJobsWhereverItsDiskIsNow) {
  Add(u"b", BackupType::Full, u"D:\\disk\\");
  BackupJob& outer = AddJob(BackupType::Synchronise);
  outer.Source.Path = u"C:\\a\\";
  outer.Destination.Path = u"D:\\disk\\";
  outer.Extras.GuardFewest = 100;
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  // The disk is mounted elsewhere, and the mirror's job follows it. What it has to do in that
  // folder it leaves alone; to remove the other job's backup it asks.
  fs::rename(Temp.DriveD() / "disk", Temp.DriveD() / "moved");
  Job(1).Destination.Path = u"D:\\moved\\";
  Job(1).Extras.Adopt = true;
  ASSERT_EQ(Run(1), RunOutcome::Ran);
  EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 1U);
  fs::remove_all(Temp.DriveC() / "a" / "docs");
  WriteTestFile(Temp.DriveC() / "a" / "x", "x");
  EXPECT_EQ(Run(1), RunOutcome::Guarded);
  EXPECT_EQ(ReadTestFile(Temp.DriveD() / "moved" / "docs" / "theirs"), "b");
  // What the job has begun anew at the old place is no original of it.
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Run(1), RunOutcome::Guarded);
  // A copy of what is still there is nobody's.
  fs::remove_all(Temp.DriveD() / "disk");
  fs::create_directories(Temp.DriveD() / "disk");
  CopyExactly(Temp.DriveD() / "moved" / "docs", Temp.DriveD() / "disk" / "docs");
  EXPECT_EQ(Run(1), RunOutcome::Ran);
}

TEST_F(OwnershipTest, NothingIsWrittenIntoAnothersBackupUnasked) {
  WriteTestFile(Temp.DriveC() / "a" / "docs" / "sub" / "mine", "a");
  Add(u"a");
  BackupJob& inner = Add(u"b", BackupType::Full, u"D:\\docs\\sub\\");
  inner.AddSourceFolder = false;
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Run(1), RunOutcome::Guarded);
  EXPECT_EQ(Count(Place() / "sub"), 1U);
  // Nor by a restore to another folder than the source.
  RestorePick pick;
  pick.Paths.Add(u"");
  for (const auto& [target, outcome] : {std::pair(u"D:\\docs\\sub\\", RunOutcome::Guarded),
                                        std::pair(u"D:\\elsewhere\\", RunOutcome::Ran)}) {
    pick.Target = target;
    EXPECT_EQ(Program.RunRestorePickedNow(0, pick, NewestArchive), outcome);
  }
}

TEST_F(OwnershipTest, NothingIsRestoredAmongArchivesUnasked) {
  if (!Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  Add(u"a", BackupType::Compressed);
  Add(u"b", BackupType::Full, u"D:\\plain\\");
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  ASSERT_EQ(Run(1), RunOutcome::Ran);
  RestorePick pick;
  pick.Paths.Add(u"");
  for (const std::int32_t job : {0, 1}) {
    for (const auto& [target, outcome] : {std::pair(u"D:\\docs\\", RunOutcome::Guarded),
                                          std::pair(u"D:\\docs\\new\\", RunOutcome::Guarded),
                                          std::pair(u"D:\\elsewhere\\", RunOutcome::Ran)}) {
      pick.Target = target;
      EXPECT_EQ(Program.RunRestorePickedNow(job, pick, NewestArchive), outcome) << job;
    }
  }
  EXPECT_FALSE(fs::exists(Place() / "new"));
}

TEST_F(OwnershipTest, ArchivesOfAnotherJobInAFolderStayApart) {
  if (!Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  Add(u"b", BackupType::Compressed);
  Add(u"a");
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  ASSERT_EQ(Run(1), RunOutcome::Guarded);
  Host.GoOn = true;
  ASSERT_EQ(Run(1), RunOutcome::Ran);
  EXPECT_EQ(Restore(1), RunOutcome::Ran);
  EXPECT_EQ(Job(1).LastRunResult.FailedFiles, 1U);
  EXPECT_EQ(Count(Temp.DriveC() / "a" / "docs"), 1U);
}

TEST_F(OwnershipTest, AStateThatHoldsAnothersBackupStaysAndThePreviewSaysSo) {
  BackupJob& job = Add(u"a", BackupType::Full, u"D:\\<dd>\\");
  job.Extras.KeepNewest = 1;
  OnDay(10);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  BackupJob& inner = Add(u"b", BackupType::Full, u"D:\\10\\docs\\in\\");
  inner.AddSourceFolder = false;
  Host.GoOn = true;
  ASSERT_EQ(Run(1), RunOutcome::Ran);
  // Only its mark tells by now.
  Job(1).Deleted = true;
  OnDay(11);
  const RunPlan plan = Foresee(Job(0)).Plan;
  const auto of_state = std::find_if(plan.Steps.begin(), plan.Steps.end(), [](const auto& step) {
    return step.Path == u"D:\\10\\docs\\";
  });
  ASSERT_NE(of_state, plan.Steps.end());
  EXPECT_EQ(of_state->Action, PlanAction::Fail);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Temp.DriveD() / "10" / "docs" / "in" / "theirs"), "b");
}

TEST_F(OwnershipTest, WhatAFormerSourceLeftIsNeitherRestoredNorLetGo) {
  BackupJob& job = Add(u"a", BackupType::Full, u"D:\\<dd>\\");
  job.Extras.KeepNewest = 1;
  OnDay(10);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  Job(0).Source.Path = u"C:\\b\\docs\\";
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Restore(0), RunOutcome::Guarded);
  Job(0).Source.Path = u"C:\\a\\docs\\";
  EXPECT_EQ(Restore(0), RunOutcome::Guarded) << "the other source has been there since";
  Job(0).Source.Path = u"C:\\b\\docs\\";
  OnDay(11);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_TRUE(fs::exists(Temp.DriveD() / "10" / "docs" / "mine"));
}

TEST_F(OwnershipTest, PlacesWithoutAMarkAskOnlyWhereAnotherJobHasBeen) {
  // What a version has left that wrote no marks, and files of the user's own.
  AddBoth();
  WriteTestFile(Place() / "mine", "a");
  EXPECT_EQ(Restore(0), RunOutcome::Ran);
  Job(1).LastRun = Clock.Now();
  EXPECT_EQ(Run(0), RunOutcome::Guarded);
  EXPECT_TRUE(Logged("排程「測試 1」也備份到同一個資料夾"));
  EXPECT_EQ(Restore(0), RunOutcome::Guarded);
  Job(1).LastRun = kZeroDate;
  EXPECT_EQ(Run(0), RunOutcome::Ran);
  // A mark that nobody can read may be anybody's.
  SetMark("my own notes");
  EXPECT_EQ(Run(0), RunOutcome::Guarded);
  EXPECT_EQ(MarkText(), "my own notes");
}

TEST_F(OwnershipTest, ABackupComesBackToItsSourceFromANewInstallation) {
  AddBoth();
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  Job(0).Extras = {};
  Job(0).Name = u"new computer";
  EXPECT_EQ(Restore(0), RunOutcome::Ran);
  EXPECT_EQ(Restore(1), RunOutcome::Guarded) << "the other job's source is another one";
  EXPECT_FALSE(fs::exists(Temp.DriveC() / "b" / "docs" / "mine"));
  Program.Context.Force = true;
  EXPECT_EQ(Restore(1), RunOutcome::Ran);
}

TEST_F(OwnershipTest, OnlyMarkedStatesOfTheJobGo) {
  BackupJob& job = Add(u"a", BackupType::Full, u"D:\\<dd>\\");
  job.Extras.KeepNewest = 1;
  const auto states = [&](int first, int last) {
    std::string days;
    for (int day = first; day <= last; ++day) {
      if (fs::exists(Temp.DriveD() / std::to_string(day) / "docs")) {
        days += std::to_string(day) + " ";
      }
    }
    return days;
  };
  OnDay(10);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  const auto copy = [&](int day) {
    const fs::path to = Temp.DriveD() / std::to_string(day);
    CopyExactly(Temp.DriveD() / "10", to);
  };
  // Its mark goes with an exact copy. But not everything at a place that was noted is the job's: a
  // state without a mark, one of another job, one that another job has written into, too.
  copy(11);
  WriteTestFile(Temp.DriveD() / "12" / "docs" / "old version's", "x");
  Add(u"b", BackupType::Full, u"D:\\<dd>\\");
  for (const int day : {13, 14}) {
    OnDay(day);
    ASSERT_EQ(Run(1), RunOutcome::Ran);
  }
  Host.GoOn = true;
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  Host.GoOn = false;
  for (const int day : {11, 12, 13, 14}) {
    Job(0).Extras.Made.push_back(u"D:\\" + FromUtf8(std::to_string(day)) + u"\\docs\\");
  }
  OnDay(15);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(states(10, 15), "11 12 13 14 15 ");
  EXPECT_TRUE(Logged(": 保留沒有這個排程標記的舊備份 (略過)：D:\\12\\docs\\")) << LogLines();
  EXPECT_EQ(Job(0).Extras.Made, std::vector<std::u16string>{u"D:\\15\\docs\\"});
  // Nor does a copy become the job's, with what was put into it, when a run comes there.
  CopyExactly(Temp.DriveD() / "15", Temp.DriveD() / "16");
  for (const int day : {16, 17}) {
    OnDay(day);
    ASSERT_EQ(Run(0), RunOutcome::Ran);
  }
  EXPECT_EQ(states(10, 17), "11 12 13 14 16 17 ");
}

TEST_F(OwnershipTest, AnArchiveOfTheHourIsOneJobs) {
  if (!Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  AddBoth(BackupType::Compressed);
  for (BackupJob& job : Program.Store.Jobs) job.Extras.KeepNewest = 1;
  OnDay(10);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Run(1), RunOutcome::Guarded);
  EXPECT_TRUE(Logged("2009年09月10日01時.7z 是排程「測試 0」的備份"));
  EXPECT_EQ(Restore(1), RunOutcome::NothingPicked) << "the newest one is not its own";
  EXPECT_EQ(Run(0), RunOutcome::Ran) << "the hour's archive is brought up to date";
  EXPECT_TRUE(*IsMadeBy(Temp.Files(), Job(0), u"D:\\docs\\2009年09月10日01時.7z"));
  OnDay(11);
  ASSERT_EQ(Run(1), RunOutcome::Ran);
  ASSERT_EQ(Restore(0), RunOutcome::Ran);
  EXPECT_FALSE(fs::exists(Temp.DriveC() / "a" / "docs" / "theirs"));
  // Under a name that the job has noted, somebody else has put another archive.
  OnDay(12);
  fs::copy_file(Place() / "2009年09月11日01時.7z", Place() / "2009年09月10日01時.7z",
                fs::copy_options::overwrite_existing);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_TRUE(fs::exists(Place() / "2009年09月10日01時.7z"));
  OnDay(13);
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_FALSE(fs::exists(Place() / "2009年09月12日01時.7z"));
  EXPECT_FALSE(fs::exists(Place() / ".2009年09月12日01時.7z.kavrel-owner"));
  EXPECT_TRUE(fs::exists(Place() / "2009年09月11日01時.7z"));
}

TEST_F(OwnershipTest, AMarkIsNoFileOfABackup) {
  AddBoth();
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  const std::string mark = MarkText();
  ASSERT_TRUE(mark.starts_with("Kavrel owner 1\n")) << mark;
  MakeMarkAFile();
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  // A backup of that backup, each way, has a mark of its own.
  for (const BackupType type : {BackupType::Synchronise, BackupType::Compressed}) {
    BackupJob& job = AddJob(type);
    job.Source.Path = u"D:\\docs\\";
    const std::int32_t row = job.JobIndex;
    if (type == BackupType::Compressed && !Program.Archiver.Present()) continue;
    for (int round = 0; round < 2; ++round) {
      ASSERT_EQ(Run(row), RunOutcome::Ran);
      EXPECT_EQ(Program.Context.Report.Counters.ExcludedFiles, 2U) << "nor is its list of sums";
      EXPECT_EQ(Program.Context.Report.Counters.SourceFiles, 3U);
      EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 0U);
      EXPECT_EQ(Program.Context.Report.Counters.SyncDeletedFiles, 0U);
    }
    const VerifyReport report = Program.VerifyJobNow(row);
    EXPECT_EQ(report.Counters.Equal, 1U);
    EXPECT_EQ(report.Counters.Differences(), 0U);
    if (type == BackupType::Synchronise) {
      EXPECT_EQ(BrowseFolder(Temp.Files(), u"D:\\dst\\")->List(u"").size(), 1U);
      TreeCount count(Temp.Files(), u"D:\\dst\\", u"C:\\", Scope::OfRestore(true));
      while (!count.Advance(10)) continue;
      EXPECT_EQ(count.Files(), 1U);
    }
    fs::remove(Place() / "mine");
    EXPECT_EQ(Restore(row), RunOutcome::Ran);
    EXPECT_EQ(ReadTestFile(Place() / "mine"), "a");
    EXPECT_EQ(ReadTestFile(Place() / ".kavrel-owner"), mark);
    EXPECT_EQ(Count(Place()), 3U);
    fs::remove_all(Dest());
  }
  // A file of that name in the source stays out, which is told: its copy would be another's place.
  for (const char* below : {".kavrel-owner", "sub/.kavrel-owner", "sub/.z.7z.kavrel-owner"}) {
    WriteTestFile(Temp.DriveC() / "a" / "docs" / below, "my own");
  }
  ASSERT_EQ(Run(0), RunOutcome::Ran);
  EXPECT_EQ(Program.Context.Report.Counters.ExcludedFiles, 3U);
  EXPECT_TRUE(Logged(": 略過備份標記 (成功)：C:\\a\\docs\\.kavrel-owner"));
  EXPECT_TRUE(Logged(": 略過備份標記 (成功)：C:\\a\\docs\\sub\\.kavrel-owner"));
  EXPECT_EQ(ReadTestFile(Place() / ".kavrel-owner"), mark);
  EXPECT_EQ(Count(Place() / "sub"), 0U);
}

}  // namespace
}  // namespace kavrel
