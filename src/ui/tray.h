// The program in the desktop's notification area.
#pragma once

#include <QObject>

#include "core/backup_job.h"
#include "ui/controls/cls_notify_icon.h"

namespace kavrel {

/// Tells of the job at work in its tip, and of finished ones in messages.
class Tray : public QObject {
  Q_OBJECT

 public:
  explicit Tray(QWidget* window);

  /// False where a hidden window could not be called back.
  static bool Available() { return clsNotifyIcon::Available(); }

  void ShowIdle();
  /// The job at work; -1 percent when that is not known.
  void ShowRunning(const QString& job, int percent);
  void Remove() { icon_.RemoveIcon(); }
  QString ToolTip() const { return icon_.ToolTip(); }

  /// Notes a finished run for the next message.
  void NoteFinished(const BackupJob& job);
  /// Shows the message of what was noted, one for all, when `show`; forgets it.
  void TellFinished(bool show);

 Q_SIGNALS:
  /// A click with either button, or one on a message.
  void Click();
  void MessageClick();
  /// For whoever wants to know what the desktop was given.
  void MessageShown(const QString& title, const QString& text, bool warning);

 private:
  clsNotifyIcon icon_;
  int finished_ = 0, interrupted_ = 0;
  std::uint64_t copied_ = 0, failed_ = 0;
  QString name_;
};

}  // namespace kavrel
