// The dialog that asks about a job whose time passed while the program was not running.
#pragma once

#include <QDialog>
#include <QTimer>

#include "schedule/past_due.h"

class QPushButton;

namespace kavrel {

/// Shows the question, whose countdown has begun, until it is answered; nothing else closes it.
class FrmPastDue : public QDialog {
  Q_OBJECT

 public:
  FrmPastDue(PastDueQuestion& question, QWidget* parent);

  /// One second of the countdown.
  void timDelay_Timer();
  /// The Escape key: as a click beside the buttons, it only stops the countdown.
  void reject() override { StopCountdown(); }

 protected:
  void showEvent(QShowEvent* event) override;
  void closeEvent(QCloseEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  void Answer(bool later);
  void StopCountdown();

  PastDueQuestion& question_;
  QTimer timDelay_;
  QPushButton *btnLater_, *btnNow_;
};

}  // namespace kavrel
