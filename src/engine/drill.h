// The test restore: some files of a job's states, taken at random, come back into a folder of their
// own by the ordinary restore, are compared with their sums, and go again.
#pragma once

#include <cstddef>

#include "engine/report.h"
#include "engine/run_context.h"

namespace kavrel {

inline constexpr std::size_t kDrillFiles = 25;

/// Restores up to kDrillFiles files of the job's backup into a folder below the program folder,
/// which is removed at the end. Of archives, whose lists know no single files, the archive program
/// has checked what comes out. Nobody is asked anything: a restore that would have to ask fails.
/// Equal files are counted as such, others as damaged or missing. A log and a row in the log list
/// tell the result. SourceMissing means that there is no backup, NothingPicked that it has no sums,
/// Guarded that its disk is away; nothing is logged then.
VerifyReport RunDrillJob(RunContext& context, const BackupJob& job);

}  // namespace kavrel
