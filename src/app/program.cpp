#include "app/program.h"

#include <utility>

#include "app/find_name.h"
#include "base/crc32.h"
#include "base/number.h"
#include "base/text.h"
#include "engine/drill.h"
#include "engine/rule_check.h"
#include "engine/states.h"
#include "files/error_text.h"
#include "files/path.h"
#include "platform/desktop.h"
#include "platform/folders.h"
#include "platform/user_folders.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

constexpr std::int32_t kNormalPriority = 3;
constexpr std::chrono::hours kCareAgain{1};
constexpr std::chrono::days kDrillEvery{30};

}  // namespace

Program::Program(std::u16string program_folder, std::u16string settings_file, kavrel::Clock& clock,
                 ProgramHost& host)
    : clock_(clock),
      host_(host),
      Files(std::move(program_folder)),
      Preferences(SettingsStore(Files, std::move(settings_file))),
      WindowSizes(Preferences.Store().InSection(u"Windows")),
      Told(Preferences.Store().InSection(u"Told")),
      Store(Files),
      Exclusions(Files, [this](std::u16string_view path) { return Mounts.PointOf(path); }),
      Filters(Files),
      Log(Files, clock),
      History(Files, LogRows),
      Archiver(Files),
      Staged(Files),
      Pause(Files, clock),
      Context{{},  Files,   clock,   State,    host_,  Store,  Preferences, Exclusions,
              Log, LogRows, History, Archiver, Staged, Mounts, no_notes_},
      Schedule(clock, State, Store, Pause, host_, host_, Actions()) {
  for (SharedFile* file : {&Store.File(), &Store.Extras(), &Exclusions.File(), &Filters.File()}) {
    file->Kept = [this](auto path, auto copy) { host_.OtherVersionKept(path, copy); };
  }
}

SchedulerActions Program::Actions() {
  return {[this](BackupJob& job) {
            RunStoredJob(job);
            if (State.CommandLineRun) NoteNamedRun(job);
          },
          [this] { priority_.ApplyProcessPriority(Preferences.ProcessPriority()); },
          [this] { priority_.ApplyProcessPriority(kNormalPriority); },
          [this] { History.SaveProgramLog(); },
          [this](const BackupJob& job) {
            LogRow row;
            row.Job = job.Name;
            row.Kind = LogKind::TimeSetRight;
            row.Copied = row.Unchanged = row.Failed = 0;
            row.Started = clock_.Now();
            row.NextRun = job.NextRun;
            LogRows.Append(std::move(row));
          },
          [this] { PlayCompletionSound(); },
          [this](std::u16string_view name) {
            if (State.CommandLineRun) named_runs_.NoSuchJob(name);
            // What was handed over was there by then; somebody has removed it since.
            if (!State.CommandLineRun) host_.JobIsGone(name);
          },
          [this](std::u16string_view name) { return FindShownJob(Store, name); }};
}

bool Program::Start(std::u16string_view command_line) {
  Files.MakeCurrent(Files.ProgramFolder());
  host_.BuildControls();
  TakeSwitch(Exclusions, Preferences);
  host_.CreateTrayIcon();
  if (Preferences.StartMin()) host_.HideToTray();
  Mounts.Load();
  Exclusions.LoadExclusions();
  Filters.LoadFilters();
  host_.ShowSettings();
  command_line_ = Trim(command_line);
  State.CommandLineRun = !command_line_.empty();
  if (ReloadJobs()) host_.FillJobList();
  const bool readable = Store.LastError() == 0;
  if (!readable && State.CommandLineRun) {
    named_runs_.StoreFailed(Store.Path(), ApiErrorText(Store.LastError()));
  }
  History.LoadProgramLog();
  host_.ShowLogList();
  Schedule.SetSchedulerTimer(true);
  host_.LayOut();
  TrimWorkingSet();
  return readable;
}

void Program::Tick() {
  Schedule.Tick(std::exchange(command_line_, {}));
  CareForBackups();
}

