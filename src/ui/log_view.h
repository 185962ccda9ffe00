// The list of the finished runs in the main window, with its context menu.
#pragma once

#include <QMenu>
#include <QObject>
#include <QTimer>

#include "app/program.h"
#include "log/log_filter.h"
#include "ui/controls/cls_lict_view.h"

class QActionGroup;

namespace kavrel {

class LogBar;

class LogView : public QObject {
  Q_OBJECT

 public:
  /// The program outlives this; the menu is the window's child.
  LogView(Program& program, QWidget* container, QWidget* window);
  ~LogView() override;

  clsLictView& View() { return view_; }

  /// Checks what the settings say.
  void ShowSettings();
  /// Shows the program's rows, and from now on every change of them.
  void Follow();
  /// Shows at once what has changed; it would be shown with the next events otherwise.
  void CatchUp();
  /// Selects the newest run and brings it into view.
  void ShowNewest();
  /// Has the desktop open the job log of that path; where it has no program for that, shows it.
  void OpenLog(const std::u16string& path) const;
  /// Shows the job log of that path in a window of its own.
  void ViewLog(const std::u16string& path) const;

 Q_SIGNALS:
  /// Rows came or went.
  void CountChanged();

 private:
  void AddColumns();
  void ConnectList();
  void BuildMenu();
  void AddRow(const LogRow& row);
  void NotifyKeyDown(int key, bool& handled);
  void OpenSelected();
  void ViewSelected();
  void DeleteSelected();
  void DeleteAll();
  /// Whether the row, or what is shown of it, is what the filter wants.
  bool Matches(const LogRow& row, const LogFilter& filter) const;
  std::vector<std::size_t> FilteredRows() const;

  Program& program_;
  QWidget* window_;
  LogBar* bar_;
  clsLictView view_;
  QMenu* menu_;
  QActionGroup* display_;
  QActionGroup* restrictions_;
  QAction* delete_all_;
  std::vector<LogRow> shown_;
  std::vector<std::size_t> positions_;  ///< of the shown rows in the program's list
  QTimer later_;
};

}  // namespace kavrel
