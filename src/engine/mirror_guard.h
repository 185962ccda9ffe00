// What keeps a mirror run from emptying a destination by mistake: a source that is not mounted or
// has lost its files, a destination that is somebody else's.
#pragma once

#include <string>
#include <unordered_set>

#include "engine/run_context.h"

namespace kavrel {

/// Destination folders that were seen to hold nothing which the source does not. Two of one number
/// would only make the run keep something that it might have removed.
class SettledFolders {
 public:
  void Insert(const FileStatus& folder) { folders_.insert(NumberOf(folder)); }
  bool Contains(const FileStatus& folder) const { return folders_.contains(NumberOf(folder)); }

 private:
  static std::uint64_t NumberOf(const FileStatus& folder) {
    return folder.Device * 0x9E3779B97F4A7C15 ^ folder.Id;
  }
  std::unordered_set<std::uint64_t> folders_;
};

/// To be asked before the run's first removal. Looks ahead over all that the run would remove, by
/// the code that removes it; folders of which nothing would go are put into `settled`, so that the
/// run need not look at them again. False when the run is to stop: the host was asked and did not
/// agree. The context's Refusal and the log tell why, and the cancel flag is set.
bool PassMirrorGuard(RunContext& context, const BackupJob& job, SettledFolders& settled);

/// Why the guard would stop the run, in words; empty when it would not. The context holds a plan.
std::u16string MirrorObjection(const RunContext& context, const BackupJob& job);

/// The mount point that holds the job's source now, "/" for the root file system's.
std::u16string SourceMountOf(const RunContext& context, const BackupJob& job);

}  // namespace kavrel
