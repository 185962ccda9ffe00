#include "cli/commands.h"
#include "cli/console.h"
#include "cli/run_report.h"
#include "platform/process.h"

namespace kavrel {

int VerifyJobs(Session& session, const VerifyChoice& choice) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (!choice.Archive.empty() && choice.Names.size() != 1) {
    PrintError("--archive goes with one job");
    return kBadInput;
  }
  session.Show(choice.Output);
  if (!session.Open(u"kavrelctl verify")) return session.Failure();
  const std::optional<std::vector<BackupJob*>> jobs = session.FindJobs(choice.Names);
  if (!jobs) return kNoSuchJob;
  const std::optional<std::u16string> archive =
      ArchiveName(session, *jobs->front(), choice.Archive);
  if (!archive) return kBadInput;
  RunReports reports(session, choice.Output);
  ExitCode worst = kDone;
  for (const BackupJob* job : *jobs) {
    const VerifyReport report = session.Program().VerifyJobNow(
        job->JobIndex,
        [&](const std::vector<ArchiveFile>& archives) { return PickArchive(archives, *archive); });
    const ExitCode code = reports.Verification(report, *job);
    worst = Graver(worst, code);
    if (code == kInterrupted || InterruptRequested()) break;
  }
  reports.Print(worst);
  return worst;
}

}  // namespace kavrel
