// What a run does to its destination, and what it counts for that: on the disk (OnDisk), or, of a
// run that is only planned, in the plan (IntoPlan). Nothing else knows which of them it works with.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "engine/folder_pair.h"
#include "engine/hard_links.h"
#include "engine/run_context.h"
#include "files/copy_ahead.h"
#include "files/group_commit.h"
#include "platform/metadata.h"

namespace kavrel {

class ForeseenFolders;

/// A file whose turn it is.
struct FileTurn {
  const FolderPair& Pair;
  WalkPaths& Paths;
  std::u16string_view Name;
  const FileStatus& Source;
  const FileStatus* Dest;  ///< null where nothing is there
};

/// What is known of a folder that is being emptied.
struct Emptying {
  bool Whole = true;                 ///< nothing has stayed in it so far
  std::optional<FileStatus> Locked;  ///< as it was before it was let be written to
};
using SharedEmptying = std::shared_ptr<Emptying>;

/// A folder of the destination that something goes from.
struct RemovalPlace {
  const Folder& Opened;
  SharedEmptying In;                           ///< null for a folder that both sides have
  std::shared_ptr<const CommitFolder> Shared;  ///< as pending changes hold it
};

/// All functions are for the run's own thread but for MayDiffer.
class Effects {
 public:
  virtual ~Effects() = default;
  Effects(const Effects&) = delete;
  Effects& operator=(const Effects&) = delete;

  // What waits until the disk has what it relies on.
  /// Makes a few changes that need wait no longer. To be called often.
  void Advance() {
    if (group_) group_->Advance();
  }
  /// Waits until all changes so far are made.
  void Flush() {
    if (group_) group_->Flush();
  }
  bool Pending() const { return group_ && group_->Pending(); }
  /// Returns when everything is on the disk; what has failed is counted and logged.
  virtual void Settle() {}

  /// Names for files that are there for a moment; null where nothing may be written.
  virtual TempNames* Names() { return nullptr; }

  // Working ahead.
  /// What looks at files, and copies them, ahead of their turn; null where that does not pay. This
  /// outlives it.
  virtual std::unique_ptr<CopyAhead> WorkAhead(const FolderPair& /*root*/,
                                               const CopyAhead::Judge&) {
    return nullptr;
  }
  /// The first in the row was made ahead from the former state: takes it over. False where it was
  /// not, so that it has yet to be decided.
  virtual bool TakeShared(const FolderPair&, WalkPaths&, CopyAhead&) { return false; }
  /// Takes over the copy of the first in the row.
  virtual void TakeAhead(const FolderPair&, WalkPaths&, std::u16string_view /*name*/, CopyAhead&) {}

  // Folders.
  /// Opens the pair (engine/folder_pair.h).
  virtual FolderPair Open(const FolderPair* parent, std::u16string_view name,
                          const WalkPaths& paths, CopyAhead::Listed* listed) {
    return OpenPair(context_.Files, parent, name, paths, listed);
  }
  /// Makes the pair's destination where there is none, as MakeDestination. A new folder inside
  /// another may bear a temporary name at first: then its small files can be made under their own.
  virtual bool Make(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
                    FolderPair& pair) = 0;
  /// Whether so much lies in a folder of temporary name that it should get its own.
  static bool WantsName(const FolderPair& pair);
  /// The folder gets its own name once all that was copied into it so far is on the disk. Nothing
  /// may be copied ahead meanwhile.
  virtual void GiveName(const FolderPair&) {}
  /// It gets its permissions and times when all is done in it.
  virtual void FinishFolder(const FolderPair& pair, const WalkPaths& paths) = 0;
  /// Around all that a backup does in its root: the marks of its owner (engine/ownership.h).
  virtual void MarkFolder(FolderPair&) {}
  virtual void MarkMirrored(const Folder&) {}

  // Files.
  /// Copies it, or tells why not. A copy takes its name when it is on the disk, and is counted
  /// then.
  virtual void Copy(const FileTurn& file, PlanReason reason) = 0;
  /// Makes it one more name of another copy; false, with nothing done, where that cannot be. One
  /// that is `equal` has a copy of its own that is as good.
  virtual bool Link(HardLinks::FirstCopy& first, const FileTurn& file, bool equal) = 0;
  /// Makes it from its copy in the former state, which has its content; false, with nothing done,
  /// where that cannot be. It counts as unchanged.
  virtual bool TakeFormer(const FileTurn&, const FormerCopy&) { return false; }
  /// One that another of the job's patterns has found before. True when it has been dealt with,
  /// since its copy cannot be looked at.
  virtual bool TakesAgain(const FileStatus& /*source*/, bool /*compare*/) { return false; }
  /// Counts what failed. `why`: in words, or empty where that is not known.
  void CountFailed(std::u16string_view source_path, std::u16string_view why = {}) {
    context_.Fail(file_failed_text_, source_path, why);
  }

