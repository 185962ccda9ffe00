#include "ui/backup_care.h"

#include <QPointer>
#include <QWidget>

#include "app/backup_browser.h"
#include "app/dated_copy.h"
#include "app/file_jobs.h"
#include "app/run_end.h"
#include "base/number.h"
#include "engine/states.h"
#include "files/error_text.h"
#include "files/path.h"
#include "ui/dialogs.h"
#include "ui/frm_password.h"
#include "ui/idle_monitor.h"
#include "ui/log_view.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"
#include "ui/run_show.h"

namespace kavrel {

namespace {

bool WantsPassword(const Program& program, RunOutcome outcome) {
  return outcome == RunOutcome::Ran && program.Context.Report.WrongPassword;
}

}  // namespace

BackupCare::BackupCare(Program& program, RunShow& run, LogView& log, QWidget* window)
    : QObject(window), program_(program), run_(run), log_(log), window_(window), opener_(program) {}

bool BackupCare::MayStart(int row) const {
  return row >= 0 && row < std::ssize(program_.Store.Jobs) && !program_.State.RunBusy;
}

std::optional<RestoreWish> BackupCare::AskWhat(int row) {
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  const std::u16string folder = program_.DestinationNow(job);
  std::u16string of_now = AddBackslash(folder);
  std::u16string unit = UnitTaken(program_.Context, job);
  if (job.Compressed) {
    if (!program_.Archiver.Present()) {
      Q_EMIT Ended(RunOutcome::NoArchiver, job);
      return std::nullopt;
    }
    if (unit.empty()) {
      const auto picked =
          PickArchive(program_, ListArchives(program_.Files, folder, &job), window_);
      if (!picked) return std::nullopt;
      unit = JoinPath(folder, *picked);
    }
  }
  const std::u16string& shown = unit.empty() ? of_now : unit;
  IdleMonitor monitor;
  const auto browser = BrowseUnit(program_.Files, program_.Archiver, shown, &monitor);
  if (!browser) {
    TellFailure(*window_, TrText(u"無法讀取「%1」的備份「%2」。")
                              .arg(NameText(job.Name), ToQString(unit.empty() ? folder : unit)));
    return std::nullopt;
  }
  return PickFiles(program_, row, *browser, unit, opener_, window_);
}

void BackupCare::RestoreSome(int row) {
  if (MayStart(row)) AskAndFulfil([&] { return AskWhat(row); });
}

void BackupCare::ShowVersions(const std::u16string& path) {
  std::vector<FileOfJob> files = JobsWithStatesOf(program_.Context, program_.Store.Jobs, path);
  if (files.empty()) {
    return Inform(*window_, TrText(u"沒有排程保留「%1」的較早版本。\n"
                                   u"目標有日期標籤的排程和壓縮備份會保留多個版本。")
                                .arg(ToQString(path)));
  }
  AskAndFulfil([&] { return OpenVersions(program_, std::move(files), opener_, window_); });
}

void BackupCare::AskAndFulfil(const std::function<std::optional<RestoreWish>()>& ask) {
  const QPointer<BackupCare> alive(this);
  const bool ticking = program_.Schedule.TimerOn();
  program_.Schedule.SetSchedulerTimer(false);
  const std::optional<RestoreWish> wish = ask();
  if (!alive) return;
  if (ticking) program_.Schedule.SetSchedulerTimer(true);
  if (wish) Fulfil(*wish);
}

void BackupCare::Fulfil(const RestoreWish& wish) {
  if (wish.Beside) return RestoreBeside(wish);
  Restore(wish.Job, {RestoreMode::Incremental, &wish.Pick, {}, wish.Unit});
}

void BackupCare::RestoreBeside(const RestoreWish& wish) {
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(wish.Job)];
  const std::u16string& path = *wish.Pick.Paths.Paths().begin();
  std::optional<CopyBeside> copy;
  copy.emplace(program_.Files, program_.Context.Time, job, path);
  const auto fail = [&](ErrorCode error) {
    TellFailure(*window_, TrText(u"無法把「%1」放在現在的檔案旁邊：%2")
                              .arg(ToQString(path), ShownText(ApiErrorText(error))));
  };
  if (copy->Error()) return fail(copy->Error());
  const RestorePick pick = copy->Pick();
  if (!Restore(wish.Job, {RestoreMode::Incremental, &pick, {}, wish.Unit})) return;
  // Why nothing came, the restore has told.
  if (!copy->Restored()) return;
  const Result<std::u16string> placed = copy->Place(*wish.Beside);
  // Nobody is to find its folder while a box waits for an answer.
  copy.reset();
  if (!placed) return fail(placed.Error);
  Inform(*window_, TrText(u"已放在現在的檔案旁邊：\n%1").arg(ToQString(*placed)));
}

