// What is mounted inside the folders of a run, as it was when the run looked at its disks: a disk
// that goes meanwhile leaves an empty folder behind, and one that comes hides what is there.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/folder_pair.h"
#include "platform/files.h"
#include "platform/mounts.h"

namespace kavrel {

/// Notes are for the run's own thread; several may ask.
class MountedInside {
 public:
  void Clear() { *this = {}; }
  /// Notes the root of a walk, whose real path is `place`, and what is mounted inside it. Nothing
  /// is noted of what cannot be opened.
  void Note(const FileSystem& files, const MountTable& table, std::u16string_view root,
            std::u16string_view place);

  /// Whether what was noted of a folder, its path with the final separator, or of a file is not
  /// there any more: another thing is mounted, or nothing.
  bool IsGone(std::u16string_view path, const FileStatus& now) const;
  /// The same of an open folder, at which it looks only where something was noted.
  bool IsGone(std::u16string_view path, const Folder& folder) const;
  /// Whether a disk has been mounted over a folder, or something over a file, since, which lies in
  /// `above`. What programs mount for themselves (MountTable::DisksBelow) is none.
  bool HasCome(std::u16string_view path, const FileStatus& above, const FileStatus& now) const;
  /// Whether a folder was a mount point, or had one below it.
  bool HeldMount(std::u16string_view path) const;
  /// Whether a file had something mounted over it.
  bool WasMounted(std::u16string_view file) const { return has_files_ && mounts_.contains(file); }
  /// Whether any file had.
  bool HoldsFiles() const { return has_files_; }

 private:
  struct Root {
    std::u16string Path, Place;
  };
  void NoteOne(const FileSystem& files, std::u16string_view path);

  std::vector<Root> roots_;
  std::map<std::u16string, std::uint64_t, std::less<>> mounts_;  ///< by path, FileStatus::Mount
  bool has_files_ = false;                                       ///< not all of them are folders
  std::set<std::u16string, std::less<>> others_;                 ///< what programs had mounted
};

/// Closes the source of a pair that a disk has left, or come over where the backup holds something,
/// with kErrNoDevice: what is seen there is not what belongs there.
void CheckMounts(const MountedInside& mounted, const FolderPair* parent, const WalkPaths& paths,
                 FolderPair& pair);

}  // namespace kavrel
