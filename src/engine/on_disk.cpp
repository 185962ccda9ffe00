#include "engine/on_disk.h"

#include <utility>

#include "base/text.h"
#include "engine/copy_reason.h"
#include "engine/read_sum.h"
#include "files/error_text.h"
#include "files/path.h"
#include "files/remove_tree.h"
#include "log/log_end.h"
#include "platform/error_codes.h"
#include "platform/trace.h"

namespace kavrel {

/// A copy or a link that is to get its name.
class OnDisk::StagedChange : public Change {
 public:
  StagedChange(OnDisk& effects, std::shared_ptr<const CommitFolder> folder, StagedFile staged)
      : effects_(effects), folder_(std::move(folder)), staged_(std::move(staged)) {}

  std::optional<NameChange> Naming() const override {
    return NameChange{effects_.PlaceOf(folder_->Path), staged_.TempName, staged_.Name};
  }
  bool Replaces() const override { return staged_.Replaces; }

 protected:
  ErrorCode TakeName(GroupCommit& group) {
    File replaced;
    const ErrorCode error = staged_.Commit(folder_->Opened, &replaced);
    TraceEffect(staged_.Replaces ? u"replaced" : u"made", folder_->Path, staged_.Name, error);
    if (!error) group.LetGo(*folder_, std::move(replaced));
    return error;
  }
  /// False when something is left.
  bool RollBack() {
    const ErrorCode error = staged_.RollBack(folder_->Opened);
    const bool left = error && !IsNotFound(error);
    if (left) effects_.names_.NoteLeft();
    return !left;
  }

  OnDisk& effects_;
  const std::shared_ptr<const CommitFolder> folder_;
  const StagedFile staged_;
};

/// A copy, in a folder that may have no name yet.
class OnDisk::CopyChange final : public StagedChange {
 public:
  /// `shared`: nothing was copied, the former state has the content.
  CopyChange(OnDisk& effects, std::shared_ptr<const CommitFolder> folder, StagedFile staged,
             const CopyResult& result, std::shared_ptr<UnnamedFolder> unnamed,
             std::u16string_view source_path, bool shared = false)
      : StagedChange(effects, std::move(folder), std::move(staged)),
        unnamed_(std::move(unnamed)),
        bytes_(result.BytesCopied),
        warning_(result.Warning),
        shared_(shared),
        source_path_(source_path) {}

  void Commit(GroupCommit& group) override {
    if (const ErrorCode error = TakeName(group)) return GiveUp(error);
    RunCounters& counters = effects_.context_.Report.Counters;
    if (shared_) {
      ++counters.UnchangedFiles;
      if (unnamed_) ++unnamed_->Unchanged;
      return;
    }
    if (warning_) {
      ++counters.WarningFiles;
    } else {
      ++counters.CopiedFiles;
      counters.CopiedBytes += bytes_;
    }
    if (!unnamed_) return;
    ++(warning_ ? unnamed_->Warnings : unnamed_->Copied);
    if (!warning_) unnamed_->Bytes += bytes_;
  }

  void GiveUp(ErrorCode why) override {
    TraceEffect(u"gave up", folder_->Path, staged_.Name, why);
    Abandon();
    if (!RollBack() && unnamed_) unnamed_->Spoilt = true;
    if (why) effects_.CountFailed(source_path_, ApiErrorText(why));
  }

  void Abandon() override {
    if (effects_.sums_) effects_.sums_->Fail(effects_.SumPath(folder_->Path, staged_.Name));
  }

 private:
  const std::shared_ptr<UnnamedFolder> unnamed_;
  const std::uint64_t bytes_;
  const bool warning_, shared_;
  const std::u16string source_path_;
};

/// One more name of another copy that is to take the place of a copy of its own, which is as good.
class OnDisk::RelinkChange final : public StagedChange {
 public:
  using StagedChange::StagedChange;

