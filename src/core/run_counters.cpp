#include "core/run_counters.h"

namespace kavrel {

LastRunResult ToLastRunResult(const RunCounters& counters, bool stopped) {
  return {stopped,
          counters.Folders,
          counters.SyncDeletedFolders,
          counters.CopiedFiles,
          counters.SyncDeletedFiles,
          counters.UnchangedFiles,
          counters.FailedFiles,
          counters.WarningFiles,
          counters.CopiedBytes,
          counters.UnseenFiles};
}

}  // namespace kavrel
