#include "app/program.h"

#include "files/path.h"
#include "platform/folders.h"
#include "schedule/next_run.h"

namespace kavrel {

Program::Program(std::u16string program_folder, std::u16string settings_file, kavrel::Clock& clock,
                 RunHost& host)
    : clock_(clock),
      host_(host),
      Files(std::move(program_folder)),
      Settings(SettingsStore(Files, std::move(settings_file))),
      Store(Files),
      Exclusions(Files, [this](std::u16string_view path) { return Mounts.PointOf(path); }),
      Filters(Files),
      Log(Files, clock),
      ProgramLog(Files, LogRows),
      Archiver(Files),
      Context{Files,      clock, State,   host_,      Store,    Settings,
              Exclusions, Log,   LogRows, ProgramLog, Archiver, {}} {}

bool Program::Load() {
  Mounts.Load();
  Exclusions.ExcEnabled = Settings.ExcEnabled();
  Exclusions.LoadExclusions();
  Filters.LoadFilters();
  Store.LoadJobs();
  const bool readable = Store.LastError() == 0;
  ProgramLog.LoadProgramLog();
  return readable;
}

RunOutcome Program::WhileBusy(const std::function<RunOutcome()>& work) {
  if (State.RunBusy) {
    State.CancelRequested = true;
    return RunOutcome::NotStarted;
  }
  State.RunBusy = true;
  Mounts.Load();
  const RunOutcome outcome = work();
  State.CancelRequested = false;
  State.RunBusy = false;
  host_.ShowRunPanels(false);
  ProgramLog.SaveProgramLog();
  return outcome;
}

RunOutcome Program::RunJobNow(std::int32_t job_index) {
  return WhileBusy([&] {
    const RunOutcome outcome =
        RunBackupJob(Context, Store.Jobs[static_cast<std::size_t>(job_index)]);
    host_.RefreshJobRow(job_index);
    return outcome;
  });
}

RunOutcome Program::RunRestoreNow(std::int32_t job_index, RestoreMode mode,
                                  const ArchivePicker& picker) {
  return WhileBusy([&] {
    return RunRestoreJob(Context, Store.Jobs[static_cast<std::size_t>(job_index)], mode, picker);
  });
}

DateTime Program::NextRunTimeOf(const BackupJob& job) {
  return NextRunTime(job, clock_.Now());
}

std::u16string Program::DefaultDestination() const {
  return AddBackslash(JoinPath(HomeFolder(), u"Backup"));
}

}  // namespace kavrel
