// The one record that describes a backup job (a schedule, 排程, to the user).
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "base/date_time.h"
#include "base/secret.h"
#include "core/job_extras.h"

namespace kavrel {

/// A source or a destination. `Kind` is PathKind of `Path`; `WorkPath` is the path that the
/// current run really uses.
struct JobLocation {
  std::int32_t Kind = 1;
  std::u16string Path;
  std::u16string WorkPath;
};

/// The figures of a job's last run; kept in memory only.
struct LastRunResult {
  bool Stopped = false;  ///< the run was interrupted
  std::uint32_t Folders = 0, SyncDeletedFolders = 0, CopiedFiles = 0, SyncDeletedFiles = 0,
                UnchangedFiles = 0, FailedFiles = 0, WarningFiles = 0;
  std::uint64_t CopiedBytes = 0;
  std::uint32_t UnseenFiles = 0;  ///< of the unchanged: there, but could not be looked at
};

enum class BackupType { Full = 0, Differential = 1, Synchronise = 2, Compressed = 3 };
enum class IntervalKind { Minutes = 0, Hours = 1, Days = 2, Weeks = 3, Months = 4 };

inline constexpr std::u16string_view kAllFiles = u"*.*";
inline constexpr std::u16string_view kDefaultPassword = u"40718";

struct BackupJob {
  bool Deleted = false;  ///< removed in the editor; not written to the store
  bool Enabled = false;
  std::int32_t JobNumber = 0;  ///< 1-based row in a list
  std::int32_t JobIndex = -1;  ///< 0-based position in the store; -1 = not yet stored
  std::u16string Name;
  JobLocation Source, Destination;
  std::u16string FileTypes{kAllFiles};  ///< patterns separated by ";"
  bool ExcludeFileTypes = false;        ///< FileTypes names what to skip, not what to take
  bool IncludeSubfolders = false;
  bool Compressed = false, Differential = false, Synchronise = false;
  bool AddSourceFolder = false;  ///< the source folder's name is appended to the destination
  DateTime NextRun = kZeroDate;
  std::int32_t EveryMinutes = 0, EveryHours = 0, EveryDays = 0, EveryWeeks = 0, EveryMonths = 0;
  std::int32_t RefusedDays = 0;  ///< bit 2^d for each refused weekday d, 1 = Sunday … 7 = Saturday
  DateTime RunStarted = kZeroDate, LastRun = kZeroDate;
  kavrel::LastRunResult LastRunResult;
  bool UseRecycleBin = false;
  bool LimitFileSize = false;
  std::int32_t MaxFileSizeKB = 0;  ///< units of 1,024 bytes
  bool UsePassword = false;
  Secret Password{kDefaultPassword};  ///< plain text
  JobExtras Extras;                   ///< kept beside the store
};

/// A job's name as it comes back from the store, which keeps a quotation mark as an apostrophe.
std::u16string KeptName(std::u16string_view name);
/// True when a job that is not Deleted has this name, as both are kept, without regard to letter
/// case.
bool IsNamed(const BackupJob& job, std::u16string_view name);

/// Compressed before synchronising before differential before full.
BackupType JobType(const BackupJob& job);
/// Sets the three type flags; a synchronising job is differential as well.
void SetJobType(BackupJob& job, BackupType type);
/// The type's caption in the editor's list.
std::u16string_view BackupTypeCaption(BackupType type);

/// The component of that kind.
std::int32_t IntervalCount(const BackupJob& job, IntervalKind kind);
/// Sets that component and clears the other four.
void SetInterval(BackupJob& job, IntervalKind kind, std::int32_t count);
/// The last kind, in the order minutes … months, whose component is above zero; Minutes when none.
IntervalKind JobIntervalKind(const BackupJob& job);
/// The kind's caption in the editor's list.
std::u16string_view IntervalCaption(IntervalKind kind);
/// The largest count that the editor offers for a kind: 60, 24, 7, 5, 12.
std::int32_t MaxIntervalCount(IntervalKind kind);

bool IsRefused(std::int32_t refused_days, int weekday);

/// The last component of a folder path; "C" for "C:\\".
std::u16string SourceFolderName(std::u16string_view path);
/// Where the job's runs write, with date tags as they were entered: what has been mirrored to one
/// such place is not known at another.
std::u16string MirrorPlace(const BackupJob& job);

/// Fills an edit buffer with the values of a new job; `NextRun` is today 01:00, to be moved forward
/// by the caller with NextRunTime. `Compressed`, the size limit and the last run's fields keep what
/// the buffer held. `default_destination` is the platform's backup folder.
void NewJobDefaults(BackupJob& job, DateTime now, std::u16string_view default_destination);

/// Summary texts, one for each column of the job list.
std::u16string_view OnOffText(bool on);
std::u16string_view PasswordText(bool use_password);
std::u16string SizeLimitText(const BackupJob& job);
std::u16string IntervalText(const BackupJob& job);
std::u16string RefusedDaysText(std::int32_t refused_days);
std::u16string GuardText(const ExtraSettings& extras);
std::u16string RecoveryText(const ExtraSettings& extras);
std::u16string KeepText(const ExtraSettings& extras);

}  // namespace kavrel
