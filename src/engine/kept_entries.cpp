#include "engine/kept_entries.h"

#include <algorithm>
#include <unordered_set>

#include "base/text.h"
#include "files/twin_names.h"

namespace kavrel {

namespace {

/// Names that disks have at their top: bins, what a repair has found, Windows' own.
bool BelongsToDisk(std::u16string_view name) {
  const std::u16string lower = ToLower(name);
  return lower == u".trash" || lower.starts_with(u".trash-") || lower == u"lost+found" ||
         lower == u"$recycle.bin" || lower == u"system volume information";
}

}  // namespace

bool KeptEntries::Keeps(const FolderEntry& entry) {
  return (BelongsToDisk(entry.Name) && IsTopOfDisk()) || IsReached(entry);
}

bool KeptEntries::IsTopOfDisk() {
  if (!top_) {
    const Result<std::vector<FileStatus>> lineage = dest_.Lineage();
    const bool alone = !lineage || lineage->size() < 2;
    top_ = alone || (*lineage)[0].Device != (*lineage)[1].Device ||
           (*lineage)[0].Mount != (*lineage)[1].Mount;
  }
  return *top_;
}

bool KeptEntries::IsReached(const FolderEntry& entry) {
  if (!MayFold(dest_, entry.Name)) return false;
  FindReached();
  if (reached_->empty()) return false;
  const Result<FileStatus> own = dest_.Status(entry.Name);
  if (!own) return true;
  return std::any_of(reached_->begin(), reached_->end(), [&](const Reached& name) {
    if (own->Kind != name.Status.Kind) return false;
    // A disk that makes its numbers up for each spelling can still be told by the rest.
    const bool alike = own->Kind != FileKind::Folder && own->Size == name.Status.Size &&
                       own->Written.Seconds == name.Status.Written.Seconds;
    return alike || FoldedKey(entry.Name) == FoldedKey(name.Name) ||
           (own->Device == name.Status.Device && own->Id == name.Status.Id);
  });
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
}

}  // namespace kavrel
