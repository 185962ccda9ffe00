// What a run of a job would do, found out by the very walk that would do it.
#pragma once

#include "engine/run_context.h"
#include "engine/run_driver.h"

namespace kavrel {

/// Plans the walk of a plain job whose work paths are set. Gives the counters that the run would
/// end with.
RunCounters PlanWalk(RunContext& context, const BackupJob& job, RunPlan& plan);

/// The same for a job of any type.
RunCounters PlanCounters(RunContext& context, const BackupJob& job, RunPlan& plan);

/// Plans a run of the job as it would take place now. Nothing is written, no log, no folder. `host`
/// is called as in a run, and `state` may be set to cancel; the context's own are left alone. Gives
/// what a run would come to that cannot even begin, else Ran.
RunOutcome PlanBackupJob(const RunContext& context, RunHost& host, RunState& state, BackupJob job,
                         RunPlan& plan, RunCounters& counters);

}  // namespace kavrel
