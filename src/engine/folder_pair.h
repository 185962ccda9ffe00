// The two open folders that a walk is in, and the paths they stand for.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/copy_ahead.h"
#include "files/folder_identity.h"
#include "files/group_commit.h"
#include "platform/files.h"

namespace kavrel {

/// A new folder that bears a temporary name until what is copied into it is on the disk.
struct UnnamedFolder {
  std::shared_ptr<const CommitFolder> Parent;
  std::u16string TempName, Name;
  std::uint32_t Files = 0;   ///< copied into it, pending or not
  std::uint64_t Staged = 0;  ///< their bytes
  /// What of them is counted as done, for the case that the folder cannot get its name.
  std::uint32_t Copied = 0, Warnings = 0, Unchanged = 0;
  std::uint64_t Bytes = 0;
  bool Spoilt = false;  ///< it holds something that must not get a name
};

/// Where a folder of the destination lies, below that of its parent: enough to open it again while
/// the walk is elsewhere, and no open handle.
struct DestPlace {
  std::shared_ptr<DestPlace> Above;  ///< null for the root
  std::u16string Name;
  std::u16string TempName;  ///< that it was made under, as long as it may bear that
};

/// A folder on the way from source to destination. `Dest` is closed as long as it does not exist.
struct FolderPair {
  Folder Source, Dest;
  FileStatus SourceStatus;
  ErrorCode SourceError = 0, DestError = 0;
  bool DestIsNew = false;  ///< made by this walk: nothing can be in it
  /// The destination is, or lies in, what its disk keeps at its top: the bin, what a repair has
  /// found. The source may have a folder of that name, too.
  bool KeptByDisk = false;
  /// The destination as the walk came to it, where its metadata is to be compared.
  std::optional<FileStatus> DestFound;
  /// It would not be changed but for being made writable.
  bool DestOnlyLocked = false;
  /// The run has let the owner write to it, and gives it its own permissions back in the end.
  mutable bool DestUnlocked = false;
  DiskManners DestManners;  ///< set once there is a destination to write to, like the next
  bool DestPassesAccessOn = false;
  bool Summed = false;  ///< the sums of what is copied are wanted
  /// The destination as pending changes hold it; null as long as there were none.
  mutable std::shared_ptr<const CommitFolder> Shared;
  mutable std::shared_ptr<UnnamedFolder> Unnamed;  ///< null once its name is on the way
  const FolderPair* Above =
      nullptr;               ///< the parent, which a walk keeps for as long; null: the root
  std::u16string_view Name;  ///< in it, and kept by the walk, too
  std::u16string MadeAs;     ///< the temporary name that the destination was made under
  mutable std::shared_ptr<DestPlace> Place;  ///< once somebody needs it
  /// What the source folder became in the former state (engine/former_state.h); closed where that
  /// does not have it. What bears the same name in both may be the same.
  Folder Former;
  std::u16string FormerPath;   ///< its path in it, with a '/' behind each name
  std::uint64_t FormerAt = 0;  ///< the former folder in that state's record
  std::uint64_t RecordAt = 0;  ///< this one in the record that is being written
};

/// Whether a folder that lies in `dest` may be a left-over of a backup. Neither one that the source
/// lies in nor whatever is mounted here, another disk or another folder of the same one, is.
bool MayBeLeftOver(const FileStatus& folder, const FileStatus& dest,
                   const std::vector<FileStatus>& source_lineage);

/// True for a name that the system, or the recycle bin, has at the top of a disk, and a folder that
/// is such a top.
bool IsKeptByDisk(const Folder& folder, std::u16string_view name);

/// The paths of both folders, each with its trailing separator. One text each for the whole walk:
/// a deep tree does not hold a copy of its path for every level.
class WalkPaths {
 public:
  /// `dest_place`: where the destination's root is for the time being, empty: at its path.
  WalkPaths(std::u16string_view source, std::u16string_view dest,
            std::u16string_view dest_place = {});

  std::u16string_view Source() const { return source_; }
  std::u16string_view Dest() const { return dest_; }
  /// What the destination's root is opened by.
  const std::u16string& DestPlace() const { return dest_place_; }
  /// The source folder's path below its root, with its final separator; empty at the root.
  std::u16string_view BelowRoot() const {
    return std::u16string_view(source_).substr(root_length_);
  }
  /// The source path of an entry; valid until the next call.
  std::u16string_view SourceOf(std::u16string_view name);

  /// Goes into a subfolder for as long as it lives.
  class Step {
   public:
    Step(WalkPaths& paths, std::u16string_view name);
    ~Step();
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

   private:
    WalkPaths& paths_;
    std::size_t source_length_, dest_length_;
  };

 private:
  std::u16string source_, dest_, scratch_;
  std::u16string dest_place_;
  std::size_t root_length_;
};

/// Opens the source and, where it exists, the destination: of the two root paths without a parent,
/// else of `name` below the parent's folders. A source that is open already is taken as it is.
FolderPair OpenPair(const FileSystem& files, const FolderPair* parent, std::u16string_view name,
                    const WalkPaths& paths, CopyAhead::Listed* listed = nullptr);
/// The destination alone.
void OpenDest(const FileSystem& files, const FolderPair* parent, std::u16string_view name,
              const WalkPaths& paths, FolderPair& pair);

/// Makes the destination when it is not open yet. One that was there is let be written to only when
/// something is to change in it, but for a root, and for one that its owner cannot look at. False,
/// with DestError set, when it cannot be made.
bool MakeDestination(const FileSystem& files, const FolderPair* parent, std::u16string_view name,
                     const WalkPaths& paths, FolderPair& pair);

/// Lets the owner of the destination write to it: to be called before a change in it.
void UnlockDestination(const FolderPair& pair);

/// The permissions with which a folder lets its owner do everything in it.
inline constexpr std::uint32_t kOwnerMayAll = 0700, kOwnerMayLook = 0500;
/// False where there are no such permissions.
inline bool OwnerMayAll(const FileStatus& folder) {
  return (folder.Mode & kOwnerMayAll) == kOwnerMayAll;
}

}  // namespace kavrel
