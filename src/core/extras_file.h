// Backup.ext, beside the store: a section of "Name=value" lines for each job that has extras, found
// again by the job's name, source and destination. Whoever knows only the store can change it; a
// job that its section does not fit any more starts with the defaults.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "core/backup_job.h"

namespace kavrel {

class FileSystem;

class ExtrasFile {
 public:
  /// `file_system` outlives this.
  explicit ExtrasFile(const FileSystem& file_system);

  const std::u16string& Path() const { return path_; }
  /// Gives the jobs, as the store holds them, their extras. Not 0 when there is a file that cannot
  /// be read.
  ErrorCode Load(std::vector<BackupJob>& jobs);
  /// Writes the extras of the jobs that are not Deleted, if that changes the file; none is made for
  /// jobs with nothing but defaults. A file that the last load could not read is left as it is.
  ErrorCode Save(const std::vector<BackupJob>& jobs);

  /// Replaces the file with the one beside another store, if there is one; ours becomes
  /// old_Backup.ext, unless that name is taken.
  void TakeFrom(std::u16string_view store_path);
  /// Copies the file, if there is one, into a folder.
  ErrorCode CopyTo(std::u16string_view folder) const;

 private:
  const FileSystem& file_system_;
  const std::u16string path_;
  std::optional<std::string> bytes_;  ///< of the file, where there is one
  std::u16string head_;               ///< its lines before the first section
  ErrorCode unreadable_ = 0;
};

}  // namespace kavrel
