// Faults that there were once, each in the smallest run that shows it.
#include <gtest/gtest.h>

#include <cerrno>

#include "base/text.h"
#include "engine/run_planner.h"
#include "files/error_text.h"
#include "files/path.h"
#include "log/log_troubles.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class Regressions : public testing::Test, protected TestProgram {
 protected:
  const RunCounters& Run(BackupJob& job) {
    EXPECT_EQ(Program.RunJobNow(job.JobIndex), RunOutcome::Ran);
    return Program.Context.Report.Counters;
  }
  /// Lets a user without rights run the jobs.
  void OpenToAll() const {
    for (const fs::path& path :
         {Temp.Root(), Temp.Home(), Temp.Home() / "Log", Temp.DriveC(), Temp.DriveD()}) {
      fs::permissions(path, fs::perms::all);
    }
  }
};

TEST_F(Regressions, ACompressedRunLeftOutWhatItCouldNotLookAt) {
  for (const char* name : {"a", "listed/unseen", "listed/too"}) WriteTestFile(Source() / name, "x");
  fs::permissions(Source() / "listed", fs::perms::owner_read | fs::perms::others_read);
  OpenToAll();
  BackupJob& job = AddJob(BackupType::Compressed);
  {
    const Unprivileged user;
    EXPECT_EQ(Run(job).CopiedFiles, 1U);
  }
  fs::permissions(Source() / "listed", fs::perms::all);
  EXPECT_EQ(job.LastRunResult.FailedFiles, 2U);
  for (const char* unseen : {"unseen", "too"}) {
    const std::string line = ": 備份檔案 (失敗)：C:\\src\\listed/" + std::string(unseen) + "\n";
    EXPECT_NE(LogLines().find(line), std::string::npos) << LogLines();
  }
}

TEST_F(Regressions, ACompressedRunDidNotTellWhatItsArchiverCouldNotDo) {
  if (!Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  for (const char* name : {"a", "in/secret"}) WriteTestFile(Source() / name, "x");
  fs::permissions(Source() / "in" / "secret", fs::perms::none);
  fs::create_directories(Dest());
  fs::permissions(Dest(), fs::perms::all);
  OpenToAll();
  BackupJob& job = AddJob(BackupType::Compressed);
  const auto troubles = [&] {
    const Unprivileged user;
    EXPECT_EQ(Program.RunJobNow(job.JobIndex), RunOutcome::Ran);
    return ReadTroubles(*ReadJobLog(Program.Files, Program.Log.CurrentPath()));
  };
  const std::u16string denied = ApiErrorText(EACCES);
  EXPECT_EQ(troubles(),
            (std::vector<RunFailure>{{u"備份檔案 (失敗)", u"C:\\src\\in/secret", denied}}));
  // Nor where it could not write the archive at all.
  fs::permissions(Source() / "in" / "secret", fs::perms::all);
  fs::permissions(Dest(), fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                              fs::perms::others_exec);
  const std::vector<RunFailure> told = troubles();
  ASSERT_EQ(told.size(), 1U);
  EXPECT_EQ(told[0].What, u"建立壓縮檔 (失敗)");
  EXPECT_EQ(PathFolder(told[0].Path), u"D:\\dst\\");
  EXPECT_NE(told[0].Reason.find(u"Permission denied"), std::u16string::npos)
      << ToUtf8(told[0].Reason);
}

TEST_F(Regressions, ABackupInsideItsSourceCouldNotBeRestored) {
  WriteTestFile(Source() / "a", "x");
  BackupJob& job = AddJob();
  job.Destination.Path = u"C:\\src\\backup\\";
  EXPECT_EQ(Run(job).CopiedFiles, 1U);
  WriteTestFile(Source() / "a", "changed");
  EXPECT_EQ(Program.RunRestoreNow(job.JobIndex, RestoreMode::Full), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Source() / "a"), "x");
  EXPECT_EQ(Program.Context.Report.Counters.CopiedFiles, 1U);
}

TEST_F(Regressions, ASourceThatBeginsWithTheDestinationsLettersWasTakenForIt) {
  WriteTestFile(Source() / "deep" / "a", "x");
  BackupJob& job = AddJob();
  job.Source.Path = u"C:\\src\\deep\\";
  job.Destination.Path = u"C:\\src\\de\\";
  EXPECT_EQ(Run(job).CopiedFiles, 1U);
  // And so was a folder in the source.
  job.Source.Path = u"C:\\src\\";
  EXPECT_EQ(Run(job).CopiedFiles, 1U);
  EXPECT_EQ(ReadTestFile(Source() / "de" / "deep" / "a"), "x");
}

