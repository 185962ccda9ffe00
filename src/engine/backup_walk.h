// The walk of the plain backup types: exclusion rules, file types, size limit, and each folder's
// synchronisation before its files.
#pragma once

#include "engine/effects.h"

namespace kavrel {

/// Backs up Source.WorkPath into Destination.WorkPath, both set: for each folder its own
/// synchronisation, then its files, then its subfolders, depth first, until the tree is exhausted
/// or the run is cancelled. What fails is counted in the context and written to its log.
void BackupFolder(RunContext& context, const BackupJob& job, Effects& effects);

}  // namespace kavrel
