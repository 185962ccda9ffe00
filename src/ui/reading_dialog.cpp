#include "ui/reading_dialog.h"

#include <QTimer>
#include <utility>

namespace kavrel {

void ReadingDialog::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!std::exchange(begun_, true)) QTimer::singleShot(0, this, &ReadingDialog::ReadAll);
}

void ReadingDialog::ReadAnew() {
  if (!monitor_.AtWork()) return ReadAll();
  again_ = true;
  monitor_.Stop();
}

void ReadingDialog::ReadAll() {
  do {
    again_ = false;
    monitor_.Begin();
    Read();
    monitor_.End();
  } while (again_ && !closing_);
  if (closing_ || monitor_.Stopped()) return QDialog::reject();
  ShowRead();
}

void ReadingDialog::reject() {
  closing_ = true;
  monitor_.Stop();
  if (!monitor_.AtWork()) QDialog::reject();
}

}  // namespace kavrel
