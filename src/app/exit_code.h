// How a process ends that ran jobs. Both programs use the same codes; --help of kavrelctl tells
// them.
#pragma once

#include "engine/run_driver.h"
#include "engine/verify.h"

namespace kavrel {

enum ExitCode : int {
  kDone = 0,
  kSomeFailed = 1,
  kBadInput = 2,
  kNoSuchJob = 3,
  kInterrupted = 4,
  kSourceMissing = 5,
  kGuarded = 6,
  kNoSpace = 7,
  kInUse = 8,             ///< another program has the program folder
  kNoArchiveProgram = 9,  ///< no archive program is installed
  kNoPlace = 10,          ///< there is no place to write to: the destination cannot be made
};

/// The code for the backup, or the restore, that has just ended, whose report is in the context. A
/// destination, or a target, that could not even be made is told from files that failed.
ExitCode CodeOfBackup(const RunContext& context, const BackupJob& job);
ExitCode CodeOfRestore(const RunContext& context, const BackupJob& job);
ExitCode CodeOfVerification(const VerifyReport& report);

/// The graver of two codes, for several jobs of one process.
ExitCode Graver(ExitCode one, ExitCode other);

}  // namespace kavrel
