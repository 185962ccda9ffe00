// The main window as the host of runs: how they are begun, shown while they work, and told at their
// end.
#include <QApplication>
#include <QTimer>

#include "app/run_end.h"
#include "base/number.h"
#include "platform/process.h"
#include "ui/backup_care.h"
#include "ui/dialogs.h"
#include "ui/frm_main.h"
#include "ui/job_edits.h"
#include "ui/job_list.h"
#include "ui/log_view.h"
#include "ui/message_box.h"
#include "ui/options_menu.h"
#include "ui/qt_text.h"
#include "ui/result_bar.h"
#include "ui/run_panel.h"
#include "ui/run_show.h"
#include "ui/tray.h"
#include "ui/welcome_page.h"

namespace kavrel {

namespace {

/// What follows the clock in the status bar.
QString PauseStatus(const SchedulePause& pause, const std::optional<DateTime>& end) {
  if (end) return TrText(u"　　") + ShownText(PauseText(*end));
  if (!pause.LastError()) return {};
  return TrText(u"　　無法讀取「%1」，排程照常執行").arg(ToQString(pause.Path()));
}

}  // namespace

void FrmMain::RunCheckedJobs() {
  if (jobs_->View().ItemCount() == 0) return;
  ShowLog(false);
  // All that is about to run is to be seen.
  job_edits_->CloseSearch();
  if (!Confirm(*this, TrText(u"您確定要執行備份清單上已勾選的排程嗎？"))) {
    jobs_->View().ListRefresh();
    return;
  }
  program_->Schedule.RunCheckedJobs();
  const QStringList undone = result_->Undone();
  if (ended_ || undone.isEmpty()) return;
  constexpr qsizetype kMostLines = 12;
  QString text = TrText(u"以下排程沒有完整執行：\n") + undone.mid(0, kMostLines).join(u'\n');
  if (undone.size() > kMostLines) {
    text += TrText(u"\n…共 %1 個").arg(undone.size());
  }
  TellFailure(*this, text);
}

void FrmMain::lstJob_ItemCheck(int row, bool checked) {
  program_->SetJobEnabled(row, checked, isVisible());
}

void FrmMain::AskAndRun(int row) {
  if (row < 0 || row >= std::ssize(program_->Store.Jobs)) return;
  const QString name = jobs_->View().ItemText(row, 0);
  if (Confirm(*this, TrText(u"您確定要執行「%1」備份排程嗎？").arg(name))) RunNow(row);
}

void FrmMain::PreviewAndRun(int row) {
  if (program_->State.RunBusy || row < 0 || row >= std::ssize(program_->Store.Jobs)) return;
  program_->Schedule.SetSchedulerTimer(false);
  const bool run = OpenPreview(*program_, row, this);
  if (ended_) return;
  program_->Schedule.SetSchedulerTimer(true);
  if (run) RunNow(row);
}

void FrmMain::RunNow(int row) {
  if (!program_->State.RunBusy) run_->Begin(row, false);
  const RunOutcome outcome = program_->RunJobNow(row);
  const BackupJob& job = program_->Store.Jobs[static_cast<std::size_t>(row)];
  ShowEnd(EndOfBackup(*program_, job, outcome));
  TellOutcome(outcome, job);
  const std::optional<VerifyReport>& verified = program_->LastVerification();
  if (verified && (verified->Stopped || verified->Counters.Differences() > 0))
    care_->TellVerification(*verified, job);
}

void FrmMain::AskAndRestore(int row) {
  if (row < 0 || row >= std::ssize(program_->Store.Jobs)) return;
  const QString question =
      TrText(u"您確定要執行「%1」還原排程嗎？").arg(jobs_->View().ItemText(row, 0));
  const RestoreMode mode = options_->Restore();
  if (ConfirmLoss(*this, question, ShownText(RestoreWarning(*program_, row, mode)))) {
    care_->RestoreAll(row, mode);
  }
}

void FrmMain::WantVersions(const std::u16string& path) {
  versions_wanted_ = path;
  if (program_->State.RunBusy) {
    TellBeside(*this, TrText(u"備份執行中，結束後會顯示「%1」的較早版本。").arg(ToQString(path)));
  }
  QTimer::singleShot(0, this, &FrmMain::ShowWantedVersions);
}

void FrmMain::ShowWantedVersions() {
  // Over a run, or a window that changes the jobs, it waits.
  if (versions_wanted_.empty() || ended_ || program_->State.RunBusy ||
      QApplication::activeModalWidget() != nullptr) {
    return;
  }
  care_->ShowVersions(std::exchange(versions_wanted_, {}));
}

void FrmMain::TellOutcome(RunOutcome outcome, const BackupJob& job) {
  if (outcome == RunOutcome::SourceMissing) {
    TellFailure(*this, TrText(u"找不到資料夾「%1」，排程「%2」沒有執行。")
                           .arg(ToQString(job.Source.WorkPath), NameText(job.Name)));
  } else if (outcome == RunOutcome::NoArchiver) {
    TellFailure(*this, TrText(u"找不到 7-Zip 程式，排程「%1」沒有執行。").arg(NameText(job.Name)));
  }
}

void FrmMain::ShowEnd(const RunEnd& end) {
  result_->Add(end);
  result_->End();
  ShowHealth();
  if (!Seen() && !end.Text.empty()) tray_->Tell(end);
}

void FrmMain::JobStarting(std::int32_t job_index, DateTime now) {
  jobs_->ShowStarted(job_index, now);
  run_->Begin(job_index, false);
  ShowHealth();
}

void FrmMain::JobEnded(std::int32_t job_index) {
  const BackupJob& job = program_->Store.Jobs[static_cast<std::size_t>(job_index)];
  const RunEnd end = EndOfBackup(*program_, job, program_->LastOutcome());
  result_->Add(end);
  tray_->NoteFinished(job, program_->LastVerification(), end.LogPath);
}

void FrmMain::ShowHealth() {
  const std::vector<BackupJob>& jobs = program_->Store.Jobs;
  const std::vector<LogRow>& rows = program_->LogRows.Rows();
  const DateTime now = program_->Context.Time.Now();
  const std::optional<DateTime> pause = program_->Pause.End();
  jobs_->ShowHealth(JudgeJobs(jobs, rows, now, run_->Job(), pause.has_value()));
  tray_->ShowHealth(JudgeRuns(jobs, rows, now, pause));
  pause_text_ = PauseStatus(program_->Pause, pause);
}

void FrmMain::OpenMessage() {
  if (!tray_->ToldOfRuns()) return ShowWindow();
  if (tray_->MessageLog().empty()) ShowWindow();
  OpenLog(tray_->MessageLog());
}

void FrmMain::OpenLog(const std::u16string& path) {
  if (!path.empty()) return log_->OpenLog(path);
  if (!program_->State.RunBusy) ShowLog(true);
}

void FrmMain::EnableControls(bool on) {
  if (!on && focusWidget() != nullptr && job_area_->isAncestorOf(focusWidget())) {
    focus_list_ = true;
  }
  job_area_->setEnabled(on);
  welcome_->setEnabled(on);
  toolbar_area_->setEnabled(on);
  if (!on) {
    timer_wake_.stop();
    if (!selected_) selected_ = jobs_->View().SelectedItem();
    result_->Begin();
    ShowHealth();
    return;
  }
  timer_wake_.start();
  TimerWake_Timer();
  if (selected_) jobs_->View().SetSelectedItem(*std::exchange(selected_, std::nullopt));
  if (std::exchange(focus_list_, false)) jobs_->View().SetFocus();
  run_->End();
  result_->End();
  ShowHealth();
  tray_->TellFinished(!Seen());
}

void FrmMain::RefreshJobRow(std::int32_t job_index) {
  jobs_->ShowTimes(job_index);
}

void FrmMain::ShowRunPanels(bool show) {
  panel_->Show(show);
}

void FrmMain::ResetProgress() {
  panel_->ResetFile();
}

void FrmMain::FillProgress() {
  panel_->FillFile();
}

void FrmMain::DrawCaptions(std::u16string_view source_folder, std::u16string_view dest_folder,
                           std::u16string_view file_name) {
  panel_->SetCaptions(source_folder, dest_folder, file_name);
}

int FrmMain::ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done, std::uint32_t,
                                 std::uint64_t, std::uint64_t, std::uint32_t block_size) {
  run_->Note(total_size, bytes_done, block_size);
  PumpMessages();
  return program_->State.CancelRequested ? 1 : 0;
}

