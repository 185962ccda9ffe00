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

/// What went badly with a job.
enum class HealthCause {
  None,
  NoSource,     ///< the last backup did not begin: its source was not there
  NoArchiver,   ///< or no archive program
  Guarded,      ///< a guard stopped it
  NoSpace,      ///< the copies did not fit
  NoPlace,      ///< its destination was not there and could not be made
  Changes,      ///< files look encrypted: the run was stopped, or old states are held back
  Interrupted,  ///< by somebody
  FilesFailed,
  FilesUnseen,
  NotKnown,  ///< no log tells
  Differences,
  NotVerified,  ///< the verification was interrupted
};

/// How it stands with one job.
struct JobHealth {
  Health State = Health::Unknown;
  std::u16string Text;     ///< "失敗 3 個檔案" and the like, for a list
  std::u16string LogPath;  ///< of the run or verification that went badly; empty when there is none
  HealthCause Cause = HealthCause::None;

  bool operator==(const JobHealth&) const = default;
};

/// Judges each job of the store by its last row in the log list, and by what is known of runs that
/// were too short for a row. A restore says nothing of a backup. A job that is switched off keeps
/// its state, but is never overdue, and none is while the schedule is `paused`. The job at the
/// position `running` is at work; -1 = none.
std::vector<JobHealth> JudgeJobs(const std::vector<BackupJob>& jobs,
                                 const std::vector<LogRow>& rows, DateTime now,
                                 std::int32_t running = -1, bool paused = false);

/// The same as scripts and monitors ask for it, in one word.
enum class JobWord {
  Ok,       ///< the last run went well, and the next is still to come
  Running,  ///< it is at work
  Waiting,  ///< it is due and waits for its turn, or for the end of a pause
  Overdue,  ///< its time has passed and it was not run
  Failed,   ///< the last run went badly, or never began
  Never,    ///< it has never run, or never will by itself
  Off,      ///< switched off
};
inline constexpr int kJobWords = 7;
/// That of a job that JudgeJobs judged so.
JobWord WordOf(const BackupJob& job, Health health, DateTime now);
/// Whether nobody needs to look after a job.
constexpr bool IsWell(JobWord word) {
  return word == JobWord::Ok || word == JobWord::Running || word == JobWord::Waiting ||
         word == JobWord::Off;
}

/// When the last backup of the job ended that went well; the zero date when none is known.
DateTime LastSuccess(const BackupJob& job, const std::vector<LogRow>& rows);

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
