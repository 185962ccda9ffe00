#include "engine/sync_folder.h"

#include <algorithm>
#include <functional>

#include "base/text.h"
#include "engine/kept_entries.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "files/twin_names.h"
#include "platform/error_codes.h"
#include "platform/trace.h"

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

Synchronisation::Synchronisation(RunContext& context, const BackupJob& job,
                                 const Folder& source_root)
    : context_(context),
      job_(job),
      bin_(context.Clock),
      root_length_(AddBackslash(job.Destination.WorkPath).size()) {
  source_lineage_ = *source_root.Lineage();
}

void Synchronisation::CountFailure(std::u16string_view text, std::u16string_view what,
                                   ErrorCode why) {
  ++context_.Counters.FailedFiles;
  context_.LogTimed(text, what);
  context_.LogWhy(why);
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
    CountFailure(u": 略過同步 (失敗)：", paths.Source());
    PlanFailure(true, PlanReason::Unreadable, paths.Dest());
    return false;
  }
  // A copy of a read-only folder is read-only, too.
  if (!context_.Plan && !OwnerMayAll(*dest)) pair.Dest.MakeWritable();
  bool comes_back = false;
  KeptEntries kept(pair);
  FolderReader reader(pair.Dest);
  while (const FolderEntry* entry = reader.Next()) {
    if (context_.State.CancelRequested) return true;
    if (path.size() == root_length_ && IsOwnerMark(entry->Name)) continue;
    if (!std::binary_search(held.begin(), held.end(), EntryKey(*entry)) &&
        IsToGo(pair.Source, *entry, kept, comes_back)) {
      if (!PassesGuard()) return true;
      SyncEntry(pair, *entry, path, *dest);
      NoteGoing(entry->Name);
      if (seen) seen->Folder.Gone.push_back(*entry);
    } else if (seen && entry->Kind == FileKind::Folder) {
      seen->KeptFolders.push_back(entry->Name);
    } else if (seen) {
      ++seen->KeptFiles;
    }
    context_.Host.PumpMessages();
  }
  if (seen) {
    seen->Folder.Manners = kept.Manners();
    seen->Whole = reader.Error() == 0;
  }
  AwaitGoing(comes_back);
  std::sort(going_.begin(), going_.end());
  return true;
}

/// Removes what the guard's look ahead has found in a folder, as far as it is still there and the
/// source still lacks it.
void Synchronisation::SyncForeseen(const FolderPair& pair, const ForeseenFolders::Folder& foreseen,
                                   std::u16string& path, const FileStatus& dest) {
  if (foreseen.Gone.empty()) return;
  if (!OwnerMayAll(dest)) pair.Dest.MakeWritable();
  bool comes_back = false;
  KeptEntries kept(pair, foreseen.Manners);
  for (const FolderEntry& entry : foreseen.Gone) {
    if (context_.State.CancelRequested) return;
    const Result<FileStatus> now = pair.Dest.Status(entry.Name);
    const bool same = now && now->Kind == entry.Kind;
    if (same && IsToGo(pair.Source, entry, kept, comes_back)) {
      SyncEntry(pair, entry, path, dest);
      NoteGoing(entry.Name);
    }
    context_.Host.PumpMessages();
  }
  AwaitGoing(comes_back);
  std::sort(going_.begin(), going_.end());
}

bool Synchronisation::PassesGuard() {
  if (passed_guard_ || context_.Plan) return true;
  if (!PassMirrorGuard(context_, job_, foreseen_)) return false;
  passed_guard_ = true;
  return true;
}

/// A file or an emptied folder that is to go.
class Synchronisation::RemovalChange final : public Change {
 public:
  /// `emptied`: of a folder, what became of its content.
  RemovalChange(Synchronisation& pass, std::shared_ptr<const CommitFolder> folder,
                std::u16string_view name, std::u16string_view path, SharedEmptying in,
                SharedEmptying emptied)
      : pass_(pass),
        folder_(std::move(folder)),
        name_(name),
        path_(path),
        in_(std::move(in)),
        emptied_(std::move(emptied)) {
    if (pass_.job_.UseRecycleBin) place_ = pass_.bin_.Announce(folder_->Folder, name_);
  }

