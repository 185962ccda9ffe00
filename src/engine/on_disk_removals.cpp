// What a synchronisation removes on the disk.
#include "engine/mirror_guard.h"
#include "engine/on_disk.h"
#include "platform/error_codes.h"
#include "platform/trace.h"

namespace kavrel {

/// A file or an emptied folder that is to go.
class OnDisk::RemovalChange final : public Change {
 public:
  /// `emptied`: of a folder, what became of its content.
  RemovalChange(OnDisk& effects, const RemovalPlace& from, std::u16string_view name,
                std::u16string_view path, SharedEmptying emptied)
      : effects_(effects),
        folder_(from.Shared),
        name_(name),
        path_(path),
        in_(from.In),
        emptied_(std::move(emptied)),
        to_bin_(effects.job_.UseRecycleBin) {
    if (to_bin_) place_ = effects_.bin_.Announce(folder_->Opened, name_);
  }

  void Commit(GroupCommit& group) override {
    ErrorCode error = 0;
    if (emptied_ && !emptied_->Whole) {
      error = kErrNotEmpty;
    } else if (to_bin_) {
      error = place_ ? effects_.bin_.Move(folder_->Opened, name_, *place_) : place_.Error;
    } else if (emptied_) {
      error = folder_->Opened.RemoveFolder(name_);
    } else {
      Result<File> held = folder_->Opened.HoldEntry(name_);
      error = folder_->Opened.RemoveFile(name_);
      if (!error && held) group.LetGo(*folder_, std::move(*held));
    }
    TraceEffect(to_bin_ ? u"moved to the bin" : u"removed", folder_->Path, name_, error);
    if (error == kErrNotEmpty && place_) effects_.bin_.Withdraw(*place_);
    effects_.context_.State.LastApiError = error;
    Finish(error);
  }

  void GiveUp(ErrorCode why) override {
    if (place_) effects_.bin_.Withdraw(*place_);
    if (why) Finish(why);
  }

 private:
  void Finish(ErrorCode error) {
    if (emptied_) {
      const Result<Folder> stays = error && emptied_->Locked ? folder_->Opened.OpenFolder(name_)
                                                             : Result<Folder>::Fail(error);
      if (stays) stays->SetAttributes(*emptied_->Locked, *stays);
      effects_.CountFolderGone(error, path_, in_);
    } else {
      effects_.CountFileGone(error, name_, in_);
    }
  }

  OnDisk& effects_;
  const std::shared_ptr<const CommitFolder> folder_;
  const std::u16string name_, path_;
  const SharedEmptying in_, emptied_;
  const bool to_bin_;
  Result<RecycleBin::Place> place_;
};

bool OnDisk::PassesGuard(ForeseenFolders& foreseen) {
  return PassMirrorGuard(context_, job_, foreseen);
}

void OnDisk::Relock(const FolderPair& pair) {
  if (pair.DestUnlocked && pair.DestFound) pair.Dest.SetAttributes(*pair.DestFound, pair.Dest);
}

void OnDisk::Enter(const Folder& folder, std::u16string_view, Emptying& own) {
  const Result<FileStatus> found = folder.Status();
  if (!found || OwnerMayAll(*found) || folder.MakeWritable()) return;
  own.Locked = *found;
}

void OnDisk::Leave(const Folder& folder, const Emptying& own) {
  if (!own.Locked) return;
  // What is to go from it still goes, or is given up with the run.
  if (!context_.Stopped()) changes_.Flush();
  folder.SetAttributes(*own.Locked, folder);
}

bool OnDisk::Begin(RemovalPlace& from, std::u16string_view path) {
  if (from.Shared) return true;
  from.Shared = *changes_.Share(from.Opened, path);
  if (from.Shared && from.In) from.Shared->Going = true;
  return from.Shared != nullptr;
}

void OnDisk::RemoveFile(const RemovalPlace& from, const FolderEntry& file,
                        std::u16string_view path) {
  if (sums_) sums_->Drop(SumPath(path, file.Name));
  Queue(from.Shared, std::make_unique<RemovalChange>(*this, from, file.Name, path, nullptr));
}

void OnDisk::RemoveFolder(const RemovalPlace& from, std::u16string_view name,
                          std::u16string_view path, const SharedEmptying& emptied) {
  Queue(from.Shared, std::make_unique<RemovalChange>(*this, from, name, path, emptied));
}

void OnDisk::Queue(const std::shared_ptr<const CommitFolder>& folder,
                   std::unique_ptr<Change> change) {
  // What goes to the bin is described there first.
  if (job_.UseRecycleBin) {
    changes_.AddStaged(folder, std::move(change), 0);
  } else {
    changes_.Add(folder, std::move(change));
  }
}

}  // namespace kavrel