TEST_F(Regressions, AFileThatTwoPatternsFindTookTheRoomOfTwo) {
  WriteTestFile(Source() / "a.txt", std::string(3000, 'x'));
  BackupJob job = AddJob();
  job.Source.WorkPath = job.Source.Path;
  job.Destination.WorkPath = job.Destination.Path;
  for (const char16_t* types : {u"*.txt", u"*.txt;*.TXT"}) {
    job.FileTypes = types;
    RunPlan plan;
    plan.Depth = RunPlan::Level::Sizes;
    EXPECT_EQ(PlanWalk(Program.Context, job, plan).FailedFiles, 0U);
    EXPECT_GE(plan.PeakBytes, 3000);
    EXPECT_LT(plan.PeakBytes, 6000);
  }
}

TEST_F(Regressions, AGuardRefusedARunAfterItsFirstCopies) {
  WriteTestFile(Source() / "first", "its folder comes before any removal");
  WriteTestFile(Source() / "k" / "1", "changed");
  WriteTestFile(Dest() / "k" / "1", "before");
  for (int i = 0; i < 31; ++i) WriteTestFile(Dest() / "k" / "gone" / std::to_string(i), "x");
  AddJob(BackupType::Synchronise);
  Host.GoOn = false;
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
  EXPECT_FALSE(fs::exists(Dest() / "first"));
  EXPECT_EQ(ReadTestFile(Dest() / "k" / "1"), "before");
}

TEST_F(Regressions, AnArchiveLayWhereNeitherItsLogNorItsRestoreLooked) {
  // The source's name is appended as it is: its tags are letters.
  const fs::path source = Temp.Root() / "in <yyyy> ";
  WriteTestFile(source / "a", "x");
  BackupJob& job = AddJob(BackupType::Compressed);
  job.Source.Path = TempFolder::Text(source) + u"/";
  job.Destination.Path = TempFolder::Text(Temp.DriveD()) + u"/<mm>/";
  job.AddSourceFolder = true;
  Run(job);
  constexpr char kPlace[] = "09/in <yyyy> /2009年09月23日15時.7z";
  EXPECT_TRUE(fs::exists(Temp.DriveD() / kPlace));
  EXPECT_NE(LogText(Program.Log.CurrentPath()).find(kPlace), std::string::npos);
  fs::remove(source / "a");
  const auto newest = [](const std::vector<ArchiveFile>& files) { return NewestArchive(files); };
  EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Full, newest), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(source / "a"), "x");
  EXPECT_EQ(RunVerifyJob(Program.Context, job).Counters.Differences(), 0U);
}

TEST_F(Regressions, TheLogDidNotTellWhyAFileFailed) {
  WriteTestFile(Source() / "a", "x");
  fs::permissions(Source() / "a", fs::perms::none);
  OpenToAll();
  BackupJob& job = AddJob();
  {
    const Unprivileged user;
    EXPECT_EQ(Run(job).FailedFiles, 1U);
  }
  const std::string log = LogText(Program.Log.CurrentPath());
  EXPECT_NE(log.find(": 原因：Could Not Open Source File (錯誤：13 - "), std::string::npos) << log;
}

TEST_F(Regressions, AMissingSourceEndedTheBatch) {
  WriteTestFile(Source() / "a", "x");
  AddJob().Source.Path = u"C:\\nowhere\\";
  AddJob();
  for (BackupJob& job : Program.Store.Jobs) job.Enabled = true;
  Program.Schedule.RunCheckedJobs();
  EXPECT_EQ(ReadTestFile(Dest() / "a"), "x");
}

TEST_F(Regressions, OneFailedLogWasTheLastOfTheProcess) {
  WriteTestFile(Source() / "a", "x");
  BackupJob& job = AddJob();
  fs::remove_all(Temp.Home() / "Log");
  WriteTestFile(Temp.Home() / "Log", "a file in its place");
  Run(job);
  EXPECT_TRUE(Program.Log.Failed());
  EXPECT_EQ(Program.LogRows.Rows().back().LogPath, kNoJobLog);
  fs::remove(Temp.Home() / "Log");
  fs::create_directory(Temp.Home() / "Log");
  Run(job);
  EXPECT_FALSE(Program.Log.Failed());
  EXPECT_TRUE(fs::exists(ToUtf8(Program.LogRows.Rows().back().LogPath)));
}

}  // namespace
}  // namespace kavrel
