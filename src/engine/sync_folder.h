// The synchronisation pass: what a folder of the source no longer has goes from the destination.
#pragma once

#include "engine/folder_pair.h"
#include "engine/run_context.h"

namespace kavrel {

/// Removes from the pair's destination folder what its source folder does not hold. Does nothing
/// yet: a synchronising job copies like a differential one.
void SyncFolder(RunContext& context, const BackupJob& job, const FolderPair& pair,
                const WalkPaths& paths);

}  // namespace kavrel
