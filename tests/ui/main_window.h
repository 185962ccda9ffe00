// The real main window over a real program folder, with a set clock.
#pragma once

#include <QMessageBox>
#include <string>

#include "app/program.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"
#include "ui/controls/cls_toolbar.h"
#include "ui/frm_main.h"
#include "ui/job_list.h"
#include "ui/log_view.h"
#include "ui/window_driver.h"

namespace kavrel {

struct MainWindow {
  TempFolder Temp;
  SetClock Clock{2026, 11, 24, 15, 4, 5};
  FrmMain Window;
  kavrel::Program Program{TempFolder::Text(Temp.Home()),
                          TempFolder::Text(Temp.Home() / "Settings.ini"), Clock, Window};

  /// A job that is switched on, from C:\name\ into D:\name\, due tomorrow. To be added before
  /// Start.
  BackupJob& AddJob(const std::u16string& name);
  /// A file in the job's source.
  void WriteSource(const std::string& path, std::string_view content) const;
  std::filesystem::path Backup(const std::string& path) const { return Temp.DriveD() / path; }
  /// A row of the program log, with a job log file of its own.
  void AddLogRow(const std::u16string& name, const std::u16string& failed = u"0");

  /// Saves what was added, starts the window over it and waits until it is up.
  void Start(std::u16string_view command_line = {});

  clsLictView& Jobs() { return Window.findChild<JobList*>()->View(); }
  clsLictView& Logs() { return Window.findChild<LogView*>()->View(); }
  /// A named area, strip or button; null when there is none.
  QWidget* Named(const char* name) { return Window.findChild<QWidget*>(QString(name)); }
  QAction* Action(const char* name) { return Window.findChild<QAction*>(QString(name)); }
  QToolButton& Button(int index);
  bool Shown(const char* name) { return Named(name)->isVisibleTo(&Window); }

  /// Opens a list's context menu on this row (-1 = beside the rows) and chooses the action of that
  /// name; without a name only looks. Gives the captions, "*" before the default one.
  QStringList Menu(clsLictView& list, int row, const QString& choose = {});
  /// Answers the next message boxes, one after the other; each is to hold its text.
  struct Reply {
    QString Text;
    QString Button;
  };
  void Answer(const QList<Reply>& replies);
  int Answered = 0;
  QString Stored(std::u16string_view setting) const;
};

}  // namespace kavrel
