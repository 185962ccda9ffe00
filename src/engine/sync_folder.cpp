#include "engine/sync_folder.h"

#include <algorithm>
#include <functional>

#include "base/text.h"
#include "engine/kept_entries.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "files/twin_names.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

std::uint64_t NameKey(std::u16string_view name) {
  return std::hash<std::u16string_view>()(name);
}

/// Name and kind of an entry as one number, so that a huge folder's listing stays small. Two
/// entries of one number would only make the pass keep something that it might have removed.
std::uint64_t EntryKey(const FolderEntry& entry) {
  const std::uint64_t hash = NameKey(entry.Name);
  return entry.Kind == FileKind::Folder ? ~hash : hash;
}

/// False unless the source was seen not to hold an entry of that name and kind. Otherwise
/// `comes_back` is set when another entry of the source may come to its place.
bool IsToGo(const Folder& source, const FolderEntry& entry, KeptEntries& kept, bool& comes_back) {
  const Result<FileStatus> other = source.Status(entry.Name);
  if (!other && !IsNotFound(other.Error)) return false;
  if (other && (other->Kind == FileKind::Folder) == (entry.Kind == FileKind::Folder)) return false;
  if (kept.Keeps(entry)) return false;
  comes_back = comes_back || other || kept.FoldsCase(entry.Name);
  return true;
}

}  // namespace

Synchronisation::Synchronisation(RunContext& context, const BackupJob& job, Effects& effects,
                                 const Folder& source_root, const SourcePlace* source_place)
    : context_(context),
      job_(job),
      effects_(effects),
      source_place_(source_place),
      root_length_(AddBackslash(job.Destination.WorkPath).size()) {
  source_lineage_ = *source_root.Lineage();
}

/// Whether the folder of the source in which a disk was mounted, or the file, has gone with it.
bool Synchronisation::WasMounted(const WalkPaths& paths, const FolderEntry& entry) const {
  std::u16string path(paths.Source());
  path += entry.Name;
  if (entry.Kind != FileKind::Folder) return context_.Mounted.WasMounted(path);
  return context_.Mounted.HeldMount(path += PathSeparator(path));
}

bool Synchronisation::ListSource(const Folder& source, std::vector<std::uint64_t>& held) {
  FolderReader reader(source);
  while (const FolderEntry* entry = reader.Next()) held.push_back(EntryKey(*entry));
  std::sort(held.begin(), held.end());
  return reader.Error() == 0;
}

bool Synchronisation::SyncFolder(const FolderPair& pair, const WalkPaths& paths,
                                 SeenEntries* seen) {
  if (context_.Stopped() || !pair.Dest) return true;
  // A source that cannot be opened is not an empty source; the walk counts and logs that.
  if (pair.SourceError) return true;
  // What a bin holds was put there by others.
  if (pair.KeptByDisk) return true;
  std::vector<std::uint64_t> held;
  going_.clear();
  std::u16string path(paths.Dest());
  const Result<FileStatus> dest =
      pair.DestFound ? Result<FileStatus>{*pair.DestFound, 0} : pair.Dest.Status();
  const ForeseenFolders::Folder* foreseen = dest ? foreseen_.Find(*dest) : nullptr;
  if (foreseen) {
    SyncForeseen(pair, *foreseen, path, *dest);
    return true;
  }
  if (!dest || source_lineage_.empty() || !ListSource(pair.Source, held)) {
    context_.Fail(u": 略過同步 (失敗)：", paths.Source());
    context_.Notes.Add(PlanAction::Fail, PlanReason::Unreadable, true,
                       paths.Dest().substr(root_length_));
    return false;
  }
  bool comes_back = false;
  KeptEntries kept(pair.Source, pair.Dest);
  FolderReader reader(pair.Dest);
  while (const FolderEntry* entry = reader.Next()) {
    if (context_.Stopped()) return true;
    if (path.size() == root_length_ && IsBackupsOwn(entry->Name)) continue;
    const bool lacking = !std::binary_search(held.begin(), held.end(), EntryKey(*entry)) &&
                         !WasMounted(paths, *entry);
    if (lacking && (dest->Mode & kOwnerMayLook) != kOwnerMayLook) {
      // What names of the source reach here is seen only then.
      if (!PassesGuard()) return true;
      effects_.Unlock(pair);
    }
    if (lacking && IsToGo(pair.Source, *entry, kept, comes_back)) {
      if (!PassesGuard()) return true;
      SyncEntry(pair, *entry, path, *dest);
      if (seen) seen->Foreseen.Gone.push_back(*entry);
    } else if (seen && entry->Kind == FileKind::Folder) {
      seen->KeptFolders.push_back(entry->Name);
    } else if (seen) {
      ++seen->KeptFiles;
    }
    context_.Host.PumpMessages();
  }
  if (seen) {
    seen->Foreseen.Manners = kept.Manners();
    seen->Whole = reader.Error() == 0;
  }
  AwaitGoing(comes_back);
  return true;
}

