#include "engine/run_driver.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "support/test_program.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class RunDriverTest : public testing::Test, protected TestProgram {};

TEST_F(RunDriverTest, JobLogHoldsBannersAndSummaryToTheCharacter) {
  WriteTestFile(Source() / "a.bin", std::string(1572864, 'x'));
  WriteTestFile(Source() / "sub" / "b", "");
  BackupJob& job = AddJob();
  job.Name = u"照片 & 文件";
  job.AddSourceFolder = true;
  Host.AtProgress = [&](std::uint64_t total, std::uint64_t done) {
    if (total && !done) Clock.Advance(125500);
  };
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  std::string separator;
  for (int i = 0; i < 49; ++i) separator += "-=";
  EXPECT_EQ(LogText(Program.Log.CurrentPath()),
            "################### - 開始時間：2009 年 09 月 23 日 - 下午 03 時 04 分 05 秒 - "
            "###################\r\n"
            "\r\n" +
                separator +
                "\r\n"
                "來源備份資料夾　　：C:\\src\\\r\n"
                "目標存放資料夾　　：D:\\dst\\src\r\n"
                "備份排程名稱　　　：照片 && 文件\r\n"
                "本次執行備份時間　：2009/9/23 下午 03:04:05\r\n"
                "下次執行備份時間　：2009/9/23 下午 03:10:00\r\n"
                "備份執行狀態　　　：備份完成\r\n"
                "來源檔案總計　　　：2\r\n"
                "來源資料夾總計　　：2\r\n"
                "已完成檔案總計　　：2\r\n"
                "已完成資料夾總計　：2\r\n"
                "備份失敗檔案總計　：0\r\n"
                "備份已存在檔案總計：0\r\n"
                "排除資料夾總計　　：0\r\n"
                "排除檔案總計　　　：0\r\n"
                "同步刪除檔案總計　：0\r\n"
                "同步刪除資料夾總計：0\r\n"
                "資源回收筒檔案總計：0\r\n"
                "資源回收筒目錄總計：0\r\n"
                "完成備份容量總計　：1.50 MB (1,572,864 位元)\r\n"
                "執行備份所花費時間：2 分, 5.500 秒\r\n" +
                separator +
                "\r\n"
                "\r\n"
                "################### - 完成時間：2009 年 09 月 23 日 - 下午 03 時 06 分 10 秒 - "
                "###################\r\n");
  EXPECT_EQ(fs::path(Program.Log.CurrentPath()),
            Temp.Home() / "Log" / u"2009年09月23日15時04分05秒.txt");
  EXPECT_EQ(ReadTestFile(Dest() / "src" / "a.bin").size(), 1572864U);

  ASSERT_EQ(Program.LogRows.Rows().size(), 1U);
  EXPECT_EQ(ColumnsOf(Program.LogRows.Rows()[0]),
            (LogColumns{u"照片 & 文件", u"備份完成", u"2", u"0", u"0", u"2009/9/23 下午 03:04:05",
                        u"2009/9/23 下午 03:10:00", Program.Log.CurrentPath()}));
  EXPECT_EQ(Host.Panels, (std::vector<bool>{false, true, false}));
  EXPECT_EQ(Host.Rows, std::vector<std::int32_t>{0});
  EXPECT_FALSE(Program.State.RunBusy);

  // What a restart finds: the job with its new times, and the row.
  kavrel::Program again(TempFolder::Text(Temp.Home()), TempFolder::Text(Temp.Home() / "s.ini"),
                        Clock, Host);
  EXPECT_TRUE(again.Load());
  EXPECT_EQ(again.Store.Jobs.at(0).LastRun, *FromCivil(2009, 9, 23, 15, 6, 10));
  EXPECT_EQ(again.Store.Jobs.at(0).NextRun, *FromCivil(2009, 9, 23, 15, 10, 0));
  EXPECT_EQ(again.LogRows.Rows(), Program.LogRows.Rows());
}

TEST_F(RunDriverTest, MissingSourceStopsTheRunWithoutALogAndMovesTheJobOn) {
  BackupJob& job = AddJob();
  job.NextRun = Clock.Now() - std::chrono::minutes(10);
  EXPECT_EQ(RunBackupJob(Program.Context, job).Outcome, RunOutcome::SourceMissing);
  EXPECT_TRUE(job.LastRunResult.Stopped);
  EXPECT_EQ(job.LastRunResult.FailedFiles, 1U);
  EXPECT_EQ(job.LastRun, Clock.Now());
  EXPECT_GT(job.NextRun, Clock.Now());
  EXPECT_TRUE(Program.LogRows.Rows().empty());
  EXPECT_FALSE(fs::exists(Dest()));
  EXPECT_TRUE(fs::exists(Temp.Home() / "Backup.rtm"));
  WriteTestFile(Source() / "a", "x");
  EXPECT_EQ(RunBackupJob(Program.Context, job).Outcome, RunOutcome::Ran)
      << "the next one of a batch runs";
}

TEST_F(RunDriverTest, RunWhileBusyCancelsTheRunningJob) {
  WriteTestFile(Source() / "a", "x");
  AddJob();
  Program.State.RunBusy = true;
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::NotStarted);
  EXPECT_TRUE(Program.State.CancelRequested);
  EXPECT_FALSE(fs::exists(Dest()));
}

TEST_F(RunDriverTest, TheSourceFoldersNameIsAppendedWithoutASeparator) {
  const struct {
    std::u16string_view Source, Destination, Expected;
  } cases[] = {
      {u"C:\\Data\\", u"D:\\Backup", u"D:\\BackupData"},
      {u"C:\\", u"D:\\Backup\\", u"D:\\Backup\\C"},
      {u"\\\\server\\share\\x\\", u"/mnt/b/", u"/mnt/b/x"},
      {u"/home/u/文件/", u"/mnt/b/", u"/mnt/b/文件"},
      {u"/", u"/mnt/b/", u"/mnt/b/"},
  };
  for (const auto& c : cases) {
    BackupJob job;
    job.AddSourceFolder = true;
    job.Source.Path = c.Source;
    job.Destination.Path = c.Destination;
    EXPECT_EQ(ExpandedDestination(job, Clock), c.Expected);
  }
}

}  // namespace
}  // namespace kavrel
