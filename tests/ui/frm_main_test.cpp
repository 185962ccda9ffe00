#include "ui/frm_main.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimer>
#include <QToolButton>

#include "base/text.h"
#include "support/tree.h"
#include "ui/caption_strip.h"
#include "ui/frm_exc.h"
#include "ui/frm_past_due.h"
#include "ui/frm_set.h"
#include "ui/frm_shortcut.h"
#include "ui/frm_zip_list.h"
#include "ui/main_window.h"
#include "ui/qt_text.h"
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

TEST(FrmMain, RunsAJobByItsMenu) {
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
  EXPECT_EQ(main.Menu(main.Jobs(), 1, "mnuJobNow").mid(0, 7),
            (QStringList{"*執行「文件」備份排程", "執行「文件」還原排程", "預覽「文件」備份內容",
                         "預覽「文件」還原內容", "還原選取的檔案(&P)...", "驗證「文件」的備份",
                         "編輯「文件」備份設定"}));
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

TEST(FrmMain, ShowsTheFileAtWorkAndTheWholeRun) {
  MainWindow main;
  main.AddJob(u"文件");
  for (const char* name : {"甲", "乙", "丙", "丁"}) {
    main.WriteSource(std::string("文件/") + name, std::string(1000, 'x'));
  }
  main.Start();
  FrmMain& window = main.Window;
  window.JobStarting(0, main.Clock.Now());
  window.ShowRunPanels(true);
  main.Program.Context.Counters = {};
  main.Program.Context.Counters.SourceFiles = 2;
  main.Program.Context.Counters.SourceBytes = 1500;
  const auto text = [&](const char* strip) {
    return static_cast<CaptionStrip*>(main.Named(strip))->Text();
  };
  EXPECT_TRUE(WaitUntil([&] {
    window.DrawCaptions(u"C:\\文件\\", u"D:\\文件\\", u"乙");
    EXPECT_EQ(window.ApiFileCopyCallback(1000, 500, 0, 1000, 500, 131072), 0);
    return text("PicTotal").contains("4 個檔案");
  }));
  EXPECT_EQ(text("PicSrc"), "來源目錄：C:\\文件\\");
  EXPECT_EQ(text("PicDest"), "目標目錄：D:\\文件\\");
  EXPECT_EQ(text("PicBackup"), "檔案名稱：乙");
  EXPECT_EQ(text("PicTotal"), "整體進度：2 / 4 個檔案，1.95 KB / 3.91 KB");
  const auto* bar = main.Named("picPtbTotal")->findChild<QProgressBar*>();
  EXPECT_TRUE(WaitUntil([&] { return bar->value() == 50; }));
  EXPECT_EQ(main.Named("picStatusBar")->findChild<QLabel*>()->text(),
            " [ 500 位元 (500 位元) / 1,000 位元 (1,000 位元) ] 50 %");
  main.Program.State.CancelRequested = true;
  EXPECT_EQ(window.ApiFileCopyCallback(1000, 1000, 0, 1000, 1000, 131072), 1);
}

TEST(FrmMain, ThePanelShowsTheRunAtWorkAndPackingInPercent) {
  MainWindow main;
  main.AddJob(u"文件");
  SetJobType(main.AddJob(u"照片"), BackupType::Compressed);
  main.WriteSource("文件/甲", "a");
  main.WriteSource("照片/乙", Large(8));
  main.Start();
  FrmMain& window = main.Window;
  const auto text = [&](const char* strip) {
    return static_cast<CaptionStrip*>(main.Named(strip))->Text();
  };
  window.JobStarting(0, main.Clock.Now());
  window.ShowRunPanels(true);
  window.DrawCaptions(u"C:\\文件\\下層\\", u"D:\\文件\\下層\\", u"甲");
  EXPECT_TRUE(main.Shown("picPtbFile"));
  // A question may come up before the first file of the next run.
  window.JobStarting(1, main.Clock.Now());
  window.ShowRunPanels(false);
  window.ShowRunPanels(true);
  EXPECT_EQ(text("PicSrc"), "來源目錄：C:\\照片\\");
  EXPECT_EQ(text("PicDest"), "目標目錄：D:\\照片\\");
  EXPECT_EQ(text("PicBackup"), "檔案名稱：");
  EXPECT_FALSE(main.Shown("picPtbFile")) << "an archiver tells of no single file";
  EXPECT_TRUE(WaitUntil([&] {
    window.ApiFileCopyCallback(100, 40, 0, 100, 40, 1);
    return text("PicTotal").startsWith("整體進度：40 %");
  }));
  EXPECT_EQ(main.Named("picStatusBar")->findChild<QLabel*>()->text(), " 40 %");
}

TEST(FrmMain, AfterABatchTheUsersChoiceIsBack) {
  MainWindow main;
  AddThree(main);
  main.Start();
  main.Jobs().SetSelectedItem(1);
  QList<int> marked;
  const DuringRun look(main, [&] {
    if (!marked.contains(main.Jobs().SelectedItem())) marked += main.Jobs().SelectedItem();
  });
  main.Answer({{"您確定要執行備份清單上已勾選的排程嗎？", kYes}});
  Click(main.Button(1));
  EXPECT_TRUE(marked.contains(0) && marked.contains(2)) << "the job at work is seen";
  EXPECT_EQ(main.Jobs().SelectedItem(), 1);
}

TEST(FrmMain, TellsOfJobsThatSomebodyElseStoredWithoutWaiting) {
  MainWindow main;
  main.AddJob(u"照片");
  main.Start();
  WriteTestFile(main.Temp.Home() / "Backup.rtm", "theirs");
  main.Program.SetJobEnabled(0, false, true);
  auto* box = main.Window.findChild<QMessageBox*>();
  ASSERT_TRUE(box && box->isVisible() && !box->isModal());
  EXPECT_TRUE(box->text().contains("/other_Backup.rtm")) << box->text().toStdString();
  EXPECT_EQ(ReadTestFile(main.Temp.Home() / "other_Backup.rtm"), "theirs");
  box->close();
  EXPECT_TRUE(WaitUntil([&] { return !main.Window.findChild<QMessageBox*>(); }));
}

TEST(FrmMain, IsAWindowToAScreenReader) {
  FrmMain window;
  const QAccessibleInterface* told = QAccessible::queryAccessibleInterface(&window);
  ASSERT_TRUE(told);
  EXPECT_EQ(told->role(), QAccessible::Window);
}

TEST(FrmMain, AskedAndRefusedNothingRuns) {
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
  EXPECT_TRUE(main.Program.Scheduler.TimerOn());
}

TEST(FrmMain, CancelStopsTheRunAtOnceAndTheBatchWithIt) {
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
  EXPECT_TRUE(main.Program.Scheduler.TimerOn());
  EXPECT_FALSE(main.Shown("PicLogs"));
}

TEST(FrmMain, RunsAllCheckedJobsFromTheLogListToo) {
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

TEST(FrmMain, AtTheEndOfABatchIsToldWhatWasNotDone) {
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
  EXPECT_TRUE(main.Program.Scheduler.TimerOn());
}

TEST(FrmMain, RestoresInTheModeThatIsChosen) {
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

TEST(FrmMain, BeforeARestoreItIsToldWhatWillBeLostAndEnterMeansNo) {
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

TEST(FrmMain, AMissingSourceIsTold) {
  MainWindow main;
  main.AddJob(u"照片").Source.Path = u"C:\\沒有\\";
  main.Start();
  main.Answer({{"您確定要執行「照片」備份排程嗎？", kYes}, {"找不到資料夾「C:\\沒有\\」", kOk}});
  main.Menu(main.Jobs(), 0, "mnuJobNow");
  EXPECT_EQ(main.Answered, 2);
  EXPECT_TRUE(main.Program.LogRows.Rows().empty());
  EXPECT_FALSE(main.Program.State.CancelRequested);
}

TEST(FrmMain, KeepsEveryOptionTheMomentItIsChosen) {
  MainWindow main;
  qputenv("XDG_CONFIG_HOME", (main.Temp.Root() / "config").c_str());
  main.AddJob(u"照片");
  main.Start();
  EXPECT_FALSE(main.Action("mnuExc")->isVisible());
  struct Switch {
    const char* Action;
    std::u16string_view Setting;
  };
  for (const auto& [action, setting] : {Switch{"MnuStart", u"Morlund"},
                                        {"MnuStartMin", u"StartMin"},
                                        {"mnuSound", u"PlaySound"},
                                        {"mnuExcEnabled", u"ExcEnabled"},
                                        {"mnu_Display_1_5", u"ProtGlidLine"}}) {
    SCOPED_TRACE(action);
    EXPECT_FALSE(main.Action(action)->isChecked());
    main.Action(action)->trigger();
    EXPECT_EQ(main.Stored(setting), "True");
  }
  EXPECT_FALSE(is_empty(main.Temp.Root() / "config/autostart"));
  EXPECT_TRUE(main.Action("mnuExc")->isVisible());
  EXPECT_TRUE(main.Program.Exclusions.ExcEnabled);
  EXPECT_TRUE(main.Jobs().GlidLine());

  struct Choices {
    const char* Action;
    std::u16string_view Setting;
    int Default, Last;
  };
  for (const auto& [action, setting, chosen, last] :
       {Choices{"mnuSetPriority", u"ProcessPriority", 3, 5},
        {"mnuLogRestrictions", u"LogRestrictions", 3, 4},
        {"mnu_Display_1_", u"ProtIcon", 3, 3}}) {
    SCOPED_TRACE(action);
    const auto item = [&, name = action](int i) {
      return main.Action((name + std::to_string(i)).c_str());
    };
    EXPECT_TRUE(item(chosen)->isChecked());
    for (int i = last; i >= 0; --i) {
      item(i)->trigger();
      EXPECT_EQ(main.Stored(setting), QString::number(i));
      for (int other = 0; other <= last; ++other) EXPECT_EQ(item(other)->isChecked(), other == i);
    }
  }
  EXPECT_EQ(main.Jobs().View(), clsLictView::IconView);
  EXPECT_TRUE(main.Action("mnuZipComp1")->isChecked());
  main.Action("mnuZipComp2")->trigger();
  EXPECT_EQ(main.Program.Context.Compression, CompressionLevel::Full);

  for (int i = 0; i < 11; ++i) {
    QAction* action = main.Action(("mnuSetWidth" + std::to_string(i)).c_str());
    const int column = JobList::SwitchAt(i).Column;
    EXPECT_EQ(main.Jobs().ColumnWidth(column), 0);
    action->trigger();
    EXPECT_GT(main.Jobs().ColumnWidth(column), 50) << i;
    EXPECT_EQ(main.Stored(u"OutWidth" + FromUtf8(std::to_string(i))), "True");
  }
  EXPECT_GT(main.Jobs().ColumnWidth(14), 50) << "how the last run ended is shown at first";
  main.Action("mnuSetWidth11")->trigger();
  EXPECT_EQ(main.Jobs().ColumnWidth(14), 0);
  // A second window over the same folder begins as the first one ended.
  FrmMain again;
  kavrel::Program program(TempFolder::Text(main.Temp.Home()),
                          TempFolder::Text(main.Temp.Home() / "Settings.ini"), main.Clock, again);
  again.Start(program, {});
  EXPECT_TRUE(again.findChild<QAction*>("mnuSetWidth10")->isChecked());
  EXPECT_FALSE(again.findChild<QAction*>("mnuSetWidth11")->isChecked());
  EXPECT_TRUE(again.findChild<QAction*>("mnuSetPriority0")->isChecked());
  EXPECT_TRUE(again.findChild<QAction*>("mnuSound")->isChecked());
  EXPECT_EQ(again.findChild<JobList*>()->View().View(), clsLictView::IconView);
  EXPECT_TRUE(again.findChild<QAction*>("mnuZipComp1")->isChecked()) << "is not kept";
  EXPECT_TRUE(again.isMinimized()) << "asked to start hidden, and there is no tray";
  main.Action("MnuStart")->trigger();
  EXPECT_TRUE(is_empty(main.Temp.Root() / "config/autostart"));
  qunsetenv("XDG_CONFIG_HOME");
}

TEST(FrmMain, TellsEverythingOfAJobThoughColumnsAreHidden) {
  MainWindow main;
  BackupJob& job = main.AddJob(u"照片 <b>");
  SetInterval(job, IntervalKind::Hours, 12);
  job.RefusedDays = 1 << 1 | 1 << 7;
  job.LimitFileSize = true;
  job.MaxFileSizeKB = 2048;
  job.UsePassword = true;
  job.FileTypes = u"*.jpg;*.png";
  main.Start();
  const QString tip =
      TipAt(*ViewOf(*main.Jobs().hwnd()).viewport(), CellCentre(*main.Jobs().hwnd(), 0));
  EXPECT_TRUE(tip.contains("&lt;b&gt;")) << tip.toStdString();
  EXPECT_EQ(
      main.Window.findChild<JobList*>()->InfoTip(0).split("\r\n"),
      (QStringList{
          "備份排程名稱：照片 <b>", "來源資料夾　：C:\\照片 <b>\\", "目標資料夾　：D:\\照片 <b>\\",
          "最後備份時間：",
          "下次備份時間：" + ToQString(DateTimeText(main.Program.Context.Store.Jobs[0].NextRun)),
          "檔案壓縮備份：關閉", "壓縮檔案加密：加密", "檔案同步備份：關閉", "回收筒存放　：關閉",
          "備份子目錄　：啟動", "限制檔案大小：限制 ( 2048 ) KB",
          "備份時間間隔：每 12 個小時備份一次", "拒絕備份日期：週日, 週六",
          "檔案類型　　：*.jpg;*.png", "上次結果　　：尚未備份"}));
}

TEST(FrmMain, NamesAreShownAsTheyAreAndVeryLongOnesWithoutTheirMiddle) {
  MainWindow main;
  main.AddJob(u"<b>甲<img src=y> & " + std::u16string(180, u'x') + u"尾");
  main.Start();
  const QString menu = main.Menu(main.Jobs(), 0).value(0);
  EXPECT_TRUE(menu.startsWith("*執行「<b>甲<img src=y> && xx") && menu.contains("…") &&
              menu.endsWith("x尾」備份排程"))
      << menu.toStdString();
  EXPECT_LT(menu.size(), 60);
  WhenDialog([](QWidget& dialog) {
    auto& box = dynamic_cast<QMessageBox&>(dialog);
    EXPECT_EQ(box.textFormat(), Qt::PlainText);
    EXPECT_TRUE(box.text().startsWith("您確定要執行「<b>甲<img src=y> & xx"));
    EXPECT_TRUE(box.text().endsWith("x尾」備份排程嗎？"));
    EXPECT_LT(box.width(), 900);
    box.reject();
  });
  Press(ViewOf(*main.Jobs().hwnd()), Qt::Key_Return);
}

TEST(FrmMain, BesideTheJobsTheMenuMakesANewOne) {
  MainWindow main;
  main.AddJob(u"照片");
  main.Start();
  EXPECT_EQ(main.Menu(main.Jobs(), -1).mid(0, 2),
            (QStringList{"*建立新的備份排程", "大圖示(&G)..."}));
  EXPECT_EQ(main.Jobs().SelectedItem(), -1);
}

TEST(FrmMain, SpringsBackToItsSmallestSizeAndIsNeverLost) {
  MainWindow main;
  main.AddJob(u"照片");
  main.Start();
  const QSize smallest = main.Window.size();
  main.Window.resize(300, 200);
  EXPECT_EQ(main.Window.size(), smallest);
  main.Window.resize(smallest + QSize(100, 80));
  EXPECT_EQ(main.Named("PiclstJob")->width(), main.Window.width());
  EXPECT_EQ(main.Named("picStatusBar")->geometry().bottom(), main.Window.rect().bottom());
  // This desktop has no tray that could call a hidden window back.
  main.Window.close();
  EXPECT_TRUE(main.Window.isVisible());
  EXPECT_TRUE(main.Window.isMinimized());
  EXPECT_FALSE(main.Window.HasEnded());
  main.Window.ToggleMainWindow();
  EXPECT_FALSE(main.Window.isMinimized());
}

TEST(FrmMain, ExitSavesEverything) {
  MainWindow main;
  main.AddJob(u"照片");
  main.Start();
  main.Program.Store.Jobs[0].Name = u"改名";
  main.Program.LogRows.Append(ReadLogRow({u"新的一列"}));
  QSignalSpy ended(&main.Window, &FrmMain::Ended);
  Click(main.Button(11));
  EXPECT_EQ(ended.count(), 1);
  EXPECT_FALSE(main.Window.isVisible());
  JobStore stored(main.Temp.Files());
  ASSERT_TRUE(stored.LoadJobs());
  EXPECT_EQ(stored.Jobs[0].Name, u"改名");
  EXPECT_NE(ReadTestFile(main.Temp.Home() / "Log/QVDlog.log"), "");
}

TEST(FrmMain, NamedJobsRunOnceAndTheProgramEnds) {
  MainWindow main;
  main.AddJob(u"照片");
  main.AddJob(u"文件");
  main.WriteSource("文件/甲.txt", "a");
  QSignalSpy ended(&main.Window, &FrmMain::Ended);
  main.Start(u"沒有 文件");
  EXPECT_TRUE(WaitUntil([&] { return ended.count() > 0; }));
  EXPECT_TRUE(exists(main.Backup("文件/甲.txt")));
  EXPECT_FALSE(exists(main.Backup("照片")));
}

TEST(FrmMain, TheTrayTellsOfRunsThatNobodySaw) {
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

TEST(FrmMain, VerifiesABackupAndOffersTheLog) {
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

/// Waits for a window of this class, closes it, and tells that it came.
template <class T>
void Expect(bool& came, const std::function<void(T&)>& look = {}) {
  WhenDialog([&came, look](QWidget& dialog) {
    auto* expected = dynamic_cast<T*>(&dialog);
    came = expected != nullptr;
    if (came && look) look(*expected);
    if (dialog.isVisible()) static_cast<QDialog&>(dialog).done(0);
  });
}

TEST(FrmMain, OpensTheOtherWindowsWithTheSchedulerAtRest) {
  MainWindow main;
  main.AddJob(u"照片");
  main.Start();
  main.Action("mnuExcEnabled")->trigger();
  const auto at_rest = [&](QDialog&) {
    EXPECT_FALSE(main.Program.Scheduler.TimerOn());
    main.Program.Store.Jobs[0].Name = u"放棄的";
  };
  bool came = false;
  Expect<FrmSet>(came, at_rest);
  Click(main.Button(3));
  EXPECT_TRUE(std::exchange(came, false));
  EXPECT_EQ(main.Jobs().ItemText(0, 0), "照片") << "the store is read again";
  Expect<FrmSet>(came, at_rest);
  main.Menu(main.Jobs(), -1, "mnuJobEdit");
  EXPECT_TRUE(std::exchange(came, false));
  EXPECT_TRUE(main.Program.Scheduler.TimerOn());
  Expect<frmExc>(came);
  main.Action("mnuExc")->trigger();
  EXPECT_TRUE(std::exchange(came, false));
  Expect<frmShortcut>(came, [&](frmShortcut&) {
    EXPECT_FALSE(main.Window.isVisible());
    EXPECT_FALSE(main.Program.Scheduler.TimerOn());
  });
  main.Action("mnuShortcut")->trigger();
  EXPECT_TRUE(std::exchange(came, false));
  EXPECT_TRUE(main.Window.isVisible());
  EXPECT_TRUE(main.Program.Scheduler.TimerOn());
}

TEST(FrmMain, AsksAboutOverdueJobsAndForAnArchive) {
  MainWindow main;
  BackupJob& job = main.AddJob(u"照片");
  job.NextRun = *FromCivil(2026, 11, 20);
  SetJobType(job, BackupType::Compressed);
  std::filesystem::create_directories(main.Backup("照片"));
  WhenDialog([&main](QWidget& dialog) {
    ASSERT_NE(dynamic_cast<FrmPastDue*>(&dialog), nullptr);
    EXPECT_TRUE(main.Window.isVisible() && dialog.parentWidget() == &main.Window);
    EXPECT_FALSE(QApplication::windowIcon().isNull()) << "for those without a window";
    dialog.findChild<QPushButton*>("btnLater")->click();
  });
  main.Start();
  EXPECT_EQ(main.Program.Store.Jobs[0].NextRun, *FromCivil(2026, 11, 25));
  EXPECT_EQ(main.Jobs().ItemText(0, 4), "2026/11/25");

  bool came = false;
  WhenDialog([&](QWidget& dialog) {
    Expect<frmZipList>(came);
    for (QAbstractButton* button : static_cast<QMessageBox&>(dialog).buttons()) {
      if (PlainCaption(button->text()) == kYes) return button->click();
    }
  });
  main.Menu(main.Jobs(), 0, "mnuJobResNow");
  EXPECT_TRUE(came);
  EXPECT_TRUE(main.Program.LogRows.Rows().empty()) << "nothing was picked";
}

}  // namespace
}  // namespace kavrel
