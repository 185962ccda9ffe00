// The job editor: the list of jobs, and the pages that create and change one.
#pragma once

#include <QDialog>
#include <cstdint>

#include "ui/file_picker.h"

namespace kavrel {

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

  void SetPicker(FilePicker& picker) { picker_ = &picker; }

 private:
  Program& program_;
  FilePicker* picker_ = &DesktopFilePicker();
};

}  // namespace kavrel
