// The disks that a job relies on: those that hold its source and its destination, and those that
// are mounted inside them. An empty mount point looks like an empty folder, so a job remembers what
// was mounted in its last whole run.
#pragma once

#include <optional>
#include <string>

#include "engine/run_context.h"

namespace kavrel {

/// Which of a job's disks are meant. A run needs them all.
struct DiskScope {
  bool Source = true;               ///< those of the source, too
  const PathSet* Picked = nullptr;  ///< of those inside the source, only where this leads
  /// Whether it matters what is mounted for the first time inside the source, inside the
  /// destination.
  bool NewInSource = true, NewInDestination = true;
  bool Restores = false;  ///< the destination is read, whatever the source has
  bool IsTarget = false;  ///< the source is another folder, which a restore of the job writes
};

/// Which of the remembered disks are not there now, or have another one in their place, and which
/// are mounted for the first time over a folder that a run deals with, in words; empty when none
/// is, or nothing is known. The job's work paths are set. Looks at the mounts anew,
/// after a touch for disks that are only mounted when somebody asks for them. What is mounted
/// elsewhere now is found by its mark.
std::u16string DiskObjection(const RunContext& context, const BackupJob& job,
                             const DiskScope& scope = {});

/// To be asked before the first change of a run or a restore. False when the run is to stop: a disk
/// is away, the host was asked and did not agree. The report's Refusal and the log tell why.
bool PassDiskCheck(RunContext& context, const BackupJob& job, const DiskScope& scope = {});

/// To be asked at the end of a run or a restore, with the job of the last PassDiskCheck: which of
/// the disks that it began with are not there any more, in words; empty when all are. What has come
/// since does not matter.
std::u16string LostDisks(const RunContext& context, const BackupJob& job,
                         const DiskScope& scope = {});

/// After a whole run that has lost no disk: those that it began with are what the job relies on.
/// Nothing is looked at anew, for nobody would have checked that.
void RememberDisks(const RunContext& context, BackupJob& job);

/// After a run that has lost some: those that no run has known of, for the backup may hold what was
/// on them.
void RememberNewDisks(const RunContext& context, BackupJob& job);

/// Whether the destination of a job, its work paths set, is the folder that its last whole run
/// wrote into, by whatever path or mount it is reached now. Nothing where that is not known.
std::optional<bool> IsLastPlace(const FileSystem& files, const BackupJob& job);

}  // namespace kavrel
