#include "engine/dest_changes.h"

#include "files/error_text.h"
#include "files/path.h"
#include "files/remove_tree.h"
#include "platform/error_codes.h"
#include "platform/trace.h"

namespace kavrel {

namespace {

// More than that is not left in a folder of temporary name: it would be gone if the run were
// killed.
constexpr std::uint32_t kMostUnnamed = 1000;
constexpr std::uint64_t kMostUnnamedBytes = std::uint64_t{64} << 20;

bool SameRights(const FileStatus& a, const FileStatus& b) {
  return a.Mode == b.Mode && a.Owner == b.Owner && a.Group == b.Group &&
         a.Attributes == b.Attributes;
}

constexpr std::u16string_view kFolderFailed = u": 建立目錄 (失敗)：";

}  // namespace

/// A copy that is to get its name, or bears it already in a folder that has none yet.
class DestChanges::CopyChange final : public Change {
 public:
  CopyChange(DestChanges& changes, std::shared_ptr<const CommitFolder> folder, StagedFile staged,
             const CopyResult& result, std::shared_ptr<UnnamedFolder> unnamed,
             std::u16string_view source_path)
      : changes_(changes),
        folder_(std::move(folder)),
        staged_(std::move(staged)),
        unnamed_(std::move(unnamed)),
        bytes_(result.BytesCopied),
        warning_(result.Warning),
        source_path_(source_path) {}

  void Commit(GroupCommit& group) override {
    File replaced;
    const ErrorCode error = staged_.Commit(folder_->Folder, &replaced);
    TraceEffect(staged_.Replaces ? u"replaced" : u"made", folder_->Path, staged_.Name, error);
    if (error) return GiveUp(error);
    group.LetGo(*folder_, std::move(replaced));
    RunCounters& counters = changes_.context_.Counters;
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
    if (const ErrorCode error = staged_.RollBack(folder_->Folder); error && !IsNotFound(error)) {
      changes_.names_.NoteLeft();
      if (unnamed_) unnamed_->Spoilt = true;
    }
    if (why) changes_.CountFailed(source_path_, ApiErrorText(why));
  }

  std::optional<NameChange> Naming() const override {
    return NameChange{folder_->Path, staged_.TempName, staged_.Name};
  }
  bool Replaces() const override { return staged_.Replaces; }

 private:
  DestChanges& changes_;
  const std::shared_ptr<const CommitFolder> folder_;
  const StagedFile staged_;
  const std::shared_ptr<UnnamedFolder> unnamed_;
  const std::uint64_t bytes_;
  const bool warning_;
  const std::u16string source_path_;
};

/// One more name of another copy that is to take the place of a copy of its own, which is as good.
class DestChanges::RelinkChange final : public Change {
 public:
  RelinkChange(DestChanges& changes, std::shared_ptr<const CommitFolder> folder, StagedFile staged)
      : changes_(changes), folder_(std::move(folder)), staged_(std::move(staged)) {}

  void Commit(GroupCommit& group) override {
    File replaced;
    const ErrorCode error = staged_.Commit(folder_->Folder, &replaced);
    const std::u16string path = folder_->Path + staged_.Name;
    if (error) {
      changes_.CountWarning(error, u"Could Not Link Destination File", path);
      return GiveUp(error);
    }
    group.LetGo(*folder_, std::move(replaced));
    changes_.context_.LogTimed(u": 建立硬連結 (成功)：", path);
  }
  // The copy of its own is still there.
  void GiveUp(ErrorCode) override {
    const ErrorCode error = staged_.RollBack(folder_->Folder);
    if (error && !IsNotFound(error)) changes_.names_.NoteLeft();
  }

  std::optional<NameChange> Naming() const override {
    return NameChange{folder_->Path, staged_.TempName, staged_.Name};
  }
  bool Replaces() const override { return true; }

 private:
  DestChanges& changes_;
  const std::shared_ptr<const CommitFolder> folder_;
  const StagedFile staged_;
};

/// A new folder that is to get its name.
class DestChanges::NameChangeOfFolder final : public Change {
 public:
  NameChangeOfFolder(DestChanges& changes, std::shared_ptr<UnnamedFolder> unnamed,
                     std::shared_ptr<const CommitFolder> self)
      : changes_(changes), unnamed_(std::move(unnamed)), self_(std::move(self)) {}

  void Commit(GroupCommit&) override {
    const CommitFolder& parent = *unnamed_->Parent;
    if (!unnamed_->Spoilt && TakeName(parent.Folder) == 0) return;
    Abandon();
    if (RemoveTree(parent.Folder, unnamed_->TempName)) changes_.names_.NoteLeft();
  }