  void Commit(GroupCommit& group) override {
    ErrorCode error = 0;
    if (emptied_ && !emptied_->Whole) {
      error = kErrNotEmpty;
    } else if (pass_.job_.UseRecycleBin) {
      error = place_ ? pass_.bin_.Move(folder_->Folder, name_, *place_) : place_.Error;
    } else if (emptied_) {
      error = folder_->Folder.RemoveFolder(name_);
    } else {
      Result<File> held = folder_->Folder.HoldEntry(name_);
      error = folder_->Folder.RemoveFile(name_);
      if (!error && held) group.LetGo(*folder_, std::move(*held));
    }
    TraceEffect(pass_.job_.UseRecycleBin ? u"moved to the bin" : u"removed", folder_->Path, name_,
                error);
    if (error == kErrNotEmpty && place_) pass_.bin_.Withdraw(*place_);
    pass_.context_.State.LastApiError = error;
    Finish(error);
  }

  void GiveUp(ErrorCode why) override {
    if (place_) pass_.bin_.Withdraw(*place_);
    if (why) Finish(why);
  }

 private:
  void Finish(ErrorCode error) {
    if (emptied_) {
      pass_.FinishFolder(error, path_, in_);
    } else {
      pass_.FinishFile(error, name_, in_);
    }
  }

  Synchronisation& pass_;
  const std::shared_ptr<const CommitFolder> folder_;
  const std::u16string name_, path_;
  const SharedEmptying in_, emptied_;
  Result<RecycleBin::Place> place_;
};

std::shared_ptr<const CommitFolder> Synchronisation::Share(const Folder& folder,
                                                           std::u16string_view path) {
  return context_.Plan ? nullptr : *group_->Share(folder, path);
}

/// Removes an entry of a folder that both sides have.
void Synchronisation::SyncEntry(const FolderPair& pair, const FolderEntry& entry,
                                std::u16string& path, const FileStatus& dest) {
  if (!context_.Plan && !pair.Shared) pair.Shared = Share(pair.Dest, path);
  bool gone = true;
  if (!context_.Plan && !pair.Shared) {
    // Without a handle of its own nothing can wait for its turn.
    FinishFile(kErrAccess, entry.Name, nullptr);
  } else if (entry.Kind == FileKind::Folder) {
    gone = SyncRemoveTree(pair.Dest, pair.Shared, entry.Name, path, dest, nullptr);
  } else if (context_.Plan) {
    PlanFile(pair.Dest, entry, path);
  } else {
    RemoveFile(pair.Shared, entry, path, nullptr);
  }
  // Only what the source has as another kind will be looked at once more.
  if (context_.Plan && gone && pair.Source.Status(entry.Name)) {
    planned_gone_.insert(path + entry.Name);
  }
}

void Synchronisation::AwaitGoing(bool comes_back) {
  if (comes_back && group_) group_->Flush();
}

void Synchronisation::NoteGoing(std::u16string_view name) {
  if (group_ && group_->Pending()) going_.push_back(NameKey(name));
}

bool Synchronisation::IsGoing(std::u16string_view name) const {
  return !going_.empty() && std::binary_search(going_.begin(), going_.end(), NameKey(name));
}

void Synchronisation::RemoveFile(const std::shared_ptr<const CommitFolder>& folder,
                                 const FolderEntry& entry, std::u16string_view path,
                                 const SharedEmptying& in) {
  Queue(folder, std::make_unique<RemovalChange>(*this, folder, entry.Name, path, in, nullptr));
}

void Synchronisation::Queue(const std::shared_ptr<const CommitFolder>& folder,
                            std::unique_ptr<Change> change) {
  // What goes to the bin is described there first.
  if (job_.UseRecycleBin) {
    group_->AddStaged(folder, std::move(change), 0);
  } else {
    group_->Add(folder, std::move(change));
  }
}

void Synchronisation::FinishFile(ErrorCode error, std::u16string_view name,
                                 const SharedEmptying& in) {
  RunCounters& counters = context_.Counters;
  if (!error) {
    ++(job_.UseRecycleBin ? counters.RecycledFiles : counters.SyncDeletedFiles);
    if (in) ++counters.SourceFiles;
  } else if (in) {
    ++counters.FailedFiles;
    in->Whole = false;
  } else {
    CountFailure(job_.UseRecycleBin ? u": 移到資源回收筒 (失敗)：" : u": 刪除檔案 (失敗)：", name,
                 error);
  }
}

void Synchronisation::FinishFolder(ErrorCode error, std::u16string_view path,
                                   const SharedEmptying& in) {
  RunCounters& counters = context_.Counters;
  if (!error) {
    ++(job_.UseRecycleBin ? counters.RecycledFolders : counters.SyncDeletedFolders);
    return;
  }
  if (in) in->Whole = false;
  CountFailure(job_.UseRecycleBin ? u": 移到資源回收筒 (失敗)：" : u": 刪除目錄 (失敗)：", path,
               error);
  PlanFailure(true, PlanReason::Blocked, path);
}

