#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/plan_text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "cli/message.h"
#include "engine/run_planner.h"
#include "files/size_text.h"
#include "platform/process.h"

namespace kavrel {

namespace {

constexpr std::string_view kActions[kPlanActions] = {"copy", "replace", "recycle",   "delete",
                                                     "pack", "update",  "leave_out", "fail"};
constexpr std::string_view kReasons[kPlanReasons] = {
    "new",           "always",     "size",         "time",      "kind",      "link_target",
    "not_in_source", "outdated",   "rule",         "special",   "too_large", "unreadable",
    "blocked",       "attributes", "owner_mark",   "own_place", "hard_link", "own_copy",
    "outside",       "thinned",    "not_writable", "no_files"};

std::string_view Word(PlanAction action) {
  return kActions[static_cast<std::size_t>(action)];
}

enum class Planned { Done, SomeFailed, Refused, SourceMissing, NoArchiver };

Planned ResultOf(const PlannedRun& run) {
  if (run.Outcome == RunOutcome::NoArchiver) return Planned::NoArchiver;
  if (run.Outcome != RunOutcome::Ran) return Planned::SourceMissing;
  if (!run.Forced && !run.Plan.Warnings.empty()) return Planned::Refused;
  return IsComplete(run.Counters) ? Planned::Done : Planned::SomeFailed;
}

void PrintAsJson(const BackupJob& job, const PlannedRun& run) {
  constexpr std::string_view kResults[] = {"done", "some-failed", "refused", "source-missing",
                                           "no-archive-program"};
  nlohmann::json steps = nlohmann::json::array(), totals = nlohmann::json::object(),
                 warnings = nlohmann::json::array();
  for (const PlanStep& step : run.Plan.Steps) {
    steps.push_back({{"action", Word(step.Action)},
                     {"reason", kReasons[static_cast<std::size_t>(step.Reason)]},
                     {"folder", step.IsFolder},
                     {"path", JsonText(step.Path)},
                     {"size", step.Size}});
  }
  const PlanSums sums = SumUp(run.Plan);
  for (std::size_t i = 0; i < sums.size(); ++i) {
    totals[std::string(kActions[i])] = {
        {"files", sums[i].Files}, {"folders", sums[i].Folders}, {"bytes", sums[i].Bytes}};
  }
  for (const std::u16string& warning : run.Plan.Warnings) warnings.push_back(JsonReason(warning));
  const bool refused = ResultOf(run) == Planned::Refused;
  nlohmann::json reason = refused ? warnings.front() : JsonTextOrNull(run.Reason.Source());
  PrintJson({{"job", JsonText(job.Name)},
             {"source", JsonText(run.Source)},
             {"destination", JsonText(run.Destination)},
             {"result", kResults[static_cast<std::size_t>(ResultOf(run))]},
             {"reason", std::move(reason)},
             {"steps", std::move(steps)},
             {"totals", std::move(totals)},
             {"warnings", std::move(warnings)}});
}

/// Text brought to a width on the left or on the right.
std::string Cell(std::u16string_view text, std::size_t width, bool right) {
  const std::size_t used = DisplayWidth(text);
  const std::string blanks(used < width ? width - used : 0, ' ');
  return right ? blanks + Printable(text) : Printable(text) + blanks;
}

void PrintAsText(std::u16string_view destination, const RunPlan& plan) {
  PrintSteps(plan);
  const PlanSums sums = SumUp(plan);
  std::printf("%s\n",
              Printable(std::u16string(Tr(u"目標資料夾：")) + std::u16string(destination)).c_str());
  for (std::size_t i = 0; i < sums.size(); ++i) {
    if (sums[i].Files + sums[i].Folders == 0) continue;
    const std::u16string action = Shown(ActionText(static_cast<PlanAction>(i), plan.OfRestore));
    std::printf("%s  %s\n", Cell(action, 10, false).c_str(),
                Printable(Shown(SumText(sums[i]))).c_str());
  }
  if (plan.Steps.empty()) std::printf("%s\n", Tr("Nothing would be done."));
}

}  // namespace

void PrintSteps(const RunPlan& plan) {
  for (const PlanStep& step : plan.Steps) {
    const std::u16string size =
        step.IsFolder ? std::u16string() : Shown(FormatSize(step.Size, SizeMode::Scaled));
    std::printf("%s  %s  %s  %s\n",
                Cell(Shown(ActionText(step.Action, plan.OfRestore)), 10, false).c_str(),
                Cell(size, 12, true).c_str(),
                Cell(Shown(ReasonText(step.Reason, plan.OfRestore)), 18, false).c_str(),
                Printable(step.Path.empty() ? std::u16string_view(u".") : step.Path).c_str());
  }
}

void TellSteps(Session& session, const BackupJob& job) {
  ConsoleHost host(session.Clock());
  RunState state;
  host.Attach(state);
  RunPlan plan;
  RunCounters counters;
  PlanBackupJob(session.Program().Context, host, state, job, plan, counters);
  PrintSteps(plan);
}

ExitCode PrintPlan(const BackupJob& job, const PlannedRun& run, bool json) {
  if (json) PrintAsJson(job, run);
  if (!json && run.Outcome == RunOutcome::Ran) PrintAsText(run.Destination, run.Plan);
  if (!run.Reason.Empty()) PrintError(PrintableName(job.Name) + ": " + run.Reason.Shown());
  if (!json || run.Outcome != RunOutcome::Ran) {
    for (const std::u16string& warning : run.Plan.Warnings) PrintError(Printable(Shown(warning)));
  }
  constexpr ExitCode kCodes[] = {kDone, kSomeFailed, kSomeFailed, kSourceMissing,
                                 kNoArchiveProgram};
  return kCodes[static_cast<std::size_t>(ResultOf(run))];
}

int PrintPreview(Session& session, const std::string& name, bool json) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (!session.Open()) return session.Failure();
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  Program& program = session.Program();
  ConsoleHost host(session.Clock());
  RunState state;
  host.Attach(state);
  PlannedRun run{.Source = job->Source.Path, .Destination = program.DestinationNow(*job)};
  run.Outcome = PlanBackupJob(program.Context, host, state, *job, run.Plan, run.Counters);
  if (run.Outcome == RunOutcome::SourceMissing) run.Reason = NoSourceReason(*job);
  if (run.Outcome == RunOutcome::NoArchiver) run.Reason = Message(kNoArchiverReason);
  if (state.CancelRequested) return kInterrupted;
  return PrintPlan(*job, run, json);
}

}  // namespace kavrel
