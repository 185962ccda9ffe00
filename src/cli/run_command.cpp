#include <algorithm>
#include <cstdio>
#include <optional>

#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/console_host.h"
#include "cli/message.h"
#include "cli/run_report.h"
#include "platform/process.h"
#include "schedule/next_run.h"

namespace kavrel {

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
      PrintError(PrintableName(job.Name) + ": " + Tr(kNeverRuns));
    } else if (choice.All || (choice.Due && job.NextRun <= now)) {
      chosen.push_back(job.JobIndex);
    }
  }
  return chosen;
}

}  // namespace

Message NoSourceReason(const BackupJob& job) {
  return Say("the source folder does not exist: %1", {Printable(job.Source.Path)});
}

int RunJobs(Session& session, const RunChoice& choice) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  constexpr std::string_view kLevels[] = {"store", "fast", "full"};
  const std::string_view given = choice.Compression;
  const std::string_view wanted = given.empty() ? "fast" : given;
  const auto level = std::find(std::begin(kLevels), std::end(kLevels), wanted);
  if (level == std::end(kLevels)) {
    PrintError(Tr("--compression takes store, fast or full"));
    return kBadInput;
  }
  if ((choice.Names.empty() ? 0 : 1) + (choice.All ? 1 : 0) + (choice.Due ? 1 : 0) != 1) {
    PrintError(Tr("run takes either names of jobs, or --all, or --due"));
    return kBadInput;
  }
  session.Show(choice.Output);
  if (!session.Open(u"kavrelctl run")) return session.Failure();
  Program& program = session.Program();
  program.Context.Force = choice.Force;
  program.Context.Compression = static_cast<CompressionLevel>(level - std::begin(kLevels));
  RunReports reports(session, choice.Output);
  const auto nothing = [&](const std::string& why) {
    if (!choice.Output.Json && !choice.Output.Quiet) std::printf("%s\n", why.c_str());
    reports.Print(kDone);
    return kDone;
  };
  if (choice.Due) {
    if (const std::optional<DateTime> end = program.Pause.End()) {
      return nothing(PausedText(*end));
    }
    TellPause(program.Pause);
  }
  const std::optional<std::vector<std::int32_t>> jobs = Choose(session, choice);
  if (!jobs) return kNoSuchJob;
  const auto packs = [&](std::int32_t index) {
    return program.Store.Jobs[static_cast<std::size_t>(index)].Compressed;
  };
  if (!choice.Compression.empty() && !choice.Names.empty() &&
      std::none_of(jobs->begin(), jobs->end(), packs)) {
    PrintError(Tr("--compression goes with compressed jobs, and none of these is one"));
    return kBadInput;
  }
  if (jobs->empty()) {
    return nothing(choice.All ? Tr("No job is switched on.") : Tr("No job is due."));
  }
  if (choice.Output.Verbose) {
    session.Console().Starting = [&](const BackupJob& job) { TellSteps(session, job); };
  }
  ExitCode worst = kDone;
  const auto note = [&](ExitCode code) { worst = Graver(worst, code); };
  std::size_t ran = 0;
  program.Schedule.RunInOrder(*jobs, [&](std::int32_t index) {
    const BackupJob& job = program.Store.Jobs[static_cast<std::size_t>(index)];
    ++ran;
    const ExitCode code = reports.Run(program.LastOutcome(), job, false,
                                      WithAway(NoSourceReason(job), program.Context.Report));
    note(code);
    if (const auto& verified = program.LastVerification()) {
      const ExitCode verify_code = reports.Verification(*verified, job);
      note(verify_code);
      if (verify_code == kInterrupted) return false;
    }
    // The run itself says nothing of a store that it could not write.
    if (program.Store.LastError() != 0 && !session.Save()) note(kSomeFailed);
    return code != kInterrupted && !InterruptRequested();
  });
  if (ran < jobs->size()) note(kInterrupted);
  reports.Print(worst);
  return worst;
}

}  // namespace kavrel
