#include <algorithm>
#include <cstdio>
#include <optional>

#include "base/number.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/console_host.h"
#include "files/path.h"
#include "files/size_text.h"
#include "log/job_log.h"
#include "log/log_troubles.h"
#include "platform/folders.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

/// The words in which a backup and a restore differ.
struct RunWords {
  std::u16string_view Stopped, Done, Copied, Unchanged, Failed, Bytes;
  bool OfRestore;
};
constexpr RunWords kBackup = {u"備份中斷",
                              u"備份完成",
                              u"已完成檔案總計　　：",
                              u"備份已存在檔案總計：",
                              u"備份失敗檔案總計　：",
                              u"完成備份容量總計　：",
                              false};
constexpr RunWords kRestore = {u"還原中斷",
                               u"還原完成",
                               u"已完成還原檔案總計：",
                               u"還原已存在檔案總計：",
                               u"已還原失敗檔案總計：",
                               u"完成還原容量總計　：",
                               true};

void PrintResult(const BackupJob& job, const Program& program, const RunWords& words) {
  const RunContext& context = program.Context;
  const LastRunResult& result = job.LastRunResult;
  std::u16string text = job.Name + u"：";
  text += result.Stopped ? words.Stopped : words.Done;
  text += u"\n";
  const auto line = [&](std::u16string_view label, std::u16string_view value) {
    text += u"  ";
    text += label;
    text += value;
    text += u"\n";
  };
  line(u"來源檔案總計　　　：", Grouped(context.Report.Counters.SourceFiles));
  line(words.Copied, Grouped(result.CopiedFiles));
  line(words.Unchanged, Grouped(result.UnchangedFiles));
  line(words.Failed, Grouped(result.FailedFiles));
  if (context.Report.Counters.NewerFiles > 0) {
    line(u"保留較新檔案總計　：", Grouped(context.Report.Counters.NewerFiles));
  }
  if (context.Report.Counters.UpdatedAttributes > 0) {
    line(u"更新屬性總計　　　：", Grouped(context.Report.Counters.UpdatedAttributes));
  }
  if (result.UnseenFiles > 0) line(u"無法查看檔案總計　：", Grouped(result.UnseenFiles));
  if (result.WarningFiles > 0) line(u"警告檔案總計　　　：", Grouped(result.WarningFiles));
  line(words.Bytes, FormatSize(result.CopiedBytes, SizeMode::Both));
  const std::uint64_t removed = std::uint64_t{result.SyncDeletedFiles} + result.SyncDeletedFolders +
                                context.Report.Counters.RecycledFiles +
                                context.Report.Counters.RecycledFolders;
  if (removed > 0) {
    line(u"同步刪除檔案總計　：", Grouped(result.SyncDeletedFiles));
    line(u"同步刪除資料夾總計：", Grouped(result.SyncDeletedFolders));
    line(u"資源回收筒檔案總計：", Grouped(context.Report.Counters.RecycledFiles));
    line(u"資源回收筒目錄總計：", Grouped(context.Report.Counters.RecycledFolders));
  }
  line(u"日誌檔名稱　　　　：", program.RunLogPath());
  if (!result.Stopped && result.CopiedFiles == 0 && IsComplete(context.Report.Counters) &&
      removed == 0) {
    text += u"  Nothing had to be copied.\n";
  }
  std::printf("%s", Printable(text, true).c_str());
  std::fflush(stdout);
}

/// Why a guard stopped the run, and what to do where it was meant.
std::string GuardedText(const RunContext& context) {
  const std::string why = Printable(context.Report.RefusalText);
  switch (context.Report.Refusal) {
    case RunRefusal::DiskAway:
      return "a disk is not there, nothing was changed: " + why +
             "; --force runs it all the same, edit --adopt takes the disks as they are";
    case RunRefusal::Shrunk:
      return "far less would be backed up than the last time, nothing was changed: " + why +
             "; --force runs it all the same, edit --adopt takes the source as it is";
    case RunRefusal::PlaceOfOthers:
      return "it may be another job's backup, nothing was changed: " + why +
             "; --force goes on all the same, edit --adopt makes the place this job's";
    default:
      return "the mirror guard stopped the run before it removed anything: " + why +
             "; --force runs it all the same";
  }
}

/// The first of what a run could not do, by name, for those who read no log.
void TellFailures(const Program& program, const BackupJob& job) {
  constexpr std::size_t kMost = 3;
  const std::uint32_t failed = job.LastRunResult.FailedFiles;
  if (failed == 0) return;
  const Result<std::u16string> log = ReadJobLog(program.Files, program.Log.CurrentPath());
  if (!log) return;
  const std::vector<LogTrouble> troubles = ReadTroubles(*log, kMost);
  for (const LogTrouble& trouble : troubles) {
    PrintError(Printable(job.Name) + ": " + Printable(trouble.What) + " " +
               Printable(trouble.Path) +
               (trouble.Reason.empty() ? "" : " (" + Printable(trouble.Reason) + ")"));
  }
  if (failed > troubles.size() && !troubles.empty()) {
    PrintError(Printable(job.Name) +
               ": the log tells of the others: " + Printable(program.Log.CurrentPath()));
  }
}

