#include "engine/run_planner.h"

#include "engine/backup_walk.h"
#include "engine/into_plan.h"
#include "engine/job_disks.h"
#include "engine/keep_newest.h"
#include "engine/mirror_guard.h"
#include "engine/new_state.h"
#include "engine/space_check.h"
#include "engine/state_guard.h"
#include "files/place.h"

namespace kavrel {

RunCounters PlanWalk(RunContext& context, const BackupJob& job, RunPlan& plan) {
  PlanningContext planning(context, plan);
  planning.Context.Enough = plan.Enough;
  // What lies in the former state changes no count.
  if (!plan.Wants(RunPlan::Level::Sizes)) planning.Context.Making.Former = nullptr;
  const BackupJob walked = WalkedJob(context, job);
  IntoPlan effects(planning.Context, walked, plan);
  BackupFolder(planning.Context, walked, effects);
  return planning.Context.Report.Counters;
}

RunCounters PlanCounters(RunContext& context, const BackupJob& job, RunPlan& plan) {
  if (!job.Compressed) return PlanWalk(context, job, plan);
  PlanningContext planning(context, plan);
  ArchiveContext archiving = planning.Context.Archiving();
  PlanCompression(archiving, job);
  return planning.Context.Report.Counters;
}

RunOutcome PlanBackupJob(const RunContext& context, RunHost& host, RunState& state, BackupJob job,
                         RunPlan& plan, RunCounters& counters) {
  const std::u16string unit = SetRunPaths(job, context.Time);
  if (!context.Files.FolderExists(job.Source.WorkPath)) return RunOutcome::SourceMissing;
  if (job.Compressed && !context.Archiver.Present()) return RunOutcome::NoArchiver;
  PlanningContext apart(context, state, host, plan);
  RunContext& planning = apart.Context;
  planning.Force = false;
  planning.Place = {};
  planning.Mounted = {};
  BeginState(planning, job, unit, false);
  const auto removes = [](const RunCounters& run) {
    return run.SyncDeletedFiles + run.SyncDeletedFolders + run.RecycledFiles + run.RecycledFolders >
           0;
  };
  counters = PlanCounters(planning, job, plan);
  const std::u16string archive = job.Compressed ? unit : std::u16string();
  planning.Place = LookAtPlace(planning, job, archive);
  const std::u16string none;
  const std::u16string warnings[] = {
      NoPlaceText(planning.Files, job.Destination.WorkPath),
      job.Compressed ? LockedPlaceText(planning.Files, job.Destination.WorkPath) : none,
      job.Extras.Adopt ? none : EntryObjection(planning, job, archive),
      DiskObjection(planning, job),
      StateObjection(job, unit, FilesOfState(counters)),
      removes(counters) ? MirrorObjection(planning, WalkedJob(planning, job)) : none,
      job.Compressed ? none : SpaceObjection(planning, job, plan)};
  for (const std::u16string& warning : warnings) {
    if (!warning.empty()) plan.Warnings.push_back(warning);
  }
  if (IsComplete(counters)) PlanKeepNewest(planning, job, unit, plan);
  return RunOutcome::Ran;
}

}  // namespace kavrel
