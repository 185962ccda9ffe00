// How the window tells what became of runs and restores.
#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QToolButton>

#include "base/text.h"
#include "ui/caption_strip.h"
#include "ui/main_window.h"
#include "ui/qt_text.h"
#include "ui/tray.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

const QString kYes = "是", kOk = "確定";
constexpr int kResult = 14;

class RunResultTest : public testing::Test {
 protected:
  MainWindow main_;

  /// A file that no run can write: a folder with something in it is in its place.
  void MakeFail(const std::string& job) {
    main_.WriteSource(job + "/甲.txt", "new");
    main_.WriteSource(job + "/乙.txt", "new");
    WriteTestFile(main_.Backup(job + "/甲.txt/有東西"), "x");
  }
  QString Line() { return static_cast<CaptionStrip*>(main_.Named("picResultText"))->Text(); }
  QString Result(int row) { return main_.Jobs().ItemText(row, kResult); }
  void Run(int row, const QList<MainWindow::Reply>& then = {}) {
    main_.Answer(QList<MainWindow::Reply>{{"備份排程嗎？", kYes}} + then);
    main_.Menu(main_.Jobs(), row, "mnuJobNow");
  }
};

TEST_F(RunResultTest, ARunThatFailsIsSeenInItsRowAndBelowUntilTheNextRun) {
  main_.AddJob(u"照片");
  main_.AddJob(u"文件").Enabled = false;
  MakeFail("文件");
  main_.WriteSource("照片/甲.txt", "a");
  main_.Start();
  EXPECT_EQ(Result(0), "尚未備份");
  EXPECT_FALSE(main_.Shown("picResult")) << "nothing has run yet";

  Run(1);
  EXPECT_EQ(Result(1), "失敗 1 個檔案") << "also of a job that is off";
  EXPECT_EQ(Line(), "「文件」備份完成：備份 1 個檔案，失敗 1 個檔案");
  EXPECT_TRUE(main_.Shown("picResult") && main_.Shown("cmdResultFailures"));
  const QString tip = main_.Window.findChild<JobList*>()->InfoTip(1);
  EXPECT_TRUE(tip.contains("備份檔案 (失敗)：C:\\文件\\甲.txt")) << tip.toStdString();

  WhenDialog([](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), "有問題的檔案");
    const QAbstractItemModel& files = *Find<QAbstractItemView>(dialog)->model();
    ASSERT_EQ(files.rowCount(), 1);
    EXPECT_EQ(files.index(0, 0).data().toString(), "C:\\文件\\甲.txt");
    EXPECT_FALSE(files.index(0, 1).data().toString().isEmpty()) << "the reason";
    Click(*Find<QPushButton>(dialog, "cmdClose"));
  });
  Click(*main_.Named("cmdResultFailures"));

  // Another window over the same folder knows it, too.
  main_.Program.Shutdown();
  FrmMain again;
  kavrel::Program program(TempFolder::Text(main_.Temp.Home()),
                          TempFolder::Text(main_.Temp.Home() / "Settings.ini"), main_.Clock, again);
  again.Start(program, {});
  EXPECT_EQ(again.findChild<JobList*>()->View().ItemText(1, kResult), "失敗 1 個檔案");
  EXPECT_EQ(static_cast<CaptionStrip*>(again.findChild<QWidget*>("picResultText"))->Text(), Line());

  Run(0);
  EXPECT_EQ(Result(0), "完成");
  EXPECT_EQ(Line(), "「照片」備份完成：備份 1 個檔案，失敗 0 個檔案");
  EXPECT_FALSE(main_.Shown("cmdResultFailures"));
  EXPECT_EQ(Result(1), "失敗 1 個檔案");
}

TEST_F(RunResultTest, ABatchIsToldTogetherAndARefusedRunWithItsReason) {
  for (const char16_t* name : {u"一", u"二", u"三"}) {
    main_.AddJob(name);
    main_.WriteSource(ToUtf8(name) + "/甲.txt", "a");
  }
  std::filesystem::remove_all(main_.Temp.DriveC() / "二");
  main_.Start();
  main_.Answer({{"已勾選的排程嗎？", kYes}, {"「二」：找不到來源資料夾 C:\\二\\", kOk}});
  Click(main_.Button(1));
  EXPECT_EQ(main_.Answered, 2);
  EXPECT_EQ(Line(), "3 個排程中有 1 個沒有完整執行：「二」沒有備份：找不到來源資料夾 C:\\二\\");
  EXPECT_EQ(Result(1), "沒有執行");
  EXPECT_EQ(Result(2), "完成");
  Click(*main_.Named("cmdResultLog"));
  EXPECT_TRUE(main_.Shown("piclstLog")) << "the list, for there were several";

  // A batch of nothing tells nothing of an earlier one.
  for (BackupJob& job : main_.Program.Store.Jobs) job.Enabled = false;
  main_.Answer({{"已勾選的排程嗎？", kYes}});
  Click(main_.Button(1));
  EXPECT_EQ(main_.Answered, 3);
}