void BackupCare::RestoreAll(int row, RestoreMode mode) {
  Restore(row, {mode, nullptr,
                [this](const std::vector<ArchiveFile>& archives) {
                  return PickArchive(program_, archives, window_);
                },
                UnitTaken(program_.Context, program_.Store.Jobs[static_cast<std::size_t>(row)])});
}

void BackupCare::PreviewRestore(int row, RestoreMode mode) {
  if (!MayStart(row)) return;
  const QPointer<BackupCare> alive(this);
  const bool ticking = program_.Schedule.TimerOn();
  program_.Schedule.SetSchedulerTimer(false);
  // The archive is chosen once, for the look and for the restore.
  std::optional<std::u16string> archive;
  bool asked = false;
  const ArchivePicker picker = [&](const std::vector<ArchiveFile>& archives) {
    if (!std::exchange(asked, true)) archive = PickArchive(program_, archives, window_);
    return archive;
  };
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  const std::u16string folder = program_.DestinationNow(job);
  const RestoreRequest request{mode, nullptr, picker, UnitTaken(program_.Context, job)};
  const bool compressed = request.Unit.empty() && job.Compressed && program_.Archiver.Present() &&
                          program_.Files.FolderExists(folder);
  if (compressed) picker(ListArchives(program_.Files, folder, &job));
  const bool restore =
      alive && (archive || !compressed) && OpenRestorePreview(program_, row, request, window_);
  if (!alive) return;
  if (ticking) program_.Schedule.SetSchedulerTimer(true);
  if (restore) Restore(row, request);
}

bool BackupCare::Restore(int row, RestoreRequest request) {
  const QPointer<BackupCare> alive(this);
  std::optional<std::u16string> archive;
  const ArchivePicker picker = std::move(request.Picker);
  request.Picker = [&](const std::vector<ArchiveFile>& archives) {
    return archive = picker ? picker(archives) : std::nullopt;
  };
  if (!request.Unit.empty() && !EndsWithSeparator(request.Unit)) archive = PathName(request.Unit);
  if (!program_.State.RunBusy) run_.Begin(row, true, request.Pick, request.Unit);
  RunOutcome outcome = program_.RunRestoreNow(row, request);
  if (!alive) return false;
  BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  if (archive && WantsPassword(program_, outcome)) {
    const std::optional<RunOutcome> again = WithPassword(job, *archive, [&] {
      request.Picker = [&](const std::vector<ArchiveFile>&) { return archive; };
      run_.Begin(row, true, request.Pick, request.Unit);
      return program_.RunRestoreNow(row, request);
    });
    if (!alive) return false;
    outcome = again.value_or(outcome);
  }
  Q_EMIT Finished(EndOfRestore(program_, job, outcome));
  Q_EMIT Ended(outcome, job);
  return static_cast<bool>(alive);
}

std::optional<RunOutcome> BackupCare::WithPassword(BackupJob& job, std::u16string_view archive,
                                                   const std::function<RunOutcome()>& restore) {
  const QPointer<BackupCare> alive(this);
  const bool ticking = program_.Schedule.TimerOn();
  program_.Schedule.SetSchedulerTimer(false);
  FrmPassword dialog(NameText(job.Name), ToQString(archive), window_);
  const bool entered = dialog.exec() == QDialog::Accepted;
  if (!alive) return std::nullopt;
  if (ticking) program_.Schedule.SetSchedulerTimer(true);
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
  const std::u16string unit =
      UnitTaken(program_.Context, program_.Store.Jobs[static_cast<std::size_t>(row)]);
  const VerifyReport report = VerifyOnce(row, unit, false);
  OfferGood(row, unit, report);
  if (report.BadCopies == 0 || !MayStart(row) || !WantsMending(report)) return;
  // The archive that was picked, not another one that the user is asked for.
  const bool archive = !report.Unit.empty() && !EndsWithSeparator(report.Unit);
  VerifyOnce(row, archive ? report.Unit : unit, true);
}

void BackupCare::OfferGood(int row, const std::u16string& unit, const VerifyReport& report) {
  const std::u16string root =
      AddBackslash(program_.Store.Jobs[static_cast<std::size_t>(row)].Source.Path);
  RestorePick pick;
  pick.ReplaceNewer = true;
  std::uint64_t damaged = 0;
  for (const VerifyDifference& one : report.Differing) {
    const bool source = one.Kind == &VerifyCounters::Damaged && one.Side == ChangedSide::Source;
    if (!source || !one.Path.starts_with(root)) continue;
    pick.Paths.Add(one.Path.substr(root.size()));
    ++damaged;
  }
  if (damaged == 0 || !MayStart(row)) return;
  const QString question = ToQString(TrCount(
      u"來源中有 %1 個檔案在備份之後損壞，備份中的完好。\n要用備份還原這些檔案嗎？", damaged));
  if (!Confirm(*window_, question)) return;
  Restore(row, {RestoreMode::Incremental, &pick, {}, unit});
}

