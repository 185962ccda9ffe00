// What lives as long as the process, and the wiring between the folders that know nothing of each
// other. Works without any window.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "app/named_runs.h"
#include "app/program_host.h"
#include "engine/restore.h"
#include "engine/run_context.h"
#include "engine/run_driver.h"
#include "engine/verify.h"
#include "platform/mounts.h"
#include "platform/priority.h"
#include "platform/process.h"
#include "rules/file_filters.h"

namespace kavrel {

inline constexpr std::u16string_view kAppTitle = u"Kavrel Ver 2.05 專業版";

class Program {
 public:
  /// `program_folder` exists and has no trailing separator; the clock and the host outlive this.
  Program(std::u16string program_folder, std::u16string settings_file, kavrel::Clock& clock,
          ProgramHost& host);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Takes the program folder for this process, which it then keeps. False when another process
  /// has it. To be called before anything is changed.
  bool Lock(std::u16string_view purpose) {
    return lock_.TryAcquire(Files.ProgramFolder(), purpose);
  }

  /// Start-up of a face that lives on: the host is built, everything is read, overdue jobs are
  /// asked about (unless `command_line` names jobs to run) and the scheduler begins to tick.
  /// The lock is held. False when the store exists but cannot be read; the program runs all the
  /// same and keeps the file as it is.
  bool Start(std::u16string_view command_line);
  /// One firing of the timer that the host was told to set.
  void Tick();
  /// Has these jobs run next, which another start of the program was given; gives the names of
  /// those that there are not.
  std::vector<std::u16string> RunNext(std::span<const std::u16string> names);
  /// The end of a program that was started: the store and the program log are saved.
  void Shutdown();

  /// For a single command: reads the rules, the filters, the store as it is and the program log,
  /// and sets times right that a wrong clock has left, in memory.
  /// False when the store exists but cannot be read (Store.LastError() tells why).
  bool Load();
  /// Reads the store again and asks about overdue jobs. True when it holds a job.
  bool ReloadJobs();

  /// Takes the jobs of another store file, asks about overdue ones, and switches the scheduler on.
  /// Gives the error code that stood in the way, 0 on success.
  int ImportJobs(std::u16string_view path);

  /// Runs the job at this position of the store now, as a backup, with the busy flag set; saves
  /// the program log afterwards. A request while a run is busy cancels that run instead.
  RunOutcome RunJobNow(std::int32_t job_index);

  /// The same for a restore of that job.
  RunOutcome RunRestoreNow(std::int32_t job_index, RestoreMode mode,
                           const ArchivePicker& picker = {});
  /// And for what was picked of its backup.
  RunOutcome RunRestorePickedNow(std::int32_t job_index, const RestorePick& pick,
                                 const ArchivePicker& picker = {});
  /// A restore as it is asked for: of a state, or all or some of what lies in the place of now.
  RunOutcome RunRestoreNow(std::int32_t job_index, const RestoreRequest& request);
  /// Compares that job's source with its backup, or tests its archive, in the same way; `unit`: a
  /// state of it. The job's second file notes when a state was verified to the end.
  /// `mend`: what its sum convicts is copied anew.
  VerifyReport VerifyJobNow(std::int32_t job_index, const ArchivePicker& picker = {},
                            std::u16string_view unit = {}, bool mend = false);
  /// Compares that job's backup, or one state of it, with its sums in the same way, all of it or
  /// the part whose turn it is; the second file notes where the next part begins.
  VerifyReport ScrubJobNow(std::int32_t job_index, std::u16string_view unit = {},
                           bool part = false);
  /// Restores some files of it into a folder of their own to see whether that works; the second
  /// file notes how it went.
  VerifyReport DrillJobNow(std::int32_t job_index);
  /// Whether the next part is to be read today, and whether it is time for a test restore.
  bool ScrubIsDue(const BackupJob& job) const;
  bool DrillIsDue(const BackupJob& job) const;
  /// What the verification found that followed the last backup; nothing when there was none.
  const std::optional<VerifyReport>& LastVerification() const {
    return Context.Report.Verification;
  }
  /// The log of the last backup or restore.
  const std::u16string& RunLogPath() const { return Context.Report.LogPath; }
  /// How the jobs went that the command line named.
  const NamedRuns& RunsByName() const { return named_runs_; }
  /// What became of the last run.
  RunOutcome LastOutcome() const { return Context.Report.Outcome; }

  /// Switches a job on or off; saves the store when `save`. A job that is switched on leaves a
  /// refused weekday.
  void SetJobEnabled(std::int32_t job_index, bool on, bool save);
  /// Whether the user of this program folder has yet to be told that the window goes on while it is
  /// hidden; true once.
  bool TellHiding();
  /// Clears the log list and removes the job logs, but for the one that a run is writing.
  void DeleteAllLogs();
  /// Whether the program starts with the desktop; the setting changes even where the desktop's own
  /// entry could not.
  void SetAutostart(bool on);

  /// The completion sound's file, a host path: that of the program folder, else the one installed
  /// with the program; empty when there is none.
  std::u16string SoundPath() const;
  /// Whether a completion sound could be heard.
  bool SoundAvailable() const;

  /// NextRunTime against this program's clock, for the checks of a form.
  DateTime NextRunTimeOf(const BackupJob& job);
  /// The destination that a run of the job would use now, its date tags expanded.
  std::u16string DestinationNow(const BackupJob& job) const;
  /// The backup folder that a new job starts with.
  std::u16string DefaultDestination() const;
  /// The same for a job that is filled in from a preset.
  std::u16string PresetDestination() const;

 private:
  /// Does the work with the busy flag set, unless a run is busy already.
  RunOutcome WhileBusy(const std::function<RunOutcome()>& work, bool sounds = true);
  RunOutcome RunStoredJob(BackupJob& job);
  void VerifyLastRun(BackupJob& job);
  void NoteVerification(BackupJob& job, const VerifyReport& report);
  /// Does one of the things that jobs have asked for beside their runs, when nothing else is to be
  /// done.
  void CareForBackups();
  bool CareFor(std::int32_t job_index);
  void NoteNamedRun(const BackupJob& job);
  void PlayCompletionSound() const;
  /// Asks about the overdue jobs of the store that was just loaded, unless the command line names
  /// jobs, and puts off those that are not to run now.
  void SettlePastDue();
  SchedulerActions Actions();

  kavrel::Clock& clock_;
  ProgramHost& host_;
  ProcessLock lock_;
  PriorityControl priority_;
  std::u16string command_line_;
  NamedRuns named_runs_;
  /// What could not be done, a disk being away, is not tried again before then.
  DateTime care_waits_ = kZeroDate;
  RunNotes no_notes_;

 public:
  FileSystem Files;
  RunState State;
  Settings Preferences;
  SettingsStore WindowSizes;  ///< and their columns, in a section of their own
  SettingsStore Told;         ///< what a user is told once, in another
  JobStore Store;
  MountTable Mounts;
  ExclusionSet Exclusions;
  FilterTable Filters;
  LogList LogRows;
  JobLog Log;
  ProgramLog History;
  SevenZipLibrary Archiver;
  StagingJournal Staged;
  SchedulePause Pause;
  RunContext Context;
  Scheduler Schedule;
};

}  // namespace kavrel
