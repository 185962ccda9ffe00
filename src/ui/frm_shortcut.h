// The dialog that writes launchers: files on the desktop that start the program with the names of
// jobs to run.
#pragma once

#include <QDialog>

#include "ui/file_picker.h"

namespace kavrel {

class Program;

class frmShortcut : public QDialog {
  Q_OBJECT

 public:
  /// Reads the job store from its file again.
  frmShortcut(Program& program, QWidget* parent);

  void SetPicker(FilePicker& picker) { picker_ = &picker; }

 private:
  Program& program_;
  FilePicker* picker_ = &DesktopFilePicker();
};

}  // namespace kavrel
