// The job editor's first page: the list of all jobs.
#pragma once

#include <QWidget>
#include <cstdint>
#include <vector>

#include "core/backup_job.h"
#include "ui/controls/cls_lict_view.h"

class QPushButton;

namespace kavrel {

/// Rows are jobs by their JobIndex.
class JobListPage : public QWidget {
  Q_OBJECT

 public:
  JobListPage();

  void Fill(const std::vector<BackupJob>& jobs);
  /// Appends a row, or changes the name of the one that shows the job; gives the row.
  int SetJob(std::int32_t job_index, const std::u16string& name);
  /// Removes the selected row and selects the one that takes its place, or the new last one.
  void RemoveSelected();
  void Select(std::int32_t job_index);
  /// The selected job's index; -1 when there is none.
  std::int32_t Selected() const;
  void FocusList() { lstJobs_.SetFocus(); }

 Q_SIGNALS:
  void NewJob();
  void EditJob();
  void Duplicate();
  void RemoveJob();
  /// Another row, or none, is selected.
  void SelectionChanged();

 private:
  void EnableButtons();
  void lstJobs_NotifyKeyDown(int key, bool& handled);

  clsLictView lstJobs_;
  std::vector<std::int32_t> indexes_;  ///< a JobIndex a row
  QPushButton *btnEdit_, *btnDuplicate_, *btnDel_;
};

}  // namespace kavrel
