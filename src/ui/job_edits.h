// What is done to the jobs in the main window's list without the editor: removed, moved, searched.
#pragma once

#include <QList>
#include <QWidget>
#include <functional>

#include "app/program.h"

class QLineEdit;
class QShortcut;

namespace kavrel {

class JobList;

class JobEdits : public QObject {
  Q_OBJECT

 public:
  /// All outlive this; `window` is the parent.
  JobEdits(Program& program, JobList& list, QWidget* window);

  /// The strip with the search, to be put above the list; hidden at first.
  QWidget* SearchStrip() const { return strip_; }
  void OpenSearch();
  void CloseSearch();

  void Remove(int row);
  /// Ends the alarm of the change guard: what has changed was meant.
  void AcceptChanges(int row);
  /// Moves the job of that row to another place, which is its place in the order of runs, too.
  void Move(int row, int to);
  /// Whether what is shown is that order: nothing is sorted, nothing left out.
  bool MayMove() const;

 Q_SIGNALS:
  /// To be done with the scheduler at rest; the list is filled anew afterwards.
  void EditWanted(const std::function<void()>& edit);

 private:
  void MakeSearch();
  /// Stores the jobs as they are now; what is refused is told.
  void Save();
  void MoveBy(int step);

  Program& program_;
  JobList& list_;
  QWidget *window_, *strip_;
  QLineEdit* txtSearch_;
  QShortcut* escape_;  ///< only while there is a search
};

}  // namespace kavrel