void Program::CareForBackups() {
  const DateTime now = clock_.Now();
  const bool waits = now < care_waits_ && now + kCareAgain >= care_waits_;
  if (State.RunBusy || State.CancelRequested || State.CommandLineRun || Pause.End() || waits)
    return;
  for (std::size_t i = 0; i < Store.Jobs.size(); ++i) {
    if (CareFor(static_cast<std::int32_t>(i))) return;
  }
}

bool Program::CareFor(std::int32_t job_index) {
  const auto job = [&]() -> const BackupJob& {
    return Store.Jobs[static_cast<std::size_t>(job_index)];
  };
  if (!job().Enabled || job().Deleted) return false;
  const bool scrub = job().Extras.Scrub && ScrubIsDue(job());
  const bool drill = !scrub && job().Extras.Drill && DrillIsDue(job());
  if (!scrub && !drill) return false;
  const VerifyReport report = scrub ? ScrubJobNow(job_index, {}, true) : DrillJobNow(job_index);
  if (report.Outcome == RunOutcome::Ran) {
    host_.CareEnded(job(), report, drill);
  } else {
    care_waits_ = clock_.Now() + kCareAgain;
  }
  return true;
}

std::vector<std::u16string> Program::RunNext(std::span<const std::u16string> names) {
  std::vector<std::u16string> known, missing;
  for (const std::u16string& name : names) {
    (FindShownJob(Store, name) >= 0 ? known : missing).push_back(name);
  }
  Schedule.RunNext(std::move(known));
  return missing;
}

void Program::Shutdown() {
  Store.SaveJobs();
  History.SaveProgramLog();
}

bool Program::Load() {
  Mounts.Load();
  TakeSwitch(Exclusions, Preferences);
  Exclusions.LoadExclusions();
  Filters.LoadFilters();
  Store.LoadJobs();
  const bool readable = Store.LastError() == 0;
  History.LoadProgramLog();
  Schedule.SetTimesRight();
  return readable;
}

void Program::SettlePastDue() {
  // What came due in a pause waits for its end, and nobody is asked about it before.
  if (State.CommandLineRun || Pause.End()) return;
  // A question may wait for a long time, in which anything may become of the store.
  const std::vector<BackupJob> jobs = Store.Jobs;
  bool changed = false;
  for (const std::size_t place : AskAboutPastDue(
           jobs, clock_, [this](PastDueQuestion& question) { host_.AskPastDue(question); })) {
    if (place >= Store.Jobs.size()) break;
    BackupJob& job = Store.Jobs[place];
    const bool is_same = job.Name == jobs[place].Name && job.NextRun == jobs[place].NextRun;
    if (is_same && PutOff(job, clock_.Now())) changed = true;
  }
  if (changed) Store.SaveJobs();
}

bool Program::ReloadJobs() {
  if (!Store.LoadJobs()) return false;
  SettlePastDue();
  return true;
}

int Program::ImportJobs(std::u16string_view path) {
  // Nothing is to run before the question about it has its answer.
  Schedule.SetSchedulerTimer(false);
  const int error = Store.ImportJobs(path);
  if (!error) SettlePastDue();
  Schedule.SetSchedulerTimer(true);
  return error;
}

RunOutcome Program::RunStoredJob(BackupJob& job) {
  const SleepInhibitor awake;
  lock_.NoteWork(job.Name);
  Mounts.Load();
  FollowSwitch(Exclusions, Preferences);
  // What the run makes of the job's times would hide that they were wrong.
  Schedule.SetTimesRight();
  const RunReport& report = RunBackupJob(Context, job);
  const bool whole = report.Outcome == RunOutcome::Ran && !job.LastRunResult.Stopped;
  // A cancel that came too late for the run stops its verification, which tells so.
  if (job.Extras.VerifyAfterRun && whole) VerifyLastRun(job);
  lock_.NoteWork({});
  return report.Outcome;
}

void Program::NoteNamedRun(const BackupJob& job) {
  named_runs_.Ran(Context, job);
  if (Store.LastError() != 0) {
    named_runs_.StoreFailed(Store.Path(), ApiErrorText(Store.LastError()));
  }
}

