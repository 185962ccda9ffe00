// The commands of kavrelctl. Each gives the exit code of the process.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/job_options.h"
#include "cli/session.h"
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
  std::string Compression = "fast";  ///< "store", "fast" or "full", for compressed jobs
};

enum class RuleChange { Remove, Enable, Disable };

int AddJob(Session& session, const JobOptions& options);
int EditJob(Session& session, const std::string& name, const JobOptions& options);
int DeleteJob(Session& session, const std::string& name);
int ListJobs(Session& session, bool json);
/// Prints the names of the jobs alone, one a line.
int ListJobNames(Session& session);
int ShowJob(Session& session, const std::string& name, bool json);
int RunJobs(Session& session, const RunChoice& choice);
/// What a run of the job would do now.
int PrintPreview(Session& session, const std::string& name, bool json);
/// What would be copied from there to there; its warnings on standard error.
void PrintPlan(const BackupJob& job, std::u16string_view source, std::u16string_view destination,
               const RunPlan& plan, bool json);
/// Runs jobs as they become due until it is interrupted.
int WatchJobs(Session& session);
/// Each job's next `times`, and why it is not run now.
int ListNextRuns(Session& session, std::size_t times, bool json);
/// Pauses the schedule for that span, until that time, or with neither until it is resumed.
int PauseSchedule(Session& session, const std::string& span, const std::string& until);
int ResumeSchedule(Session& session);
/// Says on standard error that the schedule is paused, if it is, or that nobody can tell.
void TellPause(const SchedulePause& pause);
/// "until 2026-11-26 10:00:00", or without an end.
std::string PauseEndText(DateTime end);

/// A restore as the command line asks for it.
struct RestoreChoice {
  std::string Mode;               ///< "full" or "incremental"; empty is full
  std::string Archive;            ///< of a compressed job; empty takes the newest
  std::vector<std::string> Only;  ///< files and folders of the backup; empty is all
  std::string To;                 ///< another folder than the source
  bool ReplaceNewer = false;
  bool Force = false;   ///< also what another job has made, and where a disk is not there
  bool DryRun = false;  ///< only tells what would be done, as a table or as JSON
  bool Json = false;
};
int RestoreJob(Session& session, const std::string& name, const RestoreChoice& choice);

/// Compares a job's source with its backup, or tests an archive of a compressed job: the newest
/// when `archive` is empty.
int VerifyJob(Session& session, const std::string& name, const std::string& archive);
/// Prints what a verification found and gives its exit code.
ExitCode ReportVerification(Session& session, const VerifyReport& report, const BackupJob& job);
/// The archive of that name, or the newest one when no name is given.
std::optional<std::u16string> PickArchive(const std::vector<ArchiveFile>& archives,
                                          std::u16string_view name);

/// The archives of a compressed job; with `archive`, the entries of that one.
int ListJobArchives(Session& session, const std::string& name, const std::string& archive,
                    bool json);

int ListRules(Session& session, bool json);
int AddRule(Session& session, const RuleOptions& options);
/// The rules of these numbers, as the list shows them, are removed, switched on or switched off.
int ChangeRules(Session& session, RuleChange change, const std::vector<std::size_t>& numbers);
int ResetRules(Session& session);

int ListFilters(Session& session, bool json);
int AddFilter(Session& session, const std::string& name, const std::string& patterns);
int RemoveFilter(Session& session, const std::string& name);

/// One setting, or all with an empty name.
int GetSettings(Session& session, const std::string& name);
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
