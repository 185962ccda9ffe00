// The log of one run: Log\yyyy年mm月dd日hh時mm分ss秒.txt in the program folder, UTF-16LE with a
// byte-order mark and CR LF.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/clock.h"
#include "platform/files.h"

namespace kavrel {

/// The ending of every job log's name.
inline constexpr std::u16string_view kJobLogEnding = u".txt";
/// In the place of a path.
inline constexpr std::u16string_view kNoJobLog = u"無法寫入日誌";

class JobLog {
 public:
  /// Both must outlive the log. A silent one never writes anything.
  JobLog(const FileSystem& file_system, Clock& clock, bool silent = false);
  JobLog(const JobLog&) = delete;
  JobLog& operator=(const JobLog&) = delete;
  /// Closes an open log without an end banner.
  ~JobLog();

  /// Opens a new log with its start banner, which is at once in the file, and tries again where an
  /// earlier log has failed. Does nothing when one is open.
  /// A log of the same second gets " (2)", " (3)" … before its ending.
  void OpenJobLog();
  /// Writes one line; opens the log first when none is open. After a failure the rest of the log is
  /// skipped silently.
  void WriteJobLog(std::u16string_view line);
  /// Writes one line, `text` after the present date-time, as the lines of a run begin. Line breaks
  /// in it are shown as ␊ and ␍.
  void WriteTimed(std::u16string_view text);
  /// Writes the end banner and closes.
  void CloseJobLog();

  /// To be called often while a run is at work: brings lines to the file that have waited for a
  /// second, or, before work that may take long, all of them.
  void FlushDue(bool all = false);

  /// Whether something of the current or last log could not be written.
  bool Failed() const { return failed_; }
  /// The path of the current or last log, also when it could not be opened.
  const std::u16string& CurrentPath() const { return path_; }
  /// The same for a list of logs: where no file could be made, words that say so.
  std::u16string ListedPath() const { return opened_ ? path_ : std::u16string(kNoJobLog); }

 private:
  void Flush();

  const FileSystem& file_system_;
  Clock& clock_;
  File file_;
  std::u16string path_;
  std::u16string buffer_;
  DateTime time_{};  ///< of the last timed line, and its text
  std::u16string time_text_, line_;
  std::uint64_t flushed_at_ = 0;
  const bool silent_;
  bool failed_ = false, opened_ = false;
};

/// The file name of a job log's path, whatever system the path is of.
std::u16string_view JobLogName(std::u16string_view path);

/// The text of a job log. A log that is not at its path any more (the program folder was moved) is
/// looked for under its name in the program's own Log folder.
Result<std::u16string> ReadJobLog(const FileSystem& file_system, std::u16string_view path);

/// The program's Log folder, with a trailing separator.
std::u16string LogFolder(const FileSystem& file_system);

}  // namespace kavrel
