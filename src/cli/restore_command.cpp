#include "base/text.h"

#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/console_host.h"
#include "cli/message.h"
#include "cli/run_report.h"
#include "files/path.h"
#include "platform/folders.h"
#include "platform/process.h"

namespace kavrel {

std::optional<std::u16string> ArchiveName(Session& session, const BackupJob& job,
                                          const std::string& named) {
  if (named.empty()) return u"";
  if (!job.Compressed) {
    PrintError(Fill(Tr("%1: --archive goes with compressed jobs"), {PrintableName(job.Name)}));
    return std::nullopt;
  }
  const std::u16string text = FromUtf8(named);
  if (text.find_first_of(u"/\\") == text.npos) return text;
  const FileSystem& files = session.Program().Files;
  const std::u16string path = AbsolutePath(text), folder = session.Program().DestinationNow(job);
  if (files.RealPath(PathFolder(path)) == files.RealPath(folder)) {
    return std::u16string(PathName(path));
  }
  PrintError(Fill(Tr("%1 is no archive of %2: these are in %3"),
                  {Printable(path), PrintableName(job.Name), Printable(folder)}));
  return std::nullopt;
}

std::optional<std::u16string> ArchiveNamed(const std::vector<ArchiveFile>& archives,
                                           std::u16string_view name) {
  if (name.empty()) return NewestArchive(archives);
  for (const ArchiveFile& archive : archives) {
    if (archive.Name == name) return archive.Name;
  }
  return std::nullopt;
}

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

namespace {

/// The folder or the archive that is to come back.
std::u16string BackupOf(Session& session, const BackupJob& job, const RestoreRequest& request) {
  return request.Unit.empty() ? session.Program().DestinationNow(job) : request.Unit;
}

std::optional<RestorePick> PickOf(const BackupJob& job, const RestoreChoice& choice) {
  RestorePick pick;
  pick.ReplaceNewer = choice.ReplaceNewer;
  if (!choice.To.empty()) pick.Target = AbsolutePath(FromUtf8(choice.To));
  if (choice.Only.empty()) pick.Paths.Add(u"");
  for (const std::string& path : choice.Only) {
    const std::optional<std::u16string> relative = PathInBackup(job, FromUtf8(path));
    if (!relative) {
      PrintError(Fill(Tr("--only takes paths inside the backup: %1"), {Printable(FromUtf8(path))}));
      return std::nullopt;
    }
    pick.Paths.Add(*relative);
  }
  return pick;
}

Message NoBackupText(std::u16string_view folder, const RestoreChoice& choice) {
  std::string place = Printable(folder);
  if (!choice.Archive.empty()) place += " " + Printable(FromUtf8(choice.Archive));
  return Say("there is no backup to restore: %1", {place});
}

PlannedRun PlanOf(Session& session, const BackupJob& job, const RestoreRequest& request,
                  const RestoreChoice& choice, RunState& state) {
  Program& program = session.Program();
  ConsoleHost host(session.Clock());
  host.Attach(state);
  const bool elsewhere = request.Pick && !request.Pick->Target.empty();
  PlannedRun run{.Source = BackupOf(session, job, request),
                 .Destination = elsewhere ? request.Pick->Target : job.Source.Path,
                 .Forced = choice.Force};
  run.Outcome = PlanRestore(program.Context, host, state, job, request, run.Plan, run.Counters);
  return run;
}

void TellRestoreSteps(Session& session, const BackupJob& job, const RestoreRequest& request,
                      const RestoreChoice& choice) {
  RunState state;
  PrintSteps(PlanOf(session, job, request, choice, state).Plan);
}

int PrintRestorePlan(Session& session, const BackupJob& job, const RestoreRequest& request,
                     const RestoreChoice& choice) {
  RunState state;
  PlannedRun run = PlanOf(session, job, request, choice, state);
  if (run.Outcome == RunOutcome::NoArchiver) {
    run.Reason = Message(kNoArchiverReason);
  } else if (run.Outcome != RunOutcome::Ran) {
    run.Reason = NoBackupText(run.Source, choice);
  }
  if (state.CancelRequested) return kInterrupted;
  return PrintPlan(job, run, choice.Output.Json);
}

}  // namespace

int RestoreJob(Session& session, const std::string& name, const RestoreChoice& choice) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (!choice.Mode.empty() && choice.Mode != "full" && choice.Mode != "incremental") {
    PrintError(Tr("--mode takes full or incremental"));
    return kBadInput;
  }
  if (choice.ReplaceNewer && choice.Only.empty() && choice.To.empty()) {
    PrintError(Tr("--replace-newer goes with --only or --to; a whole restore replaces all files"));
    return kBadInput;
  }
  if (choice.DryRun && choice.Output.Progress == ProgressMode::Json) {
    PrintError(Tr("--progress json does not go with --dry-run"));
    return kBadInput;
  }
  if (choice.DryRun && (choice.Output.Quiet || choice.Output.Verbose)) {
    PrintError(Fill(Tr("%1 does not go with %2"),
                    {choice.Output.Quiet ? "--quiet" : "--verbose", "--dry-run"}));
    return kBadInput;
  }
  session.Show(choice.Output);
  if (!(choice.DryRun ? session.Open() : session.Open(u"kavrelctl restore"))) {
    return session.Failure();
  }
  session.Program().Context.Force = choice.Force;
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  if (choice.Latest && !job->Compressed) {
    PrintError(Fill(Tr("%1: --latest goes with compressed jobs"), {PrintableName(job->Name)}));
    return kBadInput;
  }
  if (job->Compressed && choice.Mode == "incremental") {
    PrintError(PrintableName(job->Name) + ": " +
               Fill(Tr("%1 does not go with %2"), {"--mode incremental", "--type compressed"}));
    return kBadInput;
  }
  const std::optional<std::u16string> archive = ArchiveName(session, *job, choice.Archive);
  if (!archive) return kBadInput;
  RestoreRequest request;
  request.Picker = [&](const std::vector<ArchiveFile>& archives) {
    return ArchiveNamed(archives, *archive);
  };
  if (choice.Mode == "incremental") request.Mode = RestoreMode::Incremental;
  std::optional<RestorePick> pick;
  if (!choice.Only.empty() || !choice.To.empty()) {
    pick = PickOf(*job, choice);
    if (!pick) return kBadInput;
    request.Pick = &*pick;
  }
  if (archive->empty()) {
    ExitCode why = kDone;
    const std::optional<std::u16string> unit = UnitOf(session, *job, choice.State, why);
    if (!unit) return why;
    request.Unit = *unit;
  }
  if (choice.DryRun) return PrintRestorePlan(session, *job, request, choice);
  if (choice.Output.Verbose) TellRestoreSteps(session, *job, request, choice);
  session.Console().BeginRestore(*job, BackupOf(session, *job, request), pick ? &*pick : nullptr);
  RunReports reports(session, choice.Output);
  const RunOutcome outcome = session.Program().RunRestoreNow(job->JobIndex, request);
  const ExitCode code = reports.Run(
      outcome, *job, true,
      WithAway(NoBackupText(job->Source.WorkPath, choice), session.Program().Context.Report));
  reports.Print(code);
  return code;
}

}  // namespace kavrel
