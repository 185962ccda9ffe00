// The editor of the file-type filters.
#pragma once

#include <QDialog>

namespace kavrel {

class Program;

/// Works on the program's filter table; whoever opens it reads the table again afterwards, so that
/// what was not saved is dropped.
class frmFFEdit : public QDialog {
  Q_OBJECT

 public:
  frmFFEdit(Program& program, QWidget* parent);

 private:
  Program& program_;
};

}  // namespace kavrel