  // Metadata.
  /// From now on files that are left alone, and folders, are compared with their sources in what
  /// they have beside their content, and set right. Between two roots.
  void KeepMetadata(const Folder& source, const Folder& dest) { metadata_.emplace(source, dest); }
  bool KeepsMetadata() const { return metadata_.has_value(); }
  /// Whether two looks leave it open that a copy differs from its source beside its content. False
  /// where nothing is compared.
  bool MayDiffer(const FileStatus& source, const FileStatus& dest) const {
    return metadata_ &&
           (metadata_->Differs(source, dest) || metadata_->AttributesMayDiffer(source, dest));
  }
  /// A file that is left alone and may differ. Not where its copy has several names: nothing is
  /// written through one of them for another.
  virtual void UpdateFile(const FileTurn& file) = 0;
  /// A copy that bears other names as well, in a snapshot of the backup, say, is not changed for
  /// this one: true when it would be, so that it is to be made anew.
  bool NeedsOwnCopy(const FileTurn& file) const;

  // Files of several names.
  HardLinks& Links() { return links_; }
  const HardLinks& Links() const { return links_; }
  /// `file` has been left as it is; it may be the first of several names.
  void NoteLeft(const FileTurn& file, bool again);
  /// Whether the file may become a name of that copy. One that was left for its size and time is
  /// read first: another file may have taken its source's place. False also when the run is
  /// cancelled meanwhile.
  bool MayBecome(HardLinks::FirstCopy& first, const FileTurn& file);
  /// Whether a copy of the former state has the content of the file; both are read where nothing
  /// less proves it.
  bool HasItsContent(const FormerCopy& copy, const FileTurn& file);

  // Removals, one run's synchronisation.
  /// Asked before the run's first change of any kind; false stops it.
  virtual bool PassesGuard(ForeseenFolders&) { return true; }
  /// Lets entries of a folder that both sides have be removed; and, when the run stops before it
  /// comes to the folder's end, no longer.
  virtual void Unlock(const FolderPair&) {}
  virtual void Relock(const FolderPair&) {}
  /// A folder below the pair's that is to go is looked through. `path` ends with its separator.
  virtual void Enter(const Folder& folder, std::u16string_view path, Emptying& own) = 0;
  /// It stays, as has come out before it was to go itself.
  virtual void Leave(const Folder&, const Emptying&) {}
  /// Before the first removal from a place. False where nothing can be removed from it.
  virtual bool Begin(RemovalPlace&, std::u16string_view /*path*/) { return true; }
  virtual void RemoveFile(const RemovalPlace& from, const FolderEntry& file,
                          std::u16string_view path) = 0;
  /// A folder that has been emptied; `path` is its own.
  virtual void RemoveFolder(const RemovalPlace& from, std::u16string_view name,
                            std::u16string_view path, const SharedEmptying& emptied) = 0;
  /// Whether an entry that was removed from the pair's folder may be found there still.
  virtual bool MayBeSeen(const FolderPair&, std::u16string_view /*name*/,
                         std::u16string_view /*path*/) {
    return Pending();
  }
  /// Whether one that is found there is gone all the same.
  virtual bool IsGone(std::u16string_view /*path*/) const { return false; }
  /// Counts a removal that has come to its end, or has failed.
  void CountFileGone(ErrorCode error, std::u16string_view name, const SharedEmptying& in);
  void CountFolderGone(ErrorCode error, std::u16string_view path, const SharedEmptying& in);

 protected:
  /// Both outlive this; so does the text before the path of a file that failed.
  Effects(RunContext& context, const BackupJob& job, std::u16string_view file_failed_text);

  /// By a look at what is compared, where metadata is; nothing is changed.
  bool SeesDifference(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                      const FileStatus& dest) const;
  void CountUpdated(std::u16string_view path);
  /// A file whose copy is the first of several names, under `temp_name` where that is not empty;
  /// `dest` is null where there is no copy to look at.
  void NoteFirst(const FolderPair& pair, WalkPaths& paths, std::u16string_view name,
                 std::u16string_view temp_name, const FileStatus& source, const FileStatus* dest);
  /// Whether two files have one content; both are read.
  bool AreEqual(const Folder& one, std::u16string_view name, const Folder& other,
                std::u16string_view other_name);
  /// A line of the log that a run has once at most.
  void TellOnce(bool& told, std::u16string_view text, std::u16string_view what);
  /// A path of the destination, below its root.
  std::u16string_view BelowRoot(std::u16string_view path) const {
    return path.substr(root_.size());
  }
  /// Permissions and owners, of a source and of its copy.
  using Rights = std::array<std::uint32_t, 6>;
  static Rights RightsOf(const FileStatus& source, const FileStatus& dest);

  RunContext& context_;
  const BackupJob& job_;
  const std::u16string root_;  ///< of the destination, with its final separator
  const std::u16string_view file_failed_text_;
  GroupCommit* group_ = nullptr;  ///< where changes wait; null: nothing does
  std::optional<MetadataPlace> metadata_;
  std::set<Rights> futile_;  ///< where it was of no use to set them
  HardLinks links_;
  bool told_full_ = false, told_no_link_ = false;

 private:
  bool AttributesDiffer(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                        const FileStatus& dest) const;
};

/// How a copy of `name` into the pair's destination is to be made.
inline CopySide SideOfCopy(const FolderPair& pair, std::u16string_view path,
                           std::u16string_view name, const FileStatus* dest) {
  return {pair.Dest, path, name, dest, !pair.DestManners.SyncsWhole,
          // What another pattern of the job has copied there already is replaced like any other.
          pair.Unnamed && !dest, pair.DestPassesAccessOn, pair.Summed};
}

}  // namespace kavrel