void FrmMain::PumpMessages() {
  if (InterruptRequested() && program_->State.RunBusy) program_->State.CancelRequested = true;
  run_->Pump(Seen());
}

void FrmMain::AskPastDue(PastDueQuestion& question) {
  if (InterruptRequested() || ended_) return;
  // At the start, too, the question stands over its window.
  if (!hide_at_start_ && !isVisible()) show();
  ShowPastDueQuestion(question, Seen() ? this : nullptr);
}

void FrmMain::TimesSetRight(const BackupJob& job, DateTime) {
  set_right_ += TrText(u"「%1」的下次備份時間：%2")
                    .arg(NameText(job.Name), ShownText(DateTimeText(job.NextRun)));
  if (set_right_.size() > 1) return;
  // A wrong clock has moved the times of several jobs: they are told together.
  QTimer::singleShot(0, this, [this] {
    TellBeside(
        *this,
        TrText(u"系統時間曾經超前，下列排程的時間已經更正：\n\n%1").arg(set_right_.join(u'\n')));
    set_right_.clear();
  });
}

void FrmMain::CareEnded(const BackupJob& job, const VerifyReport& report, bool) {
  ShowEnd(EndOfVerification(job, report));
}

void FrmMain::JobIsGone(std::u16string_view name) {
  TellBeside(*this, TrText(u"找不到排程「%1」，沒有執行。").arg(ToQString(name)));
}

