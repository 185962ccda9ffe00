#include <set>

#include "archive/seven_zip.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/run_report.h"
#include "cli/verified_line.h"
#include "files/path.h"
#include "platform/process.h"

namespace kavrel {

namespace {

/// A line for each file of an archive that was read back as it was packed, when all that was not is
/// known.
void NameFilesOf(const SevenZipLibrary& library, const VerifyReport& report) {
  if (report.Outcome != RunOutcome::Ran || report.Stopped || report.WrongPassword) return;
  if (report.Counters.Differences() > report.Differing.size()) return;
  const auto archive = library.SevenZipOpenArchive(report.Unit);
  if (!archive) return;
  std::set<std::u16string_view> different;
  for (const VerifyDifference& difference : report.Differing) different.insert(difference.Path);
  if (different.contains(report.Unit)) return;
  for (const IndividualInfo& entry : archive->Entries) {
    if (!entry.IsFolder && !different.contains(entry.FileName)) {
      PrintVerified(JoinPath(report.Unit, entry.FileName));
    }
  }
}

}  // namespace

int VerifyJobs(Session& session, const VerifyChoice& choice) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  const bool one = !choice.Archive.empty() || !choice.State.empty();
  if (one && choice.Names.size() != 1) {
    PrintError(
        Fill(Tr("%1 goes with one job"), {(choice.State.empty() ? "--archive" : "--state")}));
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
    ExitCode why = kDone;
    const std::optional<std::u16string> unit =
        archive->empty() ? UnitOf(session, *job, choice.State, why) : std::u16string();
    if (!unit) return why;
    if (!unit->empty() && EndsWithSeparator(*unit)) {
      PrintError(Fill(Tr("%1: an older state is compared with the source as it is now: %2"),
                      {PrintableName(job->Name), Printable(*unit)}));
    }
    const VerifyReport report = session.Program().VerifyJobNow(
        job->JobIndex,
        [&](const std::vector<ArchiveFile>& archives) { return ArchiveNamed(archives, *archive); },
        *unit, choice.Mend);
    if (choice.Output.Verbose && job->Compressed && !report.BySums) {
      NameFilesOf(session.Program().Archiver, report);
    }
    const ExitCode code = reports.Verification(report, *job);
    worst = Graver(worst, code);
    if (code == kInterrupted || InterruptRequested()) break;
  }
  reports.Print(worst);
  return worst;
}

}  // namespace kavrel
