#include "ui/tray.h"

#include <QWidget>

#include "app/program.h"
#include "base/number.h"
#include "ui/qt_text.h"

namespace kavrel {

Tray::Tray(QWidget* window) : QObject(window) {
  connect(&icon_, &clsNotifyIcon::LButtonUp, this, &Tray::Click);
  connect(&icon_, &clsNotifyIcon::RButtonUp, this, &Tray::Click);
  connect(&icon_, &clsNotifyIcon::MessageClick, this, &Tray::MessageClick);
  icon_.Init(window, {}, ToQString(kAppTitle));
}

void Tray::ShowIdle() {
  icon_.SetToolTip(ToQString(kAppTitle));
}

void Tray::ShowRunning(const QString& job, int percent) {
  QString text = ToQString(kAppTitle) + QStringLiteral("\n執行中：") + job;
  if (percent >= 0) text += QStringLiteral(" %1 %").arg(percent);
  icon_.SetToolTip(text);
}

void Tray::NoteFinished(const BackupJob& job) {
  ++finished_;
  name_ = ToQString(job.Name);
  if (job.LastRunResult.Stopped) ++interrupted_;
  copied_ += job.LastRunResult.CopiedFiles;
  failed_ += job.LastRunResult.FailedFiles;
}

void Tray::TellFinished(bool show) {
  if (finished_ > 0 && show) {
    const QString state =
        interrupted_ > 0 ? QStringLiteral("備份中斷") : QStringLiteral("備份完成");
    const QString title = finished_ == 1
                              ? QStringLiteral("%1：%2").arg(state, name_)
                              : QStringLiteral("%1：%2 個排程").arg(state).arg(finished_);
    const QString text = QStringLiteral("備份 %1 個檔案，失敗 %2 個檔案")
                             .arg(ToQString(Grouped(copied_)), ToQString(Grouped(failed_)));
    const bool warning = failed_ > 0 || interrupted_ > 0;
    icon_.ShowMessage(title, text, warning);
    Q_EMIT MessageShown(title, text, warning);
  }
  finished_ = interrupted_ = 0;
  copied_ = failed_ = 0;
}

}  // namespace kavrel