/// Removes what the guard's look ahead has found in a folder, as far as it is still there and the
/// source still lacks it.
void Synchronisation::SyncForeseen(const FolderPair& pair, const ForeseenFolders::Folder& foreseen,
                                   std::u16string& path, const FileStatus& dest) {
  if (foreseen.Gone.empty()) return;
  effects_.Unlock(pair);
  bool comes_back = false;
  KeptEntries kept(pair.Source, pair.Dest, foreseen.Manners);
  for (const FolderEntry& entry : foreseen.Gone) {
    if (context_.Stopped()) return;
    const Result<FileStatus> now = pair.Dest.Status(entry.Name);
    const bool same = now && now->Kind == entry.Kind;
    if (same && IsToGo(pair.Source, entry, kept, comes_back)) SyncEntry(pair, entry, path, dest);
    context_.Host.PumpMessages();
  }
  AwaitGoing(comes_back);
}

bool Synchronisation::PassesGuard() {
  passed_guard_ = passed_guard_ || effects_.PassesGuard(foreseen_);
  return passed_guard_;
}

/// Removes an entry of a folder that both sides have.
void Synchronisation::SyncEntry(const FolderPair& pair, const FolderEntry& entry,
                                std::u16string& path, const FileStatus& dest) {
  // A copy of a read-only folder is read-only, too.
  effects_.Unlock(pair);
  RemovalPlace from{pair.Dest, nullptr, pair.Shared};
  bool gone = true;
  if (!effects_.Begin(from, path)) {
    // Without a handle of its own nothing can wait for its turn.
    effects_.CountFileGone(kErrAccess, entry.Name, nullptr);
  } else if (entry.Kind == FileKind::Folder) {
    gone = RemoveTree(from, entry.Name, path, dest);
  } else {
    effects_.RemoveFile(from, entry, path);
  }
  pair.Shared = from.Shared;
  if (gone && effects_.MayBeSeen(pair, entry.Name, path)) going_.push_back(NameKey(entry.Name));
}

void Synchronisation::AwaitGoing(bool comes_back) {
  if (comes_back) effects_.Flush();
  std::sort(going_.begin(), going_.end());
}

bool Synchronisation::IsGoing(std::u16string_view name) const {
  return !going_.empty() && std::binary_search(going_.begin(), going_.end(), NameKey(name));
}

bool Synchronisation::RemoveTree(const RemovalPlace& from, std::u16string_view name,
                                 std::u16string& path, const FileStatus& dest) {
  if (context_.Stopped()) return false;
  const std::size_t length = path.size();
  path += name;
  path += PathSeparator(path);
  const auto own = std::make_shared<Emptying>();
  ErrorCode error = 0;
  {
    const Result<Folder> folder = from.Opened.OpenFolder(name);
    const Result<FileStatus> status = StatusOf(folder);
    if (!status) {
      error = status.Error;
    } else if (!MayBeLeftOver(*status, dest, source_lineage_) ||
               (source_place_ && source_place_->Is(*folder)) ||
               !EmptyFolder(*folder, path, dest, own)) {
      error = kErrNotEmpty;
    }
  }
  if (!context_.Stopped()) {
    // Only what is empty goes, also to the bin: what could not be removed from it stays in place.
    if (!error && !own->Whole) error = kErrNotEmpty;
    if (error) {
      context_.State.LastApiError = error;
      effects_.CountFolderGone(error, path, from.In);
    } else {
      effects_.RemoveFolder(from, name, path, own);
    }
  }
  if (own->Locked && (error || context_.Stopped())) {
    if (const Result<Folder> stays = from.Opened.OpenFolder(name)) effects_.Leave(*stays, *own);
  }
  path.resize(length);
  return error == 0;
}

/// Removes all that is in the folder; false when it was not gone through to its end. What stays in
/// it is noted in `own`.
bool Synchronisation::EmptyFolder(const Folder& folder, std::u16string& path,
                                  const FileStatus& dest, const SharedEmptying& own) {
  effects_.Enter(folder, path, *own);
  RemovalPlace from{folder, own, nullptr};
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (context_.Stopped() || !effects_.Begin(from, path)) return false;
    if (entry->Kind == FileKind::Folder) {
      RemoveTree(from, entry->Name, path, dest);
    } else {
      effects_.RemoveFile(from, *entry, path);
    }
    context_.Host.PumpMessages();
  }
  return reader.Error() == 0 && !context_.Stopped();
}

}  // namespace kavrel
