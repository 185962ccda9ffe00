// The files that runs could not deal with, and why.
#pragma once

#include <QDialog>
#include <string>
#include <vector>

#include "app/program.h"
#include "ui/controls/cls_lict_view.h"

class QLabel;

namespace kavrel {

class FrmFailures : public QDialog {
  Q_OBJECT

 public:
  /// Shows what these job logs tell.
  FrmFailures(Program& program, const std::vector<std::u16string>& logs, QWidget* parent);

 private:
  void Fill(const std::vector<std::u16string>& logs);
  void Copy() const;

  Program& program_;
  clsLictView lstFailures_;
  QLabel* lblFailures_;
};

}  // namespace kavrel
