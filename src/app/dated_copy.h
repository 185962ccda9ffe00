// An older version of a file as one more file with a date in its name: beside the present one, or
// to be looked at only.
#pragma once

#include <string>
#include <string_view>

#include "core/backup_job.h"
#include "core/restore_pick.h"
#include "engine/run_context.h"

namespace kavrel {

/// "report (2026-11-25 18.00.00).odt"
std::u16string DatedName(std::u16string_view name, DateTime date);

/// Has an ordinary restore put the file into a folder of its own beside the present one, from where
/// it gets its name. That folder is removed with all that is still in it when this goes.
class CopyBeside {
 public:
  /// `path`: in the job's backups. The file system outlives this.
  CopyBeside(const FileSystem& files, Clock& clock, const BackupJob& job, std::u16string_view path);
  ~CopyBeside();
  CopyBeside(const CopyBeside&) = delete;
  CopyBeside& operator=(const CopyBeside&) = delete;

  /// Why there is no such folder; 0 when there is.
  ErrorCode Error() const { return error_; }
  /// What is to be restored into it.
  RestorePick Pick() const;
  /// Whether the restore has brought the file.
  bool Restored() const { return static_cast<bool>(files_.Status(Staged())); }
  /// Gives the file the first free of its names with this date, never that of another file. The
  /// path that it has then.
  Result<std::u16string> Place(DateTime date) const;

 private:
  std::u16string Staged() const;

  const FileSystem& files_;
  const std::u16string path_, folder_;  ///< the latter with its final separator
  std::u16string temp_;                 ///< its name
  Folder opened_;                       ///< folder_
  ErrorCode error_ = 0;
};

/// What became of a copy out of a state.
struct StateCopy {
  bool Done = false, WrongPassword = false;
  std::u16string Why;  ///< in words, where anything is known
};
/// Copies a file of a state (engine/states.h) into the folder of this path, with its folders as in
/// the state, telling no log; the copy shares nothing with the state. A link is not copied.
StateCopy CopyOutOfState(const RunContext& context, MessagePump& pump, const BackupJob& job,
                         std::u16string_view unit, std::u16string_view path,
                         std::u16string_view target);

}  // namespace kavrel
