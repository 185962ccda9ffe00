#include <gtest/gtest.h>

#include <QLabel>
#include <QToolButton>

#include "ui/main_window.h"
#include "ui/tray.h"

namespace kavrel {
namespace {

class PauseMenuTest : public testing::Test {
 protected:
  MainWindow main_;

  QString Tip() { return main_.Window.findChild<Tray*>()->ToolTip(); }
  QString Status() { return Find<QLabel>(*main_.Named("picStatusBar"))->text(); }
  bool Backed() { return exists(main_.Backup("照片/一.jpg")); }
};

TEST_F(PauseMenuTest, PausesTellsSoEverywhereAndGoesOn) {
  BackupJob& job = main_.AddJob(u"照片");
  job.NextRun = main_.Clock.Now() + std::chrono::seconds(30);
  main_.WriteSource("照片/一.jpg", "1");
  main_.Start();
  QMenu& menu = *main_.Window.findChild<QMenu*>("mnuPause");
  Q_EMIT menu.aboutToShow();
  EXPECT_FALSE(main_.Action("mnuResume")->isEnabled());
  main_.Action("mnuPauseHour")->trigger();
  EXPECT_TRUE(Status().endsWith("秒　　排程已暫停至 2026/11/24 下午 04:04:05"))
      << Status().toStdString();
  EXPECT_TRUE(Tip().contains("\n排程已暫停至 2026/11/24 下午 04:04:05")) << Tip().toStdString();

  main_.Clock.Advance(3000000);
  main_.Program.Tick();
  EXPECT_FALSE(Backed());
  EXPECT_FALSE(Tip().contains("逾期")) << "nobody wanted it to run";
  main_.Answer({{"您確定要執行備份清單上已勾選的排程嗎？", "是"}});
  main_.Button(1).click();
  EXPECT_TRUE(Backed()) << "by hand it runs";

  Q_EMIT menu.aboutToShow();
  EXPECT_TRUE(main_.Action("mnuResume")->isEnabled());
  std::filesystem::remove(main_.Backup("照片/一.jpg"));
  main_.Clock.Advance(std::uint64_t{48} * 3600000);
  main_.Action("mnuPauseNoEnd")->trigger();
  EXPECT_TRUE(Tip().contains("直到您恢復為止"));
  main_.Action("mnuResume")->trigger();
  EXPECT_TRUE(WaitUntil([&] { return Backed(); })) << "with the next tick";
  EXPECT_TRUE(WaitUntil([&] { return !Status().contains("暫停"); }));
  EXPECT_FALSE(Tip().contains("暫停"));
}

TEST_F(PauseMenuTest, TheTrayHasItAsWellAndEndsTheProgramOnlyWhereNothingIsLost) {
  main_.AddJob(u"照片");
  main_.WriteSource("照片/一.jpg", "1");
  main_.Start();
  QMenu& menu = *main_.Window.findChild<QMenu*>("mnuTray");
  QAction& exit = *main_.Action("mnuTrayExit");
  FindAction(menu, "暫停，直到恢復為止")->trigger();
  EXPECT_EQ(main_.Program.Pause.End(), kNoEnd);
  EXPECT_TRUE(Status().contains("排程已暫停"));
  WhenDialog([&](QWidget& dialog) {
    Q_EMIT menu.aboutToShow();
    EXPECT_FALSE(exit.isEnabled()) << "a dialog is open";
    Press(dialog, Qt::Key_Escape);
  });
  main_.Button(1).click();
  EXPECT_FALSE(main_.Window.HasEnded());
  Q_EMIT menu.aboutToShow();
  EXPECT_TRUE(exit.isEnabled());
  main_.Action("mnuTrayShow")->trigger();
  EXPECT_TRUE(!main_.Window.isVisible() || main_.Window.isMinimized());
  exit.trigger();
  EXPECT_TRUE(main_.Window.HasEnded());
}

TEST_F(PauseMenuTest, TellsWhenItCannotPauseOrCannotTell) {
  std::filesystem::create_directories(main_.Temp.Home() / "Pause.txt");
  main_.Start();
  EXPECT_TRUE(WaitUntil([&] { return Status().contains("Pause.txt」，排程照常執行"); }));
  const QString told = MessageOf([&] { main_.Action("mnuPauseNoEnd")->trigger(); });
  EXPECT_TRUE(told.startsWith("無法寫入「")) << told.toStdString();
}

}  // namespace
}  // namespace kavrel
