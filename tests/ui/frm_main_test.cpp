#include "ui/frm_main.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>
#include <QToolButton>

#include "base/text.h"
#include "ui/frm_exc.h"
#include "ui/frm_past_due.h"
#include "ui/frm_set.h"
#include "ui/frm_shortcut.h"
#include "ui/frm_zip_list.h"
#include "ui/main_window.h"

namespace kavrel {

namespace {

const QString kYes = "是";

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

TEST(FrmMain, IsNeverLostWhereNoTrayCouldCallItBack) {
  MainWindow main;
  main.AddJob(u"照片");
  main.Start();
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
    EXPECT_FALSE(main.Program.Schedule.TimerOn());
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
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
  Expect<frmExc>(came);
  main.Action("mnuExc")->trigger();
  EXPECT_TRUE(std::exchange(came, false));
  Expect<frmShortcut>(came, [&](frmShortcut&) {
    EXPECT_FALSE(main.Window.isVisible());
    EXPECT_FALSE(main.Program.Schedule.TimerOn());
  });
  main.Action("mnuShortcut")->trigger();
  EXPECT_TRUE(std::exchange(came, false));
  EXPECT_TRUE(main.Window.isVisible());
  EXPECT_TRUE(main.Program.Schedule.TimerOn());
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
