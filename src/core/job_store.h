// All jobs, and the file that keeps them: Backup.rtm, code page 950 text, a line a job, 24 fields
// each followed by a TAB.
#pragma once

#include <string>
#include <vector>

#include "base/secret.h"
#include "core/backup_job.h"
#include "core/extras_file.h"
#include "files/shared_file.h"

namespace kavrel {

/// What ImportJobs gives for a file without a single job in it; no error of a system.
inline constexpr int kErrNoJobs = -14;
/// And for one that ends in the midst of a job: half a copy of a store.
inline constexpr int kErrBreaksOff = -15;
/// And for one beside which lies a file of extras that breaks off, or makes no sense.
inline constexpr int kErrExtrasDamaged = -16;

class JobStore {
 public:
  /// `file_system` must outlive the store.
  explicit JobStore(const FileSystem& file_system);

  /// Replaces Jobs with the file's, and gives them their extras. True when at least one job was
  /// loaded. A missing, empty or unreadable file gives no jobs and false.
  bool LoadJobs();
  /// Writes the jobs that are not Deleted, after trimming their names and paths, and their extras;
  /// a process that is killed in between has cost no job its settings. False when a file could not
  /// be written, or when the last load found one that it could not read: that file may hold jobs,
  /// so it is never written over. What somebody else has written to either since it was read or
  /// saved here is kept as a copy, and so is one of which the last load could not make sense in
  /// every line.
  bool SaveJobs();

  /// What would stand in the way of importing this file; 0 when it is a store that holds a job: a
  /// name, and a source that is a path; and the extras beside it, if there are some, are whole.
  int CheckImport(std::u16string_view path) const;
  /// Takes the jobs of another store file with the extras beside it: the present ones are kept as
  /// old_Backup.rtm and old_Backup.ext (where such a name is taken, as when somebody else had
  /// written them), the others take their places, extras that the other store does not have are
  /// none here either, and the jobs are loaded. Gives the error code that stood in the way,
  /// kErrNoJobs where the other file holds none, 0 on success; on failure both are as they were.
  int ImportJobs(std::u16string_view path);
  /// Copies the store file into a folder, as Backup.rtm, over one that is there, and the extras
  /// with it: where there are none, none stay there. 0 or the error code.
  int ExportJobs(std::u16string_view folder) const;

  /// What the last import made of the file that it replaced; empty when there was none.
  const std::u16string& KeptAs() const { return kept_as_; }

  /// Why the last LoadJobs or SaveJobs failed; 0 when it did not, or the file was only missing.
  int LastError() const { return last_error_; }
  const std::u16string& Path() const { return file_.Path(); }
  SharedFile& File() { return file_; }
  SharedFile& Extras() { return extras_.File(); }

  /// The first job that IsNamed so; -1 when there is none.
  std::int32_t FindJob(std::u16string_view name) const;

  std::vector<BackupJob> Jobs;

 private:
  /// The extras beside another store; IsNotFound where there are none.
  Result<std::string> ExtrasBeside(std::u16string_view path) const;
  /// Keeps what a file of ours holds under another name, whose path goes into `kept`, before it is
  /// replaced.
  ErrorCode SetAside(SharedFile& file, std::u16string_view old_name, std::u16string& kept) const;

  const FileSystem& file_system_;
  SharedFile file_;
  ExtrasFile extras_;
  int last_error_ = 0;
  std::u16string kept_as_;
  bool not_understood_ = false;  ///< the file holds more than Jobs
};

/// One line of the store without its line end, and back.
Secret FormatJobLine(const BackupJob& job);
enum class LineRead {
  Nothing,  ///< fewer than 14 fields
  Part,     ///< a field that does not convert keeps its starting value; more than 24 are left out
  Whole,
};
LineRead ParseJobLine(std::u16string_view line, BackupJob& job);

}  // namespace kavrel
