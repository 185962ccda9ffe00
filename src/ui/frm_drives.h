// The dialog in which the user tells where the drives and shares that jobs name lie on this
// machine: jobs that were made on Windows name some that are nowhere here.
#pragma once

#include <QDialog>
#include <vector>

#include "app/drives.h"
#include "ui/controls/cls_lict_view.h"
#include "ui/file_picker.h"

class QPushButton;

namespace kavrel {

class frmDrives : public QDialog {
  Q_OBJECT

 public:
  /// `volumes` are the disks on which a folder is looked for that can be proposed.
  frmDrives(Program& program, QWidget* parent, const std::vector<std::u16string>& volumes);

  void SetPicker(FilePicker& picker) { picker_ = &picker; }

  /// Notes what was left without a folder, so that nobody asks about it again.
  void done(int result) override;

 private:
  struct Row {
    DriveUse Use;
    std::u16string Folder;  ///< as it is to be
  };

  void ShowRow(int row);
  void ChooseFolder();
  void ClearFolder();
  void SelectionChanged();
  /// False when a drive could not be given its folder.
  bool Apply();

  Program& program_;
  FilePicker* picker_ = &DesktopFilePicker();
  std::vector<Row> rows_;
  clsLictView lstDrives_;
  QPushButton *btnFolder_, *btnClear_;
};

}  // namespace kavrel
