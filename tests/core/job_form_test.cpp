#include "core/job_form.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "core/run_captions.h"
#include "core/settings.h"
#include "support/temp_folder.h"

namespace kavrel {
namespace {

class JobFormTest : public testing::Test {
 protected:
  std::vector<BackupJob> jobs_{2};
  BackupJob job_;
  JobForm form_;

  JobFormTest() {
    jobs_[0].Name = u"Photos";
    jobs_[0].JobIndex = 0;
    jobs_[1].Name = u"The 'Old' ones";
    jobs_[1].JobIndex = 1;
    form_.Name = u" docs ";
    form_.Source = u" C:\\Data";
    form_.Destination = u"D:\\Backup \\ 2009 \\ ";
    form_.Count = 1;
    form_.Interval = IntervalKind::Days;
    form_.Start = *FromCivil(2009, 9, 19, 1);  // a Saturday
  }

  FormCheck Apply() {
    return ApplyForm(
        form_, jobs_, [](const BackupJob& job) { return job.NextRun + std::chrono::hours(1); },
        [](std::u16string_view path) { return path == u"C:\\Data\\"; }, job_);
  }
};

TEST_F(JobFormTest, EachCheckRefusesWithItsMessageAndLeavesTheJobAlone) {
  const struct {
    FormCheck Check;
    void (*Break)(JobForm&);
    std::u16string_view Message;
  } cases[] = {
      {FormCheck::NoInterval, [](JobForm& f) { f.Count = 0, f.RefusedDays = 0xFE; },
       u"請選擇一個您所要備份的時間！"},
      {FormCheck::WeekdayRefused,
       [](JobForm& f) { f.Interval = IntervalKind::Weeks, f.RefusedDays = 0xFE; },
       u"您的指定的 星期六 時間並無法讓備份排程正常進行！"},
      {FormCheck::WeekdayRefused, [](JobForm& f) { f.Count = 7, f.RefusedDays = 128; },
       u"您的指定的 星期六 時間並無法讓備份排程正常進行！"},
      {FormCheck::AllDaysRefused, [](JobForm& f) { f.RefusedDays = 0xFE, f.Name = u""; },
       u"您所指定的星期無法辨識，備份排程將會無法正常進行！"},
      {FormCheck::NoName, [](JobForm& f) { f.Name = u"  ", f.Source = u""; }, u""},
      {FormCheck::DuplicateName, [](JobForm& f) { f.Name = u"photos ", f.Source = u""; },
       u"備份排程名稱重複，請另外指定一個新的備份排程名稱。"},
      {FormCheck::DuplicateName, [](JobForm& f) { f.Name = u"The \"Old\" ones"; },
       u"備份排程名稱重複，請另外指定一個新的備份排程名稱。"},
      {FormCheck::SourceMissing, [](JobForm& f) { f.Source = u"C:\\Other", f.Destination = u""; },
       u"來源資料夾無法偵測到它的存在，請重新指定資源資料夾。"},
      {FormCheck::NoDestination, [](JobForm& f) { f.Destination = u"  "; },
       u"請先指定要備份的目標資料夾。"},
      {FormCheck::Unstorable, [](JobForm& f) { f.Source = u"C:\\Da\nta", f.Name = u""; },
       u"「來源資料夾」含有定位字元或換行字元，無法儲存，請重新指定。"},
  };
  const JobForm good = form_;
  for (const auto& c : cases) {
    form_ = good;
    c.Break(form_);
    EXPECT_EQ(Apply(), c.Check);
    EXPECT_EQ(FormCheckMessage(c.Check, form_), c.Message);
    EXPECT_EQ(job_.Name, u"");
    EXPECT_EQ(job_.NextRun, kZeroDate);
  }
}

TEST_F(JobFormTest, AnAcceptedFormFillsTheWholeRecord) {
  form_.Type = BackupType::Synchronise;
  form_.RefusedDays = 128;
  form_.UseRecycleBin = form_.LimitFileSize = form_.UsePassword = true;
  form_.MaxFileSizeKB = 7;
  form_.Password = u"abc";
  job_.EveryMonths = 3;
  ASSERT_EQ(Apply(), FormCheck::Ok);
  EXPECT_EQ(job_.Name, u"docs");
  EXPECT_EQ(job_.Source.Path, u"C:\\Data\\");
  EXPECT_EQ(job_.Destination.Path, u"D:\\Backup\\2009\\");
  EXPECT_TRUE(job_.Synchronise && job_.Differential && job_.UseRecycleBin);
  EXPECT_EQ(job_.EveryDays, 1);
  EXPECT_EQ(job_.EveryMonths, 0);
  EXPECT_EQ(job_.NextRun, *FromCivil(2009, 9, 19, 2));
  const JobForm shown = FormOf(job_);
  EXPECT_EQ(shown.Password, u"abc");
  EXPECT_EQ(shown.Count, 1);
  EXPECT_EQ(shown.MaxFileSizeKB, 7);
  job_.EveryDays = 8;  // more than the editor's list offers
  EXPECT_EQ(FormOf(job_).Count, 0);

  // Another type drops the bin; a password or limit switched off is forgotten.
  form_.Type = BackupType::Compressed;
  form_.UsePassword = form_.LimitFileSize = false;
  form_.Destination = u"/mnt/a \\ b ";
  ASSERT_EQ(Apply(), FormCheck::Ok);
  EXPECT_TRUE(job_.Compressed && !job_.Differential && !job_.Synchronise && !job_.UseRecycleBin);
  EXPECT_EQ(job_.Password, u"40718");
  EXPECT_EQ(job_.MaxFileSizeKB, 0);
  EXPECT_EQ(job_.Destination.Path, u"/mnt/a \\ b/");
}

TEST_F(JobFormTest, AJobMayKeepItsOwnName) {
  job_.JobIndex = 0;
  form_.Name = u"PHOTOS";
  EXPECT_EQ(Apply(), FormCheck::Ok);
}

TEST(BackupJob, TypesIntervalsAndSummaryTexts) {
  BackupJob job;
  NewJobDefaults(job, *FromCivil(2009, 9, 23, 14, 7), u"/home/u/Backup/");
  EXPECT_EQ(job.NextRun, *FromCivil(2009, 9, 23, 1));
  EXPECT_EQ(JobType(job), BackupType::Differential);
  EXPECT_EQ(IntervalText(job), u"每 10 分備份一次");
  EXPECT_FALSE(job.Enabled);
  job.Synchronise = true;
  EXPECT_EQ(JobType(job), BackupType::Synchronise);
  job.Compressed = true;
  EXPECT_EQ(JobType(job), BackupType::Compressed);
  job.EveryMinutes = 0, job.EveryHours = 2;
  EXPECT_EQ(IntervalText(job), u"每 2 個小時備份一次");
  job.EveryMonths = 1;
  EXPECT_EQ(JobIntervalKind(job), IntervalKind::Months);
  EXPECT_EQ(RefusedDaysText(2 + 64 + 128), u"週日, 週五, 週六");
  EXPECT_EQ(RefusedDaysText(1), u"不指定");
  EXPECT_EQ(SizeLimitText(job), u"不限制大小");
  job.LimitFileSize = true, job.MaxFileSizeKB = 5;
  EXPECT_EQ(SizeLimitText(job), u"限制 ( 5 ) KB");
}

TEST(Settings, BothBooleanFormsAreReadAndNonsenseIsTheDefault) {
  const TempFolder temp;
  const std::u16string path = TempFolder::Text(temp.Home() / "Settings.ini");
  Settings settings(SettingsStore(temp.Files(), path));
  EXPECT_EQ(settings.ProcessPriority(), 3);
  EXPECT_EQ(settings.LogRestrictions(), 3);
  EXPECT_EQ(settings.ProtIcon(), 3);
  EXPECT_FALSE(settings.ExcEnabled() || settings.PlaySound() || settings.OutWidth(10));

  WriteTestFile(temp.Home() / "Settings.ini",
                "[Settings]\nProcessPriority=6\nLogRestrictions=x\nProtIcon=1\nExcEnabled=TRUE\n"
                "PlaySound=-1\nStartMin=0\nOutWidth10=maybe\n");
  EXPECT_EQ(settings.ProcessPriority(), 3);
  EXPECT_EQ(settings.LogRestrictions(), 3);
  EXPECT_EQ(settings.ProtIcon(), 1);
  EXPECT_TRUE(settings.ExcEnabled() && settings.PlaySound());
  EXPECT_FALSE(settings.StartMin() || settings.OutWidth(10));

  EXPECT_TRUE(settings.SetExcEnabled(false));
  EXPECT_TRUE(settings.SetOutWidth(10, true));
  EXPECT_TRUE(settings.SetLogRestrictions(0));
  EXPECT_FALSE(settings.ExcEnabled());
  EXPECT_TRUE(settings.OutWidth(10));
  EXPECT_EQ(settings.LogRestrictions(), 0);
  const std::string text = ReadTestFile(temp.Home() / "Settings.ini");
  EXPECT_NE(text.find("ExcEnabled=0\n"), text.npos);
  EXPECT_NE(text.find("OutWidth10=True\n"), text.npos);
}

TEST(RunCaptions, ProgressOfAFile) {
  EXPECT_EQ(CopyProgressText(131072, 65536),
            u" [ 64.00 KB (65,536 位元) / 128.00 KB (131,072 位元) ] 50 %");
  EXPECT_EQ(CopyProgressText(0, 0), u" [ 0 位元 (0 位元) / 0 位元 (0 位元) ] 100 %");
  EXPECT_EQ(CopyProgressBar(131072 * 3, 131072, 131072).Value, 1U);
  EXPECT_EQ(CopyProgressBar(131072 * 3, 131072, 131072).Max, 4U);
  EXPECT_EQ(CopyProgressBar(0, 0, 131072).Value, 1U);
  EXPECT_EQ(FileCaption(u"a"), u"檔案名稱：a");
}

}  // namespace
}  // namespace kavrel