/// Tells what came of a run and gives its exit code. `missing` says what a missing folder is.
ExitCode Report(Session& session, RunOutcome outcome, const BackupJob& job, const RunWords& words,
                const std::string& missing) {
  Program& program = session.Program();
  const auto tell_of_log = [&] {
    if (program.Log.Failed()) {
      PrintError("no log could be written: " + Printable(program.Log.CurrentPath()));
    }
  };
  const ExitCode code = CodeOfRun(outcome, job, program.Context.Report.Counters);
  const auto refuse = [&](const std::string& why) {
    PrintError(Printable(job.Name) + ": " + why);
    return code;
  };
  switch (outcome) {
    case RunOutcome::SourceMissing:
    case RunOutcome::NothingPicked:
      return refuse(missing);
    case RunOutcome::NoArchiver:
      return refuse("no archive program is installed; the Debian package is 7zip");
    case RunOutcome::NotStarted:
      return code;
    case RunOutcome::Guarded:
      PrintResult(job, program, words);
      tell_of_log();
      return refuse(GuardedText(program.Context));
    case RunOutcome::NoSpace:
      PrintResult(job, program, words);
      tell_of_log();
      return refuse(
          "the copies do not fit on the destination, nothing was copied; --force runs it all the "
          "same");
    case RunOutcome::Ran:
      break;
  }
  PrintResult(job, program, words);
  tell_of_log();
  TellFailures(program, job);
  const std::u16string& folder = job.Destination.WorkPath;
  if (!words.OfRestore && job.LastRunResult.FailedFiles > 0 &&
      !program.Files.FolderExists(folder) &&
      !program.Exclusions.IsFolderExcluded(job.Source.Path)) {
    PrintError(Printable(job.Name) +
               ": the destination does not exist and cannot be made: " + Printable(folder));
  }
  return code;
}

}  // namespace

std::optional<std::u16string> PickArchive(const std::vector<ArchiveFile>& archives,
                                          std::u16string_view name) {
  if (name.empty()) return NewestArchive(archives);
  for (const ArchiveFile& archive : archives) {
    if (archive.Name == name) return archive.Name;
  }
  return std::nullopt;
}

namespace {

/// A path as the user names it, relative to the backup's root or below the job's source, as
/// relative text. Nothing when it leads elsewhere.
std::optional<std::u16string> PathInBackup(const BackupJob& job, std::u16string path) {
  const std::u16string source = AddBackslash(job.Source.Path);
  if (PathStartsWith(path, source)) path.erase(0, source.size());
  if (!IsPosixPath(source)) path = ReplaceAll(path, u"\\", u"/");
  if (path.starts_with(u'/')) return std::nullopt;
  std::u16string relative;
  for (const std::u16string_view part : Split(path, u'/')) {
    if (part == u"..") return std::nullopt;
    if (!part.empty() && part != u".") relative = RelativePath(relative, part);
  }
  return relative;
}

std::optional<RestorePick> PickOf(const BackupJob& job, const RestoreChoice& choice) {
  RestorePick pick;
  pick.ReplaceNewer = choice.ReplaceNewer;
  if (!choice.To.empty()) pick.Target = AbsolutePath(FromUtf8(choice.To));
  if (choice.Only.empty()) pick.Paths.Add(u"");
  for (const std::string& path : choice.Only) {
    const std::optional<std::u16string> relative = PathInBackup(job, FromUtf8(path));
    if (!relative) {
      PrintError("--only takes paths inside the backup: " + Printable(FromUtf8(path)));
      return std::nullopt;
    }
    pick.Paths.Add(*relative);
  }
  return pick;
}

/// Which disk is away, in brackets.
std::string AwayText(const RunContext& context) {
  const std::string disk = Printable(context.Report.RefusalText);
  return disk.empty() ? disk : " (" + disk + ")";
}

std::string NoBackupText(std::u16string_view folder, const RestoreChoice& choice) {
  return "there is no backup to restore: " + Printable(folder) +
         (choice.Archive.empty() ? "" : " " + Printable(FromUtf8(choice.Archive)));
}

int PrintRestorePlan(Session& session, const BackupJob& job, const RestoreRequest& request,
                     const RestoreChoice& choice) {
  Program& program = session.Program();
  ConsoleHost host(session.Clock());
  RunState state;
  host.Attach(state);
  RunPlan plan;
  RunCounters counters;
  const std::u16string backup = program.DestinationNow(job);
  switch (PlanRestore(program.Context, host, state, job, request, plan, counters)) {
    case RunOutcome::SourceMissing:
    case RunOutcome::NothingPicked:
      PrintError(Printable(job.Name) + ": " + NoBackupText(backup, choice));
      for (const std::u16string& warning : plan.Warnings) PrintError(Printable(warning));
      return kSourceMissing;
    case RunOutcome::NoArchiver:
      PrintError(Printable(job.Name) + ": no archive program is installed");
      return kBadInput;
    default:
      break;
  }
  if (state.CancelRequested) return kInterrupted;
  const bool elsewhere = request.Pick && !request.Pick->Target.empty();
  PrintPlan(job, backup, elsewhere ? request.Pick->Target : job.Source.Path, plan, choice.Json);
  return IsComplete(counters) ? kDone : kSomeFailed;
}

}  // namespace

