// What a user enters for a job, and the checks that it must pass before it becomes one. The job
// editor and the command line share this code.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/backup_job.h"

namespace kavrel {

struct JobForm {
  std::u16string Name, Source, Destination;
  BackupType Type = BackupType::Differential;
  IntervalKind Interval = IntervalKind::Minutes;
  std::int32_t Count = 0;      ///< how many of the interval's unit
  bool KeepInterval = false;   ///< the job's own interval stays, which may have several units
  DateTime Start = kZeroDate;  ///< first run: date and time
  std::int32_t RefusedDays = 0;
  std::u16string FileTypes{kAllFiles};
  bool ExcludeFileTypes = false, IncludeSubfolders = true, AddSourceFolder = true, Enabled = false,
       UseRecycleBin = false, LimitFileSize = false, UsePassword = false;
  std::int32_t MaxFileSizeKB = 0;
  Secret Password;
  ExtraSettings Extras;
};

/// The form that shows a job.
JobForm FormOf(const BackupJob& job);

enum class FormCheck {
  Ok,
  NoInterval,      ///< the count is 0
  WeekdayRefused,  ///< a whole-week interval starts on a refused weekday
  AllDaysRefused,
  Unstorable,  ///< a TAB or a line break in a text: the store cannot keep it
  NoName,      ///< no message belongs to it
  DuplicateName,
  SourceMissing,
  NoDestination,
  BadKeepPlan,
};

/// The text that tells the user; empty for Ok and NoName.
std::u16string FormCheckMessage(FormCheck check, const JobForm& form);

/// Writes the form into `job`, all but NextRun's place on its grid: NextRun becomes the form's
/// start. Checks nothing.
void FillJob(const JobForm& form, BackupJob& job);

using NextRunSearch = std::function<DateTime(const BackupJob&)>;
using FolderTest = std::function<bool(std::u16string_view)>;

/// Checks the form in the order of FormCheck and, when all is well, writes it into `job`, whose
/// JobIndex tells which job of `jobs` is not another one. A job that is refused is left as it was.
FormCheck ApplyForm(const JobForm& form, const std::vector<BackupJob>& jobs,
                    const NextRunSearch& next_run_time, const FolderTest& folder_exists,
                    BackupJob& job);

/// Keeps an applied job at its place in `jobs`; a new one is appended and gets its JobIndex.
void StoreJob(BackupJob& job, std::vector<BackupJob>& jobs);
/// Takes a job out: its record stays, emptied, until the store is saved and loaded again.
void RemoveJob(BackupJob& job);
/// Puts the job at `from` to `to`; the others keep their order.
void MoveJob(std::vector<BackupJob>& jobs, std::int32_t from, std::int32_t to);
/// A new job with another one's settings, under a name of its own, that has never run.
BackupJob DuplicateJob(const BackupJob& job, const std::vector<BackupJob>& jobs);

}  // namespace kavrel
