#include "ui/backup_care.h"

#include <QCoreApplication>
#include <QPointer>
#include <QWidget>

#include "app/backup_browser.h"
#include "app/run_end.h"
#include "base/number.h"
#include "files/path.h"
#include "ui/dialogs.h"
#include "ui/frm_password.h"
#include "ui/log_view.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/run_show.h"

namespace kavrel {

namespace {

/// Keeps the window alive while an archive is read.
class IdleMonitor final : public ArchiveMonitor {
 public:
  bool Working(int, std::u16string_view) override {
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    return true;
  }
};

bool WantsPassword(const Program& program, RunOutcome outcome) {
  return outcome == RunOutcome::Ran && program.Context.Report.WrongPassword;
}

}  // namespace

BackupCare::BackupCare(Program& program, RunShow& run, LogView& log, QWidget* window)
    : QObject(window), program_(program), run_(run), log_(log), window_(window) {}

bool BackupCare::MayStart(int row) const {
  return row >= 0 && row < std::ssize(program_.Store.Jobs) && !program_.State.RunBusy;
}

std::optional<RestorePick> BackupCare::AskWhat(const BackupJob& job, std::u16string& archive) {
  const std::u16string folder = program_.DestinationNow(job);
  std::unique_ptr<BackupBrowser> browser;
  if (job.Compressed) {
    if (!program_.Archiver.Present()) {
      Q_EMIT Ended(RunOutcome::NoArchiver, job);
      return std::nullopt;
    }
    const auto picked = PickArchive(program_, ListArchives(program_.Files, folder, &job), window_);
    if (!picked) return std::nullopt;
    archive = *picked;
    IdleMonitor monitor;
    const auto opened = program_.Archiver.SevenZipOpenArchive(JoinPath(folder, archive), &monitor);
    if (opened) browser = BrowseArchive(*opened);
  } else {
    browser = BrowseFolder(program_.Files, folder);
  }
  if (!browser) {
    TellFailure(*window_, QStringLiteral("無法讀取「%1」的備份「%2」。")
                              .arg(ToQString(job.Name), ToQString(JoinPath(folder, archive))));
    return std::nullopt;
  }
  return PickFiles(program_, job, *browser, window_);
}

void BackupCare::RestoreSome(int row) {
  if (!MayStart(row)) return;
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  // A run that begins meanwhile would change what is being looked at.
  const QPointer<BackupCare> alive(this);
  const bool ticking = program_.Scheduler.TimerOn();
  program_.Scheduler.SetSchedulerTimer(false);
  std::u16string archive;
  const std::optional<RestorePick> pick = AskWhat(job, archive);
  if (!alive) return;
  if (ticking) program_.Scheduler.SetSchedulerTimer(true);
  if (!pick) return;
  Restore(
      row, &*pick, [&](const std::vector<ArchiveFile>&) { return std::optional(archive); },
      [&](const ArchivePicker& picker) {
        return program_.RunRestorePickedNow(row, *pick, picker);
      });
}

void BackupCare::RestoreAll(int row, RestoreMode mode) {
  Restore(
      row, nullptr,
      [this](const std::vector<ArchiveFile>& archives) {
        return PickArchive(program_, archives, window_);
      },
      [&](const ArchivePicker& picker) { return program_.RunRestoreNow(row, mode, picker); });
}

void BackupCare::PreviewRestore(int row, RestoreMode mode) {
  if (!MayStart(row)) return;
  const QPointer<BackupCare> alive(this);
  const bool ticking = program_.Scheduler.TimerOn();
  program_.Scheduler.SetSchedulerTimer(false);
  // The archive is chosen once, for the look and for the restore.
  std::optional<std::u16string> archive;
  bool asked = false;
  const ArchivePicker picker = [&](const std::vector<ArchiveFile>& archives) {
    if (!std::exchange(asked, true)) archive = PickArchive(program_, archives, window_);
    return archive;
  };
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  const std::u16string folder = program_.DestinationNow(job);
  const bool compressed =
      job.Compressed && program_.Archiver.Present() && program_.Files.FolderExists(folder);
  if (compressed) picker(ListArchives(program_.Files, folder, &job));
  const bool restore =
      alive && (archive || !compressed) &&
      OpenRestorePreview(program_, row, RestoreRequest{mode, nullptr, picker}, window_);
  if (!alive) return;
  if (ticking) program_.Scheduler.SetSchedulerTimer(true);
  if (!restore) return;
  Restore(row, nullptr, picker,
          [&](const ArchivePicker& picked) { return program_.RunRestoreNow(row, mode, picked); });
}

void BackupCare::Restore(int row, const RestorePick* pick, const ArchivePicker& picker,
                         const Restorer& restorer) {
  const QPointer<BackupCare> alive(this);
  std::optional<std::u16string> archive;
  if (!program_.State.RunBusy) run_.Begin(row, true, pick);
  RunOutcome outcome = restorer(
      [&](const std::vector<ArchiveFile>& archives) { return archive = picker(archives); });
  if (!alive) return;
  BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  if (archive && WantsPassword(program_, outcome)) {
    const std::optional<RunOutcome> again = WithPassword(job, *archive, [&] {
      run_.Begin(row, true, pick);
      return restorer([&](const std::vector<ArchiveFile>&) { return archive; });
    });
    if (!alive) return;
    outcome = again.value_or(outcome);
  }
  Q_EMIT Finished(EndOfRestore(program_, job, outcome));
  Q_EMIT Ended(outcome, job);
}

std::optional<RunOutcome> BackupCare::WithPassword(BackupJob& job, std::u16string_view archive,
                                                   const std::function<RunOutcome()>& restore) {
  const QPointer<BackupCare> alive(this);
  const bool ticking = program_.Scheduler.TimerOn();
  program_.Scheduler.SetSchedulerTimer(false);
  FrmPassword dialog(ToQString(job.Name), ToQString(archive), window_);
  const bool entered = dialog.exec() == QDialog::Accepted;
  if (!alive) return std::nullopt;
  if (ticking) program_.Scheduler.SetSchedulerTimer(true);
  if (!entered) return std::nullopt;
  const bool used = std::exchange(job.UsePassword, true);
  const Secret former = std::exchange(job.Password, dialog.Password());
  const RunOutcome outcome = restore();
  if (!alive) return outcome;
  if (dialog.Keep() && outcome == RunOutcome::Ran && !WantsPassword(program_, outcome)) {
    program_.Store.SaveJobs();
    Q_EMIT JobChanged();
  } else {
    job.UsePassword = used;
    job.Password = former;
  }
  return outcome;
}

void BackupCare::Verify(int row) {
  if (!MayStart(row)) return;
  run_.Begin(row, false);
  const VerifyReport report =
      program_.VerifyJobNow(row, [this](const std::vector<ArchiveFile>& archives) {
        return PickArchive(program_, archives, window_);
      });
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  Q_EMIT Finished(EndOfVerification(job, report));
  TellVerification(report, job);
}

void BackupCare::TellVerification(const VerifyReport& report, const BackupJob& job) {
  const QString name = ToQString(job.Name);
  if (report.Outcome == RunOutcome::SourceMissing) {
    TellFailure(*window_, QStringLiteral("「%1」沒有可以比對的資料夾，來源：%2，備份：%3。")
                              .arg(name, ToQString(job.Source.Path),
                                   ToQString(program_.DestinationNow(job))));
    return;
  }
  if (report.Outcome != RunOutcome::Ran) {
    Q_EMIT Ended(report.Outcome, job);
    return;
  }
  const QString equal = ToQString(Grouped(report.Counters.Equal));
  const std::uint32_t differences = report.Counters.Differences();
  const QString state = report.Stopped
                            ? QStringLiteral("「%1」驗證中斷，其餘的檔案尚未比對：").arg(name)
                            : QStringLiteral("「%1」驗證完成：").arg(name);
  const QString found = state + QStringLiteral("%1 個檔案內容相同，").arg(equal);
  if (differences == 0) {
    Inform(*window_, found + QStringLiteral("沒有發現差異。"));
  } else if (Confirm(*window_,
                     found + QStringLiteral("發現 %1 個差異。\n要開啟日誌查看嗎？")
                                 .arg(ToQString(Grouped(differences))),
                     QMessageBox::Warning)) {
    log_.OpenLog(report.LogPath);
  }
}

}  // namespace kavrel
