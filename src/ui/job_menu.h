// The context menu of the job list.
#pragma once

#include <QMenu>
#include <QObject>

#include "ui/job_list.h"

class QActionGroup;

namespace kavrel {

class JobMenu : public QObject {
  Q_OBJECT

 public:
  /// All outlive the menu, which is the window's child.
  JobMenu(Program& program, JobList& list, QWidget* window);

  /// Checks what the settings say, and shows the list so.
  void ShowSettings();
  /// Opens the menu for the selected job, or for none.
  void Popup(QPoint position);

 Q_SIGNALS:
  void RunWanted(int row);
  void RestoreWanted(int row);
  void RestoreSomeWanted(int row);
  void VerifyWanted(int row);
  void ScrubWanted(int row);
  void DrillWanted(int row);
  void PreviewWanted(int row);
  void RestorePreviewWanted(int row);
  /// -1 for a new job.
  void EditWanted(int row);
  void DuplicateWanted(int row);
  void RemoveWanted(int row);
  void MoveWanted(int row, int to);
  void SearchWanted();
  void AcceptChangesWanted(int row);

 private:
  void BuildJobItems();
  void BuildOrderItems();
  void BuildViewItems();
  void OpenFolder(int row, bool destination);

  Program& program_;
  JobList& list_;
  QMenu* menu_;
  QAction *run_, *preview_, *restore_, *restore_some_, *verify_, *edit_, *source_, *destination_,
      *grid_, *restore_preview_, *duplicate_, *remove_, *up_, *down_, *search_, *accept_, *scrub_,
      *drill_;
  QActionGroup* view_;
  QList<QAction*> columns_;
};

}  // namespace kavrel
