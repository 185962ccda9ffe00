#include "ui/tray.h"

#include <QWidget>

#include "app/program.h"
#include "base/number.h"
#include "ui/health_icon.h"
#include "ui/qt_text.h"

namespace kavrel {

Tray::Tray(QWidget* window) : QObject(window) {
  connect(&icon_, &clsNotifyIcon::LButtonUp, this, &Tray::Click);
  connect(&icon_, &clsNotifyIcon::MessageClick, this, &Tray::MessageClick);
  idle_tip_ = TrText(kAppTitle);
  icon_.Init(window, {}, idle_tip_);
}

void Tray::ShowIdle() {
  icon_.SetToolTip(idle_tip_);
}

void Tray::ShowHealth(const RunHealth& health) {
  const QString text = ShownText(HealthText(health));
  if (health == health_ && text == health_text_) return;
  if (health.State != health_.State) icon_.SetIcon(HealthIcon(health.State));
  health_ = health;
  health_text_ = text;
  const bool idle = icon_.ToolTip() == idle_tip_;
  idle_tip_ = TrText(kAppTitle) + (text.isEmpty() ? QString() : u'\n' + text);
  if (idle) ShowIdle();
}

void Tray::ShowRunning(const QString& job, int percent) {
  QString text = TrText(kAppTitle) + TrText(u"\n執行中：") + job;
  if (percent >= 0) text += QStringLiteral(" %1 %").arg(percent);
  icon_.SetToolTip(text);
}

void Tray::NoteFinished(const BackupJob& job, const std::optional<VerifyReport>& verified,
                        const std::u16string& log_path) {
  log_path_ = finished_ == 0 ? log_path : std::u16string();
  ++finished_;
  name_ = NameText(job.Name);
  if (job.LastRunResult.Stopped) ++interrupted_;
  copied_ += job.LastRunResult.CopiedFiles;
  failed_ += job.LastRunResult.FailedFiles + job.LastRunResult.UnseenFiles;
  if (!verified) return;
  differences_ += verified->Counters.Differences();
  if (verified->Stopped) ++unverified_;
}

void Tray::Show(const QString& title, const QString& text, bool warning) {
  told_of_runs_ = true;
  icon_.ShowMessage(title, text, warning);
  Q_EMIT MessageShown(title, text, warning);
}

void Tray::TellHidden() {
  Show(TrText(u"視窗已隱藏，程式繼續執行"),
       TrText(u"按這裡的圖示可以再顯示視窗。\n要結束程式，請按工具列的「結束」（Ctrl+Q），"
              "或在圖示上按右鍵選「結束Kavrel」。"),
       false);
  told_of_runs_ = false;
}

void Tray::Tell(const RunEnd& end) {
  message_log_ = end.LogPath;
  Show(NameText(end.Job), ShownText(end.Text), end.Bad);
}

void Tray::TellFinished(bool show) {
  if (finished_ > 0 && show) {
    const QString state = interrupted_ > 0 ? TrText(u"備份中斷") : TrText(u"備份完成");
    const QString title = finished_ == 1 ? TrText(u"%1：%2").arg(state, name_)
                                         : TrText(u"%1：%2 個排程").arg(state).arg(finished_);
    QString text = ToQString(TrCount(u"備份 %1 個檔案", copied_)) + TrText(u"，") +
                   ToQString(TrCount(u"失敗 %1 個檔案", failed_));
    if (differences_ > 0) {
      text += TrText(u"，") + ToQString(TrCount(u"驗證發現 %1 個差異", differences_));
    }
    if (unverified_ > 0) text += TrText(u"，驗證中斷");
    const bool warning = failed_ > 0 || interrupted_ > 0 || differences_ > 0 || unverified_ > 0;
    message_log_ = log_path_;
    Show(title, text, warning);
  }
  finished_ = interrupted_ = unverified_ = 0;
  copied_ = failed_ = differences_ = 0;
}

}  // namespace kavrel
