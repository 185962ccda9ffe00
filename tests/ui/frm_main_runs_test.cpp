// The window as the host of runs.
#include <gtest/gtest.h>

#include <QLabel>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTimer>
#include <QToolButton>

#include "base/text.h"
#include "support/tree.h"
#include "ui/main_window.h"
#include "ui/tray.h"

namespace kavrel {

namespace {

using std::filesystem::exists;
const QString kYes = "是", kNo = "否", kOk = "確定";

const QString kTitle = "Kavrel Ver 2.05 專業版";

/// Looks at the window while a run is at work, each time events are handled.
class DuringRun {
 public:
  DuringRun(MainWindow& main, std::function<void()> look) {
    QObject::connect(&timer_, &QTimer::timeout, [&main, look = std::move(look)] {
      if (main.Program.State.RunBusy) look();
    });
    timer_.start(0);
  }

 private:
  QTimer timer_;
};

std::string Large(std::size_t megabytes) {
  return std::string(megabytes << 20U, 'x');
}

/// Jobs with one file each.
void AddThree(MainWindow& main) {
  for (const char16_t* name : {u"一", u"二", u"三"}) {
    main.AddJob(name);
    main.WriteSource(ToUtf8(name) + "/甲.txt", "a");
  }
}

TEST(FrmMainRuns, RunsAJobByItsMenu) {
  MainWindow main;
  main.AddJob(u"照片");
  main.AddJob(u"文件");
  main.WriteSource("文件/甲.txt", "abc");
  main.WriteSource("文件/大.bin", Large(2));
  main.Start();
  EXPECT_EQ(main.Jobs().SelectedItem(), 0);
  EXPECT_FALSE(main.Shown("PicLogs"));

  bool locked = false;
  const DuringRun look(main, [&] {
    if (!main.Shown("PicLogs")) return;
    locked = !main.Named("PiclstJob")->isEnabled() && !main.Named("picToolbar")->isEnabled() &&
             main.Named("cmdCancel")->isEnabled() && main.Shown("picPtbFile");
  });
  main.Answer({{"您確定要執行「文件」備份排程嗎？", kYes}});
  EXPECT_EQ(
      main.Menu(main.Jobs(), 1, "mnuJobNow").mid(0, 9),
      (QStringList{"*執行「文件」備份排程", "執行「文件」還原排程", "預覽「文件」備份內容",
                   "預覽「文件」還原內容", "還原選取的檔案(&P)...", "驗證「文件」的備份",
                   "重讀「文件」的備份並核對校驗碼", "試行還原「文件」", "編輯「文件」備份設定"}));
  EXPECT_EQ(TreeDifferences(main.Temp.DriveC() / "文件", main.Backup("文件")), "");
  EXPECT_TRUE(locked);
  EXPECT_FALSE(main.Shown("PicLogs"));
  EXPECT_FALSE(main.Shown("picPtbFile"));
  EXPECT_TRUE(main.Named("PiclstJob")->isEnabled());
  EXPECT_EQ(main.Jobs().ItemText(1, 3), "2026/11/24 下午 03:04:05");
  EXPECT_EQ(main.Jobs().ItemText(1, 4), "2026/11/25 上午 01:00:00");
  EXPECT_EQ(main.Named("picStatusBar")->findChild<QLabel*>()->text(),
            "2026 年 11 月 24 日 15 時 04 分 05 秒");
  main.Window.findChild<LogView*>()->CatchUp();
  ASSERT_EQ(main.Logs().ItemCount(), 1);
  EXPECT_EQ(main.Logs().ItemText(0, 1), "備份完成");
  EXPECT_FALSE(exists(main.Backup("照片")));
}

TEST(FrmMainRuns, AskedAndRefusedNothingRuns) {
  MainWindow main;
  main.AddJob(u"照片").NextRun = *FromCivil(2030, 1, 1);
  main.WriteSource("照片/甲.txt", "abc");
  main.Start();
  main.Answer({{"您確定要執行「照片」備份排程嗎？", kNo}});
  DoubleClick(*ViewOf(*main.Jobs().hwnd()).viewport(), CellCentre(*main.Jobs().hwnd(), 0));
  main.Answer({{"您確定要執行「照片」備份排程嗎？", kNo}});
  Press(ViewOf(*main.Jobs().hwnd()), Qt::Key_Return);
  main.Answer({{"您確定要執行備份清單上已勾選的排程嗎？", kNo}});
  Click(main.Button(1));
  main.Answer({{"您確定要執行「照片」還原排程嗎？", kNo}});
  main.Menu(main.Jobs(), 0, "mnuJobResNow");
  EXPECT_EQ(main.Answered, 4);
  EXPECT_FALSE(exists(main.Backup("照片")));
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
}

TEST(FrmMainRuns, CancelStopsTheRunAtOnceAndTheBatchWithIt) {
  MainWindow main;
  for (const char16_t* name : {u"一", u"二", u"三"}) {
    main.AddJob(name);
    main.WriteSource(ToUtf8(name) + "/大.bin", Large(name[0] == u'二' ? 200 : 1));
  }
  main.Program.Store.Jobs[0].Enabled = false;
  main.Start();
  const DuringRun look(main, [&] {
    if (main.Shown("PicLogs")) Click(*main.Named("cmdCancel"));
  });
  main.Answer({{"您確定要執行備份清單上已勾選的排程嗎？", kYes}});
  Click(main.Button(1));
  EXPECT_EQ(main.Answered, 1);
  EXPECT_FALSE(exists(main.Backup("一")));
  EXPECT_FALSE(exists(main.Backup("二/大.bin")));
  EXPECT_FALSE(exists(main.Backup("三")));
  ASSERT_EQ(main.Program.LogRows.Rows().size(), 1U);
  EXPECT_EQ(StatusText(main.Program.LogRows.Rows()[0]), u"備份中斷");
  EXPECT_FALSE(main.Program.State.RunBusy);
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
  EXPECT_FALSE(main.Shown("PicLogs"));
}

TEST(FrmMainRuns, RunsAllCheckedJobsFromTheLogListToo) {
  MainWindow main;
  AddThree(main);
  main.Start();
  Click(*ViewOf(*main.Jobs().hwnd()).viewport(), CheckBoxCentre(*main.Jobs().hwnd(), 1));
  JobStore stored(main.Temp.Files());
  ASSERT_TRUE(stored.LoadJobs());
  EXPECT_FALSE(stored.Jobs[1].Enabled);
  Click(main.Button(4));
  EXPECT_TRUE(main.Shown("piclstLog"));
  main.Answer({{"您確定要執行備份清單上已勾選的排程嗎？", kYes}});
  Click(main.Button(1));
  EXPECT_TRUE(main.Shown("PiclstJob"));
  EXPECT_FALSE(main.Button(4).isChecked());
  EXPECT_TRUE(exists(main.Backup("一/甲.txt")));
  EXPECT_FALSE(exists(main.Backup("二")));
  EXPECT_TRUE(exists(main.Backup("三/甲.txt")));
  EXPECT_EQ(main.Jobs().ItemText(2, 3), "2026/11/24 下午 03:04:05");
  EXPECT_EQ(main.Jobs().ItemText(1, 3), "");
}

TEST(FrmMainRuns, AtTheEndOfABatchIsToldWhatWasNotDone) {
  MainWindow main;
  AddThree(main);
  main.Program.Store.Jobs[0].Source.Path = u"C:\\沒有\\";
  WriteTestFile(main.Backup("二"), "in the way");
  main.Start();
  main.Answer({{"您確定要執行備份清單上已勾選的排程嗎？", kYes},
               {"「一」：找不到來源資料夾 C:\\沒有\\\n「二」：失敗 1 個檔案", kOk}});
  Click(main.Button(1));
  EXPECT_EQ(main.Answered, 2);
  EXPECT_TRUE(exists(main.Backup("三/甲.txt")));
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
}

TEST(FrmMainRuns, RestoresInTheModeThatIsChosen) {
  MainWindow main;
  main.AddJob(u"照片");
  main.WriteSource("照片/甲.txt", "source");
  WriteTestFile(main.Backup("照片/甲.txt"), "backup");
  const std::filesystem::path source = main.Temp.DriveC() / "照片/甲.txt";
  // Same size, same second: by comparison there is nothing to restore.
  SetWritten(source, {1000000000, 0});
  SetWritten(main.Backup("照片/甲.txt"), {1000000000, 0});
  main.Start();
  EXPECT_TRUE(main.Action("mnuResAll0")->isChecked());
  main.Action("mnuResAll1")->trigger();
  main.Answer({{"您確定要執行「照片」還原排程嗎？", kYes}});
  main.Menu(main.Jobs(), 0, "mnuJobResNow");
  EXPECT_EQ(ReadTestFile(source), "source");
  main.Action("mnuResAll0")->trigger();
  main.Answer({{"您確定要執行「照片」還原排程嗎？", kYes}});
  main.Menu(main.Jobs(), 0, "mnuJobResNow");
  EXPECT_EQ(ReadTestFile(source), "backup");
  EXPECT_EQ(StatusText(main.Program.LogRows.Rows()[1]), u"還原完成");
  EXPECT_EQ(main.Jobs().ItemText(0, 3), "") << "a restore is no backup";
}

TEST(FrmMainRuns, BeforeARestoreItIsToldWhatWillBeLostAndEnterMeansNo) {
  MainWindow main;
  main.AddJob(u"照片");
  main.WriteSource("照片/甲.txt", "source");
  WriteTestFile(main.Backup("照片/甲.txt"), "backup");
  main.Start();
  for (const char* words : {"所有同名的檔案都會被備份取代", "相同的檔案不動"}) {
    WhenDialog([&](QWidget& dialog) {
      auto& box = dynamic_cast<QMessageBox&>(dialog);
      EXPECT_EQ(box.text(), "您確定要執行「照片」還原排程嗎？");
      const QString details = box.informativeText();
      EXPECT_TRUE(details.contains("從：D:\\照片\\\n到：C:\\照片\\")) << details.toStdString();
      EXPECT_TRUE(details.contains(words)) << details.toStdString();
      Press(dialog, Qt::Key_Return);
    });
    main.Menu(main.Jobs(), 0, "mnuJobResNow");
    EXPECT_EQ(ReadTestFile(main.Temp.DriveC() / "照片/甲.txt"), "source");
    main.Action("mnuResAll1")->trigger();
  }
}

TEST(FrmMainRuns, TheTrayTellsOfRunsThatNobodySaw) {
  MainWindow main;
  main.AddJob(u"照片").NextRun = *FromCivil(2026, 11, 24, 15, 5);
  main.WriteSource("照片/大.bin", Large(2));
  main.Start();
  auto* tray = main.Window.findChild<Tray*>();
  EXPECT_EQ(tray->ToolTip(), kTitle);
  QSignalSpy shown(tray, &Tray::MessageShown);
  QString tips;
  const DuringRun look(main, [&] { tips += tray->ToolTip(); });
  const auto tick = [&] {
    main.Clock.Set(main.Program.Store.Jobs[0].NextRun);
    main.Program.Tick();
  };
  tick();
  EXPECT_EQ(shown.count(), 0) << "the window is in sight";
  EXPECT_TRUE(tips.contains(kTitle + "\n執行中：照片")) << tips.toStdString();
  EXPECT_EQ(tray->ToolTip(), kTitle + "\n最近的備份都順利完成");
  main.Window.hide();
  tick();
  ASSERT_EQ(shown.count(), 1);
  EXPECT_EQ(shown[0], (QVariantList{"備份完成：照片", "備份 1 個檔案，失敗 0 個檔案", false}));
  EXPECT_EQ(tray->MessageLog(), main.Program.LogRows.Rows().back().LogPath);

  // A verification after the run is told with it, and leads to its own log.
  BackupJob& job = main.Program.Store.Jobs[0];
  SetJobType(job, BackupType::Differential);
  job.Extras.VerifyAfterRun = true;
  std::string rotten = Large(2);
  rotten.back() = 'y';
  const FileTime written = main.Temp.Files().Status(u"D:\\照片\\大.bin")->Written;
  WriteTestFile(main.Backup("照片/大.bin"), rotten);
  SetWritten(main.Backup("照片/大.bin"), written);
  tick();
  ASSERT_EQ(shown.count(), 2);
  EXPECT_EQ(shown[1], (QVariantList{"備份完成：照片",
                                    "備份 0 個檔案，失敗 0 個檔案，驗證發現 1 個差異", true}));
  EXPECT_EQ(StatusText(main.Program.LogRows.Rows().back()), u"驗證完成");
  EXPECT_EQ(tray->MessageLog(), main.Program.LogRows.Rows().back().LogPath);
  EXPECT_EQ(tray->ToolTip(), kTitle + "\n最近的備份有問題：照片");
  // Of a run without a log, the list of runs is shown.
  job.Source.Path = u"C:\\沒有\\";
  tick();
  EXPECT_EQ(tray->MessageLog(), u"");
  Q_EMIT tray->MessageClick();
  EXPECT_TRUE(main.Window.isVisible() && main.Shown("piclstLog"));
}

TEST(FrmMainRuns, VerifiesABackupAndOffersTheLog) {
  MainWindow main;
  main.AddJob(u"照片");
  main.WriteSource("照片/甲.txt", "abc");
  main.Start();
  main.Answer({{"「照片」沒有可以比對的資料夾", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  ASSERT_EQ(main.Program.RunJobNow(0), RunOutcome::Ran);
  main.Answer({{"「照片」驗證完成：1 個檔案內容相同，沒有發現差異。", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  main.WriteSource("照片/乙.txt", "new");
  main.Answer({{"發現 1 個差異", kNo}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  EXPECT_EQ(main.Program.LogRows.Rows().back().Failed, 1U);
  // One that was stopped says so.
  main.Program.State.CancelRequested = true;
  main.Answer({{"「照片」驗證中斷，其餘的檔案尚未比對：0 個檔案內容相同", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  EXPECT_EQ(main.Answered, 4);
}

TEST(FrmMainRuns, TakesBackWhatHasRottenInTheSource) {
  MainWindow main;
  main.AddJob(u"照片");
  main.WriteSource("照片/甲.txt", "abc");
  main.Start();
  ASSERT_EQ(main.Program.RunJobNow(0), RunOutcome::Ran);
  const std::filesystem::path file = main.Temp.DriveC() / "照片/甲.txt";
  SpoilTestFile(file, "abd");
  std::filesystem::path copy;
  for (const auto& at : std::filesystem::recursive_directory_iterator(main.Temp.DriveD())) {
    if (at.path().filename() == file.filename()) copy = at.path();
  }
  MakeLater(copy);
  main.Answer({{"發現 1 個差異", kNo}, {"來源中有 1 個檔案在備份之後損壞", kYes}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  EXPECT_EQ(ReadTestFile(file), "abc");
}

TEST(FrmMainRuns, ReadsABackupAgainAndTriesARestore) {
  MainWindow main;
  main.AddJob(u"照片");
  main.WriteSource("照片/甲.txt", "abc");
  main.Start();
  main.Answer({{"「照片」還沒有備份，或備份中沒有校驗碼", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobScrub");
  ASSERT_EQ(main.Program.RunJobNow(0), RunOutcome::Ran);
  main.Answer({{"「照片」重讀完成：1 個檔案內容相同，沒有發現差異。", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobScrub");
  main.Answer({{"「照片」試行還原完成：1 個檔案內容相同，沒有發現差異。", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobDrill");
  EXPECT_EQ(main.Program.Store.Jobs[0].Extras.DrillGood, 1);
  EXPECT_EQ(main.Answered, 3);
}

TEST(FrmMainRuns, MendsADamagedArchiveWhereSomebodySaysSo) {
  MainWindow main;
  BackupJob& job = main.AddJob(u"照片");
  SetJobType(job, BackupType::Compressed);
  job.Destination.Path = u"D:\\照片\\<hh>\\";
  job.Extras.RecoveryPercent = 20;
  std::string noise(100'000, '\0');
  for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<char>(i * i * i >> 9);
  main.WriteSource("照片/甲.txt", noise);
  main.Program.Context.Compression = CompressionLevel::Store;
  main.Start();
  ASSERT_EQ(main.Program.RunJobNow(0), RunOutcome::Ran);
  const std::filesystem::path archive = main.Backup("照片/15/2026年11月24日15時.7z");
  const std::string whole = ReadTestFile(archive);
  ASSERT_GT(whole.size(), noise.size());
  std::string damaged = whole;
  damaged[damaged.size() / 2] ^= 1;
  WriteTestFile(archive, damaged);
  main.Clock.Advance(60 * 60 * 1000);
  main.Answer({{"發現 1 個差異", kNo}, {"旁邊有它的修復資料", kNo}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  EXPECT_EQ(ReadTestFile(archive), damaged);
  // What cannot be made good is told, and why.
  const std::string recovery = ReadTestFile(archive.string() + ".par2");
  WriteTestFile(archive.string() + ".par2", "none");
  main.Answer({{"發現 1 個差異", kNo}, {"要修復它嗎？", kYes}, {"無法修復：", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  EXPECT_EQ(ReadTestFile(archive), damaged);
  WriteTestFile(archive.string() + ".par2", recovery);
  main.Answer({{"發現 1 個差異", kNo}, {"要修復它嗎？", kYes}, {"已修復 1 個損壞", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobVerify");
  EXPECT_EQ(ReadTestFile(archive), whole);
  EXPECT_EQ(main.Answered, 8);
  ASSERT_EQ(main.Program.Store.Jobs[0].Extras.Verified.size(), 1U);
  EXPECT_EQ(main.Program.Store.Jobs[0].Extras.Verified[0].Damaged, 0U) << "it is whole again";
}

}  // namespace
}  // namespace kavrel