  void Commit(GroupCommit& group) override {
    const std::u16string path = folder_->Path + staged_.Name;
    if (const ErrorCode error = TakeName(group)) {
      effects_.CountWarning(error, u"Could Not Link Destination File", path);
      return GiveUp(error);
    }
    effects_.context_.LogTimed(u": 建立硬連結 (成功)：", path);
  }
  // The copy of its own is still there.
  void GiveUp(ErrorCode) override { RollBack(); }
};

/// A new folder that is to get its name.
class OnDisk::NameChangeOfFolder final : public Change {
 public:
  NameChangeOfFolder(OnDisk& effects, std::shared_ptr<UnnamedFolder> unnamed,
                     std::shared_ptr<const CommitFolder> self)
      : effects_(effects), unnamed_(std::move(unnamed)), self_(std::move(self)) {}

  void Commit(GroupCommit&) override {
    const CommitFolder& parent = *unnamed_->Parent;
    if (!unnamed_->Spoilt && TakeName(parent.Opened) == 0) return;
    Abandon();
    if (RemoveTree(parent.Opened, unnamed_->TempName)) effects_.names_.NoteLeft();
  }

  /// Nothing that is in it can be reached.
  void Abandon() override {
    self_->Lost = true;
    RunCounters& counters = effects_.context_.Report.Counters;
    counters.CopiedFiles -= unnamed_->Copied;
    counters.CopiedBytes -= unnamed_->Bytes;
    counters.WarningFiles -= unnamed_->Warnings;
    counters.UnchangedFiles -= unnamed_->Unchanged;
    counters.FailedFiles += unnamed_->Copied + unnamed_->Warnings + unnamed_->Unchanged + 1;
    effects_.context_.Tell(kFolderFailed, self_->Path);
  }
  // What in it did not reach the disk is gone from it by now.
  void GiveUp(ErrorCode) override { Commit(effects_.changes_); }

 private:
  ErrorCode TakeName(const Folder& parent) const {
    const ErrorCode error = parent.Rename(unnamed_->TempName, unnamed_->Name);
    // An empty folder that somebody has made meanwhile is as good as none.
    const ErrorCode end =
        IsTaken(error) ? parent.Replace(unnamed_->TempName, unnamed_->Name) : error;
    TraceEffect(u"named folder", unnamed_->Parent->Path, unnamed_->Name, end);
    return end;
  }

  OnDisk& effects_;
  const std::shared_ptr<UnnamedFolder> unnamed_;
  const std::shared_ptr<const CommitFolder> self_;
};

/// A folder that gets its times when what was changed in it is done.
class OnDisk::FinishChange final : public Change {
 public:
  /// One handle is enough to wait with. What needs the source's is carried over now, and what would
  /// keep the owner from changing the folder when nobody does any more.
  FinishChange(OnDisk& effects, const FolderPair& pair, bool times_only, std::u16string_view path)
      : effects_(effects), folder_(pair.Shared), finish_(FinishOf(pair, times_only)), path_(path) {
    if (times_only) return;
    FileStatus now = finish_.Like;
    if (pair.DestUnlocked || !pair.DestFound || OwnerMayAll(*pair.DestFound)) {
      now.Mode |= kOwnerMayAll;
    }
    const MetadataUpdate update = effects_.CarryOver(folder_->Opened, now, pair.Source, path);
    finish_.Updated = update.Attributes;
    finish_.Error = update.Error;
  }

  void Commit(GroupCommit&) override {
    effects_.FinishNow(folder_->Opened, folder_->Opened, finish_, path_);
  }
  // The folder is there whatever became of its files.
  void GiveUp(ErrorCode) override { Commit(effects_.changes_); }

