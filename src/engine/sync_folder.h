// The synchronisation pass: what a folder of the source no longer has goes from the destination,
// to the recycle bin or for good. Nothing is removed on doubt: the source was listed to its end and
// seen not to hold the item, and the item is no folder that the source lies in.
#pragma once

#include <string>
#include <vector>

#include "engine/effects.h"
#include "engine/mirror_guard.h"
#include "walk/source_place.h"

namespace kavrel {

/// What a look at a destination folder has found.
struct SeenEntries {
  std::uint64_t KeptFiles = 0;
  std::vector<std::u16string> KeptFolders;
  ForeseenFolders::Folder Foreseen;
  bool Whole = false;  ///< it was looked through to its end
};

/// The synchronisation of one run.
class Synchronisation {
 public:
  /// `source_root` is the open root of the run's source; the others outlive this. `source_place` is
  /// null where the destination is new, and nothing in it can be the source.
  Synchronisation(RunContext& context, const BackupJob& job, Effects& effects,
                  const Folder& source_root, const SourcePlace* source_place);

  /// Removes from the pair's destination folder what its source folder does not hold. Folders that
  /// both sides have are not entered: the walk comes to them in turn. An item stays when the source
  /// has one of the same name and kind, whatever its size or date, excluded or not. False when the
  /// source folder could not be listed to its end, which is logged and counted here. Before the
  /// first removal of all the mirror guard is asked. What it finds is put into `seen`.
  bool SyncFolder(const FolderPair& pair, const WalkPaths& paths, SeenEntries* seen = nullptr);
  /// Asks the mirror guard, once: to be called before the run's first change of any kind. False
  /// when it has stopped the run.
  bool PassesGuard();
  /// Whether an entry of this name, in the folder that was gone through last, may be still to go: a
  /// source that has it again by now must not take it for its copy.
  bool IsGoing(std::u16string_view name) const;

 private:
  bool WasMounted(const WalkPaths& paths, const FolderEntry& entry) const;
  bool ListSource(const Folder& source, std::vector<std::uint64_t>& held);
  void SyncForeseen(const FolderPair& pair, const ForeseenFolders::Folder& foreseen,
                    std::u16string& path, const FileStatus& dest);
  void SyncEntry(const FolderPair& pair, const FolderEntry& entry, std::u16string& path,
                 const FileStatus& dest);
  /// What takes the place of something that is still to go must not meet it.
  void AwaitGoing(bool comes_back);
  bool RemoveTree(const RemovalPlace& from, std::u16string_view name, std::u16string& path,
                  const FileStatus& dest);
  bool EmptyFolder(const Folder& folder, std::u16string& path, const FileStatus& dest,
                   const SharedEmptying& own);

  RunContext& context_;
  const BackupJob& job_;
  Effects& effects_;
  std::vector<FileStatus> source_lineage_;
  const SourcePlace* const source_place_;
  bool passed_guard_ = false;
  ForeseenFolders foreseen_;
  std::size_t root_length_ = 0;       ///< of the destination's path
  std::vector<std::uint64_t> going_;  ///< keys of names, in order at the folder's end
};

}  // namespace kavrel
