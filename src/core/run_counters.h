// The counters of the current backup or restore run.
#pragma once

#include <cstdint>

#include "core/backup_job.h"

namespace kavrel {

struct RunCounters {
  std::uint32_t SourceFiles = 0, Folders = 0, CopiedFiles = 0, FailedFiles = 0, UnchangedFiles = 0,
                ExcludedFolders = 0, ExcludedFiles = 0, SyncDeletedFiles = 0,
                SyncDeletedFolders = 0, RecycledFiles = 0, RecycledFolders = 0, WarningFiles = 0;
  std::uint32_t NewerFiles = 0;   ///< of the unchanged: kept because they are newer
  std::uint32_t UnseenFiles = 0;  ///< of the unchanged: there, but could not be looked at
  /// Files and folders whose metadata alone was set right; the files are of the unchanged.
  std::uint32_t UpdatedAttributes = 0;
  std::uint64_t CopiedBytes = 0;
  /// Of the source files that were dealt with, copied or not, as far as the size limit lets them
  /// in.
  std::uint64_t SourceBytes = 0;
  std::uint64_t LargestFile = 0;  ///< of these, in bytes

  bool operator==(const RunCounters&) const = default;
};

/// Files in the dated folder or archive that a run with these counters makes.
inline std::uint64_t FilesOfState(const RunCounters& counters) {
  return std::uint64_t{counters.CopiedFiles} + counters.UnchangedFiles;
}

/// Whether the run has dealt with all that it came to: nothing failed and no file stayed unseen.
inline bool IsComplete(const RunCounters& counters) {
  return counters.FailedFiles == 0 && counters.UnseenFiles == 0;
}

/// The part of the counters that a job keeps; `stopped` tells that the run was interrupted.
LastRunResult ToLastRunResult(const RunCounters& counters, bool stopped);

}  // namespace kavrel
