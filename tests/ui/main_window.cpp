#include "ui/main_window.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QTest>
#include <QToolBar>
#include <QToolButton>

#include "base/text.h"
#include "ui/qt_text.h"

namespace kavrel {

BackupJob& MainWindow::AddJob(const std::u16string& name) {
  BackupJob job;
  NewJobDefaults(job, Clock.Now(), u"");
  job.JobIndex = static_cast<std::int32_t>(Program.Store.Jobs.size());
  job.Name = name;
  job.Source.Path = u"C:\\" + name + u"\\";
  job.Destination.Path = u"D:\\" + name + u"\\";
  job.AddSourceFolder = false;
  job.Enabled = true;
  SetInterval(job, IntervalKind::Days, 1);
  job.NextRun = Program.NextRunTimeOf(job);
  SetJobType(job, BackupType::Full);
  std::filesystem::create_directories(Temp.DriveC() / ToUtf8(name));
  return Program.Store.Jobs.emplace_back(job);
}

void MainWindow::WriteSource(const std::string& path, std::string_view content) const {
  WriteTestFile(Temp.DriveC() / path, content);
}

void MainWindow::AddLogRow(const std::u16string& name, const std::u16string& failed) {
  const std::string file = "Log/" + std::to_string(Program.LogRows.Rows().size()) + ".txt";
  WriteTestFile(Temp.Home() / file, "log");
  Program.LogRows.Append(
      ReadLogRow({name, u"備份完成", u"1,234", u"0", failed, u"2026/11/23 下午 03:04:05",
                  u"2026/11/25 下午 03:04:05", TempFolder::Text(Temp.Home() / file)}));
}

void MainWindow::Start(std::u16string_view command_line) {
  std::filesystem::create_directories(Temp.Home() / "Log");
  Program.Store.SaveJobs();
  Program.History.SaveProgramLog();
  Program.LogRows.Clear();
  Window.Start(Program, command_line);
  Window.activateWindow();
  (void)QTest::qWaitForWindowActive(&Window, 5000);
}

QToolButton& MainWindow::Button(int index) {
  const auto* bar = Window.findChild<QToolBar*>();
  return *qobject_cast<QToolButton*>(bar->widgetForAction(bar->actions().at(index - 1)));
}

QStringList MainWindow::Menu(clsLictView& list, int row, const QString& choose) {
  QStringList captions;
  QWidget& port = *ViewOf(*list.hwnd()).viewport();
  const QPoint beside(port.width() - 3, port.height() - 3);
  WhenMenu([&](QMenu& menu) {
    QAction* chosen = nullptr;
    for (QAction* action : menu.actions()) {
      if (action->objectName() == choose) chosen = action;
      if (action->isSeparator() || !action->isVisible()) continue;
      captions += (action == menu.defaultAction() ? "*" : "") + action->text();
    }
    menu.close();
    if (chosen != nullptr) chosen->trigger();
  });
  RightClick(port, row < 0 ? beside : CellCentre(*list.hwnd(), list.ShownPosition(row)));
  EXPECT_TRUE(WaitUntil(
      [&] { return !captions.isEmpty() && QApplication::activePopupWidget() == nullptr; }));
  return captions;
}

void MainWindow::Answer(const QList<Reply>& replies) {
  if (replies.isEmpty()) return;
  WhenDialog([this, replies](QWidget& dialog) {
    auto& box = dynamic_cast<QMessageBox&>(dialog);
    EXPECT_EQ(box.windowTitle(), "Kavrel Ver 2.05 專業版");
    EXPECT_TRUE(box.text().contains(replies[0].Text)) << box.text().toStdString();
    ++Answered;
    Answer(replies.mid(1));
    for (QAbstractButton* button : box.buttons()) {
      if (PlainCaption(button->text()) == replies[0].Button) return button->click();
    }
    ADD_FAILURE() << "no such button";
  });
}

QString MainWindow::Stored(std::u16string_view setting) const {
  return ToQString(Program.Preferences.TextOf(*FindSetting(setting)));
}

}  // namespace kavrel
