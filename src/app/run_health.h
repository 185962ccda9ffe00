// Whether the user's backups are well, at a glance: each job, and all together.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/backup_job.h"
#include "log/log_list.h"

namespace kavrel {

enum class Health {
  Unknown,  ///< has not run yet, as far as the log list tells
  Good,     ///< the last run went well
  Overdue,  ///< the time has passed and it was not run
  Failed,   ///< the last run was interrupted, had failures or differences, or never began
  Running,  ///< it is at work
  Paused,   ///< nothing runs by itself: of all jobs together only
};
inline constexpr int kHealths = 6;

/// How it stands with one job.
struct JobHealth {
  Health State = Health::Unknown;
  std::u16string Text;     ///< "失敗 3 個檔案" and the like, for a list
  std::u16string LogPath;  ///< of the run or verification that went badly; empty when there is none

  bool operator==(const JobHealth&) const = default;
};

/// Judges each job of the store by its last row in the log list, and by what is known of runs that
/// were too short for a row. A restore says nothing of a backup. A job that is switched off keeps
/// its state, but is never overdue, and none is while the schedule is `paused`. The job at the
/// position `running` is at work; -1 = none.
std::vector<JobHealth> JudgeJobs(const std::vector<BackupJob>& jobs,
                                 const std::vector<LogRow>& rows, DateTime now,
                                 std::int32_t running = -1, bool paused = false);

struct RunHealth {
  Health State = Health::Unknown;
  std::vector<std::u16string> Failed, Overdue;  ///< names of the jobs
  std::optional<DateTime> Paused = {};          ///< until when

  bool operator==(const RunHealth&) const = default;
};

/// Sums up the jobs that are switched on, none of which is at work, while the schedule is paused
/// until then.
RunHealth JudgeRuns(const std::vector<BackupJob>& jobs, const std::vector<LogRow>& rows,
                    DateTime now, const std::optional<DateTime>& paused = {});

/// "失敗：照片、文件" and the like, a line each; empty when nothing is known.
std::u16string HealthText(const RunHealth& health);

}  // namespace kavrel
