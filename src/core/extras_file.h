// Backup.ext, beside the store: a section of "Name=value" lines for each job that has extras, found
// again by the job's name, source and destination, and of jobs that are alike in these by the rest
// of their lines. Programs that know only the store can change it; a job of which it is not sure
// any more which section is its own starts with the defaults.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/result.h"
#include "core/backup_job.h"
#include "files/shared_file.h"

namespace kavrel {

class FileSystem;

class ExtrasFile {
 public:
  /// `file_system` outlives this.
  explicit ExtrasFile(const FileSystem& file_system);

  const std::u16string& Path() const { return file_.Path(); }
  SharedFile& File() { return file_; }
  /// Gives the jobs, as the store holds them, their extras. Not 0 when there is a file that cannot
  /// be read.
  ErrorCode Load(std::vector<BackupJob>& jobs);
  /// Writes the extras of the jobs that are not Deleted, if that changes the file; none is made for
  /// jobs with nothing but defaults. A file that the last load could not read is left as it is;
  /// what somebody else has written to it meanwhile is kept as a copy, and so is a file that is
  /// damaged, or in which the last load found a section that fits no job.
  ErrorCode Save(const std::vector<BackupJob>& jobs) { return Write(jobs, false); }
  /// The same ahead of the store: sections of the file that are then out of date stay behind the
  /// new ones, so that the store finds its settings whether or not it comes to be saved, too.
  ErrorCode SaveAhead(const std::vector<BackupJob>& jobs) { return Write(jobs, true); }

  /// Where the extras of another store lie; empty for a file whose name is not that of a store.
  static std::u16string PathBeside(std::u16string_view store_path);
  /// False for the content of such a file that breaks off, or has lines that make no sense.
  static bool IsWhole(std::string_view bytes);
  /// The text of such a file without what its jobs own: jobs that come from elsewhere are others.
  static std::string WithoutRuns(std::string_view bytes);
  /// Takes these extras for those of a store that is about to take ours's place; the sections of
  /// ours stay behind them until it has.
  ErrorCode TakeAhead(std::string_view bytes) const;
  /// Copies the file into a folder; without one, none stays there.
  ErrorCode CopyTo(std::u16string_view folder) const;

 private:
  ErrorCode Write(const std::vector<BackupJob>& jobs, bool ahead);

  const FileSystem& file_system_;
  SharedFile file_;
  std::optional<std::string> bytes_;  ///< of the file, where there is one
  std::u16string head_;               ///< its lines before the first section
  ErrorCode unreadable_ = 0;
  bool not_understood_ = false;  ///< the file holds more than the jobs got
};

}  // namespace kavrel
