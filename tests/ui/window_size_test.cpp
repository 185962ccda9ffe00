// The window opens as the user left it, and is not larger than its screen.
#include "ui/window_size.h"

#include <gtest/gtest.h>

#include <QHeaderView>
#include <QScreen>

#include "ui/main_window.h"

namespace kavrel {
namespace {

constexpr int kResultColumn = 14;

TEST(WindowSize, TheMainWindowOpensAsItWasLeftAndFitsOnTheScreen) {
  MainWindow main;
  main.AddJob(u"一");
  main.AddJob(u"二");
  main.Start();
  const QSize screen = main.Window.screen()->availableSize();
  EXPECT_LE(main.Window.minimumWidth(), screen.width());
  EXPECT_LT(main.Window.minimumHeight(), screen.height()) << "there is a title above";
  main.Window.setGeometry(20, 30, main.Window.minimumWidth() + 11, main.Window.minimumHeight() + 7);
  auto* header = main.Jobs().hwnd()->findChild<QHeaderView*>();
  header->resizeSection(0, 222);
  header->moveSection(header->visualIndex(kResultColumn), 1);
  Click(*header->viewport(), {30, 5});
  Click(*header->viewport(), {30, 5});
  EXPECT_EQ(main.Jobs().ShownPosition(0), 1) << "sorted downwards";
  main.Window.EndProgram();

  FrmMain again;
  kavrel::Program program(TempFolder::Text(main.Temp.Home()),
                          TempFolder::Text(main.Temp.Home() / "Settings.ini"), main.Clock, again);
  again.Start(program, {});
  EXPECT_EQ(again.geometry(), main.Window.geometry());
  clsLictView& jobs = again.findChild<JobList*>()->View();
  EXPECT_EQ(jobs.ColumnWidth(0), 222);
  EXPECT_EQ(jobs.hwnd()->findChild<QHeaderView*>()->visualIndex(kResultColumn), 1);
  EXPECT_EQ(jobs.ShownPosition(0), 1);
  const QString before = jobs.Arrangement();
  for (const char* broken : {"", "1:2", "x", "0:0,0:1,0:2"}) jobs.SetArrangement(broken);
  jobs.SetArrangement(QString(before).replace(QString(",2:"), QString(",1:")));
  EXPECT_EQ(jobs.Arrangement(), before);
}

}  // namespace
}  // namespace kavrel
