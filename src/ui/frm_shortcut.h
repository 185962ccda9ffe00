// The dialog that writes launchers: files on the desktop that start the program with the names of
// jobs to run.
#pragma once

#include <QDialog>
#include <cstdint>
#include <string>
#include <vector>

#include "ui/controls/cls_lict_view.h"
#include "ui/file_picker.h"

class QLabel;
class QPushButton;

namespace kavrel {

class Program;

class frmShortcut : public QDialog {
  Q_OBJECT

 public:
  /// Reads the job store from its file again.
  frmShortcut(Program& program, QWidget* parent);

  void SetPicker(FilePicker& picker) { picker_ = &picker; }

 private:
  std::vector<std::u16string> CheckedNames() const;
  void Enable(bool on);
  void SaveShortcut();
  void lstJobs_ItemCheck();
  void btnSave_Click();

  Program& program_;
  FilePicker* picker_ = &DesktopFilePicker();
  QLabel *lblJobs_, *lblState_;
  clsLictView lstJobs_;
  std::vector<std::int32_t> indexes_;  ///< a position in the store a line
  QPushButton* btnSave_;
};

}  // namespace kavrel