 private:
  OnDisk& effects_;
  const std::shared_ptr<const CommitFolder> folder_;
  Finish finish_;
  const std::u16string path_;
};

OnDisk::OnDisk(RunContext& context, const BackupJob& job, std::u16string_view file_failed_text)
    : Effects(context, job, file_failed_text),
      place_(AddBackslash(DestinationPlace(context, job))),
      names_(context.Time, &context.Staged, place_),
      bin_(context.Time),
      copy_{context.State, context.Time, &context.Host, nullptr, &names_},
      changes_(context.State, context.Host, names_) {
  group_ = &changes_;
}

void OnDisk::AddShared(const FolderPair& pair, WalkPaths& paths, std::u16string_view name,
                       StagedFile staged, std::u16string_view former_path) {
  const std::shared_ptr<const CommitFolder>& shared = Shared(pair, paths.Dest());
  if (!shared) {
    if (staged.RollBack(pair.Dest)) names_.NoteLeft();
    return CountFailed(paths.SourceOf(name));
  }
  if (pair.Unnamed) ++pair.Unnamed->Files;
  const bool is_link = staged.IsLink;
  if (sums_) sums_->Share(SumPath(paths.Dest(), name), former_path);
  auto change = std::make_unique<CopyChange>(*this, shared, std::move(staged), CopyResult{},
                                             pair.Unnamed, paths.SourceOf(name), true);
  // The content of a link has been on the disk for as long as the state that it is from.
  if (is_link) {
    changes_.Add(shared, std::move(change));
  } else {
    changes_.AddStaged(shared, std::move(change), 0);
  }
}

FolderPair OnDisk::Open(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
                        CopyAhead::Listed* listed) {
  FolderPair pair = OpenPair(context_.Files, parent, name, paths, listed);
  if (!changes_.Pending() || !(IsExhausted(pair.SourceError) || IsExhausted(pair.DestError))) {
    return pair;
  }
  changes_.Flush();
  return OpenPair(context_.Files, parent, name, paths);
}

bool OnDisk::Make(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
                  FolderPair& pair) {
  std::u16string temporary;
  if (parent && !pair.Dest) UnlockDestination(*parent);
  const std::u16string_view path = paths.Dest(),
                            above = path.substr(0, path.size() - name.size() - (parent ? 1 : 0));
  const bool is_new = !pair.Dest && IsNotFound(pair.DestError);
  if (parent && is_new && parent->DestManners.KeepsOrder) {
    const std::shared_ptr<const CommitFolder>& shared = Shared(*parent, above);
    Result<Folder> made = Result<Folder>::Fail(kErrExists);
    while (shared && IsTaken(made.Error)) {
      temporary = names_.Next();
      made = parent->Dest.MakeFolder(temporary);
    }
    if (made) {
      pair.Dest = std::move(*made);
      pair.DestIsNew = true;
      pair.Unnamed = std::make_shared<UnnamedFolder>();
      pair.Unnamed->Parent = shared;
      pair.MadeAs = temporary;
      pair.Unnamed->TempName = std::move(temporary);
      pair.Unnamed->Name = name;
    } else if (!temporary.empty()) {
      // It may be there all the same, made and not to be opened.
      names_.NoteLeft();
    }
  }
  // An access list holds the owner's rights, too: it differs while the folder can be written to.
  pair.DestOnlyLocked = metadata_ && pair.DestFound && !OwnerMayAll(*pair.DestFound) &&
                        !SeesDifference(pair, {}, pair.SourceStatus, *pair.DestFound);
  pair.Summed = proof_ || (keeps_sums_ && job_.Extras.KeepSums);
  if (!MakeDestination(context_.Files, parent, name, paths, pair)) {
    if (!parent && !context_.Files.FolderExists(place_)) context_.Report.NotMade = true;
    return false;
  }
  // The new name in the folder above is to reach the disk, too; its times change with it.
  if (pair.DestIsNew) {
    const auto& changed = Shared(parent ? *parent : pair, above);
    if (changed) changes_.NoteChanged(changed);
  }
  return true;
}

const std::shared_ptr<const CommitFolder>& OnDisk::Shared(const FolderPair& pair,
                                                          std::u16string_view path) {
  if (!pair.Shared) {
    Result<std::shared_ptr<const CommitFolder>> shared =
        changes_.Share(pair.Dest, path, pair.Unnamed ? pair.Unnamed->Parent : nullptr);
    if (shared) pair.Shared = std::move(*shared);
  }
  return pair.Shared;
}

void OnDisk::AddCopy(const FolderPair& pair, std::u16string_view dest_path,
                     const CopyResult& result, StagedFile staged, std::u16string_view source_path) {
  if (result.Failed) return CountFailed(source_path, result.Message);
  if (result.Warning) context_.LogTimed(result.Message);
  if (!staged) {
    ++context_.Report.Counters.CopiedFiles;
    context_.Report.Counters.CopiedBytes += result.BytesCopied;
    return;
  }
  const std::shared_ptr<const CommitFolder>& shared = Shared(pair, dest_path);
  if (!shared) {
    if (staged.RollBack(pair.Dest)) names_.NoteLeft();
    return CountFailed(source_path);
  }
  std::u16string_view why;
  if (SourceIsSpoilt(pair, dest_path, staged)) {
    why = u"來源的內容變了，時間、大小卻沒有變，可能已損壞；備份的檔案完好，保留不動";
  } else if (HasRotted(pair, source_path, staged)) {
    why = u"備份的檔案與備份時的校驗碼不符，可能已損壞；原有的檔案保留不動";
  }
  if (!why.empty()) {
    if (staged.RollBack(pair.Dest)) names_.NoteLeft();
    return CountFailed(source_path, why);
  }
  if (pair.Unnamed) {
    ++pair.Unnamed->Files;
    pair.Unnamed->Staged += result.BytesCopied;
  }
  NoteSum(dest_path, staged);
  changes_.AddStaged(shared,
                     std::make_unique<CopyChange>(*this, shared, std::move(staged), result,
                                                  pair.Unnamed, source_path),
                     result.BytesCopied);
}

void OnDisk::AddRelink(const FolderPair& pair, std::u16string_view dest_path, StagedFile staged) {
  if (const std::shared_ptr<const CommitFolder>& shared = Shared(pair, dest_path)) {
    changes_.AddStaged(shared, std::make_unique<RelinkChange>(*this, shared, std::move(staged)), 0);
  } else if (staged.RollBack(pair.Dest)) {
    names_.NoteLeft();
  }
}

void OnDisk::GiveName(const FolderPair& pair) {
  if (!pair.Unnamed) return;
  // Without a handle of its own the folder holds nothing that was counted.
  std::shared_ptr<const CommitFolder> self =
      Shared(pair, pair.Unnamed->Parent->Path + pair.Unnamed->Name + PathSeparator(root_));
  if (!self) self = std::make_shared<CommitFolder>();
  const std::shared_ptr<const CommitFolder> parent = pair.Unnamed->Parent;
  changes_.Add(parent, std::make_unique<NameChangeOfFolder>(*this, std::move(pair.Unnamed), self));
  pair.Unnamed.reset();
}

void OnDisk::FinishFolder(const FolderPair& pair, const WalkPaths& paths) {
  if (!pair.Source) return;
  const std::u16string_view path = paths.Dest();
  const bool times_only = IsRootPath(paths.Source()) || IsFinished(pair);
  if (pair.Shared && changes_.Pending()) {
    changes_.Add(pair.Shared, std::make_unique<FinishChange>(*this, pair, times_only, path));
  } else {
    FinishNow(pair.Dest, pair.Source, FinishOf(pair, times_only), path);
  }
}

OnDisk::Finish OnDisk::FinishOf(const FolderPair& pair, bool times_only) {
  Finish finish{pair.SourceStatus, pair.DestFound, times_only};
  // What the run itself has changed is no difference.
  if (pair.DestOnlyLocked) finish.Found.reset();
  return finish;
}

bool OnDisk::IsFinished(const FolderPair& pair) const {
  // The times come last: where they are the source's, the attributes were set before them.
  return metadata_ && pair.DestFound && !pair.DestUnlocked &&
         pair.DestFound->Written == pair.SourceStatus.Written &&
         !MayDiffer(pair.SourceStatus, *pair.DestFound);
}

void OnDisk::FinishNow(const Folder& dest, const Folder& source, const Finish& finish,
                       std::u16string_view path) {
  const FileStatus& like = finish.Like;
  MetadataUpdate update;
  if (!finish.TimesOnly) update = CarryOver(dest, like, source, path);
  if (!update.Error) update.Error = finish.Error;
  if (const ErrorCode error = dest.SetTimes(like)) update.Error = error;
  if (metadata_ && finish.Found && !finish.TimesOnly) {
    bool changed = update.Attributes || finish.Updated;
    if (!changed && metadata_->Differs(like, *finish.Found)) {
      const Result<FileStatus> now = dest.Status();
      changed = now && !SameRights(*now, *finish.Found);
    }
    if (changed) CountUpdated(path);
  }
  if (update.Error) {
    CountWarning(update.Error, u"Could Not Set Destination Folder Attributes", path);
  }
}

MetadataUpdate OnDisk::CarryOver(const Folder& dest, const FileStatus& like, const Folder& source,
                                 std::u16string_view path) const {
  const MetadataUpdate update = dest.UpdateMetadata({}, like, source);
  // The mark in the root makes way for what the source has.
  if (!IsBeyondRoom(update.Error) || path != root_ || MoveMarkToFile(dest)) return update;
  MetadataUpdate again = dest.UpdateMetadata({}, like, source);
  again.Attributes |= update.Attributes;
  return again;
}

void OnDisk::CountWarning(ErrorCode error, std::u16string_view text, std::u16string_view path) {
  ++context_.Report.Counters.WarningFiles;
  context_.LogTimed(FailText(context_.State, error, text, path));
}

void OnDisk::KeepSums() {
  keeps_sums_ = true;
  changes_.UseJournal([this] {
    if (sums_) sums_->Reach();
  });
  // A mirror removes before the walk has the root to write to.
  OpenSums(context_.Files.OpenFolder(place_));
}

void OnDisk::OpenSums(Result<Folder> root) {
  if (sums_ || !keeps_sums_ || !root) return;
  const std::shared_ptr<FormerState>& former = context_.Making.Former;
  sums_.emplace(
      std::move(*root), job_.Extras.KeepSums,
      former && former->Sharing().Possible() ? std::move(*former->Root().Reopen()) : Folder());
}

std::u16string OnDisk::SumPath(std::u16string_view folder_path, std::u16string_view name) const {
  return ListedPath(root_, BelowRoot(folder_path)) += name;
}

void OnDisk::NoteSum(std::u16string_view folder_path, const StagedFile& staged) {
  if (!sums_) return;
  const std::u16string path = SumPath(folder_path, staged.Name);
  if (staged.Sum) {
    sums_->Note(path, *staged.Sum, staged.Replaces);
  } else {
    sums_->Drop(path);
  }
}

bool OnDisk::SourceIsSpoilt(const FolderPair& pair, std::u16string_view dest_path,
                            const StagedFile& staged) {
  if (!former_sums_ || !staged.Sum || !staged.Replaces) return false;
  const std::string path = ToUtf8(SumPath(dest_path, staged.Name));
  if (!former_sums_->Knows(path) || former_sums_->Has({*staged.Sum, path})) return false;
  const Result<FileStatus> source = pair.Source.Status(staged.Name);
  const Result<FileStatus> copy = pair.Dest.Status(staged.Name);
  if (!source || !copy || !NeedsNoCopy(&*source, &*copy, true)) return false;
  if (!HasTimeOf(*copy, *source) || IsChangedLater(*source, *copy)) return false;
  const std::optional<ContentSum> sum = SumReader(context_).Read(pair.Dest, staged.Name);
  return sum && former_sums_->Has({*sum, path});
}

void OnDisk::ProveBySums() {
  const Result<Folder> backup = context_.Files.OpenFolder(job_.Source.WorkPath);
  if (!backup) return;
  const Result<FileStatus> list = backup->Status(kSumList);
  if (list) proof_.emplace(*backup);
  if (!proof_ || proof_->Empty()) return proof_.reset();
  proof_status_ = *list;
}

bool OnDisk::IsRenamed(const FileStatus& copy, const ContentSum& sum) const {
  if (copy.Size == 0 || !IsChangedSince(copy, proof_status_)) return false;
  const Result<Folder> backup = context_.Files.OpenFolder(job_.Source.WorkPath);
  if (!backup) return false;
  SumListReader reader(*backup, kSumList);
  for (const SumLine* line = reader.Next(); line; line = reader.Next()) {
    if (line->Sum == sum) return true;
  }
  return false;
}

bool OnDisk::HasRotted(const FolderPair& pair, std::u16string_view source_path,
                       const StagedFile& staged) {
  const std::u16string root = AddBackslash(job_.Source.WorkPath);
  if (!proof_ || !staged.Sum || !source_path.starts_with(root)) return false;
  const std::string listed = ToUtf8(ListedPath(root, source_path.substr(root.size())));
  if (!proof_->Knows(listed) || proof_->Has({*staged.Sum, listed})) return false;
  if (staged.Replaces && !context_.Force) {
    const Result<FileStatus> copy = pair.Source.Status(staged.Name);
    const Result<FileStatus> there = pair.Dest.Status(staged.Name);
    const bool files = copy && there && there->Kind == FileKind::File;
    if (files && (NeedsNoCopy(&*copy, &*there, true) || HasTimeOf(*copy, *there) ||
                  (SeemsUnwritten(*copy, proof_status_) && !IsRenamed(*copy, *staged.Sum)))) {
      const std::optional<ContentSum> sum = SumReader(context_).Read(pair.Dest, staged.Name);
      if (sum && proof_->Has({*sum, listed})) return true;
    }
  }
  ++context_.Report.Counters.WarningFiles;
  context_.Tell(u": 還原的檔案與備份時的校驗碼不符 (警告)：", source_path);
  return false;
}

void OnDisk::MarkFolder(FolderPair& root) {
  OpenSums(root.Dest.Reopen());
  if (sums_) sums_->Heal();
  const bool all_anew = !job_.Differential && !job_.Synchronise && !context_.Force;
  if (sums_ && all_anew && !root.DestIsNew) former_sums_.emplace(root.Dest);
  // What the source has comes first: the mark may lie elsewhere where there is no room for both.
  // The permissions stay the owner's alone until the run is done.
  const Result<FileStatus> own = root.Dest.Status();
  if (own && root.DestIsNew && root.Source && !IsRootPath(job_.Source.WorkPath)) {
    root.Dest.UpdateMetadata({}, *own, root.Source);
    root.DestPassesAccessOn = root.Dest.PassesAccessOn();
  }
  kavrel::MarkFolder(context_, job_, root.Dest);
}

void OnDisk::MarkMirrored(const Folder& dest) {
  kavrel::MarkMirrored(context_, job_, dest);
}

void OnDisk::Settle() {
  const ErrorCode error = changes_.Settle();
  // What a disk has lost, the sums are not to tell.
  const ErrorCode unlisted = !error && sums_ ? sums_->Finish() : 0;
  if (unlisted) {
    ++context_.Report.Counters.WarningFiles;
    context_.Tell(kListFailed, root_, ApiErrorText(unlisted));
  }
  if (!error) return;
  context_.FailSync(root_, error);
}

}  // namespace kavrel
