// The files that runs could not deal with, and why.
#pragma once

#include <QDialog>
#include <string>
#include <vector>

#include "app/run_end.h"
#include "ui/controls/cls_lict_view.h"

class QLabel;

namespace kavrel {

class FrmFailures : public QDialog {
  Q_OBJECT

 public:
  /// Shows what these runs have told, or, of runs before this start of the program, their logs.
  FrmFailures(Program& program, const std::vector<RunEnd>& ends, QWidget* parent);

 private:
  void Fill(const std::vector<RunEnd>& ends);
  void Add(const std::vector<RunFailure>& failures);
  void Copy() const;

  Program& program_;
  clsLictView lstFailures_;
  QLabel* lblFailures_;
};

}  // namespace kavrel
