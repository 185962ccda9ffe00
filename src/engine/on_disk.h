// What a run changes on the disk: copies that get their names, files that go, folders that are made
// and finished, each when the disk has what it relies on (files/group_commit.h), and counted then.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "engine/content_sums.h"
#include "engine/effects.h"
#include "files/file_copy.h"
#include "files/late_release.h"
#include "files/temp_names.h"
#include "platform/recycle_bin.h"

namespace kavrel {

/// Whether permissions, owner and flags are the same.
inline bool SameRights(const FileStatus& a, const FileStatus& b) {
  return a.Mode == b.Mode && a.Owner == b.Owner && a.Group == b.Group &&
         a.Attributes == b.Attributes;
}

class OnDisk final : public Effects {
 public:
  /// All outlive this. `file_failed_text`: before a file's path in the log.
  OnDisk(RunContext& context, const BackupJob& job, std::u16string_view file_failed_text);

  /// From now on the sums of what is copied are kept in the root, or a list that is out of date
  /// goes from it, as the job wants: of a backup, before its walk.
  void KeepSums();
  /// Of a restore, before its walk: what the sums of the backup convict is told.
  void ProveBySums();
  void Settle() override;
  TempNames* Names() override { return &names_; }
  std::unique_ptr<CopyAhead> WorkAhead(const FolderPair& root,
                                       const CopyAhead::Judge& judge) override;
  void TakeAhead(const FolderPair& pair, WalkPaths& paths, std::u16string_view name,
                 CopyAhead& ahead) override;
  /// Waits for pending changes where there are too many open files.
  FolderPair Open(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
                  CopyAhead::Listed* listed) override;
  bool Make(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
            FolderPair& pair) override;
  void GiveName(const FolderPair& pair) override;
  void FinishFolder(const FolderPair& pair, const WalkPaths& paths) override;
  void MarkFolder(FolderPair& root) override;
  void MarkMirrored(const Folder& dest) override;
  void Copy(const FileTurn& file, PlanReason reason) override;
  bool Link(HardLinks::FirstCopy& first, const FileTurn& file, bool equal) override;
  bool TakeShared(const FolderPair& pair, WalkPaths& paths, CopyAhead& ahead) override;
  bool TakeFormer(const FileTurn& file, const FormerCopy& copy) override;
  void UpdateFile(const FileTurn& file) override;
  bool PassesGuard(ForeseenFolders& foreseen) override;
  void Unlock(const FolderPair& pair) override { UnlockDestination(pair); }
  void Relock(const FolderPair& pair) override;
  void Enter(const Folder& folder, std::u16string_view path, Emptying& own) override;
  void Leave(const Folder& folder, const Emptying& own) override;
  bool Begin(RemovalPlace& from, std::u16string_view path) override;
  void RemoveFile(const RemovalPlace& from, const FolderEntry& file,
                  std::u16string_view path) override;
  void RemoveFolder(const RemovalPlace& from, std::u16string_view name, std::u16string_view path,
                    const SharedEmptying& emptied) override;

 private:
  class StagedChange;
  class CopyChange;
  class RelinkChange;
  class NameChangeOfFolder;
  class FinishChange;
  class RemovalChange;

