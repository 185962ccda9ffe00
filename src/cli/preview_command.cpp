#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/plan_text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "engine/run_planner.h"
#include "files/size_text.h"
#include "platform/process.h"

namespace kavrel {

namespace {

constexpr std::string_view kActions[kPlanActions] = {"copy", "replace", "recycle",   "delete",
                                                     "pack", "update",  "leave_out", "fail"};
constexpr std::string_view kReasons[kPlanReasons] = {
    "new",           "always",     "size",       "time",      "kind",      "link_target",
    "not_in_source", "outdated",   "rule",       "special",   "too_large", "unreadable",
    "blocked",       "attributes", "owner_mark", "own_place", "hard_link"};

std::string_view Word(PlanAction action) {
  return kActions[static_cast<std::size_t>(action)];
}

void PrintAsJson(const BackupJob& job, std::u16string_view source, std::u16string_view destination,
                 const RunPlan& plan) {
  nlohmann::json steps = nlohmann::json::array(), totals = nlohmann::json::object(),
                 warnings = nlohmann::json::array();
  for (const PlanStep& step : plan.Steps) {
    steps.push_back({{"action", Word(step.Action)},
                     {"reason", kReasons[static_cast<std::size_t>(step.Reason)]},
                     {"folder", step.IsFolder},
                     {"path", JsonText(step.Path)},
                     {"size", step.Size}});
  }
  const PlanSums sums = SumUp(plan);
  for (std::size_t i = 0; i < sums.size(); ++i) {
    totals[std::string(kActions[i])] = {
        {"files", sums[i].Files}, {"folders", sums[i].Folders}, {"bytes", sums[i].Bytes}};
  }
  for (const std::u16string& warning : plan.Warnings) warnings.push_back(JsonText(warning));
  PrintJson({{"job", JsonText(job.Name)},
             {"source", JsonText(source)},
             {"destination", JsonText(destination)},
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
  for (const PlanStep& step : plan.Steps) {
    const std::u16string size =
        step.IsFolder ? std::u16string() : FormatSize(step.Size, SizeMode::Scaled);
    std::printf("%s  %s  %s  %s\n",
                Cell(ActionText(step.Action, plan.OfRestore), 10, false).c_str(),
                Cell(size, 12, true).c_str(),
                Cell(ReasonText(step.Reason, plan.OfRestore), 18, false).c_str(),
                Printable(step.Path.empty() ? std::u16string_view(u".") : step.Path).c_str());
  }
  const PlanSums sums = SumUp(plan);
  std::printf("%s\n", Printable(u"目標資料夾：" + std::u16string(destination)).c_str());
  for (std::size_t i = 0; i < sums.size(); ++i) {
    if (sums[i].Files + sums[i].Folders == 0) continue;
    const std::u16string_view action = ActionText(static_cast<PlanAction>(i), plan.OfRestore);
    std::printf("%s  %s\n", Cell(action, 10, false).c_str(), Printable(SumText(sums[i])).c_str());
  }
  if (plan.Steps.empty()) std::printf("Nothing would be done.\n");
}

}  // namespace

void PrintPlan(const BackupJob& job, std::u16string_view source, std::u16string_view destination,
               const RunPlan& plan, bool json) {
  if (json) return PrintAsJson(job, source, destination, plan);
  PrintAsText(destination, plan);
  for (const std::u16string& warning : plan.Warnings) PrintError(Printable(warning));
}

int PrintPreview(Session& session, const std::string& name, bool json) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (!session.Open()) return kBadInput;
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  Program& program = session.Program();
  ConsoleHost host(session.Clock());
  RunState state;
  host.Attach(state);
  RunPlan plan;
  RunCounters counters;
  switch (PlanBackupJob(program.Context, host, state, *job, plan, counters)) {
    case RunOutcome::SourceMissing:
      PrintError(Printable(job->Name) +
                 ": the source folder does not exist: " + Printable(job->Source.Path));
      return kSourceMissing;
    case RunOutcome::NoArchiver:
      PrintError(Printable(job->Name) + ": no archive program is installed");
      return kBadInput;
    default:
      break;
  }
  if (state.CancelRequested) return kInterrupted;
  PrintPlan(*job, job->Source.Path, program.DestinationNow(*job), plan, json);
  return IsComplete(counters) ? kDone : kSomeFailed;
}

}  // namespace kavrel
