// What OnDisk does with single files: copies, links, shares and sets right. Its folders, and the
// changes that wait for their commit, are in on_disk.cpp.
#include <utility>

#include "engine/on_disk.h"
#include "files/error_text.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

std::unique_ptr<CopyAhead> OnDisk::WorkAhead(const FolderPair& root,
                                             const CopyAhead::Judge& judge) {
  if (!ProfitsFromThreads(context_, root)) return nullptr;
  release_.emplace();
  changes_.UseRelease(&*release_);
  auto ahead = std::make_unique<CopyAhead>(copy_, judge);
  if (context_.Making.Former) ahead->UseShared(context_.Making.Former->Sharing());
  return ahead;
}

bool OnDisk::TakeShared(const FolderPair& pair, WalkPaths& paths, CopyAhead& ahead) {
  StagedFile staged;
  UnlockDestination(pair);
  if (!ahead.TakeShared(staged)) return false;
  const std::u16string name = staged.Name;
  AddShared(pair, paths, name, std::move(staged), pair.FormerPath + name);
  return true;
}

bool OnDisk::TakeFormer(const FileTurn& file, const FormerCopy& copy) {
  FormerState& former = *context_.Making.Former;
  const FolderPair& pair = file.Pair;
  unlike_.reset();
  bool same = !former.RightsDiffer(file.Source, copy.Status) ||
              (!former.RightsKnown() && futile_.contains(RightsOf(file.Source, copy.Status)));
  if (!same && !former.RightsKnown()) unlike_ = copy.Status;
  same = same && former.SameAttributes(pair, file.Name, file.Source, copy);
  if (!same && !former.Sharing().MayClone()) return false;
  if (!HasItsContent(copy, file)) return false;
  StagedFile staged;
  UnlockDestination(pair);
  const CopySide from{pair.Source, file.Paths.Source(), file.Name, &file.Source};
  const CopySide like{copy.Opened, {}, copy.Name, &copy.Status};
  const CopySide to = SideOfCopy(pair, file.Paths.Dest(), file.Name, file.Dest);
  const ErrorCode error = former.Sharing().Stage(names_, from, like, to, same, staged);
  if (HasAllLinks(error)) {
    TellOnce(told_all_links_, u": 檔案的硬連結已達上限，個別複製：",
             file.Paths.SourceOf(file.Name));
  } else if (IsBeyondLinks(error) && !former.Sharing().Possible()) {
    TellOnce(told_no_link_, u": 目標無法與前一份備份共用檔案，個別複製：",
             file.Paths.SourceOf(file.Name));
  }
  if (error) return false;
  NoteCopied(file, staged, file.Source);
  if (links_.HasSeveral(file.Source)) links_.NoteFormer(file.Source, copy.Path);
  AddShared(pair, file.Paths, file.Name, std::move(staged), copy.Path);
  return true;
}

void OnDisk::TakeAhead(const FolderPair& pair, WalkPaths& paths, std::u16string_view name,
                       CopyAhead& ahead) {
  StagedFile staged;
  // One that could not be made ahead in a folder that is locked is made now.
  UnlockDestination(pair);
  const CopyResult result = StagePatiently([&] { return ahead.StageFront(staged); });
  AddCopy(pair, paths.Dest(), result, std::move(staged), paths.SourceOf(name));
}

CopyResult OnDisk::StagePatiently(const std::function<CopyResult()>& stage) {
  const RunState& state = context_.State;
  const CopyResult result = stage();
  const bool exhausted = result.Failed && !state.CancelRequested && IsExhausted(state.LastApiError);
  if (!exhausted || !(changes_.Pending() || release_)) return result;
  changes_.Flush();
  if (release_) release_->Drain();
  return state.CancelRequested ? result : stage();
}

void OnDisk::NoteOwnCopy(const FileTurn& file, const StagedFile& staged) {
  const FileStatus& dest = *file.Dest;
  if (!staged || dest.Links < 2 || !metadata_ || metadata_->IsKnown()) return;
  const Result<FileStatus> made = file.Pair.Dest.Status(staged.TempName);
  if (made && SameRights(*made, dest) && metadata_->Differs(file.Source, dest)) {
    NoteFutile(RightsOf(file.Source, dest));
  }
}