void Program::VerifyLastRun(BackupJob& job) {
  // How the run went is still to be told.
  RunReport of_run = Context.Report;
  host_.VerificationStarting(job, job.Destination.WorkPath);
  of_run.Verification = RunVerifyJob(Context, job, job.Destination.WorkPath);
  NoteVerification(job, *of_run.Verification);
  Context.Report = std::move(of_run);
}

std::u16string Program::SoundPath() const {
  std::u16string path = JoinPath(Files.ProgramFolder(), u"ok.wav");
  return Files.Status(path) ? path : ResourceFile(u"ok.wav");
}

bool Program::SoundAvailable() const {
  return !SoundPath().empty() && HasSoundDevice();
}

void Program::PlayCompletionSound() const {
  if (Preferences.PlaySound() && SoundAvailable()) PlaySoundFile(SoundPath());
}

RunOutcome Program::WhileBusy(const std::function<RunOutcome()>& work, bool sounds) {
  if (State.RunBusy) {
    State.CancelRequested = true;
    return RunOutcome::NotStarted;
  }
  Schedule.SetSchedulerTimer(false);
  State.RunBusy = true;
  host_.EnableControls(false);
  const RunOutcome outcome = work();
  State.CancelRequested = false;
  State.RunBusy = false;
  host_.EnableControls(true);
  host_.ShowRunPanels(false);
  Schedule.SetSchedulerTimer(true);
  History.SaveProgramLog();
  if (sounds) PlayCompletionSound();
  return outcome;
}

RunOutcome Program::RunJobNow(std::int32_t job_index) {
  return WhileBusy([&] {
    const RunOutcome outcome = RunStoredJob(Store.Jobs[static_cast<std::size_t>(job_index)]);
    host_.RefreshJobRow(job_index);
    return outcome;
  });
}

RunOutcome Program::RunRestoreNow(std::int32_t job_index, const RestoreRequest& request) {
  return WhileBusy([&] {
    const SleepInhibitor awake;
    Mounts.Load();
    BackupJob& job = Store.Jobs[static_cast<std::size_t>(job_index)];
    return RunRestoreJob(Context, job, request).Outcome;
  });
}

RunOutcome Program::RunRestoreNow(std::int32_t job_index, RestoreMode mode,
                                  const ArchivePicker& picker) {
  return RunRestoreNow(job_index, RestoreRequest{mode, nullptr, picker, {}});
}

RunOutcome Program::RunRestorePickedNow(std::int32_t job_index, const RestorePick& pick,
                                        const ArchivePicker& picker) {
  return RunRestoreNow(job_index, RestoreRequest{RestoreMode::Incremental, &pick, picker, {}});
}

VerifyReport Program::VerifyJobNow(std::int32_t job_index, const ArchivePicker& picker,
                                   std::u16string_view unit, bool mend) {
  VerifyReport report;
  WhileBusy([&] {
    const SleepInhibitor awake;
    Mounts.Load();
    BackupJob& job = Store.Jobs[static_cast<std::size_t>(job_index)];
    host_.VerificationStarting(
        job, unit.empty() ? DestinationNow(job) : std::u16string(UnitFolder(unit)));
    report = RunVerifyJob(Context, job, {}, picker, unit, mend);
    NoteVerification(job, report);
    return report.Outcome;
  });
  return report;
}

VerifyReport Program::ScrubJobNow(std::int32_t job_index, std::u16string_view unit, bool part) {
  VerifyReport report;
  WhileBusy(
      [&] {
        const SleepInhibitor awake;
        const QuietReading quiet;
        Mounts.Load();
        BackupJob& job = Store.Jobs[static_cast<std::size_t>(job_index)];
        host_.VerificationStarting(
            job, unit.empty() ? DestinationNow(job) : std::u16string(UnitFolder(unit)));
        report = RunScrubJob(Context, job, unit, part);
        if (report.Outcome != RunOutcome::Ran || report.Stopped) return report.Outcome;
        for (const VerifiedState& state : report.Units) {
          NoteVerified(job, state.Unit, clock_.Now(), state.Damaged);
        }
        if (part) job.Extras.LastScrub = clock_.Now();
        Store.SaveJobs();
        return report.Outcome;
      },
      false);
  return report;
}

