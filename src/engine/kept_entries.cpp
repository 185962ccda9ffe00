#include "engine/kept_entries.h"

#include <algorithm>
#include <unordered_set>

namespace kavrel {

bool KeptEntries::Keeps(const FolderEntry& entry) {
  return IsKeptByDisk(dest_, entry.Name) || IsReached(entry);
}

bool KeptEntries::IsReached(const FolderEntry& entry) {
  if (!manners_.MayFold(dest_, entry.Name)) return false;
  FindReached();
  if (reached_->empty()) return false;
  const Result<FileStatus> own = dest_.Status(entry.Name);
  if (!own) return true;
  return std::any_of(reached_->begin(), reached_->end(), [&](const Reached& name) {
    if (own->Kind != name.Status.Kind) return false;
    // Of a disk that makes its numbers up for each spelling, only the rest can tell.
    const bool alike = own->Kind != FileKind::Folder && own->Size == name.Status.Size &&
                       own->Written.Seconds == name.Status.Written.Seconds;
    return IsEntry(name, entry.Name, *own) || (alike && !name.Known);
  });
}

bool KeptEntries::IsEntry(const Reached& name, std::u16string_view listed,
                          const FileStatus& status) {
  return FoldedKey(listed) == FoldedKey(name.Name) ||
         (status.Device == name.Status.Device && status.Id == name.Status.Id);
}

void KeptEntries::FindReached() {
  if (reached_) return;
  reached_.emplace();
  std::unordered_set<std::u16string> listed;
  FolderReader there(dest_);
  while (const FolderEntry* entry = there.Next()) listed.insert(entry->Name);
  FolderReader here(source_);
  while (const FolderEntry* entry = here.Next()) {
    if (listed.contains(entry->Name)) continue;
    const Result<FileStatus> found = dest_.Status(entry->Name);
    if (found) reached_->push_back({entry->Name, *found});
  }
  if (reached_->empty()) return;
  for (const std::u16string& name : listed) {
    const Result<FileStatus> status = dest_.Status(name);
    if (!status) continue;
    for (Reached& one : *reached_) one.Known = one.Known || IsEntry(one, name, *status);
  }
}

}  // namespace kavrel
