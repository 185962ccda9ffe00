// Dated folders and archives of a job: which of them its runs made, and the end of the oldest.
#pragma once

#include <string>
#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Works out where a run of the job begins now: sets its work paths, and gives the unit that it
/// puts its backup into: a dated folder with its final separator, or an archive. Empty for a job
/// that always writes into one folder.
std::u16string SetRunPaths(BackupJob& job, Clock& clock);

/// To be called after an uninterrupted run: a unit that this job alone made, as its mark tells, is
/// noted in its extras, the newest last. True when it is one.
bool NoteUnit(const RunContext& context, BackupJob& job, std::u16string_view unit);

/// Moves what the job does not keep (engine/state_fates) to the recycle bin, or deletes it where
/// the job says so. Only what is noted in the job's extras and bears its mark is touched, and
/// neither what holds the source nor the unit of this run. What happens goes into the log; what
/// cannot be moved stays and is counted as a warning.
void KeepNewest(RunContext& context, BackupJob& job, std::u16string_view unit);

/// Notes in the plan what KeepNewest would let go after a run as of now.
void PlanKeepNewest(const RunContext& context, const BackupJob& job, std::u16string_view unit,
                    RunPlan& plan);

}  // namespace kavrel