void OnDisk::NoteFutile(const Rights& rights) {
  constexpr std::size_t kMostFutile = 1000;
  if (futile_.size() < kMostFutile) futile_.insert(rights);
}

void OnDisk::UpdateFile(const FileTurn& file) {
  const FolderPair& pair = file.Pair;
  const FileStatus& source = file.Source;
  const FileStatus& dest = *file.Dest;
  // Nothing is written through a name that is not the only one.
  if (dest.Links > 1) return;
  const Rights rights = RightsOf(source, dest);
  const bool differs = metadata_->Differs(source, dest) && !futile_.contains(rights);
  if (!differs && !metadata_->AttributesMayDiffer(source, dest)) return;
  const MetadataUpdate update = pair.Dest.UpdateMetadata(file.Name, source, pair.Source);
  if (!differs && !update.Attributes && !update.Error) return;
  const std::u16string path = std::u16string(file.Paths.Dest()) += file.Name;
  const Result<FileStatus> now = pair.Dest.Status(file.Name);
  const bool changed = update.Attributes || (now && !SameRights(*now, dest));
  if (changed) {
    CountUpdated(path);
    if (const auto& shared = Shared(pair, file.Paths.Dest())) changes_.NoteChanged(shared);
    if (!pair.DestManners.SyncsWhole) pair.Dest.SyncFile(file.Name);
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

void OnDisk::Copy(const FileTurn& file, PlanReason) {
  StagedFile staged;
  FileStatus opened;
  UnlockDestination(file.Pair);
  const CopySide from{file.Pair.Source, file.Paths.Source(), file.Name, &file.Source};
  const CopySide to = SideOfCopy(file.Pair, file.Paths.Dest(), file.Name, file.Dest);
  const CopyResult result =
      StagePatiently([&] { return StageShown(copy_, from, to, staged, &opened); });
  if (file.Dest) NoteOwnCopy(file, staged);
  if (const std::optional<FileStatus> unlike = std::exchange(unlike_, std::nullopt);
      unlike && staged) {
    const Result<FileStatus> made = file.Pair.Dest.Status(staged.TempName);
    if (made && SameRights(*made, *unlike)) NoteFutile(RightsOf(file.Source, *unlike));
  }
  if (staged && !result.Warning) NoteCopied(file, staged, opened);
  AddCopy(file.Pair, file.Paths.Dest(), result, std::move(staged), file.Paths.SourceOf(file.Name));
}

void OnDisk::NoteCopied(const FileTurn& file, const StagedFile& staged, const FileStatus& opened) {
  if (!job_.Extras.KeepHardLinks || opened.Kind != FileKind::File || !links_.HasSeveral(opened)) {
    return;
  }
  const bool unnamed = staged.TempName == staged.Name;
  const Result<FileStatus> dest = file.Pair.Dest.Status(staged.TempName);
  if (!dest) return;
  NoteFirst(file.Pair, file.Paths, file.Name, unnamed ? std::u16string_view() : staged.TempName,
            opened, &*dest);
  if (staged.Sum) links_.NoteSum(opened, *staged.Sum);
}

bool OnDisk::Link(HardLinks::FirstCopy& first, const FileTurn& file, bool equal) {
  StagedFile staged;
  UnlockDestination(file.Pair);
  const ErrorCode error = links_.Stage(first, file.Pair, file.Name, file.Dest, names_, staged);
  if (error) {
    if (IsBeyondLinks(error)) {
      TellOnce(told_no_link_, u": 目標無法建立硬連結，個別複製：", file.Paths.SourceOf(file.Name));
    }
    return false;
  }
  staged.Sum = first.Sum;
  if (equal) {
    ++context_.Report.Counters.UnchangedFiles;
    AddRelink(file.Pair, file.Paths.Dest(), std::move(staged));
  } else {
    AddCopy(file.Pair, file.Paths.Dest(), {false, false, {}, 0}, std::move(staged),
            file.Paths.SourceOf(file.Name));
    if (sums_ && !first.Sum && !first.FormerPath.empty()) {
      sums_->Share(SumPath(file.Paths.Dest(), file.Name), first.FormerPath);
    }
  }
  return true;
}

}  // namespace kavrel