void FrmMain::PauseChanged(const std::optional<DateTime>&) {
  ShowHealth();
}

void FrmMain::TakePause() {
  ShowHealth();
  if (program_->State.RunBusy) return;
  ShowStatus();
  // What is due after a pause need not wait for the next tick.
  if (program_->Schedule.TimerOn()) program_->Schedule.SetSchedulerTimer(true);
}

void FrmMain::OtherVersionKept(std::u16string_view path, std::u16string_view copy) {
  TellBeside(*this, TrText(u"檔案「%1」已被其他程式變更或已損毀，該版本已另存為「%2」。")
                        .arg(ToQString(path), ToQString(copy)));
}

bool FrmMain::AskGoOn(const RunQuestion& question) {
  if (InterruptRequested()) return false;
  Attract();
  return OpenQuestion(question, Seen() ? this : nullptr);
}

// ---- Timers ----

void FrmMain::SetTickTimer(bool on, std::uint32_t milliseconds) {
  if (on && !ended_) {
    timer_min_.start(static_cast<int>(milliseconds));
  } else {
    timer_min_.stop();
  }
}

void FrmMain::TimerWake_Timer() {
  if (EndIfInterrupted()) return;
  if (ToCivil(program_->Context.Time.Now()).Second % 10 == 0) ShowHealth();
  ShowStatus();
  ShowWantedVersions();
}

void FrmMain::ShowStatus() {
  const CivilTime now = ToCivil(program_->Context.Time.Now());
  const std::u16string text =
      Fill(Tr(u"%1 年 %2 月 %3 日 %4 時 %5 分 %6 秒"),
           {Decimal(now.Year, 4), Decimal(now.Month, 2), Decimal(now.Day, 2), Decimal(now.Hour, 2),
            Decimal(now.Minute, 2), Decimal(now.Second, 2)});
  status_bar_.SetText(0, ToQString(text) + pause_text_);
}

}  // namespace kavrel