void Synchronisation::PlanFile(const Folder& folder, const FolderEntry& entry,
                               std::u16string_view path) {
  RunPlan& plan = *context_.Plan;
  if (IsArchiveName(entry.Name)) {
    NotePlace(folder, entry.Name, std::u16string(path) += entry.Name);
  }
  if (plan.Wants(RunPlan::Level::Sizes)) {
    const Result<FileStatus> status = folder.Status(entry.Name);
    const std::uint64_t size = status ? status->Size : 0;
    if (status && !job_.UseRecycleBin) {
      plan.NetBytes -= static_cast<std::int64_t>(std::min(size, status->Allocated));
    }
    plan.Add(job_.UseRecycleBin ? PlanAction::Recycle : PlanAction::Delete, PlanReason::NotInSource,
             false, std::u16string(path.substr(root_length_)) += entry.Name, size);
  }
  ++(job_.UseRecycleBin ? context_.Counters.RecycledFiles : context_.Counters.SyncDeletedFiles);
}

/// Whether another job's backup is to go: this folder, or this archive in it.
void Synchronisation::NotePlace(const Folder& folder, std::u16string_view archive,
                                std::u16string_view path) {
  if (!place_of_others_.empty()) return;
  if (IsPlaceOfOthers(context_.Files, folder, archive, path, job_)) place_of_others_ = path;
}

void Synchronisation::PlanFailure(bool is_folder, PlanReason reason, std::u16string_view path) {
  if (context_.Plan) {
    context_.Plan->Add(PlanAction::Fail, reason, is_folder, path.substr(root_length_));
  }
}

bool Synchronisation::SyncRemoveTree(const Folder& parent,
                                     const std::shared_ptr<const CommitFolder>& shared,
                                     std::u16string_view name, std::u16string& path,
                                     const FileStatus& dest, const SharedEmptying& in) {
  if (context_.State.CancelRequested) return false;
  const std::size_t length = path.size();
  path += name;
  path += PathSeparator(path);
  const auto own = std::make_shared<Emptying>();
  ErrorCode error = 0;
  {
    const Result<Folder> folder = parent.OpenFolder(name);
    const Result<FileStatus> status =
        folder ? folder->Status() : Result<FileStatus>::Fail(folder.Error);
    if (!status) {
      error = status.Error;
    } else if (!MayBeLeftOver(*status, dest, source_lineage_) ||
               !EmptyFolder(*folder, path, dest, own)) {
      error = kErrNotEmpty;
    }
  }
  if (!context_.State.CancelRequested) {
    // Only what is empty goes, also to the bin: what could not be removed from it stays in place.
    if (!error && !own->Whole) error = kErrNotEmpty;
    if (!error && !context_.Plan) {
      Queue(shared, std::make_unique<RemovalChange>(*this, shared, name, path, in, own));
    } else {
      context_.State.LastApiError = error;
      if (!error) {
        context_.Plan->Add(job_.UseRecycleBin ? PlanAction::Recycle : PlanAction::Delete,
                           PlanReason::NotInSource, true, path.substr(root_length_));
      }
      FinishFolder(error, path, in);
    }
  }
  path.resize(length);
  return error == 0;
}

/// Removes all that is in the folder; false when it was not gone through to its end. What stays in
/// it is noted in `own`.
bool Synchronisation::EmptyFolder(const Folder& folder, std::u16string& path,
                                  const FileStatus& dest, const SharedEmptying& own) {
  if (context_.Plan) NotePlace(folder, {}, path);
  if (!context_.Plan) folder.MakeWritable();
  std::shared_ptr<const CommitFolder> shared;
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (context_.State.CancelRequested) return false;
    if (!shared && !context_.Plan) {
      shared = Share(folder, path);
      if (!shared) return false;
      shared->Going = true;
    }
    if (entry->Kind == FileKind::Folder) {
      SyncRemoveTree(folder, shared, entry->Name, path, dest, own);
    } else if (context_.Plan) {
      PlanFile(folder, *entry, path);
      ++context_.Counters.SourceFiles;
    } else {
      RemoveFile(shared, *entry, path, own);
    }
    context_.Host.PumpMessages();
  }
  return reader.Error() == 0 && !context_.State.CancelRequested;
}

}  // namespace kavrel