VerifyReport BackupCare::VerifyOnce(int row, const std::u16string& unit, bool mend) {
  run_.Begin(row, false);
  VerifyReport report = program_.VerifyJobNow(
      row,
      [this](const std::vector<ArchiveFile>& archives) {
        return PickArchive(program_, archives, window_);
      },
      unit, mend);
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  Q_EMIT Finished(EndOfVerification(job, report));
  TellVerification(report, job);
  return report;
}

bool BackupCare::WantsMending(const VerifyReport& report) {
  if (!report.Unit.empty() && !EndsWithSeparator(report.Unit)) {
    return Confirm(*window_,
                   TrText(u"壓縮檔「%1」已損壞，旁邊有它的修復資料。\n"
                          "要修復它嗎？修復的結果與校驗碼相同、通過測試之後才會取代它，損壞的檔案會"
                          "保留在備份的 .kavrel-damaged 資料夾。")
                       .arg(ToQString(PathName(report.Unit))));
  }
  return Confirm(*window_, ToQString(TrCount(u"備份中有 %1 個檔案已損壞，而來源與備份時相同。\n"
                                             "要用來源重新複製這些檔案嗎？損壞的檔案會保留在備份的 "
                                             ".kavrel-damaged 資料夾。",
                                             report.BadCopies)));
}

void BackupCare::TellVerification(const VerifyReport& report, const BackupJob& job) {
  const QString name = NameText(job.Name);
  if (report.Outcome == RunOutcome::SourceMissing) {
    TellFailure(*window_, TrText(u"「%1」沒有可以比對的資料夾，來源：%2，備份：%3。")
                              .arg(name, ToQString(job.Source.Path),
                                   ToQString(program_.DestinationNow(job))));
    return;
  }
  if (report.Outcome != RunOutcome::Ran) {
    Q_EMIT Ended(report.Outcome, job);
    return;
  }
  if (report.BySums) {
    Inform(*window_, TrText(u"「%1」的來源不在，已改與備份的校驗碼比對。").arg(name));
  }
  const QString state = report.Stopped ? TrText(u"「%1」驗證中斷，其餘的檔案尚未比對：").arg(name)
                                       : TrText(u"「%1」驗證完成：").arg(name);
  if (report.Mended > 0) {
    Inform(*window_, state + ToQString(TrCount(u"已修復 %1 個損壞的備份檔案。", report.Mended)));
    return;
  }
  if (!report.NotMended.empty()) {
    TellFailure(*window_,
                TrText(u"「%1」的壓縮檔無法修復：%2").arg(name, ShownText(report.NotMended)));
    return;
  }
  TellFound(report, state);
}

void BackupCare::Scrub(int row) {
  LookWithoutSource(row, [&] { return program_.ScrubJobNow(row); });
}

void BackupCare::TryRestore(int row) {
  LookWithoutSource(row, [&] { return program_.DrillJobNow(row); });
}

void BackupCare::LookWithoutSource(int row, const std::function<VerifyReport()>& look) {
  if (!MayStart(row)) return;
  run_.Begin(row, false);
  const VerifyReport report = look();
  TellCare(report, program_.Store.Jobs[static_cast<std::size_t>(row)]);
}

void BackupCare::TellCare(const VerifyReport& report, const BackupJob& job) {
  const QString name = NameText(job.Name);
  Q_EMIT Finished(EndOfVerification(job, report));
  if (report.Outcome == RunOutcome::SourceMissing) {
    TellFailure(*window_, TrText(u"「%1」還沒有備份，或備份中沒有校驗碼：%2。")
                              .arg(name, ToQString(program_.DestinationNow(job))));
    return;
  }
  if (report.Outcome != RunOutcome::Ran) {
    Q_EMIT Ended(report.Outcome, job);
    return;
  }
  QString state = report.Drill ? report.Stopped ? TrText(u"「%1」試行還原中斷：").arg(name)
                                                : TrText(u"「%1」試行還原完成：").arg(name)
                  : report.Stopped ? TrText(u"「%1」重讀中斷，其餘的檔案尚未核對：").arg(name)
                                   : TrText(u"「%1」重讀完成：").arg(name);
  if (report.Unlisted > 0) {
    state += TrText(u"%1 個檔案沒有校驗碼，無法核對，").arg(ShownText(Grouped(report.Unlisted)));
  }
  TellFound(report, state);
}

void BackupCare::TellFound(const VerifyReport& report, const QString& state) {
  const std::uint32_t differences = report.Counters.Differences();
  const QString found =
      state + ToQString(TrCount(u"%1 個檔案內容相同", report.Counters.Equal)) + TrText(u"，");
  if (differences == 0) {
    Inform(*window_, found + TrText(u"沒有發現差異。"));
  } else if (Confirm(
                 *window_,
                 found + ToQString(TrCount(u"發現 %1 個差異。\n要開啟日誌查看嗎？", differences)),
                 QMessageBox::Warning)) {
    log_.OpenLog(report.LogPath);
  }
}

}  // namespace kavrel
