#include "app/exit_code.h"

#include "files/path.h"

namespace kavrel {

namespace {

/// The code of what did not come to its end; kDone where there is more to look at.
ExitCode CodeOfOutcome(RunOutcome outcome) {
  switch (outcome) {
    case RunOutcome::SourceMissing:
    case RunOutcome::NothingPicked:
      return kSourceMissing;
    case RunOutcome::NoArchiver:
      return kNoArchiveProgram;
    case RunOutcome::NotStarted:
      return kInterrupted;
    case RunOutcome::Guarded:
      return kGuarded;
    case RunOutcome::NoSpace:
      return kNoSpace;
    case RunOutcome::Ran:
      break;
  }
  return kDone;
}

/// Whether a failure is told of this very folder; that of an archive has its reason behind the
/// path.
bool IsOf(std::u16string_view told, std::u16string_view folder) {
  folder = DropBackslash(folder);
  return DropBackslash(told) == folder || told.starts_with(std::u16string(folder) + u" (");
}

ExitCode CodeOfRun(const RunReport& report, const BackupJob& job) {
  if (report.Outcome != RunOutcome::Ran) return CodeOfOutcome(report.Outcome);
  if (job.LastRunResult.Stopped) return kInterrupted;
  return IsComplete(report.Counters) && report.Alarm.empty() ? kDone : kSomeFailed;
}

}  // namespace

ExitCode CodeOfBackup(const RunContext& context, const BackupJob& job) {
  const ExitCode code = CodeOfRun(context.Report, job);
  return code == kSomeFailed && context.Report.HasNoPlace() ? kNoPlace : code;
}

ExitCode CodeOfRestore(const RunContext& context, const BackupJob& job) {
  const ExitCode code = CodeOfRun(context.Report, job);
  const std::vector<RunFailure>& failures = context.Report.Failures.First();
  if (code != kSomeFailed || failures.empty()) return code;
  const std::u16string& target = job.Destination.WorkPath;
  // What is not in the backup needs no target, either.
  return IsOf(failures.front().Path, target) && !context.Files.FolderExists(target) ? kNoPlace
                                                                                    : code;
}

ExitCode CodeOfVerification(const VerifyReport& report) {
  if (report.Outcome != RunOutcome::Ran) return CodeOfOutcome(report.Outcome);
  if (report.Stopped) return kInterrupted;
  return report.Counters.Differences() > 0 ? kSomeFailed : kDone;
}

ExitCode Graver(ExitCode one, ExitCode other) {
  constexpr int kGravity[] = {0, 1, 2, 3, 10, 6, 9, 8, 4, 5, 7};
  return kGravity[one] >= kGravity[other] ? one : other;
}

}  // namespace kavrel
