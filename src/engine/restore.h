// The way back: a job's backup copied onto its source.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/restore_pick.h"
#include "engine/run_context.h"
#include "engine/run_driver.h"

namespace kavrel {

/// Any other value, a setting from elsewhere, restores no files.
enum class RestoreMode : std::int32_t {
  Full = 0,         ///< every file of the backup replaces its target
  Incremental = 1,  ///< files that are the same already are left alone
};

/// Chooses among the archives of a backup folder; gives the name of one, or nothing.
using ArchivePicker =
    std::function<std::optional<std::u16string>(const std::vector<ArchiveFile>& archives)>;

/// What of a job's backup is to come back.
struct RestoreRequest {
  RestoreMode Mode = RestoreMode::Full;
  const RestorePick* Pick = nullptr;  ///< null: everything, in that mode
  ArchivePicker Picker{};
  /// The state (engine/states.h) that it comes from; empty: what lies where a run of now would
  /// write, with the archive that the picker names.
  std::u16string Unit{};
  /// A part of something that has a log and a row of its own: nobody is asked, and what would have
  /// to be asked about makes it Guarded.
  bool InLog = false;
};

/// Restores the job's backup. Neither its times nor the store change, only its LastRunResult. Gives
/// the context's report.
/// SourceMissing means that there is no backup folder; nothing is logged then. Guarded means that
/// it is another job's backup and the host did not agree; nothing was restored then.
/// Of a compressed job the archive that the picker names is unpacked. What was picked, and nothing
/// else, comes each with its folders, below the pick's target; files that are the same already are
/// left alone then, and what is not in the backup counts as failed.
const RunReport& RunRestoreJob(RunContext& context, BackupJob& job, const RestoreRequest& request);

/// Plans a restore of the job as it would take place now, by the very walk that would do it.
/// Nothing is written, no log, no folder. `host` is called as in a restore, and `state` may be set
/// to cancel; the context's own are left alone. Whether a password fits, and whether an archive is
/// whole, only the restore finds. Gives what a restore would come to that cannot even begin (the
/// plan's warnings may tell which disk is away), else Ran.
RunOutcome PlanRestore(const RunContext& context, RunHost& host, RunState& state,
                       const BackupJob& job, const RestoreRequest& request, RunPlan& plan,
                       RunCounters& counters);

}  // namespace kavrel
