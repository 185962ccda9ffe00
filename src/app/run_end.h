// How a backup, a restore or a verification ended, in words; and what a restore is about to do.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "app/program.h"

namespace kavrel {

struct RunEnd {
  std::u16string Job;
  std::u16string Text;     ///< "備份完成：備份 3 個檔案，失敗 0 個檔案"
  std::u16string Why;      ///< what was not done as it should, and nobody asked for; else empty
  std::u16string LogPath;  ///< empty when no log tells
  /// What failed or differs; nothing where only its log tells that.
  std::optional<RunFailures> Failures{};
  bool Bad = false;    ///< not done whole, for whatever reason
  bool Backup = true;  ///< else a restore or a verification
};

/// Of the last backup, which the program has just run, its verification included. A run that was
/// not even tried has no text; the same for the others.
RunEnd EndOfBackup(const Program& program, const BackupJob& job, RunOutcome outcome);
/// Of a restore that has just been.
RunEnd EndOfRestore(const Program& program, const BackupJob& job, RunOutcome outcome);
RunEnd EndOfVerification(const BackupJob& job, const VerifyReport& report);
/// As the log list tells of it.
RunEnd EndOfRow(const LogRow& row);

/// What a restore of the job at that position would overwrite, from where and to where: for a
/// question before it.
std::u16string RestoreWarning(const Program& program, std::int32_t job_index, RestoreMode mode);

/// One line about all of them.
std::u16string EndText(std::span<const RunEnd> ends);

}  // namespace kavrel
