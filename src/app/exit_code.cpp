#include "app/exit_code.h"

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

}  // namespace

ExitCode CodeOfRun(RunOutcome outcome, const BackupJob& job, const RunCounters& counters) {
  if (outcome != RunOutcome::Ran) return CodeOfOutcome(outcome);
  if (job.LastRunResult.Stopped) return kInterrupted;
  return IsComplete(counters) ? kDone : kSomeFailed;
}

ExitCode CodeOfBackup(const RunContext& context, const BackupJob& job) {
  const ExitCode code = CodeOfRun(context.Report.Outcome, job, context.Report.Counters);
  // A place that has gone with its disk is none that cannot be had.
  const bool none = code == kSomeFailed && job.LastRunResult.FailedFiles > 0 &&
                    !context.Report.LostDisk &&
                    !context.Files.FolderExists(job.Destination.WorkPath) &&
                    !context.Files.FolderExists(UnfinishedPath(job.Destination.WorkPath)) &&
                    !context.Exclusions.IsFolderExcluded(job.Source.Path);
  return none ? kNoPlace : code;
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