TEST_F(RunResultTest, ARestoreThatFailsIsToldAlsoWhenNobodySeesTheWindow) {
  main_.AddJob(u"照片");
  WriteTestFile(main_.Backup("照片/甲.txt"), "backup");
  WriteTestFile(main_.Backup("照片/乙.txt"), "backup");
  main_.WriteSource("照片/甲.txt/有東西", "in the way");
  main_.Start();
  auto* tray = main_.Window.findChild<Tray*>();
  QSignalSpy shown(tray, &Tray::MessageShown);
  const QString text = "還原完成：還原 1 個檔案，失敗 1 個檔案";
  main_.Answer({{"還原排程嗎？", kYes}});
  main_.Menu(main_.Jobs(), 0, "mnuJobResNow");
  EXPECT_EQ(Line(), "「照片」" + text);
  EXPECT_EQ(shown.count(), 0) << "the window is in sight";
  EXPECT_EQ(Result(0), "尚未備份") << "a restore is no backup";

  QTimer hides;
  QObject::connect(&hides, &QTimer::timeout, [&] {
    if (main_.Program.State.RunBusy) main_.Window.hide();
  });
  hides.start(0);
  main_.WriteSource("照片/乙.txt", std::string(30 << 20, 'x'));
  WriteTestFile(main_.Backup("照片/乙.txt"), std::string(30 << 20, 'y'));
  main_.Answer({{"還原排程嗎？", kYes}});
  main_.Menu(main_.Jobs(), 0, "mnuJobResNow");
  ASSERT_EQ(shown.count(), 1);
  EXPECT_EQ(shown[0], (QVariantList{"照片", text, true}));
  EXPECT_EQ(tray->MessageLog(), main_.Program.LogRows.Rows().back().LogPath);
}

TEST_F(RunResultTest, AWrongPasswordIsAskedForOnceAndKeptOnlyWhenWished) {
  if (!main_.Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  BackupJob& job = main_.AddJob(u"照片");
  SetJobType(job, BackupType::Compressed);
  job.UsePassword = true;
  job.Password = std::u16string(u"正確");
  main_.WriteSource("照片/甲.txt", "backup");
  main_.Start();
  Run(0);
  BackupJob& stored = main_.Program.Store.Jobs[0];
  stored.Password = std::u16string(u"改過的");
  std::filesystem::remove(main_.Temp.DriveC() / "照片/甲.txt");
  const auto restore = [&](const QString& password, bool keep) {
    WhenDialog([&](QWidget& question) {
      WhenDialog([&](QWidget& archives) {
        WhenDialog([&](QWidget& dialog) {
          EXPECT_TRUE(Find<QLabel>(dialog, "lblMsg")->text().contains("照片"));
          EXPECT_FALSE(Find<QPushButton>(dialog, "cmdOK")->isEnabled());
          Type(*Find<QLineEdit>(dialog, "txtPassword"), password);
          Find<QCheckBox>(dialog, "chkKeep")->setChecked(keep);
          Click(*Find<QPushButton>(dialog, "cmdOK"));
        });
        Click(*Find<QPushButton>(archives, "cmdOK"));
      });
      for (QAbstractButton* button : dynamic_cast<QMessageBox&>(question).buttons()) {
        if (PlainCaption(button->text()) == kYes) return button->click();
      }
    });
    main_.Menu(main_.Jobs(), 0, "mnuJobResNow");
  };
  restore("也不對", true);
  EXPECT_TRUE(Line().contains("還原 0 個檔案，失敗 1 個檔案")) << Line().toStdString();
  EXPECT_EQ(stored.Password, u"改過的") << "what does not fit is not kept";
  restore("正確", false);
  EXPECT_EQ(ReadTestFile(main_.Temp.DriveC() / "照片/甲.txt"), "backup");
  EXPECT_EQ(stored.Password, u"改過的");
  restore("正確", true);
  JobStore saved(main_.Temp.Files());
  ASSERT_TRUE(saved.LoadJobs());
  EXPECT_EQ(saved.Jobs[0].Password, u"正確");
  EXPECT_TRUE(Line().contains("失敗 0 個檔案"));
}

}  // namespace
}  // namespace kavrel