  /// The destination folder as pending changes hold it; null where it cannot be opened once more.
  const std::shared_ptr<const CommitFolder>& Shared(const FolderPair& pair,
                                                    std::u16string_view path);
  /// Makes a copy; where there was no room or no handle left, a second time with nothing pending.
  CopyResult StagePatiently(const std::function<CopyResult()>& stage);
  /// The copy takes its name when it is on the disk, and is counted then. One that failed is
  /// counted at once, and so is one that copied nothing.
  void AddCopy(const FolderPair& pair, std::u16string_view dest_path, const CopyResult& result,
               StagedFile staged, std::u16string_view source_path);
  /// What was made from the former state takes its name and counts as unchanged.
  void AddShared(const FolderPair& pair, WalkPaths& paths, std::u16string_view name,
                 StagedFile staged, std::u16string_view former_path);
  /// A link that is to take the place of a file which is as good, once the disk has it. One that
  /// cannot take its place is a warning.
  void AddRelink(const FolderPair& pair, std::u16string_view dest_path, StagedFile staged);
  /// It may be the first of several names.
  void NoteCopied(const FileTurn& file, const StagedFile& staged, const FileStatus& opened);
  /// A copy of its own has been staged (NeedsOwnCopy). Where it came out no different, on a disk
  /// that does not hold what the source has, no other is made for the same.
  void NoteOwnCopy(const FileTurn& file, const StagedFile& staged);
  void NoteFutile(const Rights& rights);
  /// What a folder is finished with, its own handle apart.
  struct Finish {
    FileStatus Like;
    std::optional<FileStatus> Found;  ///< the folder before, where it is to be compared
    bool TimesOnly;        ///< its attributes are what they should be, or belong to the drive
    bool Updated = false;  ///< its extended attributes were set right already
    ErrorCode Error = 0;   ///< of these
  };
  static Finish FinishOf(const FolderPair& pair, bool times_only);
  /// Whether a run before has finished the folder and its attributes need no look.
  bool IsFinished(const FolderPair& pair) const;
  void FinishNow(const Folder& dest, const Folder& source, const Finish& finish,
                 std::u16string_view path);
  /// Gives a folder what the source's has beside its times.
  MetadataUpdate CarryOver(const Folder& dest, const FileStatus& like, const Folder& source,
                           std::u16string_view path) const;
  void CountWarning(ErrorCode error, std::u16string_view text, std::u16string_view path);
  void Queue(const std::shared_ptr<const CommitFolder>& folder, std::unique_ptr<Change> change);

  /// Where a path of the destination is for the time being.
  std::u16string PlaceOf(std::u16string_view path) const {
    return place_ + std::u16string(BelowRoot(path));
  }

  void OpenSums(Result<Folder> root);
  /// Whether a copy that would replace a good one has a content that nobody has written: time, size
  /// and record of the source are those of that copy, which still has its sum.
  bool SourceIsSpoilt(const FolderPair& pair, std::u16string_view dest_path,
                      const StagedFile& staged);
  /// Whether a copy from the backup has rotted there: its sum convicts it, the file whose place it
  /// would take has that sum, and nobody has written to the copy as far as its size and the times
  /// tell. Any other that is convicted is told, and taken: somebody may have changed it on purpose,
  /// or it is all that there is.
  bool HasRotted(const FolderPair& pair, std::u16string_view source_path, const StagedFile& staged);
  /// Whether a copy with this sum may be another file of the backup that was given its name: it has
  /// been changed since the sums were listed, and one of them is this. What a disk has spoilt may
  /// be empty, or have another's blocks, but is not recorded as changed.
  bool IsRenamed(const FileStatus& copy, const ContentSum& sum) const;
  /// The path below the root, as the list of sums has it.
  std::u16string SumPath(std::u16string_view folder_path, std::u16string_view name) const;
  /// A copy is on its way to its name.
  void NoteSum(std::u16string_view folder_path, const StagedFile& staged);

  const std::u16string place_;  ///< of the destination, with its final separator
  TempNames names_;
  std::optional<LateRelease> release_;
  RecycleBin bin_;
  CopyContext copy_;
  GroupCommit changes_;
  /// A copy in the former state that differs in rights, as far as anybody can tell without trying.
  std::optional<FileStatus> unlike_;
  bool told_all_links_ = false;
  bool keeps_sums_ = false;
  std::optional<ContentSums> sums_;  ///< once there is a root to keep them in
  /// Of a job that copies everything each time: the sums before the run.
  std::optional<SumIndex> former_sums_;
  /// Of a restore: the sums of the backup, and their list.
  std::optional<SumIndex> proof_;
  FileStatus proof_status_;
};

}  // namespace kavrel
