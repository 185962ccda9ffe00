#include <algorithm>

#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/run_report.h"
#include "platform/process.h"

namespace kavrel {

namespace {

using Wish = bool (*)(const Program&, const BackupJob&);
using Work = VerifyReport (*)(Program&, const BackupJob&, std::u16string_view unit, bool due);

/// The jobs that were named, or with Due those that wish it and whose turn it is. Nothing when a
/// name is not there.
std::optional<std::vector<BackupJob*>> Chosen(Session& session, const CareChoice& choice,
                                              Wish wish) {
  Program& program = session.Program();
  std::vector<BackupJob*> jobs;
  if (!choice.Names.empty()) {
    const std::optional<std::vector<BackupJob*>> named = session.FindJobs(choice.Names);
    if (!named) return std::nullopt;
    jobs = *named;
  } else if (choice.Due) {
    for (BackupJob& job : program.Store.Jobs) jobs.push_back(&job);
  }
  if (choice.Due) std::erase_if(jobs, [&](const BackupJob* job) { return !wish(program, *job); });
  return jobs;
}

int Care(Session& session, const CareChoice& choice, std::u16string_view purpose,
         std::string_view kind, Wish wish, Work work) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (choice.Names.empty() && !choice.Due) {
    PrintError(Tr("name the jobs, or take those that are due with --due"));
    return kBadInput;
  }
  if (!choice.State.empty() && choice.Names.size() != 1) {
    PrintError(Fill(Tr("%1 goes with one job"), {"--state"}));
    return kBadInput;
  }
  session.Show(choice.Output);
  if (!session.Open(purpose)) return session.Failure();
  const std::optional<std::vector<BackupJob*>> jobs = Chosen(session, choice, wish);
  if (!jobs) return kNoSuchJob;
  RunReports reports(session, choice.Output);
  ExitCode worst = kDone;
  for (const BackupJob* job : *jobs) {
    std::u16string unit;
    if (!choice.State.empty()) {
      ExitCode why = kDone;
      const std::optional<std::u16string> found = UnitOf(session, *job, choice.State, why);
      if (!found) return why;
      unit = *found;
    }
    const VerifyReport report = work(session.Program(), *job, unit, choice.Due);
    const ExitCode code = reports.Verification(report, *job, kind);
    worst = Graver(worst, code);
    if (code == kInterrupted || InterruptRequested()) break;
  }
  reports.Print(worst);
  return worst;
}

}  // namespace

int ScrubJobs(Session& session, const CareChoice& choice) {
  return Care(
      session, choice, u"kavrelctl scrub", "scrub",
      [](const Program& program, const BackupJob& job) {
        return job.Extras.Scrub && program.ScrubIsDue(job);
      },
      [](Program& program, const BackupJob& job, std::u16string_view unit, bool due) {
        return program.ScrubJobNow(job.JobIndex, unit, due);
      });
}

int DrillJobs(Session& session, const CareChoice& choice) {
  return Care(
      session, choice, u"kavrelctl drill", "drill",
      [](const Program& program, const BackupJob& job) {
        return job.Extras.Drill && program.DrillIsDue(job);
      },
      [](Program& program, const BackupJob& job, std::u16string_view, bool) {
        return program.DrillJobNow(job.JobIndex);
      });
}

}  // namespace kavrel
