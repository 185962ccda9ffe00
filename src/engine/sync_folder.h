// The synchronisation pass: what a folder of the source no longer has goes from the destination,
// to the recycle bin or for good. Nothing is removed on doubt: the source was listed to its end and
// seen not to hold the item, and the item is no folder that the source lies in.
#pragma once

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "engine/folder_pair.h"
#include "engine/mirror_guard.h"
#include "engine/run_context.h"
#include "files/group_commit.h"
#include "platform/recycle_bin.h"

namespace kavrel {

/// What a look at a destination folder has found.
struct SeenEntries {
  std::uint64_t KeptFiles = 0;
  std::vector<std::u16string> KeptFolders;
  ForeseenFolders::Folder Folder;
  bool Whole = false;  ///< it was looked through to its end
};

/// The synchronisation of one run. With a plan in the context, everything is decided and counted
/// alike and nothing is removed.
class Synchronisation {
 public:
  /// `source_root` is the open root of the run's source; the other references outlive this.
  Synchronisation(RunContext& context, const BackupJob& job, const Folder& source_root);

  /// Removes from the pair's destination folder what its source folder does not hold. Folders that
  /// both sides have are not entered: the walk comes to them in turn. An item stays when the source
  /// has one of the same name and kind, whatever its size or date, excluded or not. False when the
  /// source folder could not be listed to its end, which is logged and counted here. Before the
  /// first removal of all the mirror guard is asked. What it finds is put into `seen`.
  bool SyncFolder(const FolderPair& pair, const WalkPaths& paths, SeenEntries* seen = nullptr);
  /// Asks the mirror guard, once: to be called before the run's first change of any kind. False
  /// when it has stopped the run.
  bool PassesGuard();
  /// Removals go there, and are made in their turn; it outlives this, and has nothing pending when
  /// this goes. Not needed with a plan.
  void UseGroup(GroupCommit& group) { group_ = &group; }
  /// Whether an entry of this name, in the folder that was gone through last, may be still to go: a
  /// source that has it again by now must not take it for its copy.
  bool IsGoing(std::u16string_view name) const;
  /// Where another job's backups lie that are to go; empty when none were come by in a plan.
  const std::u16string& PlaceOfOthers() const { return place_of_others_; }
  /// Whether the plan removes what lies at this path of the destination.
  bool IsPlannedGone(const std::u16string& path) const { return planned_gone_.contains(path); }

 private:
  bool ListSource(const Folder& source, std::vector<std::uint64_t>& held);
  void SyncForeseen(const FolderPair& pair, const ForeseenFolders::Folder& foreseen,
                    std::u16string& path, const FileStatus& dest);
  void SyncEntry(const FolderPair& pair, const FolderEntry& entry, std::u16string& path,
                 const FileStatus& dest);
  /// A folder that is being emptied.
  struct Emptying {
    bool Whole = true;  ///< nothing has stayed in it so far
  };
  using SharedEmptying = std::shared_ptr<Emptying>;
  class RemovalChange;
  void Queue(const std::shared_ptr<const CommitFolder>& folder, std::unique_ptr<Change> change);
  /// `in`: the folder that is being emptied; null for a folder that both sides have.
  void RemoveFile(const std::shared_ptr<const CommitFolder>& folder, const FolderEntry& entry,
                  std::u16string_view path, const SharedEmptying& in);
  /// What takes the place of something that is still to go must not meet it.
  void AwaitGoing(bool comes_back);
  void NoteGoing(std::u16string_view name);
  void PlanFile(const Folder& folder, const FolderEntry& entry, std::u16string_view path);
  void NotePlace(const Folder& folder, std::u16string_view archive, std::u16string_view path);
  void FinishFile(ErrorCode error, std::u16string_view name, const SharedEmptying& in);
  void FinishFolder(ErrorCode error, std::u16string_view path, const SharedEmptying& in);
  std::shared_ptr<const CommitFolder> Share(const Folder& folder, std::u16string_view path);
  void PlanFailure(bool is_folder, PlanReason reason, std::u16string_view path);
  bool SyncRemoveTree(const Folder& parent, const std::shared_ptr<const CommitFolder>& shared,
                      std::u16string_view name, std::u16string& path, const FileStatus& dest,
                      const SharedEmptying& in);
  bool EmptyFolder(const Folder& folder, std::u16string& path, const FileStatus& dest,
                   const SharedEmptying& own);
  void CountFailure(std::u16string_view text, std::u16string_view what, ErrorCode why = 0);

  RunContext& context_;
  const BackupJob& job_;
  RecycleBin bin_;
  GroupCommit* group_ = nullptr;
  std::vector<FileStatus> source_lineage_;
  bool passed_guard_ = false;
  ForeseenFolders foreseen_;
  std::unordered_set<std::u16string> planned_gone_;  ///< paths, as far as the source has them
  std::u16string place_of_others_;
  std::size_t root_length_ = 0;       ///< of the destination's path
  std::vector<std::uint64_t> going_;  ///< keys of names, in order at the folder's end
};

}  // namespace kavrel
