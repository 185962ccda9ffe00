// The list of the jobs in the main window: row i shows job i of the store.
#pragma once

#include <QObject>
#include <vector>

#include "app/program.h"
#include "app/run_health.h"
#include "ui/controls/cls_lict_view.h"

namespace kavrel {

/// A column that the user may switch off; the setting OutWidth of its number tells.
struct JobColumnSwitch {
  int Column;
  const char16_t* Caption;
};
inline constexpr int kJobColumnSwitches = 12;

class JobList : public QObject {
  Q_OBJECT

 public:
  JobList(Program& program, QWidget* container);

  clsLictView& View() { return view_; }

  /// Shows the store's jobs and selects the first.
  void Fill();
  /// Shows the times of the job of this row.
  void ShowTimes(int row);
  /// Shows how it stands with each job; what has not changed is left alone.
  void ShowHealth(const std::vector<JobHealth>& health);
  /// Shows this moment as the job's last run.
  void ShowStarted(int row, DateTime now);

  static JobColumnSwitch SwitchAt(int number);
  /// Shows or hides the column of that switch.
  void ShowColumn(int number, bool on);
  /// The view of that number: 0 large icons, 1 small icons, 2 list, 3 details.
  void SetView(int number);

  /// Shows only jobs with the text in their name, source or destination; all with an empty text.
  void Search(const QString& text);
  /// Whether the rows stand in the order of the runs, all of them.
  bool InOrder() const { return view_.InOrder(); }

  /// The text that explains a row: one line a column, and what the log tells of a run that went
  /// badly.
  QString InfoTip(int row) const;

 Q_SIGNALS:
  /// A double click or Enter on a job.
  void Activated(int row);
  /// Delete on a job.
  void RemoveWanted(int row);

 private:
  void AddColumns();
  int WidthOf(int column) const;
  void ShowTime(int row, int column, DateTime time);
  QStringList Troubles(int row) const;

  Program& program_;
  clsLictView view_;
  std::vector<JobHealth> health_;  ///< as shown, a row each
};

/// The width of a list column: as designed, but wide enough for its caption and this text as they
/// are shown in the user's font.
int ColumnWidthFor(const QWidget& list, int designed, const QString& caption,
                   const char16_t* longest);
/// A time as long as times get.
// not translated: only measured
inline constexpr const char16_t* kLongestTime = u"2026/12/24 下午 00:00:00";

/// The style of a view menu's item: its order is not that of the styles.
clsLictView::ViewStyle ViewStyleOf(int menu_item);

}  // namespace kavrel
