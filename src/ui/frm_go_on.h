// The question that a run asks in its midst, with a countdown: a run that nobody watches stops by
// itself instead of holding up all others.
#pragma once

#include <QDialog>
#include <QTimer>

#include "core/run_host.h"

class QPushButton;

namespace kavrel {

class FrmGoOn : public QDialog {
  Q_OBJECT

 public:
  FrmGoOn(const RunQuestion& question, QWidget* parent);

  /// One second of the countdown.
  void timDelay_Timer();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void ShowSeconds();

  QTimer timDelay_;
  int seconds_;
  bool counting_ = true;
  QPushButton* btnStop_;
};

}  // namespace kavrel
