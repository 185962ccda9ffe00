// The job editor: the list of jobs, and the pages that create and change one.
#pragma once

#include <QDialog>
#include <QTimer>
#include <cstdint>

#include "core/backup_job.h"
#include "core/job_form.h"
#include "ui/controls/cls_tab_strip.h"
#include "ui/file_picker.h"

class QPushButton;

namespace kavrel {

class JobItemPage;
class JobListPage;
class JobPreviewBox;
class JobSafetyPage;
class JobTimePage;
class Program;

/// Works on the job store in memory. The caller has switched the scheduler off and saved the store
/// before, and reads the store again afterwards.
class FrmSet : public QDialog {
  Q_OBJECT

 public:
  FrmSet(Program& program, QWidget* parent);

  /// Shows the editor modally with this job being edited; -1 is a new job.
  void Edit(std::int32_t job_index);
  /// Shows the editor modally with its list of jobs, this one selected; -1 selects none.
  void List(std::int32_t job_index);
  /// Shows the editor modally with a copy of this job, which becomes one when it is applied.
  void Duplicate(std::int32_t job_index);

  void SetPicker(FilePicker& picker);
  /// As by Escape or the close box: leaves the page, or the window, and asks before anything that
  /// was entered is lost.
  void reject() override;

 private:
  void MakePages();
  void MakeButtons();
  void BeginEdit(bool dirty);
  void EnableMain(bool list_mode);
  void ShowJob(const BackupJob& job, bool changed);
  JobForm ReadForm() const;
  void FocusField(FormCheck check);
  void Changed();
  void ShowPreview();
  BackupJob* SelectedJob();

  void btnNew_Click();
  void btnEdit_Click();
  void btnDuplicate_Click();
  void btnDel_Click();
  void btnSaveJob_Click();
  void btnCancelJob_Click();
  void btnSave_Click();
  void btnCancel_Click();

  Program& program_;
  BackupJob buffer_;  ///< the job that is being edited
  bool store_dirty_ = false, list_mode_ = true;
  clsTabStrip tabs_;
  JobListPage* list_;
  JobItemPage* item_;
  JobTimePage* time_;
  JobSafetyPage* safety_;
  JobPreviewBox* preview_;
  QTimer preview_timer_;  ///< waits until the user pauses
  QPushButton *btnSaveJob_, *btnCancelJob_, *btnSave_, *btnCancel_;
};

}  // namespace kavrel
