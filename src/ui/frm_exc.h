// The editor of the exclusion rules.
#pragma once

#include <QDialog>

namespace kavrel {

class Program;

class frmExc : public QDialog {
  Q_OBJECT

 public:
  frmExc(Program& program, QWidget* parent);

 private:
  Program& program_;
};

}  // namespace kavrel