VerifyReport Program::DrillJobNow(std::int32_t job_index) {
  VerifyReport report;
  WhileBusy(
      [&] {
        const SleepInhibitor awake;
        Mounts.Load();
        BackupJob& job = Store.Jobs[static_cast<std::size_t>(job_index)];
        host_.VerificationStarting(job, DestinationNow(job));
        report = RunDrillJob(Context, job);
        if (report.Outcome != RunOutcome::Ran || report.Stopped) return report.Outcome;
        const std::uint32_t good = report.Counters.Equal;
        job.Extras.LastDrill = clock_.Now();
        job.Extras.DrillGood = static_cast<std::int32_t>(good);
        job.Extras.DrillFiles = static_cast<std::int32_t>(good + report.Counters.Differences());
        Store.SaveJobs();
        return report.Outcome;
      },
      false);
  return report;
}

bool Program::ScrubIsDue(const BackupJob& job) const {
  // A clock that was put back does not leave out a month.
  const DateTime now = clock_.Now(), last = job.Extras.LastScrub;
  return std::chrono::floor<std::chrono::days>(now) !=
             std::chrono::floor<std::chrono::days>(last) ||
         last > now;
}

bool Program::DrillIsDue(const BackupJob& job) const {
  const DateTime now = clock_.Now(), last = job.Extras.LastDrill;
  return now - last >= kDrillEvery || last > now;
}

void Program::NoteVerification(BackupJob& job, const VerifyReport& report) {
  if (report.Outcome != RunOutcome::Ran || report.Stopped || report.Unit.empty()) return;
  // Nothing has been looked at.
  if (report.WrongPassword) return;
  // An archive that was made good is whole.
  const bool whole = report.Mended > 0 && !IsFolderUnit(report.Unit);
  NoteVerified(job, report.Unit, clock_.Now(),
               whole ? 0 : report.Counters.Damaged + report.Counters.Unreadable);
  Store.SaveJobs();
}

void Program::SetJobEnabled(std::int32_t job_index, bool on, bool save) {
  BackupJob& job = Store.Jobs[static_cast<std::size_t>(job_index)];
  const bool changed = std::exchange(job.Enabled, on) != on;
  // While it was off its times kept to no weekday.
  if (changed && on && IsRefused(job.RefusedDays, ToCivil(job.NextRun).Weekday)) {
    job.NextRun = NextRunTime(job, clock_.Now());
    job.Extras.TimeMoved = clock_.Now();
    host_.RefreshJobRow(job_index);
  }
  if (save) Store.SaveJobs();
}

bool Program::TellHiding() {
  // Portable installations share a settings file; each has a name of its own in it.
  const std::u16string name = u"Hiding-" + Decimal(Crc32(ToUtf8(Files.ProgramFolder())));
  if (Told.Get(name)) return false;
  // Told again where that cannot be kept: better twice than never.
  Told.Set(name, u"True");
  return true;
}

void Program::DeleteAllLogs() {
  History.DeleteAllLogs(State.RunBusy ? Log.CurrentPath() : std::u16string());
}

void Program::SetAutostart(bool on) {
  SetAutostartEntry(on, ExecutableFile(u"kavrel"), Files.ProgramFolder());
  Preferences.SetAutostart(on);
}

DateTime Program::NextRunTimeOf(const BackupJob& job) {
  return NextRunTime(job, clock_.Now());
}

std::u16string Program::DestinationNow(const BackupJob& job) const {
  return ExpandedDestination(job, clock_);
}

std::u16string Program::DefaultDestination() const {
  return UsualBackupFolder(false);
}

std::u16string Program::PresetDestination() const {
  return UsualBackupFolder(true);
}

}  // namespace kavrel
