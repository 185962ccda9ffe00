// The way back: a job's backup copied onto its source.
#pragma once

#include <cstdint>

#include "engine/run_context.h"
#include "engine/run_driver.h"

namespace kavrel {

enum class RestoreMode : std::int32_t {
  Full = 0,         ///< every file of the backup replaces its target
  Incremental = 1,  ///< files that are the same already are left alone
};

/// Restores the job's backup. Neither its times nor the store change, only its LastRunResult.
/// SourceMissing means that there is no backup folder; nothing is logged then.
RunOutcome RunRestoreJob(RunContext& context, BackupJob& job, RestoreMode mode);

}  // namespace kavrel
