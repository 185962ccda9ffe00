// A dialog that reads backups for a while, which does not freeze it and ends with it.
#pragma once

#include <QDialog>

#include "ui/reading_monitor.h"

namespace kavrel {

class ReadingDialog : public QDialog {
  Q_OBJECT

 public:
  using QDialog::QDialog;

  /// Ends what is being read, then closes.
  void reject() override;

 protected:
  void showEvent(QShowEvent* event) override;
  /// Another choice: what is being read for the former one ends.
  void ReadAnew();
  /// Reads what was chosen, telling Monitor.
  virtual void Read() = 0;
  /// That has come to its end.
  virtual void ShowRead() = 0;
  ReadingMonitor& Monitor() { return monitor_; }

 private:
  void ReadAll();

  ReadingMonitor monitor_;
  bool again_ = false, closing_ = false, begun_ = false;
};

}  // namespace kavrel
