#include "app/run_health.h"

#include <gtest/gtest.h>

#include "support/test_program.h"

namespace kavrel {
namespace {

using Names = std::vector<std::u16string>;

class RunHealthTest : public testing::Test {
 protected:
  const DateTime now_ = *FromCivil(2026, 11, 24, 15, 0, 0);
  std::vector<BackupJob> jobs_;
  std::vector<LogRow> rows_;

  void SetUp() override {
    for (const char16_t* name : {u"照片", u"文件"}) {
      BackupJob& job = jobs_.emplace_back();
      job.Name = name;
      job.Enabled = true;
      SetInterval(job, IntervalKind::Days, 1);
      job.NextRun = now_ + std::chrono::hours(1);
    }
  }
  void AddRow(const char16_t* name, const char16_t* status, const char16_t* failed = u"0") {
    rows_.push_back(ReadLogRow({name, status, u"1", u"0", failed, u"", u"", u""}));
  }
  RunHealth Judge() const { return JudgeRuns(jobs_, rows_, now_); }
};

TEST_F(RunHealthTest, APauseIsToldBeforeAllElseAndNothingIsOverdueInIt) {
  jobs_[0].NextRun = now_ - std::chrono::hours(1);
  AddRow(u"文件", u"備份中斷");
  EXPECT_EQ(Judge().Overdue, Names{u"照片"});
  const RunHealth paused = JudgeRuns(jobs_, rows_, now_, now_ + std::chrono::minutes(30));
  EXPECT_EQ(paused.State, Health::Paused);
  EXPECT_EQ(HealthText(paused), u"排程已暫停至 2026/11/24 下午 03:30:00\n最近的備份有問題：文件");
}

TEST_F(RunHealthTest, TheLastRunOfEachJobCounts) {
  EXPECT_EQ(Judge(), (RunHealth{Health::Unknown, {}, {}}));
  AddRow(u"照片", u"備份完成", u"1,024");
  EXPECT_EQ(Judge(), (RunHealth{Health::Failed, {u"照片"}, {}}));
  EXPECT_EQ(HealthText(Judge()), u"最近的備份有問題：照片");
  AddRow(u"照片", u"還原完成");
  EXPECT_EQ(Judge().State, Health::Failed) << "a restore mends no backup";
  AddRow(u"照片", u"備份完成");
  EXPECT_EQ(Judge().State, Health::Good);
  EXPECT_EQ(HealthText(Judge()), u"最近的備份都順利完成");
  AddRow(u"照片", u"驗證完成", u"2");
  EXPECT_EQ(Judge().State, Health::Failed);
  AddRow(u"照片", u"備份完成");
  AddRow(u"照片", u"驗證中斷");
  EXPECT_EQ(Judge().State, Health::Failed) << "nobody knows yet";
  AddRow(u"照片", u"驗證完成");
  AddRow(u"文件", u"備份中斷");
  AddRow(u"沒有了", u"備份中斷");
  EXPECT_EQ(Judge().Failed, Names{u"文件"});
  jobs_[1].Enabled = false;
  EXPECT_EQ(Judge().State, Health::Good);
  jobs_[0].LastRunResult.Stopped = true;  // by a cancelled restore
  EXPECT_EQ(Judge().State, Health::Good);
}

TEST_F(RunHealthTest, EachJobHasItsStateAlsoWhenItIsOff) {
  const auto text = [&](std::size_t job) { return JudgeJobs(jobs_, rows_, now_).at(job).Text; };
  EXPECT_EQ(text(0), u"尚未備份");
  jobs_[0].LastRun = now_;
  EXPECT_EQ(text(0), u"沒有紀錄");
  jobs_[0].Enabled = false;
  jobs_[0].NextRun = now_ - std::chrono::hours(1);
  AddRow(u"照片", u"備份完成");
  EXPECT_EQ(text(0), u"完成") << "what is off is not overdue";
  jobs_[0].Enabled = true;
  EXPECT_EQ(text(0), u"逾期未備份");
  rows_.push_back(ReadLogRow({u"照片", u"驗證完成", u"1", u"0", u"2", u"", u"", u"v.txt"}));
  EXPECT_EQ(JudgeJobs(jobs_, rows_, now_)[0],
            (JobHealth{Health::Failed, u"驗證發現 2 個差異", u"v.txt", HealthCause::Differences}));
  jobs_[0].Enabled = false;
  AddRow(u"照片", u"備份完成", u"1,024");
  EXPECT_EQ(text(0), u"失敗 1,024 個檔案");
  AddRow(u"照片", u"備份中斷", u"1");
  EXPECT_EQ(text(0), u"備份中斷");
  jobs_[0].Extras.NotBegun = true;
  EXPECT_EQ(JudgeJobs(jobs_, rows_, now_)[0],
            (JobHealth{Health::Failed, u"沒有執行", u"", HealthCause::NoSource}));
  EXPECT_EQ(JudgeJobs(jobs_, rows_, now_, 0)[0].State, Health::Running);
}

TEST_F(RunHealthTest, ARunThatCouldNotBeginIsKnownAfterARestartUntilOneEndsWell) {
  TestProgram first;
  first.AddJob().Enabled = true;
  const auto judge = [](const Program& program) {
    return JudgeRuns(program.Store.Jobs, program.LogRows.Rows(), *FromCivil(2009, 9, 23, 15, 5, 0))
        .State;
  };
  EXPECT_EQ(first.Program.RunJobNow(0), RunOutcome::SourceMissing);
  EXPECT_EQ(judge(first.Program), Health::Failed) << "there is no row, but the run failed";
  Program again(TempFolder::Text(first.Temp.Home()),
                TempFolder::Text(first.Temp.Home() / "Settings.ini"), first.Clock, first.Host);
  ASSERT_TRUE(again.Load());
  EXPECT_EQ(judge(again), Health::Failed);
  WriteTestFile(first.Source() / "a", "x");
  EXPECT_EQ(again.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(judge(again), Health::Good);
  first.Program.ReloadJobs();
  EXPECT_FALSE(first.Program.Store.Jobs.at(0).Extras.NotBegun) << "stored as well";
}

TEST_F(RunHealthTest, AJobWhoseTimeHasPassedIsOverdueUnlessItNeverComes) {
  AddRow(u"照片", u"備份完成");
  jobs_[1].NextRun = now_ - std::chrono::minutes(9);
  EXPECT_EQ(Judge().State, Health::Good) << "it may be waiting for its turn";
  jobs_[1].NextRun = now_ - std::chrono::minutes(11);
  EXPECT_EQ(Judge(), (RunHealth{Health::Overdue, {}, {u"文件"}}));
  AddRow(u"照片", u"備份完成", u"1");
  EXPECT_EQ(Judge(), (RunHealth{Health::Failed, {u"照片"}, {u"文件"}}));
  EXPECT_EQ(HealthText(Judge()), u"最近的備份有問題：照片\n逾期未備份：文件");
  SetInterval(jobs_[1], IntervalKind::Days, 0);
  EXPECT_TRUE(Judge().Overdue.empty());
}

}  // namespace
}  // namespace kavrel
