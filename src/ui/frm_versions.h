// All versions of one file over the states of its job, to be looked at and taken back.
#pragma once

#include <optional>
#include <vector>

#include "app/file_jobs.h"
#include "app/program.h"
#include "app/state_files.h"
#include "ui/controls/cls_lict_view.h"
#include "ui/reading_dialog.h"
#include "ui/restore_wish.h"

class QComboBox;
class QLabel;
class QPushButton;

namespace kavrel {

class StateOpener;

/// Accepted means that Wish is to be fulfilled. The scheduler is at rest meanwhile.
class FrmVersions : public ReadingDialog {
  Q_OBJECT

 public:
  /// `files`: the file as each of its jobs names it, at least one. What is handed over outlives the
  /// dialog.
  FrmVersions(Program& program, std::vector<FileOfJob> files, StateOpener& opener, QWidget* parent);

  const std::optional<RestoreWish>& Wish() const { return wish_; }

 protected:
  void Read() override;
  void ShowRead() override;

 private:
  QWidget* MakeVersions();
  QLayout* MakeButtons();
  const FileOfJob& File() const;
  const BackupJob& Job() const;
  /// What bears the name now.
  Result<FileStatus> Present() const;

  void AddVersion(const FileVersion& version, const Result<FileStatus>& present);
  QString StatesText(const FileVersion& version) const;
  void ShowUnread();
  void ShowSelected();
  /// The version that is selected; null when none is.
  const FileVersion* Selected() const;
  /// The state that it is taken from: the newest whole one that has it, else the newest.
  const JobState& StateOf(const FileVersion& version) const;

  void OpenSelected();
  void RestoreSelected();
  void PutBeside();
  void Take(const FileVersion& version, bool beside);

  Program& program_;
  const std::vector<FileOfJob> files_;
  StateOpener& opener_;
  std::vector<JobState> states_;
  FileVersions found_;
  std::optional<RestoreWish> wish_;
  QComboBox* cboJob_;
  QLabel *lblFile_, *lblNow_, *lblNote_;
  clsLictView lstVersions_;
  QPushButton *btnOpen_, *btnRestore_, *btnBeside_;
};

}  // namespace kavrel
