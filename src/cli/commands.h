// The commands of kavrelctl. Each gives the exit code of the process.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/job_status.h"
#include "base/translation.h"
#include "cli/job_options.h"
#include "cli/message.h"
#include "cli/session.h"
#include "engine/states.h"
#include "log/log_filter.h"

namespace kavrel {

struct RuleOptions {
  std::string Name, Drive = "*", Folder = "*", File = "*";
  bool Disabled = false;
};

/// The jobs to run: those named, all that are switched on, or those of them that are due.
struct RunChoice {
  std::vector<std::string> Names;
  bool All = false, Due = false, Force = false;
  std::string Compression;  ///< "store", "fast" or "full", for compressed jobs; empty is fast
  OutputChoice Output{};
};

/// The jobs whose status is asked for; all without a name.
struct StatusChoice {
  std::vector<std::string> Names;
  std::string MaxAge;  ///< of the last success, as 26h; empty = any
  bool Json = false, Quiet = false;
};
/// How it stands with the jobs. The exit code tells whether all are well.
int PrintStatus(Session& session, const StatusChoice& choice);

/// As a table, as JSON, or their names alone, one a line.
enum class ListForm { Table, Json, Names };

enum class RuleChange { Remove, Enable, Disable };

int AddJob(Session& session, const JobOptions& options);
int EditJob(Session& session, const std::string& name, const JobOptions& options);
int DeleteJobs(Session& session, const std::vector<std::string>& names);
int ListJobs(Session& session, bool json);
/// Prints the names of the jobs alone, one a line.
int ListJobNames(Session& session);
/// One job as an object, several as a list of them.
int ShowJobs(Session& session, const std::vector<std::string>& names, bool json);
/// A date and time as tables show it; empty for the zero date.
std::u16string DateOrNothing(DateTime time);
int RunJobs(Session& session, const RunChoice& choice);
/// What a run of the job would do now.
int PrintPreview(Session& session, const std::string& name, bool json);
/// Why it cannot begin.
Message NoSourceReason(const BackupJob& job);
inline constexpr const char* kNoArchiverReason =
#ifdef _WIN32
    TrLater("no archive program is installed; it is 7-Zip.dll, beside the program");
#else
    TrLater("no archive program is installed; the Debian package is 7zip");
#endif
inline constexpr const char* kWrongPasswordText = TrLater(
    "the job's password does not open the archive; edit --password-stdin gives it another one");
/// What a run or a restore would come to, from there to there.
struct PlannedRun {
  std::u16string Source{}, Destination{};
  RunPlan Plan{};
  RunCounters Counters{};
  RunOutcome Outcome = RunOutcome::Ran;
  Message Reason{};     ///< why it could not even begin
  bool Forced = false;  ///< what the plan warns of would not stop it
};
/// Prints it, its warnings and the reason on standard error; gives the exit code.
ExitCode PrintPlan(const BackupJob& job, const PlannedRun& planned, bool json);
/// Its steps alone, a line each.
void PrintSteps(const RunPlan& plan);
/// The steps of a run of the job that is about to begin.
void TellSteps(Session& session, const BackupJob& job);
/// Runs jobs as they become due until it is interrupted.
int WatchJobs(Session& session);
/// Next `times` of these jobs, of all without a name, and why they are not run now.
int ListNextRuns(Session& session, const std::vector<std::string>& names, std::size_t times,
                 bool json);
/// Pauses the schedule for that span, until that time, or with neither until it is resumed.
int PauseSchedule(Session& session, const std::string& span, const std::string& until);
int ResumeSchedule(Session& session);
/// Says on standard error that the schedule is paused, if it is, or that nobody can tell.
void TellPause(const SchedulePause& pause);
/// "until 2026-11-26 10:00:00", or without an end.
std::string PausedText(DateTime end);
/// How a job is, as tables show it.
std::u16string StatusCell(JobWord word);

/// The states of a job: dated folders and archives, the newest first.
int ListJobStates(Session& session, const std::string& name, ListForm form);
/// Which of them stay after a whole run, which go, and why.
int ExplainKeeping(Session& session, const std::string& name, bool json);
/// Has one of them stay whatever the job keeps, or not any more.
int PinJobState(Session& session, const std::string& name, const std::string& which, bool pinned);
/// False where the job makes none and none is there, which is told: bad input.
bool CanHaveStates(const BackupJob& job, const std::vector<JobState>& states);
/// The one of them that is meant; nothing, and the exit code, after saying why.
std::optional<std::size_t> StateMeant(const std::vector<JobState>& states, const BackupJob& job,
                                      const std::string& which, ExitCode& code);
/// The state that a restore or a verification is to take: the one that is meant; without a choice
/// nothing named where something lies in the place of now, else the newest whole one, after saying
/// so. Nothing, and the exit code, after saying why.
std::optional<std::u16string> UnitOf(Session& session, const BackupJob& job,
                                     const std::string& which, ExitCode& code);

/// The versions of one file over all states, equal ones once.
int ListVersions(Session& session, const std::string& name, const std::string& path, bool json);
/// What is different in the later one of two states.
int CompareJobStates(Session& session, const std::string& name, const std::string& from,
                     const std::string& to, bool json);
/// A path as the user names it, relative to the backup's root or below the job's source, as
/// relative text. Nothing when it leads elsewhere.
std::optional<std::u16string> PathInBackup(const BackupJob& job, std::u16string path);

/// A restore as the command line asks for it.
struct RestoreChoice {
  std::string Mode;               ///< "full" or "incremental"; empty is full
  std::string Archive;            ///< name or path of one of a compressed job; empty: the newest
  bool Latest = false;            ///< the newest was asked for
  std::string State;              ///< which; empty is that of now, or the newest whole one
  std::vector<std::string> Only;  ///< files and folders of the backup; empty is all
  std::string To;                 ///< another folder than the source
  bool ReplaceNewer = false;
  bool Force = false;   ///< also what another job has made, and where a disk is not there
  bool DryRun = false;  ///< only tells what would be done, as a table or as JSON
  OutputChoice Output{};
};
int RestoreJob(Session& session, const std::string& name, const RestoreChoice& choice);

struct VerifyChoice {
  std::vector<std::string> Names;
  std::string Archive;  ///< of the one compressed job; empty: the newest
  std::string State;    ///< of the one job; empty: as in a restore
  bool Mend = false;    ///< damaged copies are made anew, where the source is still what it was
  OutputChoice Output{};
};
/// Compares the sources of these jobs with their backups, or tests an archive of a compressed one.
int VerifyJobs(Session& session, const VerifyChoice& choice);
/// Reads a backup again, or tries a restore of some of it.
struct CareChoice {
  std::vector<std::string> Names;
  std::string State;  ///< the only one to be read, of the one job; empty: all
  bool Due = false;   ///< of the jobs that have it switched on, those whose turn it is
  OutputChoice Output{};
};
/// Compares the backups of these jobs with their sums; with Due only the part whose turn it is.
int ScrubJobs(Session& session, const CareChoice& choice);
/// Restores some files of them into a folder of their own and compares them with their sums.
int DrillJobs(Session& session, const CareChoice& choice);
/// An archive of the job as the command line names it, by its name or its path: the name. Nothing,
/// after saying so, when the job has no archives, or the path leads elsewhere. Empty stays empty.
std::optional<std::u16string> ArchiveName(Session& session, const BackupJob& job,
                                          const std::string& named);
/// The archive of that name, or the newest one when no name is given.
std::optional<std::u16string> ArchiveNamed(const std::vector<ArchiveFile>& archives,
                                           std::u16string_view name);

/// The archives of a compressed job; with `archive`, the entries of that one.
int ListJobArchives(Session& session, const std::string& name, const std::string& archive,
                    ListForm form);

int ListRules(Session& session, ListForm form);
int AddRule(Session& session, const RuleOptions& options);
/// The rules of these names, or numbers as the list shows them, are removed, switched on or off.
int ChangeRules(Session& session, RuleChange change, const std::vector<std::string>& named);
int ResetRules(Session& session);

int ListFilters(Session& session, ListForm form);
int AddFilter(Session& session, const std::string& name, const std::string& patterns);
int RemoveFilters(Session& session, const std::vector<std::string>& names);

/// One setting, or all with an empty name.
int GetSettings(Session& session, const std::string& name, bool json);
int SetSetting(Session& session, const std::string& name, const std::string& value);
/// Prints a path with its date tags expanded.
int ExpandPath(Session& session, const std::string& path);

/// The drives and shares that jobs and rules name, and where each leads.
int ListDrives(Session& session, bool json);
int SetDrive(Session& session, const std::string& drive, const std::string& folder);
int RemoveDrive(Session& session, const std::string& drive);

/// Takes the jobs of another store, a file or the folder that holds its Backup.rtm; with `rules`
/// also the exclusion rules and file types beside it.
int ImportJobs(Session& session, const std::string& from, bool rules);
/// Copies jobs, exclusion rules and file types into a folder; with `force` over what is there.
int ExportJobs(Session& session, const std::string& to, bool force);

/// The newest `last` runs of those that the filter lets through.
int ListLog(Session& session, std::size_t last, const LogFilter& filter, bool json);
/// Prints the job log of the `newest`-th run, 1 being the last one.
int ShowLog(Session& session, std::size_t newest);

}  // namespace kavrel
