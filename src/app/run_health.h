// Whether the user's backups are well, at a glance.
#pragma once

#include <string>
#include <vector>

#include "core/backup_job.h"
#include "log/log_list.h"

namespace kavrel {

enum class Health {
  Unknown,  ///< no job that is switched on has run yet
  Good,     ///< the last run of each went well
  Overdue,  ///< a job's time has passed and it was not run
  Failed,   ///< the last run of a job was interrupted, had failures or differences, or never began
};

struct RunHealth {
  Health State = Health::Unknown;
  std::vector<std::u16string> Failed, Overdue;  ///< names of the jobs

  bool operator==(const RunHealth&) const = default;
};

/// Judges the jobs that are switched on by the last row of each in the log list, and by what is
/// known of runs that were too short for a row. A restore says nothing of a backup.
RunHealth JudgeRuns(const std::vector<BackupJob>& jobs, const std::vector<LogRow>& rows,
                    DateTime now);

/// "失敗：照片、文件" and the like, a line each; empty when nothing is known.
std::u16string HealthText(const RunHealth& health);

}  // namespace kavrel