  /// Nothing that is in it can be reached.
  void Abandon() override {
    self_->Lost = true;
    RunCounters& counters = changes_.context_.Counters;
    counters.CopiedFiles -= unnamed_->Copied;
    counters.CopiedBytes -= unnamed_->Bytes;
    counters.WarningFiles -= unnamed_->Warnings;
    counters.FailedFiles += unnamed_->Copied + unnamed_->Warnings + 1;
    changes_.context_.LogTimed(kFolderFailed, self_->Path);
  }
  // What in it did not reach the disk is gone from it by now.
  void GiveUp(ErrorCode) override { Commit(changes_.group_); }

 private:
  ErrorCode TakeName(const Folder& parent) const {
    const ErrorCode error = parent.Rename(unnamed_->TempName, unnamed_->Name);
    // An empty folder that somebody has made meanwhile is as good as none.
    const ErrorCode end =
        IsTaken(error) ? parent.Replace(unnamed_->TempName, unnamed_->Name) : error;
    TraceEffect(u"named folder", unnamed_->Parent->Path, unnamed_->Name, end);
    return end;
  }

  DestChanges& changes_;
  const std::shared_ptr<UnnamedFolder> unnamed_;
  const std::shared_ptr<const CommitFolder> self_;
};

/// A folder that gets its times when what was changed in it is done.
class DestChanges::FinishChange final : public Change {
 public:
  /// One handle is enough to wait with. What needs the source's is carried over now, and what would
  /// keep the owner from changing the folder when nobody does any more.
  FinishChange(DestChanges& changes, const FolderPair& pair, bool times_only,
               std::u16string_view path)
      : changes_(changes), folder_(pair.Shared), finish_(FinishOf(pair, times_only)), path_(path) {
    if (times_only) return;
    FileStatus now = finish_.Like;
    now.Mode |= kOwnerMayAll;
    finish_.Updated = folder_->Folder.UpdateMetadata({}, now, pair.Source).Attributes;
  }

  void Commit(GroupCommit&) override {
    changes_.FinishNow(folder_->Folder, folder_->Folder, finish_, path_);
  }
  // The folder is there whatever became of its files.
  void GiveUp(ErrorCode) override { Commit(changes_.group_); }

