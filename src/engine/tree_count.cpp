#include "engine/tree_count.h"

namespace kavrel {

void TreeCount::TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t times) {
  files_ += times;
  if (times == 0 || in.Here.LeavesOut(file)) return;
  const Result<FileStatus> status = in.Opened.Status(file.Name);
  if (status && in.Rules.WithinSizeLimit(*status)) bytes_ += times * status->Size;
}

}  // namespace kavrel
