// The program log, Log\QVDlog.log: the log list's rows as quoted comma-separated records in code
// page 950, kept below a chosen number.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "log/log_list.h"

namespace kavrel {

class FileSystem;

class ProgramLog {
 public:
  /// Both must outlive the log.
  ProgramLog(const FileSystem& file_system, LogList& rows);

  /// Fills the list from the file. A missing file is made, empty, with its folder.
  void LoadProgramLog();
  /// Writes every row, where that is not what it wrote last; a quotation mark inside a field is
  /// doubled. False when it could not; the old file is then whole. A file that LoadProgramLog found
  /// but could not read is not written.
  bool SaveProgramLog();
  /// With more than N = (item + 1) × 100 rows, removes the N - 30 oldest with their job logs; then
  /// saves. `item` is 0-4. An empty list is left alone.
  void TrimLogList(std::int32_t item);
  /// Removes the rows at these positions with their job logs, then saves.
  void DeleteSelectedLogs(std::span<const std::size_t> rows);
  /// Removes all rows and every job log of the Log folder, listed or not, then saves. The file of
  /// the path `in_use` stays: a run is writing it.
  void DeleteAllLogs(std::u16string_view in_use = {});

 private:
  void DeleteJobLog(const LogRow& row) const;

  const FileSystem& file_system_;
  LogList& rows_;
  std::optional<std::string> saved_;  ///< what the file was last given
  bool unreadable_ = false;
};

}  // namespace kavrel