int RestoreJob(Session& session, const std::string& name, const RestoreChoice& choice) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (!choice.Mode.empty() && choice.Mode != "full" && choice.Mode != "incremental") {
    PrintError("--mode takes full or incremental");
    return kBadInput;
  }
  if (choice.Json && !choice.DryRun) {
    PrintError("--json needs --dry-run");
    return kBadInput;
  }
  if (!(choice.DryRun ? session.Open() : session.Open(u"kavrelctl restore"))) return kBadInput;
  session.Program().Context.Force = choice.Force;
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  RestoreRequest request;
  request.Picker = [&](const std::vector<ArchiveFile>& archives) {
    return PickArchive(archives, FromUtf8(choice.Archive));
  };
  if (choice.Mode == "incremental") request.Mode = RestoreMode::Incremental;
  std::optional<RestorePick> pick;
  if (!choice.Only.empty() || !choice.To.empty() || choice.ReplaceNewer) {
    pick = PickOf(*job, choice);
    if (!pick) return kBadInput;
    request.Pick = &*pick;
  }
  if (choice.DryRun) return PrintRestorePlan(session, *job, request, choice);
  const RunOutcome outcome =
      pick ? session.Program().RunRestorePickedNow(job->JobIndex, *pick, request.Picker)
           : session.Program().RunRestoreNow(job->JobIndex, request.Mode, request.Picker);
  return Report(session, outcome, *job, kRestore,
                NoBackupText(job->Source.WorkPath, choice) + AwayText(session.Program().Context));
}

namespace {

/// The jobs that the command line asks for, as positions in the store; nothing when a name is not
/// among them.
std::optional<std::vector<std::int32_t>> Choose(Session& session, const RunChoice& choice) {
  std::vector<std::int32_t> chosen;
  bool all_found = true;
  for (const std::string& name : choice.Names) {
    const BackupJob* job = session.FindJob(name);
    all_found = all_found && job;
    if (job) chosen.push_back(job->JobIndex);
  }
  if (!all_found) return std::nullopt;
  const DateTime now = session.Clock().Now();
  for (const BackupJob& job : session.Program().Store.Jobs) {
    if (!job.Enabled) continue;
    if (choice.Due && NeverRuns(job, now)) {
      PrintError(Printable(job.Name) + ": " + std::string(kNeverRuns));
    } else if (choice.All || (choice.Due && job.NextRun <= now)) {
      chosen.push_back(job.JobIndex);
    }
  }
  return chosen;
}

}  // namespace

namespace {

std::string MissingSourceText(const RunContext& context, const BackupJob& job) {
  return "the source folder does not exist: " + Printable(job.Source.Path) + AwayText(context);
}

}  // namespace

int RunJobs(Session& session, const RunChoice& choice) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  constexpr std::string_view kLevels[] = {"store", "fast", "full"};
  const auto level = std::find(std::begin(kLevels), std::end(kLevels), choice.Compression);
  if (level == std::end(kLevels)) {
    PrintError("--compression takes store, fast or full");
    return kBadInput;
  }
  if (choice.Names.empty() != (choice.All || choice.Due)) {
    PrintError("run takes either names of jobs, or --all, or --due");
    return kBadInput;
  }
  if (!session.Open(u"kavrelctl run")) return kBadInput;
  Program& program = session.Program();
  program.Context.Force = choice.Force;
  program.Context.Compression = static_cast<CompressionLevel>(level - std::begin(kLevels));
  if (choice.Due) {
    if (const std::optional<DateTime> end = program.Pause.End()) {
      std::printf("The schedule is paused %s.\n", PauseEndText(*end).c_str());
      return kDone;
    }
    TellPause(program.Pause);
  }
  const std::optional<std::vector<std::int32_t>> jobs = Choose(session, choice);
  if (!jobs) return kNoSuchJob;
  if (jobs->empty()) {
    std::printf("No job is %s.\n", choice.All ? "switched on" : "due");
    return kDone;
  }
  ExitCode worst = kDone;
  const auto note = [&](ExitCode code) { worst = Graver(worst, code); };
  std::size_t ran = 0;
  program.Scheduler.RunInOrder(*jobs, [&](std::int32_t index) {
    const BackupJob& job = program.Store.Jobs[static_cast<std::size_t>(index)];
    ++ran;
    const ExitCode code = Report(session, program.LastOutcome(), job, kBackup,
                                 MissingSourceText(program.Context, job));
    note(code);
    if (const auto& verified = program.LastVerification()) {
      const ExitCode verify_code = ReportVerification(session, *verified, job);
      note(verify_code);
      if (verify_code == kInterrupted) return false;
    }
    // The run itself says nothing of a store that it could not write.
    if (program.Store.LastError() != 0 && !session.Save()) note(kSomeFailed);
    return code != kInterrupted && !InterruptRequested();
  });
  if (ran < jobs->size()) note(kInterrupted);
  return worst;
}

}  // namespace kavrel
