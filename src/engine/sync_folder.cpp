#include "engine/sync_folder.h"

namespace kavrel {

void SyncFolder(RunContext&, const BackupJob&, const FolderPair&, const WalkPaths&) {}

}  // namespace kavrel