 private:
  DestChanges& changes_;
  const std::shared_ptr<const CommitFolder> folder_;
  Finish finish_;
  const std::u16string path_;
};

DestChanges::DestChanges(RunContext& context, std::u16string_view root,
                         std::u16string_view file_failed_text)
    : context_(context),
      root_(root),
      file_failed_text_(file_failed_text),
      names_(context.Clock, &context.Staged, root),
      group_(context.State, context.Host, names_) {}

void DestChanges::ReleaseLate() {
  release_.emplace();
  group_.UseRelease(&*release_);
}

FolderPair DestChanges::Open(const FolderPair* parent, std::u16string_view name,
                             const WalkPaths& paths, CopyAhead::Listed* listed) {
  FolderPair pair = OpenPair(context_.Files, parent, name, paths, listed);
  if (!group_.Pending() || !(IsExhausted(pair.SourceError) || IsExhausted(pair.DestError))) {
    return pair;
  }
  group_.Flush();
  return OpenPair(context_.Files, parent, name, paths);
}

bool DestChanges::Make(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
                       FolderPair& pair) {
  std::u16string temporary;
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
  if (!MakeDestination(context_.Files, parent, name, paths, pair)) return false;
  // The new name in the folder above is to reach the disk, too; its times change with it.
  if (pair.DestIsNew) {
    const auto& changed = Shared(parent ? *parent : pair, above);
    if (changed) group_.NoteChanged(changed);
  }
  return true;
}

const std::shared_ptr<const CommitFolder>& DestChanges::Shared(const FolderPair& pair,
                                                               std::u16string_view path) {
  if (!pair.Shared) {
    Result<std::shared_ptr<const CommitFolder>> shared =
        group_.Share(pair.Dest, path, pair.Unnamed ? pair.Unnamed->Parent : nullptr);
    if (shared) pair.Shared = std::move(*shared);
  }
  return pair.Shared;
}

CopySide DestChanges::Side(const FolderPair& pair, std::u16string_view path,
                           std::u16string_view name, const FileStatus* dest) const {
  return {pair.Dest, path, name, dest, !pair.DestManners.SyncsWhole,
          // What another pattern of the job has copied there already is replaced like any other.
          pair.Unnamed && !dest, pair.DestPassesAccessOn};
}

CopyResult DestChanges::StagePatiently(const std::function<CopyResult()>& stage) {
  const RunState& state = context_.State;
  const CopyResult result = stage();
  const bool exhausted = result.Failed && !state.CancelRequested && IsExhausted(state.LastApiError);
  if (!exhausted || !(group_.Pending() || release_)) return result;
  group_.Flush();
  if (release_) release_->Drain();
  return state.CancelRequested ? result : stage();
}

void DestChanges::CountFailed(std::u16string_view source_path, std::u16string_view why) {
  ++context_.Counters.FailedFiles;
  context_.LogTimed(file_failed_text_, source_path);
  context_.LogWhy(why);
}

void DestChanges::AddCopy(const FolderPair& pair, std::u16string_view dest_path,
                          const CopyResult& result, StagedFile staged,
                          std::u16string_view source_path) {
  if (result.Failed) return CountFailed(source_path, result.Message);
  if (result.Warning) context_.LogTimed(result.Message);
  if (!staged) {
    ++context_.Counters.CopiedFiles;
    context_.Counters.CopiedBytes += result.BytesCopied;
    return;
  }
  const std::shared_ptr<const CommitFolder>& shared = Shared(pair, dest_path);
  if (!shared) {
    if (staged.RollBack(pair.Dest)) names_.NoteLeft();
    return CountFailed(source_path);
  }
  if (pair.Unnamed) {
    ++pair.Unnamed->Files;
    pair.Unnamed->Staged += result.BytesCopied;
  }
  group_.AddStaged(shared,
                   std::make_unique<CopyChange>(*this, shared, std::move(staged), result,
                                                pair.Unnamed, source_path),
                   result.BytesCopied);
}

void DestChanges::AddRelink(const FolderPair& pair, std::u16string_view dest_path,
                            StagedFile staged) {
  if (const std::shared_ptr<const CommitFolder>& shared = Shared(pair, dest_path)) {
    group_.AddStaged(shared, std::make_unique<RelinkChange>(*this, shared, std::move(staged)), 0);
  } else if (staged.RollBack(pair.Dest)) {
    names_.NoteLeft();
  }
}

bool DestChanges::WantsName(const FolderPair& pair) {
  return pair.Unnamed &&
         (pair.Unnamed->Files >= kMostUnnamed || pair.Unnamed->Staged >= kMostUnnamedBytes);
}

void DestChanges::GiveName(const FolderPair& pair) {
  if (!pair.Unnamed) return;
  // Without a handle of its own the folder holds nothing that was counted.
  std::shared_ptr<const CommitFolder> self =
      Shared(pair, pair.Unnamed->Parent->Path + pair.Unnamed->Name + PathSeparator(root_));
  if (!self) self = std::make_shared<CommitFolder>();
  const std::shared_ptr<const CommitFolder> parent = pair.Unnamed->Parent;
  group_.Add(parent, std::make_unique<NameChangeOfFolder>(*this, std::move(pair.Unnamed), self));
  pair.Unnamed.reset();
}

void DestChanges::FinishFolder(const FolderPair& pair, bool source_is_root,
                               std::u16string_view path) {
  if (!pair.Source) return;
  const bool times_only = source_is_root || IsFinished(pair);
  if (pair.Shared && group_.Pending()) {
    group_.Add(pair.Shared, std::make_unique<FinishChange>(*this, pair, times_only, path));
  } else {
    FinishNow(pair.Dest, pair.Source, FinishOf(pair, times_only), path);
  }
}

DestChanges::Finish DestChanges::FinishOf(const FolderPair& pair, bool times_only) {
  Finish finish{pair.SourceStatus, pair.DestFound, times_only};
  // What the run itself has changed is no difference.
  if (pair.DestOnlyLocked) finish.Found.reset();
  return finish;
}

bool DestChanges::IsFinished(const FolderPair& pair) const {
  // The times come last: where they are the source's, the attributes were set before them. A folder
  // that its owner may not write to was made writable by this run.
  return metadata_ && pair.DestFound && OwnerMayAll(*pair.DestFound) &&
         pair.DestFound->Written == pair.SourceStatus.Written &&
         !MayDiffer(pair.SourceStatus, *pair.DestFound);
}

void DestChanges::FinishNow(const Folder& dest, const Folder& source, const Finish& finish,
                            std::u16string_view path) {
  const FileStatus& like = finish.Like;
  const MetadataUpdate update = FinishDestination(dest, like, source, finish.TimesOnly);
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

void DestChanges::CountUpdated(std::u16string_view path) {
  ++context_.Counters.UpdatedAttributes;
  context_.LogTimed(u": 更新屬性 (成功)：", path);
}

void DestChanges::CountWarning(ErrorCode error, std::u16string_view text,
                               std::u16string_view path) {
  ++context_.Counters.WarningFiles;
  context_.LogTimed(FailText(context_.State, error, text, path));
}

bool DestChanges::WouldUpdate(const FolderPair& pair, std::u16string_view name,
                              const FileStatus& source, const FileStatus& dest) const {
  return metadata_ && metadata_->IsKnown() && SeesDifference(pair, name, source, dest);
}

bool DestChanges::SeesDifference(const FolderPair& pair, std::u16string_view name,
                                 const FileStatus& source, const FileStatus& dest) const {
  return metadata_->Differs(source, dest) || AttributesDiffer(pair, name, source, dest);
}

bool DestChanges::AttributesDiffer(const FolderPair& pair, std::u16string_view name,
                                   const FileStatus& source, const FileStatus& dest) const {
  return metadata_->AttributesMayDiffer(source, dest) &&
         pair.Dest.UpdateMetadata(name, source, pair.Source, true).Attributes;
}

bool DestChanges::NeedsOwnCopy(const FolderPair& pair, std::u16string_view name,
                               const FileStatus& source, const FileStatus& dest) const {
  if (dest.Kind == FileKind::Folder || dest.Links < 2 || !metadata_) return false;
  if (metadata_->Differs(source, dest)) {
    return metadata_->IsKnown() || !futile_.contains(RightsOf(source, dest));
  }
  return AttributesDiffer(pair, name, source, dest);
}

void DestChanges::NoteOwnCopy(const FolderPair& pair, const StagedFile& staged,
                              const FileStatus& source, const FileStatus& dest) {
  if (!staged || dest.Links < 2 || !metadata_ || metadata_->IsKnown()) return;
  const Result<FileStatus> made = pair.Dest.Status(staged.TempName);
  if (made && SameRights(*made, dest) && metadata_->Differs(source, dest)) {
    NoteFutile(RightsOf(source, dest));
  }
}

DestChanges::Rights DestChanges::RightsOf(const FileStatus& source, const FileStatus& dest) {
  return {source.Mode, source.Owner, source.Group, dest.Mode, dest.Owner, dest.Group};
}

void DestChanges::NoteFutile(const Rights& rights) {
  constexpr std::size_t kMostFutile = 1000;
  if (futile_.size() < kMostFutile) futile_.insert(rights);
}

void DestChanges::UpdateFile(const FolderPair& pair, std::u16string_view name,
                             const FileStatus& source, const FileStatus& dest,
                             std::u16string_view dest_path) {
  if (!metadata_) return;
  // Nothing is written through a name that is not the only one.
  if (dest.Links > 1) return;
  const Rights rights = RightsOf(source, dest);
  const bool differs = metadata_->Differs(source, dest) && !futile_.contains(rights);
  if (!differs && !metadata_->AttributesMayDiffer(source, dest)) return;
  const MetadataUpdate update = pair.Dest.UpdateMetadata(name, source, pair.Source);
  if (!differs && !update.Attributes && !update.Error) return;
  const std::u16string path = std::u16string(dest_path) + std::u16string(name);
  const Result<FileStatus> now = pair.Dest.Status(name);
  const bool changed = update.Attributes || (now && !SameRights(*now, dest));
  if (changed) {
    CountUpdated(path);
    if (const auto& shared = Shared(pair, dest_path)) group_.NoteChanged(shared);
    if (!pair.DestManners.SyncsWhole) pair.Dest.SyncFile(name);
  }
  const bool still = now && metadata_->Differs(source, *now);
  // Where only trying shows what can be set, nobody is told of what cannot, nor is it tried again.
  if (still && !metadata_->IsKnown()) {
    NoteFutile(rights);
  } else if (update.Error || still) {
    CountWarning(update.Error ? update.Error : kErrAccess,
                 u"Could Not Set Destination File Attributes", path);
  }
}

void DestChanges::Settle() {
  const ErrorCode error = group_.Settle();
  if (!error) return;
  ++context_.Counters.FailedFiles;
  context_.LogTimed(SyncFailedText(root_, error));
}

}  // namespace kavrel
