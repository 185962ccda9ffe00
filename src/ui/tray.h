// The program in the desktop's notification area.
#pragma once

#include <QObject>
#include <optional>

#include "app/run_end.h"
#include "app/run_health.h"
#include "core/backup_job.h"
#include "engine/verify.h"
#include "ui/controls/cls_notify_icon.h"

class QMenu;

namespace kavrel {

/// Tells of the job at work in its tip, of finished ones in messages, and with a mark on the icon
/// how the last runs went.
class Tray : public QObject {
  Q_OBJECT

 public:
  explicit Tray(QWidget* window);

  /// False where a hidden window could not be called back.
  static bool Available() { return clsNotifyIcon::Available(); }

  /// What a click with the right button opens; the menu is another's.
  void SetMenu(QMenu* menu) { icon_.SetMenu(menu); }
  void ShowIdle();
  /// The job at work; -1 percent when that is not known.
  void ShowRunning(const QString& job, int percent);
  void Remove() { icon_.RemoveIcon(); }
  QString ToolTip() const { return icon_.ToolTip(); }
  void ShowHealth(const RunHealth& health);

  /// Notes a finished run for the next message, with what a verification found after it, if there
  /// was one, and the log to look into.
  void NoteFinished(const BackupJob& job, const std::optional<VerifyReport>& verified,
                    const std::u16string& log_path);
  /// Shows the message of what was noted, one for all, when `show`; forgets it.
  void TellFinished(bool show);
  /// Shows a message about one run, restore or verification.
  void Tell(const RunEnd& end);
  /// Tells that the hidden window's program goes on, and how to end it.
  void TellHidden();
  /// Whether the last message was about runs.
  bool ToldOfRuns() const { return told_of_runs_; }
  /// The log of the run that the last message told of; empty when it told of several, or there is
  /// none.
  const std::u16string& MessageLog() const { return message_log_; }

 Q_SIGNALS:
  /// A click with the left button, or one on a message.
  void Click();
  void MessageClick();
  /// The desktop was given this message.
  void MessageShown(const QString& title, const QString& text, bool warning);

 private:
  void Show(const QString& title, const QString& text, bool warning);

  clsNotifyIcon icon_;
  int finished_ = 0, interrupted_ = 0, unverified_ = 0;
  std::uint64_t copied_ = 0, failed_ = 0, differences_ = 0;
  QString name_, idle_tip_;
  std::u16string log_path_, message_log_;
  bool told_of_runs_ = false;
  RunHealth health_;
  QString health_text_;
};

}  // namespace kavrel
