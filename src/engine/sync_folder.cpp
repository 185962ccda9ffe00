#include "engine/sync_folder.h"

#include <algorithm>
#include <functional>

#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// Name and kind of an entry as one number, so that a huge folder's listing stays small. Two
/// entries of one number would only make the pass keep something that it might have removed.
std::uint64_t EntryKey(const FolderEntry& entry) {
  const std::uint64_t hash = std::hash<std::u16string_view>()(entry.Name);
  return entry.Kind == FileKind::Folder ? ~hash : hash;
}

/// True unless the source was seen not to hold an entry of that name and kind.
bool MayBeHeld(const Folder& source, const FolderEntry& entry) {
  const Result<FileStatus> status = source.Status(entry.Name);
  if (!status) return !IsNotFound(status.Error);
  return (status->Kind == FileKind::Folder) == (entry.Kind == FileKind::Folder);
}

}  // namespace

Synchronisation::Synchronisation(RunContext& context, const BackupJob& job,
                                 const Folder& source_root)
    : context_(context),
      job_(job),
      bin_(context.Clock),
      root_length_(AddBackslash(job.Destination.WorkPath).size()) {
  source_lineage_ = *source_root.Lineage();
}

void Synchronisation::CountFailure(std::u16string_view text, std::u16string_view what) {
  ++context_.Counters.FailedFiles;
  std::u16string line(text);
  line += what;
  context_.LogTimed(line);
}

bool Synchronisation::ListSource(const Folder& source, std::vector<std::uint64_t>& held) {
  FolderReader reader(source);
  while (const FolderEntry* entry = reader.Next()) held.push_back(EntryKey(*entry));
  std::sort(held.begin(), held.end());
  return reader.Error() == 0;
}

bool Synchronisation::SyncFolder(const FolderPair& pair, const WalkPaths& paths,
                                 SeenEntries* seen) {
  if (context_.State.CancelRequested || !pair.Dest) return true;
  // A source that cannot be opened is not an empty source; the walk counts and logs that.
  if (pair.SourceError) return true;
  std::vector<std::uint64_t> held;
  std::u16string path(paths.Dest());
  const Result<FileStatus> dest = pair.Dest.Status();
  const std::vector<FolderEntry>* foreseen = dest ? foreseen_.Find(*dest) : nullptr;
  if (foreseen) {
    SyncForeseen(pair, *foreseen, path, *dest);
    return true;
  }
  if (!dest || source_lineage_.empty() || !ListSource(pair.Source, held)) {
    CountFailure(u": 略過同步 (失敗)：", paths.Source());
    PlanFailure(true, PlanReason::Unreadable, paths.Dest());
    return false;
  }
  // A copy of a read-only folder is read-only, too.
  if (!context_.Plan) pair.Dest.MakeWritable();
  FolderReader reader(pair.Dest);
  while (const FolderEntry* entry = reader.Next()) {
    if (context_.State.CancelRequested) return true;
    if (!std::binary_search(held.begin(), held.end(), EntryKey(*entry)) &&
        !MayBeHeld(pair.Source, *entry)) {
      if (!PassesGuard()) return true;
      SyncEntry(pair, *entry, path, *dest);
      if (seen) seen->Gone.push_back(*entry);
    } else if (seen && entry->Kind == FileKind::Folder) {
      seen->KeptFolders.push_back(entry->Name);
    } else if (seen) {
      ++seen->KeptFiles;
    }
    context_.Host.PumpMessages();
  }
  if (seen) seen->Whole = reader.Error() == 0;
  return true;
}

/// Removes what the guard's look ahead has found in a folder, as far as it is still there and the
/// source still lacks it.
void Synchronisation::SyncForeseen(const FolderPair& pair, const std::vector<FolderEntry>& gone,
                                   std::u16string& path, const FileStatus& dest) {
  if (gone.empty()) return;
  pair.Dest.MakeWritable();
  for (const FolderEntry& entry : gone) {
    if (context_.State.CancelRequested) return;
    const Result<FileStatus> now = pair.Dest.Status(entry.Name);
    const bool same = now && now->Kind == entry.Kind;
    if (same && !MayBeHeld(pair.Source, entry)) SyncEntry(pair, entry, path, dest);
    context_.Host.PumpMessages();
  }
}

bool Synchronisation::PassesGuard() {
  if (passed_guard_ || context_.Plan) return true;
  if (!PassMirrorGuard(context_, job_, foreseen_)) return false;
  passed_guard_ = true;
  return true;
}

