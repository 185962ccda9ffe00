// A finished run as the log list knows it, and the eight columns of text that stand for it in the
// program log and in views.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "base/date_time.h"

namespace kavrel {

enum class LogKind {
  Backup,
  Restore,
  Verification,
  TimeSetRight,  ///< no run: the clock had been ahead, and the next run is earlier again
  Other          ///< written by somebody else
};

/// Job name, status, copied, unchanged, failed (numbers as text), started, next run, path of the
/// job log.
using LogColumns = std::array<std::u16string, 8>;
inline constexpr int kLogPathColumn = 7;

struct LogRow {
  std::u16string Job;
  LogKind Kind = LogKind::Other;
  bool Stopped = false;  ///< it was interrupted
  /// Files. A verification has equal ones for unchanged, and differences for failed. Nothing where
  /// the record holds no number.
  std::optional<std::uint64_t> Copied, Unchanged, Failed;
  std::optional<DateTime> Started, NextRun;  ///< nothing where the record holds no time
  std::u16string LogPath;
  /// A record that others have written in another way, which stays as it is.
  std::optional<LogColumns> AsWritten;

  bool operator==(const LogRow&) const = default;
};

/// "備份完成" and the like.
std::u16string StatusText(const LogRow& row);
LogColumns ColumnsOf(const LogRow& row);
/// What the columns of a record tell. ColumnsOf gives the very same ones again.
LogRow ReadLogRow(LogColumns columns);

/// Files failed or differ, or the run was interrupted.
bool IsBadRun(const LogRow& row);

}  // namespace kavrel