/// Removes an entry of a folder that both sides have.
void Synchronisation::SyncEntry(const FolderPair& pair, const FolderEntry& entry,
                                std::u16string& path, const FileStatus& dest) {
  bool gone = true;
  if (entry.Kind == FileKind::Folder) {
    gone = SyncRemoveTree(pair.Dest, entry.Name, path, dest);
  } else if (RemoveEntry(pair.Dest, entry, path)) {
    CountFailure(job_.UseRecycleBin ? u": 移到資源回收筒 (失敗)：" : u": 刪除檔案 (失敗)：",
                 entry.Name);
  }
  // Only what the source has as another kind will be looked at once more.
  if (context_.Plan && gone && pair.Source.Status(entry.Name)) {
    planned_gone_.insert(path + entry.Name);
  }
}

ErrorCode Synchronisation::RemoveEntry(const Folder& folder, const FolderEntry& entry,
                                       std::u16string_view path) {
  RunCounters& counters = context_.Counters;
  ErrorCode error = 0;
  if (context_.Plan) {
    PlanRemoval(folder, entry, path);
  } else {
    error = job_.UseRecycleBin ? bin_.Recycle(folder, entry.Name)
            : release_         ? release_->Remove(folder, entry.Name)
                               : folder.RemoveFile(entry.Name);
    context_.State.LastApiError = error;
  }
  if (!error) ++(job_.UseRecycleBin ? counters.RecycledFiles : counters.SyncDeletedFiles);
  return error;
}

void Synchronisation::PlanRemoval(const Folder& folder, const FolderEntry& entry,
                                  std::u16string_view path) {
  RunPlan& plan = *context_.Plan;
  if (!plan.Wants(RunPlan::Level::Sizes)) return;
  const Result<FileStatus> status = folder.Status(entry.Name);
  const std::uint64_t size = status ? status->Size : 0;
  if (status && !job_.UseRecycleBin) {
    plan.NetBytes -= static_cast<std::int64_t>(std::min(size, status->Allocated));
  }
  plan.Add(job_.UseRecycleBin ? PlanAction::Recycle : PlanAction::Delete, PlanReason::NotInSource,
           false, std::u16string(path.substr(root_length_)) += entry.Name, size);
}

void Synchronisation::PlanFailure(bool is_folder, PlanReason reason, std::u16string_view path) {
  if (context_.Plan) {
    context_.Plan->Add(PlanAction::Fail, reason, is_folder, path.substr(root_length_));
  }
}

bool Synchronisation::SyncRemoveTree(const Folder& parent, std::u16string_view name,
                                     std::u16string& path, const FileStatus& dest) {
  if (context_.State.CancelRequested) return false;
  const std::size_t length = path.size();
  path += name;
  path += PathSeparator(path);
  RunCounters& counters = context_.Counters;
  ErrorCode error = kErrNotEmpty;
  {
    const Result<Folder> folder = parent.OpenFolder(name);
    const Result<FileStatus> status =
        folder ? folder->Status() : Result<FileStatus>::Fail(folder.Error);
    if (!status) {
      error = status.Error;
    } else if (MayBeLeftOver(*status, dest, source_lineage_) && EmptyFolder(*folder, path, dest)) {
      error = 0;
    }
  }
  if (!context_.State.CancelRequested) {
    // Only what is empty goes, also to the bin: what could not be removed from it stays in place.
    if (!error && !context_.Plan) {
      error = job_.UseRecycleBin ? bin_.Recycle(parent, name) : parent.RemoveFolder(name);
    }
    context_.State.LastApiError = error;
    if (error) {
      CountFailure(job_.UseRecycleBin ? u": 移到資源回收筒 (失敗)：" : u": 刪除目錄 (失敗)：",
                   path);
      PlanFailure(true, PlanReason::Blocked, path);
    } else {
      if (context_.Plan) {
        context_.Plan->Add(job_.UseRecycleBin ? PlanAction::Recycle : PlanAction::Delete,
                           PlanReason::NotInSource, true, path.substr(root_length_));
      }
      ++(job_.UseRecycleBin ? counters.RecycledFolders : counters.SyncDeletedFolders);
    }
  }
  path.resize(length);
  return error == 0;
}

/// Removes all that is in the folder; false when something stays.
bool Synchronisation::EmptyFolder(const Folder& folder, std::u16string& path,
                                  const FileStatus& dest) {
  RunCounters& counters = context_.Counters;
  bool emptied = true;
  if (!context_.Plan) folder.MakeWritable();
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (context_.State.CancelRequested) return false;
    if (entry->Kind == FileKind::Folder) {
      emptied = SyncRemoveTree(folder, entry->Name, path, dest) && emptied;
    } else if (RemoveEntry(folder, *entry, path)) {
      ++counters.FailedFiles;
      emptied = false;
    } else {
      ++counters.SourceFiles;
    }
    context_.Host.PumpMessages();
  }
  return emptied && reader.Error() == 0 && !context_.State.CancelRequested;
}

}  // namespace kavrel
